#include "storage/hints/hinted_reads.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <string>
#include <vector>

#include "support/temp_dir.h"
#include "unit/storage/fresh_hints.h"

namespace {

using support::given_hint;
using support::system_hints;
using cache = system_hints::cache;

constexpr std::uint64_t kib = 1024;

class HintedReads : public testing::Test {
protected:
    HintedReads() : m_fd(::open(m_dir.write("source", text).c_str(), O_RDONLY)) {}
    ~HintedReads() override { ::close(m_fd); }

    // Returns what a read brings, or "failed".
    std::string read(std::size_t count, std::uint64_t offset) {
        std::string buffer(count, '.');
        const ssize_t brought = m_reads.read(m_fd, buffer.data(), count, offset);
        if (brought == -1) return "failed";
        buffer.resize(static_cast<std::size_t>(brought));
        return buffer;
    }
    bool fails() {
        char byte = 0;
        return m_reads.read(-1, &byte, 1, 0) == -1 && errno == EBADF;
    }

    const std::string text = "0123456789";
    support::temp_dir m_dir;
    const int m_fd;
    hinted_reads m_reads;
};

TEST_F(HintedReads, ReturnWhatIsThereWhateverIsCached) {
    for (const cache state : {cache::empty, cache::full, cache::half, cache::not_asked}) {
        SCOPED_TRACE(static_cast<int>(state));
        const fresh_hints system(state);
        EXPECT_EQ(read(4, 3), "3456");
        EXPECT_EQ(read(4, 8), "89");
        EXPECT_EQ(read(4, 10), "");
        EXPECT_EQ(read(0, 3), "");
    }
    EXPECT_EQ(read(4, 3), "3456");
}

TEST_F(HintedReads, WaitUnlessEverythingIsCached) {
    fresh_hints system(cache::empty);
    EXPECT_FALSE(m_reads.has_waited());
    read(4, 3);
    EXPECT_TRUE(m_reads.has_waited());
    system.state = cache::full;
    read(4, 3);
    EXPECT_FALSE(m_reads.has_waited());
    system.state = cache::half;
    read(4, 3);
    EXPECT_TRUE(m_reads.has_waited());
}

TEST_F(HintedReads, FailLikeTheSystemCall) {
    for (const cache state : {cache::empty, cache::not_asked}) {
        const fresh_hints system(state);
        m_reads = {};
        EXPECT_TRUE(fails());
    }
    EXPECT_TRUE(fails());
}

// The first refusal is the last question: every read is then a plain one.
TEST_F(HintedReads, SystemThatDoesNotSayIsNotAskedAgain) {
    fresh_hints system(cache::not_asked);
    EXPECT_EQ(read(4, 3), "3456");
    EXPECT_EQ(read(4, 4), "4567");
    EXPECT_EQ(system.questions, 1);
}

TEST_F(HintedReads, AnnounceInPiecesOf128KiB) {
    const fresh_hints system(cache::empty);
    m_reads.announce(m_fd, 5, 1);
    m_reads.announce(m_fd, 100, 128 * kib);
    m_reads.announce(m_fd, 7, 300 * kib);
    m_reads.announce(m_fd, 9, 0);
    EXPECT_EQ(system.given, (std::vector<given_hint>{{5, 1},
                                                     {100, 128 * kib},
                                                     {7, 128 * kib},
                                                     {7 + 128 * kib, 128 * kib},
                                                     {7 + 256 * kib, 44 * kib}}));
}

TEST_F(HintedReads, NoHintsAfterAFailedRead) {
    const fresh_hints system(cache::empty);
    m_reads.announce(m_fd, 0, 1);
    EXPECT_FALSE(source_read_has_failed);
    fails();
    EXPECT_TRUE(source_read_has_failed);
    m_reads.announce(m_fd, 1, 1);
    read(4, 3);
    m_reads.announce(m_fd, 2, 1);
    EXPECT_EQ(system.given, (std::vector<given_hint>{{0, 1}}));
}

TEST_F(HintedReads, ReadPastTheEndIsNoFailure) {
    const fresh_hints system(cache::empty);
    read(4, 100);
    m_reads.announce(m_fd, 0, 1);
    EXPECT_EQ(system.given.size(), 1u);
}

// An offset of -1 is not the current position of the file.
TEST_F(HintedReads, OffsetsPastTheLargestFileFailAndAreNoFaultOfTheDevice) {
    fresh_hints system(cache::full);
    for (const std::uint64_t offset : {~std::uint64_t{0}, std::uint64_t{1} << 63}) {
        EXPECT_EQ(read(4, offset), "failed");
        EXPECT_FALSE(m_reads.has_waited());
    }
    EXPECT_FALSE(source_read_has_failed);
    EXPECT_EQ(system.questions, 0);
    EXPECT_EQ(read(4, 3), "3456");
    EXPECT_EQ(system.questions, 1);
}

TEST_F(HintedReads, RefusedHintIsTheLast) {
    fresh_hints system(cache::empty);
    system.refusal = EINVAL;
    m_reads.announce(m_fd, 0, 1);
    system.refusal = 0;
    m_reads.announce(m_fd, 1, 1);
    EXPECT_TRUE(system.given.empty());
    hinted_reads others;
    others.announce(m_fd, 2, 1);
    EXPECT_EQ(system.given.size(), 1u) << "another source may take hints";
}

// A source is opened several times in a run.
TEST_F(HintedReads, FailedReadOfAnotherOpenEndsTheHints) {
    const fresh_hints system(cache::empty);
    hinted_reads others;
    fails();
    others.announce(m_fd, 0, 1);
    EXPECT_TRUE(system.given.empty());
}

}  // namespace

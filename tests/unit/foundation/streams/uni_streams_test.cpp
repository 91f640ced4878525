#include "foundation/streams/uni_streams.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <ostream>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "support/temp_dir.h"

namespace {

constexpr std::uint32_t capacity = 0x40000;

std::vector<std::uint8_t> bytes_of(const std::string& text) { return {text.begin(), text.end()}; }

std::wstring wide(const std::string& ascii) { return {ascii.begin(), ascii.end()}; }

bool append(uni::file_object& file, const std::string& text) {
    const auto bytes = bytes_of(text);
    return file.append(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
}

// During its lifetime no file of this process grows beyond `size` bytes: a write is truncated
// there.
class file_size_limit {
public:
    explicit file_size_limit(rlim_t size) : m_old_handler(std::signal(SIGXFSZ, SIG_IGN)) {
        ::getrlimit(RLIMIT_FSIZE, &m_old);
        const rlimit limit{size, m_old.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~file_size_limit() {
        ::setrlimit(RLIMIT_FSIZE, &m_old);
        std::signal(SIGXFSZ, m_old_handler);
    }
    file_size_limit(const file_size_limit&) = delete;
    file_size_limit& operator=(const file_size_limit&) = delete;

private:
    rlimit m_old{};
    void (*m_old_handler)(int);
};

class FileObject : public testing::Test {
protected:
    // Returns the access mode of the open file and its non-blocking flag.
    int flags() const { return ::fcntl(m_file.fd, F_GETFL) & (O_ACCMODE | 0x800); }

    support::temp_dir m_dir;
    uni::file_object m_file;
};

TEST_F(FileObject, IsInitiallyClosed) {
    EXPECT_EQ(m_file.fd, -1);
    EXPECT_FALSE(m_file.is_open);
    EXPECT_EQ(m_file.get_size(), 0u);
    EXPECT_FALSE(append(m_file, "x"));
    std::vector<std::uint8_t> out;
    EXPECT_FALSE(m_file.read_at(out, 1, 0));
    EXPECT_FALSE(m_file.read_at(out, 0, 0));
    const std::uint8_t byte = 'x';
    EXPECT_FALSE(m_file.append(&byte, 0));
    EXPECT_EQ(m_file.size, 0u);
    EXPECT_EQ(m_file.position, 0u);
    EXPECT_FALSE(m_file.write_mode);
    EXPECT_FALSE(m_file.shared);
    EXPECT_EQ(m_file.attach_stream(), nullptr);
    EXPECT_EQ(m_file.stream, nullptr);
    m_file.close();
}

TEST_F(FileObject, OpensForReading) {
    const std::string path = m_dir.write("file", "hello");
    ASSERT_TRUE(m_file.open(wide(path), false, true, false));
    EXPECT_TRUE(m_file.is_open);
    EXPECT_FALSE(m_file.write_mode);
    EXPECT_TRUE(m_file.shared);
    EXPECT_EQ(m_file.size, 5u);
    EXPECT_EQ(m_file.get_size(), 5u);
    EXPECT_EQ(m_file.path, wide(path));
    EXPECT_FALSE(append(m_file, "x"));
    std::vector<std::uint8_t> part;
    EXPECT_TRUE(m_file.read_at(part, 2, 1));
    EXPECT_EQ(m_file.position, 3u);
    m_file.close();
    EXPECT_FALSE(m_file.is_open);
    EXPECT_EQ(m_file.fd, -1);
    EXPECT_EQ(m_file.size, 0u);
    EXPECT_EQ(m_file.position, 0u);
    EXPECT_FALSE(m_file.shared);
    EXPECT_EQ(m_file.path, L"");
    EXPECT_EQ(support::read_file(path), "hello");
}

TEST_F(FileObject, WritingWithoutTruncationNeedsTheFile) {
    EXPECT_FALSE(m_file.open_for_write(m_dir.file("missing"), true, false, false));
    EXPECT_FALSE(support::file_exists(m_dir.file("missing")));
    const std::string path = m_dir.write("file", "hello");
    ASSERT_TRUE(m_file.open_for_write(path, true, false, false));
    EXPECT_TRUE(m_file.write_mode);
    EXPECT_EQ(m_file.size, 5u);
    EXPECT_TRUE(append(m_file, " world"));
    EXPECT_EQ(m_file.size, 11u);
    EXPECT_EQ(m_file.position, 11u);
    EXPECT_EQ(support::read_file(path), "hello world");
    m_file.close();
    EXPECT_FALSE(m_file.write_mode);
}

TEST_F(FileObject, TruncationCreatesOrEmptiesTheFile) {
    const mode_t old_mask = ::umask(0);
    EXPECT_TRUE(m_file.open_for_write(m_dir.file("new"), true, false, true));
    ::umask(old_mask);
    struct stat status {};
    ASSERT_EQ(::fstat(m_file.fd, &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0606u);

    const std::string path = m_dir.write("old", "hello");
    EXPECT_TRUE(m_file.open_for_write(path, true, false, true));
    EXPECT_EQ(m_file.size, 0u);
    EXPECT_EQ(support::read_file(path), "");
}

TEST_F(FileObject, WritersMayReadAndNothingBlocks) {
    const std::string path = m_dir.write("file", "hello");
    ASSERT_TRUE(m_file.open_for_write(path, false, false, false));
    EXPECT_EQ(flags(), O_RDONLY | 0x800);
    ASSERT_TRUE(m_file.open_for_write(path, true, false, false));
    EXPECT_EQ(flags(), O_RDWR | 0x800);
    ASSERT_TRUE(m_file.open_for_write(path, true, false, true));
    EXPECT_EQ(flags(), O_RDWR | 0x800);
}

TEST_F(FileObject, TruncationIsForWritersOnly) {
    const std::string path = m_dir.write("file", "hello");
    ASSERT_TRUE(m_file.open_for_write(path, false, false, true));
    EXPECT_EQ(flags(), O_RDONLY | 0x800);
    EXPECT_EQ(support::read_file(path), "hello");
}

TEST_F(FileObject, TrailingSeparatorsAreNotPartOfTheName) {
    const std::string path = m_dir.write("file", "hello");
    EXPECT_TRUE(m_file.open(wide(path) + L"/\\//", false, false, false));
    EXPECT_EQ(m_file.path, wide(path));
    EXPECT_FALSE(m_file.open(L"/", false, false, false));
    EXPECT_FALSE(m_file.open(L"\\/", false, false, false));
}

TEST_F(FileObject, RejectsEmptyNamesMissingFilesAndFifosAndIsThenClosed) {
    const std::string path = m_dir.write("file", "hello");
    ASSERT_EQ(::mkfifo(m_dir.file("fifo").c_str(), 0600), 0);
    const std::string refused[] = {"", m_dir.file("missing"), m_dir.file("fifo"), path + "\xFF"};
    for (const auto& name : refused) {
        SCOPED_TRACE(testing::PrintToString(name));
        ASSERT_TRUE(m_file.open_for_write(path, false, true, false));
        EXPECT_FALSE(m_file.open_for_write(name, false, true, false));
        EXPECT_FALSE(m_file.is_open);
        EXPECT_EQ(m_file.fd, -1);
        EXPECT_EQ(m_file.size, 0u);
    }
    EXPECT_FALSE(m_file.open_for_write("", true, false, true));
    EXPECT_FALSE(m_file.open(L"", true, false, true));
}

TEST_F(FileObject, NonAsciiNamesAndOverlongFormsOpenTheDecodedName) {
    m_dir.write("\xC3\xA9", "accent");
    EXPECT_TRUE(m_file.open_for_write(m_dir.file("\xC3\xA9"), false, false, false));
    m_dir.write("a", "plain");
    EXPECT_TRUE(m_file.open_for_write(m_dir.file("\xE0\x81\xA1"), false, false, false));
    EXPECT_EQ(m_file.size, 5u);
}

TEST_F(FileObject, OpeningAnotherFileClosesTheFirst) {
    ASSERT_TRUE(m_file.open_for_write(m_dir.file("one"), true, false, true));
    *m_file.attach_stream() << "first";
    const int fd = m_file.fd;
    ASSERT_TRUE(m_file.open_for_write(m_dir.file("two"), true, false, true));
    EXPECT_EQ(m_file.fd, fd);  // closed and free for reuse
    EXPECT_EQ(m_file.stream, nullptr);
    EXPECT_EQ(support::read_file(m_dir.file("one")), "first");
    EXPECT_TRUE(m_file.open(m_file.path, false, false, false));
    EXPECT_EQ(m_file.path, wide(m_dir.file("two")));
}

TEST_F(FileObject, AppendsAtTheEndRegardlessOfThePosition) {
    ASSERT_TRUE(m_file.open_for_write(m_dir.file("file"), true, false, true));
    EXPECT_TRUE(append(m_file, "abc"));
    ::lseek(m_file.fd, 0, SEEK_SET);
    EXPECT_TRUE(append(m_file, "def"));
    EXPECT_EQ(support::read_file(m_dir.file("file")), "abcdef");
    EXPECT_EQ(m_file.size, 6u);
}

TEST_F(FileObject, AppendFailsForNullAndSucceedsForZeroBytes) {
    ASSERT_TRUE(m_file.open_for_write(m_dir.file("file"), true, false, true));
    EXPECT_FALSE(m_file.append(nullptr, 0));
    EXPECT_FALSE(m_file.append(nullptr, 5));
    const std::uint8_t byte = 'x';
    EXPECT_TRUE(m_file.append(&byte, 0));
    EXPECT_EQ(m_file.get_size(), 0u);

    const std::string path = m_dir.write("read", "hello");
    ASSERT_TRUE(m_file.open_for_write(path, false, false, false));
    EXPECT_TRUE(m_file.append(&byte, 0)) << "nothing is written, so read access is enough";
    EXPECT_EQ(m_file.position, 0u);
}

TEST_F(FileObject, OneByteIsASize) {
    ASSERT_TRUE(m_file.open_for_write(m_dir.file("file"), true, false, true));
    EXPECT_TRUE(append(m_file, "x"));
    EXPECT_EQ(m_file.size, 1u);
    EXPECT_EQ(m_file.get_size(), 1u);
}

TEST_F(FileObject, DeviceThatAcceptsEverythingKeepsSizeZero) {
    ASSERT_TRUE(m_file.open_for_write("/dev/null", true, false, false));
    EXPECT_TRUE(append(m_file, "hello"));
    EXPECT_EQ(m_file.size, 0u);
    EXPECT_EQ(m_file.position, 0u);
}

TEST_F(FileObject, DetectsAFailedWriteButNotAShortOne) {
    ASSERT_TRUE(m_file.open_for_write(m_dir.file("file"), true, false, true));
    bool short_write = false, failed_write = true;
    {
        const file_size_limit limit(5);
        short_write = append(m_file, "hello world");
        failed_write = append(m_file, "more");
    }
    EXPECT_TRUE(short_write);
    EXPECT_FALSE(failed_write);
    EXPECT_EQ(m_file.size, 5u);
    EXPECT_EQ(support::read_file(m_dir.file("file")), "hello");
}

TEST_F(FileObject, GetSizeDoesNotChangeThePosition) {
    ASSERT_TRUE(m_file.open_for_write(m_dir.write("file", "hello"), false, false, false));
    ::lseek(m_file.fd, 3, SEEK_SET);
    EXPECT_EQ(m_file.get_size(), 5u);
    EXPECT_EQ(::lseek(m_file.fd, 0, SEEK_CUR), 3);
    EXPECT_EQ(m_file.get_size(), 5u);
}

TEST_F(FileObject, PseudoFileThatCannotSeekHas256KiB) {
    const std::string path = "/proc/version";
    ASSERT_TRUE(m_file.open_for_write(path, false, false, false));
    errno = 0;
    if (::lseek(m_file.fd, 0, SEEK_END) != -1 || errno != EINVAL)
        GTEST_SKIP() << path << " supports seeking on this kernel";
    EXPECT_EQ(m_file.size, 262144u);
    EXPECT_EQ(m_file.get_size(), 262144u);
    std::vector<std::uint8_t> out;
    EXPECT_TRUE(m_file.read_whole(out, path, 6));
    EXPECT_EQ(out.size(), 6u);
}

TEST_F(FileObject, PseudoFileReturnedInPiecesIsReadAsFarAsRequested) {
    const std::string path = "/proc/self/smaps";
    ASSERT_TRUE(m_file.open_for_write(path, false, false, false));
    std::vector<std::uint8_t> page(5000);
    const ssize_t piece = ::pread(m_file.fd, page.data(), page.size(), 0);
    if (piece <= 0 || piece == 5000)
        GTEST_SKIP() << path << " is returned in one piece on this kernel";
    std::vector<std::uint8_t> out;
    EXPECT_TRUE(m_file.read_at(out, 5000, 0));
    EXPECT_EQ(out.size(), 5000u);
    EXPECT_EQ(std::count(out.begin(), out.end(), 0), 0) << "all bytes are text";
}

// The second of two pages of this process is unmapped: a read of both returns the first, then
// fails.
TEST_F(FileObject, ReadThatFailsAfterItsFirstPieceIsAFailure) {
    const auto page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    void* const pages =
        ::mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(pages, MAP_FAILED);
    std::vector<std::uint8_t> out(2 * page);
    ASSERT_TRUE(m_file.open_for_write("/proc/self/mem", false, false, false));
    ASSERT_EQ(::munmap(static_cast<char*>(pages) + page, page), 0);
    const auto offset = reinterpret_cast<std::uintptr_t>(pages);
    if (::pread(m_file.fd, out.data(), 2 * page, static_cast<off_t>(offset)) !=
        static_cast<ssize_t>(page))
        GTEST_SKIP() << "the memory of this process can't be read in pieces here";
    m_file.size = UINT64_MAX;
    EXPECT_FALSE(m_file.read_at(out, static_cast<std::int64_t>(2 * page), offset));
    EXPECT_TRUE(out.empty());
    ::munmap(pages, page);
}

TEST_F(FileObject, PseudoFileUnderAnotherSpellingHasNoSize) {
    ASSERT_TRUE(m_file.open_for_write("//proc/version", false, false, false));
    EXPECT_EQ(m_file.get_size(), 0u);
    std::vector<std::uint8_t> out;
    EXPECT_FALSE(m_file.read_at(out, 6, 0));
}

TEST_F(FileObject, EmptyFileHasNoSizeEvenAfterAFailureElsewhere) {
    ASSERT_TRUE(m_file.open_for_write(m_dir.write("file", ""), false, false, false));
    errno = EINVAL;
    EXPECT_EQ(m_file.get_size(), 0u);
    m_file.path = L"/proc/somewhere";
    errno = EINVAL;
    EXPECT_EQ(m_file.get_size(), 0u);
}

TEST_F(FileObject, ReadsTheBytesInsideTheFile) {
    ASSERT_TRUE(m_file.open_for_write(m_dir.write("file", "hello"), false, false, false));
    const struct {
        std::int64_t count;
        std::uint64_t offset;
        bool result;
        std::string text;
    } cases[] = {
        {5, 0, true, "hello"},      {2, 1, true, "el"},
        {0, 1, true, ""},           {9, 3, true, "lo"},
        {1, 4, true, "o"},          {1, 5, false, ""},
        {0, 5, false, ""},          {1, 99, false, ""},
        {-1, 0, false, ""},         {INT64_MAX, 0, true, "hello"},
        {1, UINT64_MAX, false, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.count) + " at " + std::to_string(c.offset));
        std::vector<std::uint8_t> out;
        EXPECT_EQ(m_file.read_at(out, c.count, c.offset), c.result);
        EXPECT_EQ(out, bytes_of(c.text));
    }
}

TEST_F(FileObject, ReadsTheRestOfAFileThatShrankAfterItWasOpened) {
    const std::string path = m_dir.write("file", "hello");
    ASSERT_TRUE(m_file.open_for_write(path, false, false, false));
    ASSERT_EQ(::truncate(path.c_str(), 2), 0);
    std::vector<std::uint8_t> out;
    EXPECT_TRUE(m_file.read_at(out, 5, 0));
    EXPECT_EQ(out, bytes_of("he"));
}

TEST_F(FileObject, ReadsOnlyUpToTheSizeOfTheFileWhenItWasOpened) {
    const std::string path = m_dir.write("file", "hello");
    ASSERT_TRUE(m_file.open_for_write(path, false, false, false));
    uni::file_object writer;
    ASSERT_TRUE(writer.open_for_write(path, true, false, false));
    ASSERT_TRUE(append(writer, " world"));
    std::vector<std::uint8_t> out;
    EXPECT_TRUE(m_file.read_at(out, 100, 3));
    EXPECT_EQ(out, bytes_of("lo"));
}

TEST_F(FileObject, DirectoryCanBeOpenedButNotRead) {
    ASSERT_TRUE(m_file.open_for_write(m_dir.path(), false, false, false));
    m_file.size = 10;  // the result of a seek in a directory depends on the file system
    std::vector<std::uint8_t> out;
    EXPECT_FALSE(m_file.read_at(out, 5, 0));
    EXPECT_TRUE(out.empty());
}

TEST_F(FileObject, ReadsAWholeFileUpToTheLimit) {
    const std::string path = m_dir.write("file", "hello");
    std::vector<std::uint8_t> out;
    EXPECT_TRUE(m_file.read_whole(out, path, 100));
    EXPECT_EQ(out, bytes_of("hello"));
    EXPECT_TRUE(m_file.is_open);
    EXPECT_FALSE(m_file.write_mode);
    EXPECT_FALSE(m_file.shared);
    EXPECT_TRUE(m_file.read_whole(out, path, 2));
    EXPECT_EQ(out, bytes_of("he"));
    EXPECT_TRUE(m_file.read_whole(out, path, 0));
    EXPECT_TRUE(out.empty());
    EXPECT_FALSE(m_file.read_whole(out, m_dir.file("missing"), 100));
}

TEST_F(FileObject, ClosingFlushesTheStream) {
    const std::string path = m_dir.file("file");
    ASSERT_TRUE(m_file.open_for_write(path, true, false, true));
    *m_file.attach_stream() << "row " << 1 << '\n';
    EXPECT_EQ(support::read_file(path), "");
    m_file.close();
    EXPECT_EQ(support::read_file(path), "row 1\n");
    EXPECT_EQ(m_file.stream, nullptr);
}

TEST_F(FileObject, DestroyingFlushesTheStream) {
    const std::string path = m_dir.file("file");
    {
        uni::file_object file;
        ASSERT_TRUE(file.open_for_write(path, true, false, true));
        *file.attach_stream() << "kept";
    }
    EXPECT_EQ(support::read_file(path), "kept");
}

TEST_F(FileObject, DestroyingClosesTheDescriptor) {
    int fd = -1;
    {
        uni::file_object file;
        ASSERT_TRUE(file.open_for_write(m_dir.file("file"), true, false, true));
        fd = file.fd;
        EXPECT_NE(::fcntl(fd, F_GETFD), -1);
    }
    EXPECT_EQ(::fcntl(fd, F_GETFD), -1);
}

TEST_F(FileObject, DestroyingABufferWritesItsContents) {
    ASSERT_TRUE(m_file.open_for_write(m_dir.file("file"), true, false, true));
    {
        uni::fileio_output stream(&m_file, 16);
        stream << "kept";
        EXPECT_EQ(m_file.get_size(), 0u);
    }
    EXPECT_EQ(support::read_file(m_dir.file("file")), "kept");
}

TEST_F(FileObject, LineEndWithFlushReachesTheFileAtOnce) {
    const std::string path = m_dir.file("file");
    ASSERT_TRUE(m_file.open_for_write(path, true, false, true));
    *m_file.attach_stream() << "row" << std::endl;
    EXPECT_EQ(support::read_file(path), "row\n");
}

TEST_F(FileObject, StreamBuffers262143BytesAndWrites262144) {
    const std::string path = m_dir.file("file");
    ASSERT_TRUE(m_file.open_for_write(path, true, false, true));
    uni::fileio_output* stream = m_file.attach_stream();
    ASSERT_NE(stream, nullptr);
    EXPECT_TRUE(stream->attached);
    EXPECT_TRUE(stream->streambuf.connected);
    EXPECT_EQ(stream->streambuf.file, &m_file);
    *stream << std::string(262143, 'x');
    EXPECT_EQ(m_file.get_size(), 0u);
    *stream << 'y';
    EXPECT_EQ(m_file.get_size(), 262144u);
    *stream << 'z';
    EXPECT_EQ(m_file.get_size(), 262144u);
    m_file.close();
    EXPECT_EQ(support::read_file(path), std::string(262143, 'x') + "yz");
}

TEST_F(FileObject, FailedWriteMakesTheStreamBad) {
    ASSERT_TRUE(m_file.open_for_write(m_dir.write("file", "hello"), false, false, false));
    uni::fileio_output* stream = m_file.attach_stream();  // the file is open for reading only
    ASSERT_NE(stream, nullptr);
    *stream << "row";
    EXPECT_TRUE(stream->good());
    stream->flush();
    EXPECT_TRUE(stream->bad());
    *stream << "another";
    m_file.close();
    EXPECT_EQ(support::read_file(m_dir.file("file")), "hello");
}

// Records the blocks that it receives, or rejects them.
class recording_buffer : public uni::streambuf_generic_output<char> {
public:
    explicit recording_buffer(std::uint32_t bytes) : streambuf_generic_output<char>(bytes) {}
    std::int64_t write_block(const char* data, std::uint32_t length) override {
        if (refuses) return -1;
        const std::uint32_t taken = std::min(length, most);
        blocks.emplace_back(data, taken);
        return taken;
    }
    using streambuf_generic_output<char>::overflow;

    std::vector<std::string> blocks;
    bool refuses = false;
    std::uint32_t most = UINT32_MAX;  // bytes accepted of one block
};

using blocks = std::vector<std::string>;

TEST(OutputBuffer, WritesOneBlockPerFullBuffer) {
    recording_buffer buffer(capacity);
    std::ostream stream(&buffer);
    stream << std::string(262143, 'a');
    EXPECT_EQ(buffer.blocks.size(), 0u);
    stream << 'b';
    ASSERT_EQ(buffer.blocks.size(), 1u);
    EXPECT_EQ(buffer.blocks[0], std::string(262143, 'a') + 'b');
    stream << std::string(3 * capacity, 'c') << std::flush;
    ASSERT_EQ(buffer.blocks.size(), 4u);
    for (std::size_t i = 1; i < 4; ++i)
        EXPECT_EQ(buffer.blocks[i], std::string(capacity, 'c'));
}

TEST(OutputBuffer, ReservesItsLastByteForTheCharacterThatOverflows) {
    recording_buffer buffer(4);
    std::ostream stream(&buffer);
    stream << "abc";
    EXPECT_EQ(buffer.blocks, blocks{});
    stream << "d";
    EXPECT_EQ(buffer.blocks, (blocks{"abcd"}));
    stream << "efghij" << std::flush;
    EXPECT_EQ(buffer.blocks, (blocks{"abcd", "efgh", "ij"}));
    stream << std::flush;
    EXPECT_EQ(buffer.blocks.size(), 3u);
}

TEST(OutputBuffer, OverflowReturnsItsCharacterOrZero) {
    recording_buffer buffer(4);
    const int end = std::char_traits<char>::eof();
    EXPECT_EQ(buffer.overflow('x'), 'x');
    EXPECT_EQ(buffer.overflow(end), 0);
    EXPECT_EQ(buffer.overflow(0xFF), 0xFF);
    EXPECT_EQ(buffer.blocks, (blocks{"x", "\xFF"}));
    EXPECT_EQ(buffer.flush_buffer(), 0);
}

TEST(OutputBuffer, BufferOfOneByteWritesEachByteSeparately) {
    recording_buffer buffer(1);
    std::ostream stream(&buffer);
    stream << "ab";
    EXPECT_EQ(buffer.blocks, (blocks{"a", "b"}));
}

TEST(OutputBuffer, InactiveBufferAcceptsNothing) {
    recording_buffer buffer(4);
    buffer.active = false;
    EXPECT_EQ(buffer.overflow('x'), std::char_traits<char>::eof());
    EXPECT_EQ(buffer.flush_buffer(), 0);
    EXPECT_EQ(buffer.blocks, blocks{});
}

TEST(OutputBuffer, RejectedBlockIsAFailureAndWritesNothingOutsideTheBuffer) {
    recording_buffer buffer(4);
    buffer.refuses = true;
    std::ostream stream(&buffer);
    stream << "abcd";
    EXPECT_TRUE(stream.bad());
    EXPECT_EQ(buffer.flush_buffer(), -1);
    stream.clear();
    stream << "efgh";
    EXPECT_TRUE(stream.bad());
    EXPECT_EQ(buffer.overflow('x'), std::char_traits<char>::eof());
    buffer.refuses = false;
    EXPECT_EQ(buffer.flush_buffer(), 0);
    EXPECT_EQ(buffer.blocks, (blocks{"abcd"}));
}

TEST(OutputBuffer, ContinuesAfterAPartialWrite) {
    recording_buffer buffer(8);
    buffer.most = 3;
    std::ostream stream(&buffer);
    stream << "abcdefg" << std::flush;
    EXPECT_TRUE(stream.good());
    EXPECT_EQ(buffer.blocks, (blocks{"abc", "def", "g"}));
}

TEST(OutputBuffer, WriteOfZeroBytesIsAFailure) {
    recording_buffer buffer(8);
    buffer.most = 0;
    std::ostream stream(&buffer);
    stream << "abc" << std::flush;
    EXPECT_TRUE(stream.bad());
    EXPECT_EQ(buffer.blocks, (blocks{""}));
}

TEST(OutputBuffer, CannotBeCopied) {
    EXPECT_FALSE(std::is_copy_constructible_v<recording_buffer>);
    EXPECT_FALSE(std::is_copy_constructible_v<uni::fileio_ostream>);
}

TEST(OutputBuffer, WithoutAFileFails) {
    uni::fileio_output stream(nullptr, 16);
    EXPECT_FALSE(stream.attached);
    EXPECT_FALSE(stream.streambuf.connected);
    stream << "text" << std::flush;
    EXPECT_TRUE(stream.bad());
}

TEST(NullOut, DiscardsEverythingAndRemainsGood) {
    uni::null_out << "text" << 1 << 2.5 << std::string(100000, 'x') << std::endl;
    EXPECT_TRUE(uni::null_out.good());
}

}  // namespace

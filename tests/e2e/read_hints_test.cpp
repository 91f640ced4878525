// Hints about the reads that follow: they change no output, name only what is read later, and end
// with the first failed read.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "e2e/system_faults.h"
#include "e2e/whole_run.h"
#include "support/ntfs_image.h"
#include "support/system_hints.h"
#include "support/temp_dir.h"
#include "support/vmdk_image.h"

namespace {

using e2e::system_fault;
using e2e::takes_no_faults;
using e2e::whole_run;
using e2e::with_faults;
using words = std::vector<std::string>;

constexpr std::uint64_t root = 5;
constexpr std::uint64_t first_file = 64;
constexpr std::uint64_t num_files = 100;
constexpr std::uint64_t step = 9;  // entries from one file to the next: more than two pages
constexpr std::uint64_t record_size = 1024;

// A call on the source, as the log contains it.
struct logged_call {
    std::string kind;  // "read" or "hint"
    std::string path;
    std::uint64_t offset = 0;
    std::uint64_t size = 0;
};

// Without faults of its own, nothing is cached: each read has to wait.
const system_fault nothing_cached{.call = "cached", .path = "*", .effect = "EAGAIN"};
const system_fault all_cached{.call = "cached", .path = "*", .effect = "allowed"};

class ReadHints : public testing::Test {
protected:
    ReadHints() {
        for (std::uint64_t i = 0; i < num_files; ++i) {
            const std::string digits = std::to_string(i);
            m_volume.file(root, std::u16string(digits.begin(), digits.end()), first_file + i * step)
                .data("x");
        }
        m_image = m_volume.save(m_dir.file("volume.dd"));
    }
    void SetUp() override {
        if (takes_no_faults()) GTEST_SKIP() << "this runner's own calls would fail";
    }

    whole_run run(const words& arguments, const std::vector<system_fault>& faults) {
        std::remove(log().c_str());
        return whole_run(arguments, with_faults(faults, log()));
    }
    std::string log() const { return m_dir.file("log"); }
    std::vector<logged_call> calls(const std::string& kind) const {
        std::vector<logged_call> found;
        std::istringstream lines(support::read_file(log()));
        for (std::string line; std::getline(lines, line);) {
            std::istringstream fields(line);
            logged_call call;
            fields >> call.kind >> call.path >> call.offset >> call.size;
            if (call.kind == kind) found.push_back(call);
        }
        return found;
    }
    // Returns true if one hint is exactly this range.
    bool is_announced(std::uint64_t offset, std::uint64_t size) const {
        for (const logged_call& hint : calls("hint")) {
            if (hint.offset == offset && hint.size == size) return true;
        }
        return false;
    }
    void expect_hints_are_read() const {
        for (const logged_call& hint : calls("hint")) {
            bool is_read = false;
            for (const logged_call& read : calls("read")) {
                is_read |= read.path == hint.path && read.offset < hint.offset + hint.size &&
                           hint.offset < read.offset + read.size;
            }
            EXPECT_TRUE(is_read) << hint.path << " " << hint.offset << " " << hint.size;
        }
    }

    support::temp_dir m_dir;
    support::ntfs_image m_volume{{.mft_records = 1024}};
    std::string m_image;
};

TEST_F(ReadHints, RecordsOfTheChildrenAreAnnounced) {
    const words listing = {"\\", "-image", m_image, "-filepath_only"};
    const whole_run plain(listing);
    const whole_run hinted = run(listing, {nothing_cached});
    EXPECT_EQ(hinted.out(), plain.out());
    EXPECT_EQ(hinted.errors(), plain.errors());
    for (std::uint64_t i = 0; i < num_files; ++i)
        EXPECT_TRUE(is_announced(m_volume.record_pos(first_file + i * step), record_size)) << i;
    expect_hints_are_read();
}

TEST_F(ReadHints, PathLookupAnnouncesRecordsToo) {
    run({"\\7", "-image", m_image, "-filepath_only"}, {nothing_cached})
        .expect_bare(0, ".\\7\n", e2e::terminal_clearing);
    EXPECT_TRUE(is_announced(m_volume.record_pos(first_file), record_size));
    expect_hints_are_read();
}

TEST_F(ReadHints, WhatIsCachedIsReadWithoutHints) {
    const words listing = {"\\", "-image", m_image, "-filepath_only"};
    const std::string content = support::read_file(m_image);  // now it is in the cache
    const whole_run first = run(listing, {all_cached});
    if (!support::reads_cached_bytes(m_image))
        GTEST_SKIP() << "this system does not say what is cached";
    EXPECT_EQ(first.out(), whole_run(listing).out());
    EXPECT_TRUE(calls("hint").empty()) << "of a file of " << content.size() << " bytes";
}

// The records of the root's children are announced at once, before the first of them fails.
TEST_F(ReadHints, FailedReadIsFollowedByNone) {
    m_volume.directory(root, u"sub", 40);
    m_volume.file(40, u"a", 500).data("x");
    m_volume.file(40, u"b", 600).data("x");
    m_image = m_volume.save(m_image);
    const words listing = {"\\", "-image", m_image, "-filepath_only", "-level", "2"};
    const std::string rows = run(listing, {nothing_cached}).out();
    EXPECT_NE(rows.find("\n\\0\n"), std::string::npos);
    EXPECT_TRUE(is_announced(m_volume.record_pos(first_file), record_size));
    EXPECT_TRUE(is_announced(m_volume.record_pos(600), record_size));

    const auto position = static_cast<std::int64_t>(m_volume.record_pos(first_file));
    const system_fault bad_child{.call = "read",
                                 .path = "volume.dd",
                                 .effect = "EIO",
                                 .offset = position,
                                 .end = position + 1024};
    const std::string fewer_rows = run(listing, {nothing_cached, bad_child}).out();
    EXPECT_EQ(fewer_rows, std::string(rows).erase(rows.find("\n\\0\n"), 3));
    EXPECT_TRUE(is_announced(m_volume.record_pos(first_file), record_size));
    EXPECT_FALSE(is_announced(m_volume.record_pos(600), record_size));
}

// A run opens its source for the check of the offset, and again for each path.
TEST_F(ReadHints, FailedReadOfTheCheckIsFollowedByNone) {
    const system_fault first_read{
        .call = "read", .path = "volume.dd", .effect = "EIO", .first = 1, .last = 1};
    run({"\\", "-image", m_image, "-filepath_only"}, {nothing_cached, first_read});
    EXPECT_FALSE(calls("read").empty());
    EXPECT_TRUE(calls("hint").empty());
}

TEST_F(ReadHints, SystemThatRefusesAHintGetsNoOther) {
    const words listing = {"\\", "-image", m_image, "-filepath_only"};
    const system_fault refused{
        .call = "hint", .path = "*", .effect = "EINVAL", .first = 1, .last = 1};
    const whole_run plain(listing);
    EXPECT_EQ(run(listing, {nothing_cached, refused}).out(), plain.out());
    EXPECT_TRUE(calls("hint").empty());
}

TEST_F(ReadHints, ChainAnnouncesInTheFilesThatHoldTheGrains) {
    const std::string base =
        support::vmdk_image().content(m_volume.build()).save(m_dir.file("base.vmdk"));
    const words listing = {"\\", "-image", m_image, "-vmdk", base, "-filepath_only"};
    const whole_run plain(listing);
    const whole_run hinted = run(listing, {nothing_cached});
    EXPECT_EQ(hinted.status(), 0);
    EXPECT_EQ(hinted.out(), plain.out());
    EXPECT_FALSE(calls("hint").empty());
    for (const logged_call& hint : calls("hint"))
        EXPECT_TRUE(hint.path.ends_with("base.vmdk")) << hint.path;
    expect_hints_are_read();
}

}  // namespace

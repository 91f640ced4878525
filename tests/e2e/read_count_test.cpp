// The number of reads of the source that a listing makes.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "e2e/system_faults.h"
#include "e2e/whole_run.h"
#include "support/ntfs_image.h"
#include "support/temp_dir.h"

namespace {

using e2e::terminal_clearing;
using e2e::whole_run;
using e2e::with_faults;
using words = std::vector<std::string>;

constexpr std::uint64_t dir_num = 40, first_child = 100;

// Returns a name that contains `number`.
std::u16string name_of(const std::string& start, std::uint64_t number) {
    const std::string name = start + std::to_string(number);
    return {name.begin(), name.end()};
}

// Lists \dir of a volume.
class ReadCount : public testing::Test {
protected:
    ReadCount() {
        m_volume.directory(5, u"dir", dir_num);
        m_volume.index(dir_num).in_blocks();
    }
    void SetUp() override {
        if (e2e::takes_no_faults()) GTEST_SKIP() << "this runner's own calls would fail";
    }

    // Runs a listing in which all reads of the source after the first `count` fail.
    whole_run listing(std::uint64_t count, const words& options = {}) const {
        words arguments = {"\\dir", "-image", m_volume.save(m_dir.file("volume.dd")),
                           "-filepath_only"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        return whole_run(
            arguments,
            with_faults(
                {{.call = "read", .path = "volume.dd", .effect = "EIO", .first = count + 1}}));
    }

    support::temp_dir m_dir;
    support::ntfs_image m_volume;
};

// The record of a file is read once. The index, the lookup of the path and the volume itself need
// less than one read for each ten files.
TEST_F(ReadCount, ListingNeedsAtMostElevenReadsForTenFiles) {
    constexpr std::uint64_t count = 200;
    std::string paths = "\\dir\\\n";
    for (std::uint64_t number = first_child; number < first_child + count; ++number) {
        m_volume.file(dir_num, name_of("file ", number), number).data("content").stream(u"s", "1");
        const std::string path = "\\dir\\file " + std::to_string(number);
        paths += path + "\n" + path + ":s\n";
    }
    listing(count * 110 / 100).expect_bare(0, paths, terminal_clearing);
    EXPECT_NE(listing(count).out(), paths) << "the volume itself needs reads, too";
}

// The record of a subdirectory is read for its row in the parent, for its own listing and for its
// index.
TEST_F(ReadCount, SubdirectoryNeedsThreeReads) {
    constexpr std::uint64_t count = 100, most_other_reads = 20;
    std::string paths = "\\dir\\\n";
    for (std::uint64_t number = first_child; number < first_child + count; ++number) {
        m_volume.directory(dir_num, name_of("sub ", number), number);
        paths += "\\dir\\sub " + std::to_string(number) + "\\\n";
    }
    const words levels = {"-level", "2"};
    listing(3 * count + most_other_reads, levels).expect_bare(0, paths, terminal_clearing);
    EXPECT_NE(listing(3 * count, levels).out(), paths) << "the volume itself needs reads, too";
}

}  // namespace

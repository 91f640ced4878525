// The number of reads of the source that a listing makes.
#include <gtest/gtest.h>

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

// \dir (40) with the files "file 100" to "file 299" (100 to 299), each with a stream.
class ReadCount : public testing::Test {
protected:
    ReadCount() {
        support::ntfs_image volume;
        volume.directory(5, u"dir", 40);
        volume.index(40).in_blocks();
        for (std::uint64_t number = 100; number < 100 + file_count; ++number) {
            const std::string name = "file " + std::to_string(number);
            volume.file(40, std::u16string(name.begin(), name.end()), number)
                .data("content")
                .stream(u"s", "1");
            m_paths += "\\dir\\" + name + "\n\\dir\\" + name + ":s\n";
        }
        m_image = volume.save(m_dir.file("volume.dd"));
    }
    void SetUp() override {
        if (e2e::takes_no_faults()) GTEST_SKIP() << "this runner's own calls would fail";
    }

    // Runs a listing in which all reads of the source after the first `count` fail.
    whole_run listing(std::uint64_t count) const {
        return whole_run(
            {"\\dir", "-image", m_image, "-filepath_only"},
            with_faults(
                {{.call = "read", .path = "volume.dd", .effect = "EIO", .first = count + 1}}));
    }

    static constexpr std::uint64_t file_count = 200;
    support::temp_dir m_dir;
    std::string m_image;
    std::string m_paths = "\\dir\\\n";
};

// The record of a file is read once. The index, the lookup of the path and the volume itself need
// less than one read for each ten files.
TEST_F(ReadCount, ListingNeedsAtMostElevenReadsForTenFiles) {
    listing(file_count * 110 / 100).expect_bare(0, m_paths, terminal_clearing);
}

// Each file is read from the source, so that a failing read loses it.
TEST_F(ReadCount, ListingNeedsAReadForEachFile) { EXPECT_NE(listing(file_count).out(), m_paths); }

}  // namespace

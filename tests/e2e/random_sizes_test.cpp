// Random run lists whose lengths the source cannot hold. A model follows the runs cluster by
// cluster; the listing is that of what they reach, and memory follows the source.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "e2e/indexed_volume.h"
#include "e2e/memory_limit.h"
#include "e2e/whole_run.h"
#include "support/ntfs_image.h"
#include "support/temp_dir.h"
#include "support/vmdk_image.h"

namespace {

using e2e::cluster;
using e2e::clusters;
using e2e::directory;
using e2e::first_file;
using e2e::indexed_volume;
using e2e::longest_run;
using e2e::paths;
using e2e::root;
using support::cluster_runs;
using support::hole;
using support::ntfs_image;

constexpr std::uint64_t num_pieces = 4;  // index blocks, or clusters of an attribute list

class RandomSizes : public testing::Test {
protected:
    // Returns a number below `end`.
    std::uint64_t number(std::uint64_t end) {
        return std::uniform_int_distribution<std::uint64_t>(0, end - 1)(m_random);
    }
    // Returns the length of a run: one in three is longer than the source.
    std::uint64_t run_length() { return number(3) == 0 ? 1 + number(longest_run) : 1 + number(6); }
    // Returns one to four runs at or near the pieces at `lcn`. Some are holes if those are wanted,
    // others start past the end of the source. None starts where the one before it does, because a
    // step of 0 is a hole.
    cluster_runs random_runs(std::uint64_t lcn, bool with_holes) {
        cluster_runs runs;
        std::uint64_t last_start = 0;
        for (std::uint64_t i = 1 + number(4); i-- > 0;) {
            const bool is_hole = with_holes && number(4) == 0;
            const std::uint64_t past_the_end = number(5) == 0 ? clusters : 0;
            const std::uint64_t start = is_hole ? hole : lcn - 3 + number(8) + past_the_end;
            if (!is_hole && start == std::exchange(last_start, start)) continue;
            runs.push_back({start, run_length()});
        }
        return runs;
    }

    // Lists \dir of a source that contains `image`, and expects these paths, little memory and an
    // end within seconds. `source` are the words that name it.
    void expect_paths(std::vector<std::string> source, std::uint64_t size,
                      const std::string& expected) const {
        source.insert(source.begin(), {"\\dir", "-filepath_only"});
        const auto started = std::chrono::steady_clock::now();
        const support::program_result result = support::run_built_program(QUORVEL_PROGRAM, source);
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.standard_output, expected);
        EXPECT_EQ(result.standard_error, e2e::terminal_clearing);
        if (!support::runner().empty()) return;  // it has a time and a memory of its own
        EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(10));
        EXPECT_LE(result.peak_memory, e2e::memory_limit(valid_peak(), size));
    }
    void expect_paths(const support::byte_image& image, const std::string& expected) const {
        expect_paths({"-image", image.save(dir.file("image.dd"))}, image.size(), expected);
    }

    support::temp_dir dir;

private:
    std::uint64_t valid_peak() const {
        return support::run_built_program(
                   QUORVEL_PROGRAM, {"\\dir", "-filepath_only", "-image", dir.file("valid.dd")})
            .peak_memory;
    }
    void SetUp() override {
        indexed_volume volume;
        volume.with_index({{volume.lcn, 3}}).save(dir.file("valid.dd"));
    }

    std::mt19937 m_random{20261122};
};

// Returns which of the pieces at `lcn` the runs reach.
std::vector<bool> reached_pieces(const cluster_runs& runs, std::uint64_t lcn) {
    std::vector<bool> reached(num_pieces, false);
    for (const support::cluster_run& run : runs) {
        if (run.lcn >= clusters) continue;  // past the source, or a hole
        for (std::uint64_t piece = 0; piece < num_pieces; ++piece) {
            const std::uint64_t at = lcn + piece;
            if (at >= run.lcn && at - run.lcn < run.count) reached[piece] = true;
        }
    }
    return reached;
}

// The listing of an index of four blocks under these runs. If all of them are holes, none is read.
std::string paths_in_blocks(const cluster_runs& runs, std::uint64_t lcn) {
    const std::vector<bool> reached = reached_pieces(runs, lcn);
    std::string expected = paths(0, 0);
    for (std::size_t block = 0; block < num_pieces; ++block) {
        if (reached[block]) {
            expected += paths(block * 4, block * 4 + 4).substr(paths(0, 0).size());
        }
    }
    return expected;
}

TEST_F(RandomSizes, RunsOfAnIndexListWhatTheyReach) {
    for (int round = 0; round < 60; ++round) {
        SCOPED_TRACE(round);
        indexed_volume volume(num_pieces);
        const cluster_runs runs = random_runs(volume.lcn, true);
        expect_paths(volume.with_index(runs), paths_in_blocks(runs, volume.lcn));
    }
}

// The same on a virtual disk, of the size of the volume or larger. Past the volume it contains
// zeros, which are no index blocks.
TEST_F(RandomSizes, RunsOfAnIndexOnAVirtualDiskListWhatTheyReach) {
    for (int round = 0; round < 40; ++round) {
        SCOPED_TRACE(round);
        indexed_volume volume(num_pieces, 1000 + number(clusters - 1000 - num_pieces));
        const cluster_runs runs = random_runs(volume.lcn, true);
        const support::byte_image image = volume.with_index(runs);
        support::vmdk_image disk;
        disk.content(image);
        if (number(2) == 0) disk.put(12, std::uint64_t{1} << (20 + number(34)), 8);
        // The program needs an image that it can open, and then lists the virtual disk.
        expect_paths(
            {"-image", image.save(dir.file("image.dd")), "-vmdk", disk.save(dir.file("disk.vmdk"))},
            image.size(), paths_in_blocks(runs, volume.lcn));
    }
}

// --- attribute lists ---

constexpr std::uint64_t list_lcn = clusters - num_pieces;  // the last clusters of the source

// \dir with the file a, whose attribute list is in clusters. Each cluster of the list is one entry,
// which leads to a stream in a record of its own.
ntfs_image listed_volume(const cluster_runs& runs, std::uint64_t real) {
    ntfs_image volume({.clusters = clusters + 16});
    volume.directory(root, u"dir", directory);
    volume.file(directory, u"a", first_file).data("x");
    std::vector<support::list_entry> entries;
    for (std::uint64_t i = 0; i < num_pieces; ++i) {
        const std::u16string name = {u's', static_cast<char16_t>(u'0' + i)};
        const auto id = static_cast<std::uint16_t>(9 + i);
        volume.entry(80 + i).base(volume.reference(first_file)).stream(name, "more").id(id);
        entries.push_back({.type = support::type::data,
                           .name = name,
                           .record = volume.reference(80 + i),
                           .id = id,
                           .length = static_cast<std::uint16_t>(cluster)});
    }
    volume.reserve(list_lcn, num_pieces);
    volume.write_clusters(list_lcn, support::attribute_list_value(entries));
    volume.entry(first_file).attribute_list_runs(runs, {.real = real});
    return volume;
}

// The streams that a list of `real` bytes under these runs leads to, in the order of their ids. An
// entry of zeros, such as in the clusters before the list, ends it; a run that starts past the
// source has no clusters.
std::string streams_of_list(const cluster_runs& runs, std::uint64_t real) {
    std::vector<bool> reached(num_pieces, false);
    std::uint64_t entries_left = real / cluster + (real % cluster != 0 ? 1 : 0);
    for (const support::cluster_run& run : runs) {
        for (std::uint64_t lcn = run.lcn; lcn < clusters && lcn - run.lcn < run.count; ++lcn) {
            if (lcn < list_lcn) entries_left = 0;
            if (entries_left == 0) break;
            --entries_left;
            reached[lcn - list_lcn] = true;
        }
    }
    std::string text;
    for (std::size_t i = 0; i < num_pieces; ++i) {
        if (reached[i]) text += "\\dir\\a:s" + std::to_string(i) + "\n";
    }
    return text;
}

TEST_F(RandomSizes, RunsOfAnAttributeListListWhatTheyReach) {
    for (int round = 0; round < 60; ++round) {
        SCOPED_TRACE(round);
        const cluster_runs runs = random_runs(list_lcn, false);
        const std::uint64_t real = number(2) == 0 ? ~number(1000) : 1 + number(5 * cluster);
        support::byte_image image = listed_volume(runs, real).build();
        expect_paths(image.resize(clusters * cluster),
                     "\\dir\\\n\\dir\\a\n" + streams_of_list(runs, real));
    }
}

}  // namespace

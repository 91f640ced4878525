// Images that state huge sizes: the damage costs a row or a path, and the memory of a run is
// bounded by the size of the source.
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "e2e/memory_limit.h"
#include "e2e/report_head.h"
#include "support/directory_index.h"
#include "support/ntfs_image.h"
#include "support/partition_image.h"
#include "support/temp_dir.h"
#include "support/vmdk_image.h"

namespace {

using support::bytes;
using support::ntfs_image;
using words = std::vector<std::string>;

constexpr std::uint64_t root = 5;
constexpr std::uint64_t mib = 1024 * 1024;
constexpr std::uint64_t all_32 = 0xFFFFFFFF;
constexpr std::uint64_t all_63 = 0x7FFFFFFFFFFFFFFF;

// The volume of the tests: \dir (40) with the files a to e (64 to 68).
ntfs_image valid_volume(const support::ntfs_geometry& geometry = {}) {
    ntfs_image volume(geometry);
    volume.directory(root, u"dir", 40);
    for (std::uint64_t i = 0; i < 5; ++i) {
        volume.file(40, std::u16string(1, static_cast<char16_t>(u'a' + i)), 64 + i).data("x");
    }
    return volume;
}

std::string files(const std::string& letters) {
    std::string text = "\\dir\\\n";
    for (const char letter : letters)
        text += std::string("\\dir\\") + letter + "\n";
    return text;
}

class HostileSizes : public testing::Test {
protected:
    void SetUp() override {
        if (!support::runner().empty()) {
            GTEST_SKIP() << "the memory of a runner is not that of the program";
        }
        valid_volume().save(dir.file("valid.dd"));
        ASSERT_EQ(list_valid_volume().standard_output, files("abcde"));
    }

    static support::program_result run(const words& arguments,
                                       const support::program_options& options = {}) {
        return support::run_built_program(QUORVEL_PROGRAM, arguments, options);
    }

    support::program_result list_valid_volume() const {
        return run({"\\dir", "-filepath_only", "-image", dir.file("valid.dd")});
    }

    // Returns the memory limit of a run. The valid volume is listed at each call, because the size
    // of this process is included in both runs.
    std::uint64_t memory_bound(std::uint64_t source_size) const {
        return e2e::memory_limit(list_valid_volume().peak_memory, source_size);
    }

    // Lists an image and expects status 0, the listing `paths` and little memory.
    void expect_listing(const support::byte_image& image, const std::string& paths,
                        const std::string& path = "\\dir") {
        const std::string file = image.save(dir.file("hostile.dd"));
        const support::program_result result = run({path, "-filepath_only", "-image", file});
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.standard_output, paths);
        EXPECT_EQ(result.standard_error, e2e::terminal_clearing);
        EXPECT_LE(result.peak_memory, memory_bound(image.size()));
    }

    support::temp_dir dir;
};

// Returns the position of the attribute of that type in a built record.
std::uint64_t attribute_pos(const support::byte_image& image, std::uint64_t record,
                            std::uint32_t type) {
    std::uint64_t at = record + image.get(record + 20, 2);
    for (; image.get(at, 4) != type; at += image.get(at + 4, 4)) {
        if (image.get(at, 4) == support::type::end) throw std::logic_error("no such attribute");
    }
    return at;
}

// --- fields of attributes ---

struct field {
    const char* name;
    std::uint64_t record;
    std::uint32_t type;
    std::uint64_t at;  // from the attribute's header
    std::size_t width;
    std::uint64_t value;
};

// \dir with its index in blocks; 66 has two clusters of data.
ntfs_image volume_of_fields() {
    ntfs_image volume = valid_volume();
    volume.index(40).in_blocks();
    volume.entry(66).remove(support::type::data).data_runs(volume.store(support::pattern(8192)));
    return volume;
}

TEST_F(HostileSizes, SizesInAttributesCostNoMemory) {
    using namespace support::type;
    const support::byte_image image = volume_of_fields().build();
    const ntfs_image places = volume_of_fields();
    for (const field& claim :
         {field{"allocated size", 66, data, 40, 8, all_63},
          {"real size", 66, data, 48, 8, all_63},
          {"initialised size", 66, data, 56, 8, all_63},
          {"first VCN", 66, data, 16, 8, all_63},
          {"last VCN", 66, data, 24, 8, all_63},
          {"run list offset", 66, data, 32, 2, 0xFFFF},
          {"compression unit", 66, data, 34, 1, 0xFF},
          {"length of a value", 65, data, 16, 4, all_32},
          {"length of a name's value", 65, file_name, 16, 4, all_32},
          {"length of a name", 65, file_name, 24 + 64, 1, 0xFF},
          {"allocated size of an index", 40, index_allocation, 40, 8, all_63},
          {"real size of an index", 40, index_allocation, 48, 8, all_63},
          {"initialised size of an index", 40, index_allocation, 56, 8, all_63},
          {"allocated size of $MFT", 0, data, 40, 8, all_63},
          {"real size of $MFT", 0, data, 48, 8, all_63},
          {"initialised size of $MFT", 0, data, 56, 8, all_63},
          {"real size of $Bitmap", 6, data, 48, 8, all_63}}) {
        SCOPED_TRACE(claim.name);
        support::byte_image changed = image;
        const std::uint64_t record = places.record_pos(claim.record);
        changed.put(attribute_pos(image, record, claim.type) + claim.at, claim.value, claim.width);
        expect_listing(changed, files("abcde"));
    }
}

TEST_F(HostileSizes, ReparsePointLongerThanItsRecordCostsNoMemory) {
    ntfs_image volume = valid_volume();
    volume.entry(66).reparse(support::mount_point_tag, u"\\??\\C:\\dir",
                             {.print = u"C:\\dir",
                              .substitute_length = 0xFFFF,
                              .print_length = 0xFFFF,
                              .data_length = 0xFFFF});
    expect_listing(volume.build(), files("abcde"));
}

// --- run lists ---

// Runs of one length, each starting a cluster after the previous one: a step of 0 would be a hole.
support::cluster_runs repeated_runs(std::uint64_t lcn, std::uint64_t clusters) {
    support::cluster_runs runs;
    for (std::uint64_t i = 0; i < 20; ++i)
        runs.push_back({lcn + i, clusters});
    return runs;
}

const std::vector<support::cluster_runs> huge_runs = {
    {{100, all_32}},
    {{support::hole, all_32}},
    {{100, 1}, {support::hole, all_32}, {101, all_32}},
    repeated_runs(100, all_32),
    repeated_runs(1, 200),  // each of them fits into the volume
};

TEST_F(HostileSizes, RunsOfDataCostNoMemory) {
    for (const support::cluster_runs& runs : huge_runs) {
        ntfs_image volume = valid_volume();
        volume.entry(66).remove(support::type::data).data_runs(runs);
        expect_listing(volume.build(), files("abcde"));
    }
}

// The children are in the root of the index. Holes of an index are not read: an index of nothing
// but holes is damaged as a whole.
std::string listed_beside(const support::cluster_runs& runs) {
    const bool has_place = runs.size() > 1 || runs[0].lcn != support::hole;
    return files(has_place ? "abcde" : "");
}

TEST_F(HostileSizes, RunsOfAnIndexCostNoMemory) {
    for (const support::cluster_runs& runs : huge_runs) {
        ntfs_image volume = valid_volume();
        volume.entry(40).nonresident(support::type::index_allocation, u"$I30", runs);
        expect_listing(volume.build(), listed_beside(runs));
    }
}

// Blocks that an index names repeatedly, and entries that its blocks repeat, add nothing.
TEST_F(HostileSizes, EntriesOfAnIndexThatAreRepeatedCostNoMemory) {
    constexpr std::uint64_t blocks = 1000;
    std::vector<support::index_entry> entries;
    for (std::uint64_t i = 0; i < 40; ++i) {
        entries.push_back({.reference = support::file_reference(1000000 + i, 1),
                           .key = support::file_name_value(40, u"x")});
    }
    bytes content = support::index_entries(entries);
    const bytes end = support::index_end_entry();
    content.insert(content.end(), end.begin(), end.end());
    ntfs_image volume = valid_volume({.clusters = 1536});
    const std::uint64_t lcn = volume.alloc(blocks + 1);
    for (std::uint64_t i = 0; i <= blocks; ++i)
        volume.write_clusters(lcn + i, support::index_block(content, {.vcn = i}));
    support::cluster_runs runs;
    for (std::uint64_t i = 0; i < 95; ++i)
        runs.push_back({lcn + i % 2, blocks});
    volume.entry(40).nonresident(support::type::index_allocation, u"$I30", runs);
    expect_listing(volume.build(), files("abcde"));
}

// Returns the image without the partial cluster at its end, which contains the copy of the boot
// sector.
support::byte_image whole_clusters(const ntfs_image& volume) {
    support::byte_image image = volume.build();
    return image.resize(image.size() / 4096 * 4096);
}

TEST_F(HostileSizes, RunsOfAnAttributeListCostNoMemory) {
    for (const support::cluster_runs& runs : huge_runs) {
        ntfs_image volume = valid_volume();
        volume.entry(66).attribute_list_runs(runs, {.real = all_63});
        expect_listing(whole_clusters(volume), files("abcde"));
        // Without index blocks in the record, they are searched in the directory's list.
        volume.entry(40).attribute_list_runs(runs, {.real = all_63});
        expect_listing(whole_clusters(volume), files("abcde"));
    }
}

// If the runs of a list extend past a partial cluster at the end of the source, the length of that
// part becomes the cluster size: no entry is found from then on. The last list of runs is inside
// the volume.
TEST_F(HostileSizes, AttributeListPastTheEndLowersTheClusterSize) {
    for (const support::cluster_runs& runs : huge_runs) {
        const bool is_inside = runs.front().count == 200;
        ntfs_image volume = valid_volume();
        ASSERT_NE(volume.build().size() % 4096, 0u);
        volume.entry(66).attribute_list_runs(runs, {.real = 32});
        expect_listing(volume.build(), files(is_inside ? "abcde" : "ab"));
        volume.entry(40).attribute_list_runs(runs, {.real = 32});
        expect_listing(volume.build(), is_inside ? files("abcde") : "");
    }
}

TEST_F(HostileSizes, RunsOfTheMftCostNoMemory) {
    ntfs_image volume = valid_volume();
    support::cluster_runs runs = volume.mft_runs();
    runs.insert(runs.end(), {{100, all_32}, {support::hole, all_32}, {3, all_32}});
    volume.entry(0).data_runs(runs);
    expect_listing(volume.build(), files("abcde"));
}

// --- the security stream, which opening the volume reads ---

void ask_for_security(ntfs_image& volume) {
    volume.security().add(0x100, bytes(64));
    volume.entry(6)
        .remove(support::type::standard_information)
        .standard_information({.security_id = 0x100});
}

TEST_F(HostileSizes, SecurityStreamOfHolesIsNotLoaded) {
    for (const std::uint64_t clusters : {std::uint64_t{63 * mib / 4096}, all_32}) {
        ntfs_image volume = valid_volume();
        ask_for_security(volume);
        volume.entry(9).stream_runs(u"$SDS", {{100, 1}, {support::hole, clusters}});
        expect_listing(volume.build(), files("abcde"));
    }
}

TEST_F(HostileSizes, CompressedSecurityStreamOfHugeUnitsIsNotLoaded) {
    ntfs_image volume = valid_volume();
    ask_for_security(volume);
    volume.entry(9).stream_runs(u"$SDS", {{100, 16}, {support::hole, all_32}},
                                {.allocated = all_63,
                                 .real = all_63,
                                 .initialized = all_63,
                                 .compressed = all_63,
                                 .unit = 20,
                                 .flags = 1});
    expect_listing(volume.build(), files("abcde"));
}

// --- the same clusters named many times ---

// $MFT contains its clusters a hundred times, and the list of 66 names all those records.
TEST_F(HostileSizes, RecordsThatAListNamesAreNoMoreThanTheSourceHolds) {
    constexpr std::uint64_t records = 500;
    constexpr std::uint64_t times = 100;
    ntfs_image volume = valid_volume({.record = 4096, .mft_records = records});
    support::cluster_runs runs = volume.mft_runs();
    ASSERT_EQ(runs.size(), 1u);
    // A step of 0 would be a hole: every second run omits the first cluster.
    for (std::uint64_t i = 0; i < times; ++i)
        runs.push_back({runs[0].lcn + (i + 1) % 2, runs[0].count - (i + 1) % 2});
    volume.entry(0).data_runs(runs);
    std::vector<support::list_entry> entries;
    for (std::uint64_t number = 100; number < records * times; ++number) {
        entries.push_back(
            {.type = support::type::data, .record = support::file_reference(number, 1), .id = 900});
    }
    const bytes list = support::attribute_list_value(entries);
    volume.entry(66).attribute_list_runs(volume.store(list), {.real = list.size()});
    expect_listing(volume.build(), files("abcde"));
}

// --- sizes of the volume ---

TEST_F(HostileSizes, SizesInTheBootSectorCloseTheVolumeOrAreIgnored) {
    struct claim {
        const char* name;
        std::uint64_t at;
        std::size_t width;
        std::uint64_t value;
        std::string paths;
    };
    const support::byte_image image = valid_volume().build();
    for (const claim& claim : {claim{"bytes per sector", 11, 2, 0xFFFF, ""},
                               {"sectors per cluster", 13, 1, 0xFF, ""},
                               {"sectors of the volume", 40, 8, all_63, files("abcde")},
                               {"first cluster of $MFT", 48, 8, all_63, ""},
                               {"clusters per record", 64, 1, 0x7F, ""},
                               {"record of 2 GiB", 64, 1, 0xE1, ""},
                               {"record of 512 KiB", 64, 1, 0xED, ""},
                               {"clusters per index block", 68, 1, 0x7F, files("abcde")}}) {
        SCOPED_TRACE(claim.name);
        support::byte_image changed = image;
        changed.put(claim.at, claim.value, claim.width);
        expect_listing(changed, claim.paths);
    }
}

TEST_F(HostileSizes, SizesInTheFirstRecordCloseTheVolume) {
    for (const std::uint64_t allocated : {all_32, std::uint64_t{0x80000}}) {
        ntfs_image volume = valid_volume();
        volume.entry(0).bytes_allocated(static_cast<std::uint32_t>(allocated));
        expect_listing(volume.build(), "");
    }
}

// --- disks ---

TEST_F(HostileSizes, PartitionTableOfBillionsOfEntriesHasNoPartition) {
    for (const std::uint64_t entry_size :
         {std::uint64_t{0}, std::uint64_t{1}, std::uint64_t{128}, all_32}) {
        support::byte_image disk(4 * mib);
        support::put_gpt(disk, {{.first = 2048, .last = 4095}});
        support::embed(disk, mib, valid_volume().build());
        disk.put(512 + 80, all_32, 4).put(512 + 84, entry_size, 4);
        const std::string file = disk.save(dir.file("disk.dd"));
        const support::program_result result = run({"-filepath_only", "-image", file});
        SCOPED_TRACE(entry_size);
        EXPECT_EQ(result.status, 255);
        EXPECT_EQ(result.standard_output, "");
        EXPECT_LE(result.peak_memory, memory_bound(disk.size()));
    }
}

// --- virtual disks ---

class HostileVirtualDisk : public HostileSizes {
protected:
    support::program_result list(const support::vmdk_image& disk) {
        const std::string file = disk.save(dir.file("disk.vmdk"));
        return run({"\\dir", "-filepath_only", "-image", dir.file("valid.dd"), "-vmdk", file});
    }
    void expect_paths(const support::vmdk_image& disk, const std::string& paths) {
        const support::program_result result = list(disk);
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.standard_output, paths);
        EXPECT_LE(result.peak_memory, memory_bound(disk.build().size()));
    }
    static constexpr std::uint64_t huge_capacity = std::uint64_t{1} << 45;  // sectors
};

// Grains that no file contains read as zeros, and no memory of the stated size is used.
TEST_F(HostileVirtualDisk, CapacityIsNotALimitOfSizes) {
    for (const support::cluster_runs& runs : huge_runs) {
        SCOPED_TRACE(support::clusters_in(runs));
        ntfs_image volume = valid_volume();
        volume.entry(40).nonresident(support::type::index_allocation, u"$I30", runs);
        volume.entry(66).attribute_list_runs(runs, {.real = all_63});
        support::vmdk_image disk;
        disk.content(volume.build()).put(12, huge_capacity, 8);
        expect_paths(disk, listed_beside(runs));
    }
    ntfs_image volume = valid_volume();
    ask_for_security(volume);
    volume.entry(9).stream_runs(u"$SDS", {{100, 1}, {1 << 30, 1000 * mib / 4096}});
    support::vmdk_image disk;
    disk.content(volume.build()).put(12, huge_capacity, 8);
    expect_paths(disk, files("abcde"));
}

TEST_F(HostileVirtualDisk, SizesInTheHeaderCostNoMemory) {
    struct claim {
        const char* name;
        std::uint64_t at;
        std::size_t width;
        bool is_listed;  // for each value
    };
    support::vmdk_image valid_disk;
    valid_disk.content(valid_volume().build());
    expect_paths(valid_disk, files("abcde"));
    for (const claim& claim : {claim{"capacity", 12, 8, false},
                               {"grain size", 20, 8, false},
                               {"descriptor", 28, 8, false},
                               {"descriptor size", 36, 8, true},
                               {"entries per table", 44, 4, false},
                               {"redundant directory", 48, 8, true},
                               {"directory", 56, 8, false},
                               {"overhead", 64, 8, true}}) {
        for (const std::uint64_t value : {all_32, std::uint64_t{1} << 40, all_63}) {
            SCOPED_TRACE(std::string(claim.name) + " " + std::to_string(value));
            support::vmdk_image disk = valid_disk;
            disk.put(claim.at, value, claim.width);
            const support::program_result result = list(disk);
            EXPECT_TRUE(result.status == 0 || result.status == 255) << result.status;
            if (claim.is_listed) {
                EXPECT_EQ(result.status, 0);
                EXPECT_EQ(result.standard_output, files("abcde"));
            }
            EXPECT_LE(result.peak_memory, memory_bound(disk.build().size()));
        }
    }
}

// A descriptor of 8 MiB at the end of the file.
TEST_F(HostileVirtualDisk, LongDescriptorCostsNoMemoryBeyondItsFile) {
    constexpr std::uint64_t size = 4 * mib;
    const std::string keys = "parentCID=ffffffff\nCID=";
    for (const std::string& line : {std::string("a\n"), std::string("a comment\n"), keys}) {
        SCOPED_TRACE(line);
        std::string text = line == keys ? keys : keys + "1\n";
        while (text.size() < size)
            text += line == keys ? std::string("1234567890abcdef") : line;
        for (const std::uint64_t sectors : {text.size() / 512, std::uint64_t{1} << 40}) {
            support::vmdk_image disk;
            disk.content(valid_volume().build());
            const std::uint64_t end = disk.build().size();
            disk.put_text(end, text).put(28, end / 512, 8).put(36, sectors, 8);
            expect_paths(disk, files("abcde"));
        }
    }
}

// A directory at the end of the file, whose first table maps the volume. Its other entries mean
// tables that overlap, each as long as the rest of the file.
TEST_F(HostileVirtualDisk, OverlappingTablesCostNoMemory) {
    constexpr std::uint64_t sector = 512, num_entries = 16384;
    support::vmdk_image disk;
    disk.content(valid_volume().build());
    const support::byte_image valid = disk.build();
    const std::uint64_t directory = valid.size() / sector;
    const std::uint64_t first_table = directory + num_entries * 4 / sector;
    disk.put(44, 1 << 26, 4).put(56, directory, 8).put(64, first_table + 4, 8);
    disk.put(directory * sector, first_table, 4);
    for (std::uint64_t i = 1; i < num_entries; ++i)
        disk.put(directory * sector + 4 * i, i % directory, 4);
    const std::uint64_t table = disk.table_sector(0);
    for (std::uint64_t at = 0; at < 2048; at += 4)
        disk.put(first_table * sector + at, valid.get(table * sector + at, 4), 4);
    for (const std::uint64_t capacity : {std::uint64_t{1} << 30, std::uint64_t{1} << 53}) {
        disk.put(12, capacity, 8);
        expect_paths(disk, files("abcde"));
    }
}

// --- sizes within the source but above this machine's memory ---

TEST_F(HostileSizes, SizesWithinATerabyteNeedLittleMemory) {
    if (e2e::has_address_sanitizer) {
        GTEST_SKIP() << "AddressSanitizer itself needs more than the limit of this test";
    }
    constexpr std::uint64_t tib = std::uint64_t{1} << 40;
    const support::cluster_runs half = {{100, tib / 2 / 4096}};
    ntfs_image volume = valid_volume();
    volume.entry(40).nonresident(support::type::index_allocation, u"$I30", half);
    volume.entry(66).attribute_list_runs(half, {.real = tib / 2});
    ask_for_security(volume);
    volume.entry(9).stream_runs(u"$SDS", {{100, 1000 * mib / 4096}});
    support::byte_image image = volume.build();
    image.resize(tib);
    const std::string file = image.save(dir.file("terabyte.dd"));
    support::program_options limited;
    limited.address_space = 256 * mib;
    const support::program_result result =
        run({"\\dir", "-filepath_only", "-image", file}, limited);
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.standard_output, files("abcde"));
    EXPECT_EQ(result.standard_error, e2e::terminal_clearing);

    image.put(64, 0xE1, 1);  // records of 2 GiB
    image.save(file);
    const support::program_result records =
        run({"\\dir", "-filepath_only", "-image", file}, limited);
    EXPECT_EQ(records.status, 0);
    EXPECT_EQ(records.standard_output, "");
}

}  // namespace

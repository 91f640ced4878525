// Sizes that the disk states and the source cannot hold: what can be read is listed. Each listing
// is that of a volume whose size is true.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "e2e/indexed_volume.h"
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
using e2e::name_of;
using e2e::paths;
using e2e::root;
using e2e::whole_run;
using support::byte_image;
using support::cluster_runs;
using support::hole;
using support::ntfs_image;
namespace type = support::type;

class DamagedSizes : public testing::Test {
protected:
    // Lists a directory of an image as bare paths, and expects these paths and nothing else.
    void expect_paths(const byte_image& image, const std::string& expected,
                      const std::string& path = "\\dir") const {
        const auto started = std::chrono::steady_clock::now();
        whole_run({path, "-filepath_only", "-image", image.save(dir.file("image.dd"))})
            .expect_bare(0, expected, e2e::terminal_clearing);
        if (support::runner().empty()) {
            EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(10));
        }
    }
    // The same for the text form of the root directory.
    void expect_root(const byte_image& image, const std::string& rows) const {
        whole_run({"\\", "-image", image.save(dir.file("image.dd"))})
            .expect(0, e2e::text_header + rows, e2e::terminal_clearing);
    }

    support::temp_dir dir;
};

// --- index blocks ---

TEST_F(DamagedSizes, RunOfAnIndexThatIsTrueListsItsBlocks) {
    indexed_volume volume;
    expect_paths(volume.with_index({{volume.lcn, 3}}), paths(0, 12));
}

TEST_F(DamagedSizes, RunOfAnIndexMayStateAnyLength) {
    for (const std::uint64_t length :
         {std::uint64_t{4}, std::uint64_t{100}, clusters, std::uint64_t{1} << 20,
          std::uint64_t{1} << 31, longest_run}) {
        SCOPED_TRACE(length);
        indexed_volume only;
        expect_paths(only.with_index({{only.lcn, length}}), paths(0, 12));
        indexed_volume last;
        expect_paths(last.with_index({{last.lcn, 2}, {last.lcn + 2, length}}), paths(0, 12));
        indexed_volume first;
        expect_paths(first.with_index({{first.lcn + 2, length}, {first.lcn, 2}}), paths(0, 12));
        indexed_volume after_hole;
        expect_paths(after_hole.with_index(
                         {{after_hole.lcn, 1}, {hole, length}, {after_hole.lcn + 1, length}}),
                     paths(0, 12));
        indexed_volume past_the_end;
        expect_paths(past_the_end.with_index({{clusters + 10, length}, {past_the_end.lcn, 3}}),
                     paths(0, 12));
    }
}

// A length of five bytes or more has its low 32 bits.
TEST_F(DamagedSizes, LengthOfARunHas32Bits) {
    indexed_volume volume;
    support::run_list list;
    list.add_fields((std::uint64_t{7} << 32) + 2, 8, static_cast<std::int64_t>(volume.lcn), 8);
    volume.image.entry(directory).nonresident(type::index_allocation, u"$I30", list.terminated(),
                                              {{volume.lcn, 2}});
    expect_paths(volume.built(), paths(0, 8));
}

TEST_F(DamagedSizes, BlocksBeforeTheEndOfTheSourceAreListed) {
    for (std::size_t held = 0; held <= 3; ++held) {
        SCOPED_TRACE(held);
        indexed_volume volume(3, clusters - held);
        expect_paths(volume.with_index({{volume.lcn, longest_run}}), paths(0, held * 4));
    }
}

TEST_F(DamagedSizes, BlockCutByTheEndOfTheSourceIsListedAsFarAsItGoes) {
    indexed_volume volume(2, clusters - 2);
    byte_image image = volume.with_index({{volume.lcn, longest_run}});
    // The headers of the second block and two of its entries, which have 16 + 68 bytes, rounded up
    // to 88. The reference and the length of an entry are its first ten bytes.
    const std::uint64_t end = image.size() - cluster + 64 + 2 * 88;
    image.resize(end + 10);
    expect_paths(image, paths(0, 7));
    image.resize(end);
    expect_paths(image, paths(0, 6));
}

// --- attribute lists ---

// \dir with the files a to d; the attributes of c continue in entry 80, which a list in clusters
// names.
ntfs_image volume_with_list(const std::vector<support::list_entry>& entries, std::uint64_t& lcn) {
    ntfs_image volume({.clusters = clusters});
    volume.directory(root, u"dir", directory);
    for (std::size_t i = 0; i < 4; ++i)
        volume.file(directory, name_of(i), first_file + i).data("x");
    volume.entry(80).base(volume.reference(first_file + 2)).stream(u"far", "more").id(9);
    lcn = volume.store(support::attribute_list_value(entries))[0].lcn;
    return volume;
}

TEST_F(DamagedSizes, RunOfAnAttributeListMayStateAnyLength) {
    for (const std::uint64_t length :
         {std::uint64_t{1}, std::uint64_t{2}, clusters, std::uint64_t{1} << 31, longest_run}) {
        for (const std::uint64_t real : {std::uint64_t{40}, std::uint64_t{0x7FFFFFFFFFFFFFFF},
                                         std::uint64_t{0x8000000000000000}, ~std::uint64_t{0}}) {
            SCOPED_TRACE(testing::Message() << length << " clusters, " << real << " bytes");
            std::uint64_t lcn = 0;
            ntfs_image volume = volume_with_list({{.type = type::data,
                                                   .name = u"far",
                                                   .record = support::file_reference(80, 1),
                                                   .id = 9}},
                                                 lcn);
            volume.entry(first_file + 2).attribute_list_runs({{lcn, length}}, {.real = real});
            byte_image image = volume.build();
            expect_paths(image.resize(clusters * cluster),
                         "\\dir\\\n\\dir\\a\n\\dir\\b\n\\dir\\c\n\\dir\\c:far\n\\dir\\d\n");
        }
    }
}

// The list of a directory leads to its index blocks.
TEST_F(DamagedSizes, RunOfADirectorysListMayStateAnyLength) {
    for (const std::uint64_t length : {std::uint64_t{1}, clusters, longest_run}) {
        SCOPED_TRACE(length);
        indexed_volume volume;
        ntfs_image& image = volume.image;
        image.entry(82)
            .base(image.reference(directory))
            .nonresident(type::index_allocation, u"$I30",
                         cluster_runs{{volume.lcn, std::max<std::uint64_t>(length, 3)}})
            .id(5);
        const cluster_runs list =
            image.store(support::attribute_list_value({{.type = type::index_allocation,
                                                        .name = u"$I30",
                                                        .record = image.reference(82),
                                                        .id = 5}}));
        image.entry(directory).attribute_list_runs({{list[0].lcn, length}}, {.real = 40});
        expect_paths(volume.built(), paths(0, 12));
    }
}

// $MFT continues in entry 20: its records from 64 on are found through a list in clusters.
TEST_F(DamagedSizes, RunOfTheListOfTheMftMayStateAnyLength) {
    for (const std::uint64_t length : {std::uint64_t{1}, clusters, longest_run}) {
        SCOPED_TRACE(length);
        ntfs_image volume({.clusters = clusters});
        volume.mft_runs({{4, 16}, {300, 16}});  // 64 records each
        volume.directory(root, u"dir", directory);
        for (std::size_t i = 0; i < 4; ++i)
            volume.file(directory, name_of(i), first_file + i);
        const std::vector<support::list_entry> entries = {
            {.type = type::data, .record = volume.reference(0), .id = 4},
            {.type = type::data, .start_vcn = 16, .record = volume.reference(20), .id = 7}};
        const support::bytes list = support::attribute_list_value(entries);
        const std::uint64_t lcn = volume.store(list)[0].lcn;
        volume.entry(20).base(volume.reference(0)).data_runs({{300, 16}}, {.start_vcn = 16}).id(7);
        volume.entry(0).data_runs({{4, 16}}, {.real = 128 * 1024}).id(4);
        volume.entry(0).attribute_list_runs({{lcn, length}}, {.real = list.size()});
        byte_image image = volume.build();
        expect_paths(image.resize(clusters * cluster), paths(0, 4));
    }
}

// --- record sizes ---

constexpr std::uint64_t record_size_field = 64;  // of the boot sector; -n means 2^n bytes

TEST_F(DamagedSizes, RecordSizeAboveTheSourceListsTheRoot) {
    for (const std::uint64_t field : {0xF6u, 0xEFu, 0xE9u, 0xE8u, 0xE6u, 0xE1u}) {
        SCOPED_TRACE(field);
        ntfs_image volume({.clusters = clusters});
        volume.file(root, u"a", 64).data("four");
        volume.directory(root, u"b", 65);
        byte_image image = volume.build();
        image.put(record_size_field, field, 1);
        expect_root(image, e2e::directory_row(5, "\\") + e2e::file_row(64, 4, "\\a") +
                               e2e::directory_row(65, "\\b\\"));
    }
}

// A record in which an attribute starts after the first 64 KiB.
TEST_F(DamagedSizes, AttributesFarIntoALargeRecordAreListed) {
    ntfs_image volume({.clusters = clusters});
    volume.file(root, u"a", 64).data("four");
    // Entry 200 is 136 KiB after entry 64. Its record is a part of that of entry 64, if an
    // attribute is as long as the way there.
    constexpr std::uint32_t way = (200 - 64) * 1024;
    support::record_builder& far = volume.entry(200);
    far.stream(u"far", "12345").id(77);
    const std::size_t from = volume.entry(64).attribute_offset(type::data);
    const std::size_t to = far.attribute_offset(type::data, u"far");
    byte_image image = volume.build();
    image.put(record_size_field, 0xEC, 1);  // 1 MiB
    image.put(volume.record_pos(64) + from + 4, way + to - from, 4);
    expect_root(image, e2e::directory_row(5, "\\") + e2e::file_row(64, 4, "\\a") +
                           e2e::text_row(64, "5", "  ads  ", "\\a:far"));
}

// --- extension records ---

// A file in the root with a stream in each of `count` extension records from entry 100 on.
ntfs_image volume_with_extensions(std::size_t count) {
    ntfs_image volume({.clusters = clusters});
    volume.file(root, u"f", 64).data("four");
    std::vector<support::list_entry> entries;
    for (std::size_t i = 0; i < count; ++i) {
        const std::u16string name = {static_cast<char16_t>(u'a' + i / 26),
                                     static_cast<char16_t>(u'a' + i % 26)};
        const auto id = static_cast<std::uint16_t>(i + 20);
        volume.entry(100 + i).base(volume.reference(64)).stream(name, "12").id(id);
        entries.push_back(
            {.type = type::data, .name = name, .record = volume.reference(100 + i), .id = id});
    }
    const support::bytes list = support::attribute_list_value(entries);
    volume.entry(64).attribute_list_runs(volume.store(list), {.real = list.size()});
    return volume;
}

std::string rows_with_extensions(std::size_t count) {
    std::string rows = e2e::directory_row(5, "\\") + e2e::file_row(64, 4, "\\f");
    for (std::size_t i = 0; i < count; ++i) {
        const std::string name = {static_cast<char>('a' + i / 26), static_cast<char>('a' + i % 26)};
        rows += e2e::text_row(64, "2", "  ads  ", "\\f:" + name);
    }
    return rows;
}

TEST_F(DamagedSizes, ExtensionRecordsOfAnyStatedSizeAreListed) {
    for (const std::uint64_t field : {0xF6u, 0xF0u, 0xECu, 0xE6u}) {
        SCOPED_TRACE(field);
        byte_image image = volume_with_extensions(9).build();
        image.put(record_size_field, field, 1);
        expect_root(image, rows_with_extensions(9));
    }
}

TEST_F(DamagedSizes, ExtensionRecordsThatOverlapDoNotAddUp) {
    if (!support::runner().empty()) {
        GTEST_SKIP() << "the memory of a runner is not that of the program";
    }
    const auto list = [this](const byte_image& image) {
        const std::string file = image.save(dir.file("image.dd"));
        return support::run_built_program(QUORVEL_PROGRAM, {"\\", "-image", file});
    };
    byte_image image = volume_with_extensions(200).build();
    const support::program_result valid = list(image);
    ASSERT_TRUE(valid.standard_output.ends_with(rows_with_extensions(200)));
    image.put(record_size_field, 0xEC, 1);
    const support::program_result damaged = list(image);
    EXPECT_TRUE(damaged.standard_output.ends_with(rows_with_extensions(200)));
#if defined(__SANITIZE_ADDRESS__)
    constexpr std::uint64_t margin = 3;  // it keeps freed memory for a while
#else
    constexpr std::uint64_t margin = 1;
#endif
    EXPECT_LE(damaged.peak_memory, valid.peak_memory + (4 * image.size() + (8u << 20)) * margin);
}

// --- the header of an attribute ---

// A $DATA of eight bytes in the middle of a record has a type and a length and nothing else. What
// follows is not a part of its row.
TEST_F(DamagedSizes, AttributeOfEightBytesHasARowOfItsOwn) {
    ntfs_image volume({.clusters = clusters});
    support::record_builder& file = volume.file(root, u"a", 64).keep_order();
    file.raw_attribute(byte_image(8).put(0, type::data, 4).put(4, 8, 4).bytes());
    file.data("four").id(3);
    expect_root(volume.build(), e2e::directory_row(5, "\\") + e2e::file_row(64, 0, "\\a") +
                                    e2e::file_row(64, 4, "\\a"));
}

TEST_F(DamagedSizes, SizesPastAnAttributesLengthAreZero) {
    ntfs_image volume({.clusters = clusters});
    support::record_builder& file = volume.file(root, u"a", 64).keep_order();
    file.data(support::bytes(16, 0x77)).edit(8, 1, 1);  // 40 bytes; the non-resident flag
    file.stream(u"next", "neighbour");
    expect_root(volume.build(), e2e::directory_row(5, "\\") + e2e::file_row(64, 0, "\\a") +
                                    e2e::text_row(64, "9", "  ads  ", "\\a:next"));
}

// --- virtual disks ---

class DamagedSizesOfAVirtualDisk : public DamagedSizes {
protected:
    // Expects the same listing of the volume as a raw image and as a virtual disk of its size.
    void expect_both(const byte_image& image, const std::string& expected,
                     std::uint64_t capacity = 0) const {
        expect_paths(image, expected);
        support::vmdk_image disk;
        disk.content(image);
        if (capacity != 0) disk.put(12, capacity, 8);
        const auto started = std::chrono::steady_clock::now();
        whole_run({"\\dir", "-filepath_only", "-image", dir.file("image.dd"), "-vmdk",
                   disk.save(dir.file("disk.vmdk"))})
            .expect_bare(0, expected, e2e::terminal_clearing);
        if (support::runner().empty()) {
            EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(10));
        }
    }
};

// Clusters of zeros are grains that the file does not have.
TEST_F(DamagedSizesOfAVirtualDisk, IndexWhoseBlocksAreUnallocatedIsThatOfTheFlatDisk) {
    for (const std::uint64_t capacity : {std::uint64_t{0}, std::uint64_t{1} << 53}) {
        indexed_volume volume(1, 1000);
        expect_both(volume.with_index({{volume.lcn, 200}}), paths(0, 4), capacity);
        indexed_volume last(1, 1400);
        expect_both(last.with_index({{1100, 301}}), paths(0, 4), capacity);
    }
}

TEST_F(DamagedSizesOfAVirtualDisk, RunsOverUnallocatedGrainsEndSoon) {
    for (const std::uint64_t capacity :
         {std::uint64_t{1} << 30, std::uint64_t{1} << 45, std::uint64_t{1} << 53}) {
        SCOPED_TRACE(capacity);
        indexed_volume volume(1, 1000);
        expect_both(volume.with_index(
                        {{volume.lcn, longest_run}, {hole, longest_run}, {1200, longest_run}}),
                    paths(0, 4), capacity);
    }
}

// A position of 2^63 bytes or more cannot be read in an image, and is zeros in a virtual disk.
TEST_F(DamagedSizesOfAVirtualDisk, RunAtANegativePositionCostsNothingElse) {
    for (const std::uint64_t length : {std::uint64_t{1}, std::uint64_t{1} << 20, longest_run}) {
        SCOPED_TRACE(length);
        indexed_volume volume(1, 1000);
        expect_both(volume.with_index({{(std::uint64_t{1} << 51) + 5, length}, {volume.lcn, 1}}),
                    paths(0, 4), std::uint64_t{1} << 45);
    }
}

TEST_F(DamagedSizesOfAVirtualDisk, AttributeListWithAnUnallocatedTailIsThatOfTheFlatDisk) {
    std::uint64_t lcn = 0;
    ntfs_image volume = volume_with_list(
        {{.type = type::data, .name = u"far", .record = support::file_reference(80, 1), .id = 9}},
        lcn);
    volume.entry(first_file + 2)
        .attribute_list_runs({{lcn, 1}, {1000, 400}}, {.real = 401 * cluster});
    byte_image image = volume.build();
    expect_both(image.resize(clusters * cluster),
                "\\dir\\\n\\dir\\a\n\\dir\\b\n\\dir\\c\n\\dir\\c:far\n\\dir\\d\n",
                std::uint64_t{1} << 53);
}

}  // namespace

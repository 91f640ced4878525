// Tests whole images with other readers of the formats. If a reader is not installed, its tests are
// skipped with a message.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "support/behaviour_volume.h"
#include "support/ntfs_image.h"
#include "support/partition_image.h"
#include "support/run_program.h"
#include "support/sample_snapshot.h"
#include "support/sample_volume.h"
#include "support/temp_dir.h"
#include "support/vmdk_image.h"

namespace support {
namespace {

#define NEED_PROGRAM(variable, name)                   \
    const std::string variable = find_program(name);   \
    if ((variable).empty()) {                          \
        GTEST_SKIP() << (name) << " is not installed"; \
    }

std::size_t count(const std::string& text, const std::string& part) {
    std::size_t found = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++found;
    }
    return found;
}

std::u16string numbered(std::u16string_view stem, unsigned number) {
    const std::string digits = std::to_string(number + 10000).substr(1);
    return std::u16string(stem) + std::u16string(digits.begin(), digits.end());
}

class Geometry : public testing::TestWithParam<ntfs_geometry> {};

ntfs_image volume_with_everything(const ntfs_geometry& geometry) {
    ntfs_image volume(geometry);
    volume.file(5, u"small.txt", 41).data("hello").stream(u"zone", "x");
    volume.file(5, u"pieces.bin", 42);
    volume.entry(42).data_runs(volume.store(pattern(20000), 3), {.real = 20000});
    volume.directory(5, u"large", 50);
    for (unsigned i = 0; i < 400; ++i) {
        volume.file(50, numbered(u"large", i), 1000 + i).data("");
    }
    volume.directory(5, u"split", 60);
    volume.index(60).root_in_extension(61).blocks_in_extension(62).fragmented();
    for (unsigned i = 0; i < 100; ++i) {
        volume.file(60, numbered(u"split", i), 200 + i).data("");
    }
    volume.security().add(256, security_descriptor{.owner = sid("S-1-5-18")}.build());
    return volume;
}

TEST_P(Geometry, IsReadByTheSleuthKit) {
    NEED_PROGRAM(fls, "fls");
    NEED_PROGRAM(icat, "icat");
    const temp_dir dir;
    const std::string path = volume_with_everything(GetParam()).save(dir.file("volume.dd"));
    const auto listing = run_program(fls, {"-r", "-p", path});
    EXPECT_EQ(listing.status, 0) << listing.standard_error;
    EXPECT_EQ(count(listing.standard_output, "\tlarge/large"), 400u);
    EXPECT_EQ(count(listing.standard_output, "\tsplit/split"), 100u);
    EXPECT_EQ(count(listing.standard_output, "\tsmall.txt:zone\n"), 1u);
    const bytes expected = pattern(20000);
    EXPECT_EQ(as_bytes(run_program(icat, {path, "42"}).standard_output), expected);
}

TEST_P(Geometry, MountsAsAValidVolume) {
    NEED_PROGRAM(ntfsinfo, "ntfsinfo");
    NEED_PROGRAM(ntfsls, "ntfsls");
    const temp_dir dir;
    const std::string path = volume_with_everything(GetParam()).save(dir.file("volume.dd"));
    const auto info = run_program(ntfsinfo, {"-m", path});
    EXPECT_EQ(info.status, 0) << info.standard_error;
    EXPECT_EQ(info.standard_error, "");
    EXPECT_EQ(count(run_program(ntfsls, {"-p", "/large", path}).standard_output, "large"), 400u);
    EXPECT_EQ(count(run_program(ntfsls, {"-p", "/split", path}).standard_output, "split"), 100u);
}

TEST_P(Geometry, RecordsAreAtTheirStatedPositions) {
    const ntfs_image volume = volume_with_everything(GetParam());
    const byte_image image = volume.build();
    for (const std::uint64_t number : {0u, 5u, 42u, 62u, 299u, 1399u}) {
        SCOPED_TRACE(number);
        EXPECT_EQ(image.get(volume.record_pos(number), 4), 0x454C4946u);
        EXPECT_EQ(image.get(volume.record_pos(number) + 44, 4), number);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Sizes, Geometry,
    testing::Values(
        ntfs_geometry{.cluster = 512, .list_system_files = true},
        ntfs_geometry{.cluster = 1024, .list_system_files = true},
        ntfs_geometry{.list_system_files = true},
        ntfs_geometry{.record = 4096, .list_system_files = true},
        ntfs_geometry{.cluster = 65536, .list_system_files = true},
        ntfs_geometry{.sector = 1024, .cluster = 2048, .list_system_files = true},
        ntfs_geometry{.sector = 4096, .record = 4096, .list_system_files = true},
        ntfs_geometry{.sector = 4096, .cluster = 65536, .record = 4096, .list_system_files = true}),
    [](const auto& named) {
        return std::to_string(named.param.sector) + "_" + std::to_string(named.param.cluster) +
               "_" + std::to_string(named.param.record);
    });

TEST(NtfsImage, BuildsTheSameBytesEachTime) {
    const ntfs_image volume = sample_volume();
    EXPECT_EQ(volume.build().bytes(), volume.build().bytes());
}

TEST(NtfsImage, OverwritingAByteChangesNothingElse) {
    ntfs_image volume;
    volume.file(5, u"a", 40);
    bytes expected = volume.build().bytes();
    const std::uint64_t at = volume.record_pos(40) + 510;
    expected[at] = 0xAD;
    expected[at + 1] = 0xDE;
    EXPECT_EQ(volume.put(at, 0xDEAD, 2).build().bytes(), expected);
}

TEST(NtfsImage, AllocationSkipsReservedClusters) {
    ntfs_image volume;
    const std::uint64_t next = volume.alloc(1) + 1;
    volume.reserve(next + 2, 5);
    EXPECT_EQ(volume.alloc(2), next);
    EXPECT_EQ(volume.alloc(1), next + 7);
    EXPECT_EQ(volume.leave_gap(3).alloc(1), next + 11);
}

TEST(NtfsImage, PlacesAFragmentedMft) {
    ntfs_image volume{{.clusters = 512}};
    volume.mft_runs({{200, 8}, {100, 8}});
    EXPECT_EQ(volume.record_pos(31), 207u * 4096 + 3072);
    EXPECT_EQ(volume.record_pos(32), 100u * 4096);
    EXPECT_THROW((void)volume.entry(64), std::out_of_range);
    volume.file(5, u"far", 40);
    const byte_image image = volume.build();
    EXPECT_EQ(image.get(48, 8), 200u);
    EXPECT_EQ(image.get(102 * 4096 + 44, 4), 40u);
    EXPECT_EQ(image.size(), 512u * 4096 + 512);
}

TEST(NtfsImage, StaleEntriesFollowTheUsedOnes) {
    ntfs_image volume;
    volume.directory(5, u"d", 40);
    volume.index(40).add_stale({.reference = 77, .key = file_name_value(40, u"old")});
    const bytes record = volume.build().get_bytes(volume.record_pos(40), 1024);
    const byte_image content(record);
    std::uint64_t at = 56;
    while (content.get(at, 4) != type::index_root) {
        at += content.get(at + 4, 4);
    }
    const std::uint64_t value = at + content.get(at + 20, 2);
    EXPECT_EQ(content.get(value + 20, 4), 32u);       // header and end entry
    EXPECT_EQ(content.get(value + 32 + 16, 8), 77u);  // after them
}

TEST(NtfsImage, CompressedStreamsCanBeReadBack) {
    NEED_PROGRAM(icat, "icat");
    bytes content = pattern(300000);
    std::fill(content.begin() + 1000, content.begin() + 60000, std::uint8_t{'a'});
    std::fill(content.begin() + 65536, content.begin() + 2 * 65536, std::uint8_t{0});
    ntfs_image volume;
    volume.file(5, u"packed", 40);
    volume.compressed_stream(volume.entry(40), u"", content);
    const temp_dir dir;
    const std::string path = volume.save(dir.file("volume.dd"));
    EXPECT_EQ(as_bytes(run_program(icat, {path, "40"}).standard_output), content);
}

TEST(SampleVolume, NamesItsEntries) {
    NEED_PROGRAM(fls, "fls");
    const temp_dir dir;
    const std::string path = sample_volume().save(dir.file("sample.dd"));
    const std::string rows = run_program(fls, {"-r", "-p", "-u", path}).standard_output +
                             run_program(fls, {"-r", "-p", "-d", path}).standard_output;
    const struct {
        std::uint64_t entry;
        const char* name;
    } cases[] = {
        {sample::system32, "windows/system32"},
        {sample::notepad, "windows/notepad.exe"},
        {sample::config, "windows/system32/config:note"},
        {sample::sam, "windows/system32/config/SAM"},
        {sample::driver_first + 4, "windows/system32/drivers/driver4.sys"},
        {sample::hal, "windows/hal link.dll"},
        {sample::hal, "windows/system32/hal.dll"},
        {sample::report, "users/kim/quarterly report.docx:Zone.Identifier"},
        {sample::comma, "users/kim/a,b|c&d<e\"f.txt"},
        {sample::umlaut,
         "users/kim/Gr\xC3\xB6\xC3\x9F"
         "e \xC3\xB6\xC3\xA4\xC3\xBC.txt"},
        {sample::emoji, "users/kim/\xF0\x9F\x98\x80.txt"},
        {sample::junction, "users/kim/my documents"},
        {sample::deleted, "users/kim/gone.txt"},
        {sample::letter, "users/kim/documents/letter.txt"},
        {sample::many_first + 299, "many/file 299.txt"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const std::size_t end = rows.find("\t" + std::string(c.name) + "\n");
        ASSERT_NE(end, std::string::npos);
        const std::size_t start = rows.rfind('\n', end) + 1;
        EXPECT_THAT(rows.substr(start, end - start),
                    testing::HasSubstr(" " + std::to_string(c.entry) + "-"));
    }
}

// Returns the output of fls for a volume of many files.
std::string listed_files(const std::string& fls, const many_files_options& options) {
    const temp_dir dir;
    const std::string path = dir.file("many.dd");
    save_many_files_volume(path, options);
    return run_program(fls, {"-r", "-p", path}).standard_output;
}

TEST(SampleVolume, ManyFilesAreAllNamed) {
    NEED_PROGRAM(fls, "fls");
    // Index roots with and without blocks.
    const std::string rows = listed_files(fls, {.directories = 120, .files = 130});
    EXPECT_EQ(count(rows, ".txt\n"), 120u * 130);
    EXPECT_EQ(count(rows, "\tdir00119/file0129.txt\n"), 1u);
    EXPECT_EQ(count(rows, " " + std::to_string(64 + 119 * 131 + 130) + "-"), 1u);
}

TEST(SampleVolume, ManyFilesOfOneDirectoryAreAllNamed) {
    NEED_PROGRAM(fls, "fls");
    // More index blocks than a resident bitmap can describe.
    const std::string rows = listed_files(fls, {.directories = 1, .files = 20000});
    EXPECT_EQ(count(rows, ".txt\n"), 20000u);
    EXPECT_EQ(count(rows, "\tdir00000/file19999.txt\n"), 1u);
}

TEST(SampleVolume, ManyFilesHaveTheirStreams) {
    NEED_PROGRAM(fls, "fls");
    const std::string rows = listed_files(fls, {.directories = 3, .files = 5, .streams = 10});
    EXPECT_EQ(count(rows, ".txt\n"), 15u);
    EXPECT_EQ(count(rows, "/file0004.txt:s9\n"), 3u);
    EXPECT_EQ(count(rows, ".txt:s"), 150u);
}

TEST(SampleVolume, ManyFilesAreInTheFragmentsOfTheMft) {
    NEED_PROGRAM(fls, "fls");
    NEED_PROGRAM(istat, "istat");
    const many_files_options options = {.directories = 30, .files = 99, .mft_fragments = 700};
    const std::string rows = listed_files(fls, options);
    EXPECT_EQ(count(rows, ".txt\n"), 30u * 99);
    EXPECT_EQ(count(rows, "\tdir00029/file0098.txt\n"), 1u);

    const temp_dir dir;
    const std::string path = dir.file("many.dd");
    save_many_files_volume(path, options);
    const std::string status = run_program(istat, {path, "0"}).standard_output;
    EXPECT_EQ(count(status, "Type: $ATTRIBUTE_LIST"), 1u);
    EXPECT_EQ(count(status, "Type: $DATA "), 1u);
    // 750 clusters of records in fragments of two, the first 16 clusters and the free ones between.
    const byte_image image = byte_image::load(path);
    std::uint64_t pieces = 0;
    bool in_piece = false;
    for (std::uint64_t at = 0; at + 4096 <= image.size(); at += 4096) {
        const bytes keyword = image.get_bytes(at, 4);
        const bool is_record = keyword == bytes{'F', 'I', 'L', 'E'};
        if (is_record && !in_piece) ++pieces;
        in_piece = is_record;
    }
    EXPECT_GT(pieces, 370u);
}

TEST(SampleVolume, ManyFilesAreNamedByScatteredIndexes) {
    NEED_PROGRAM(fls, "fls");
    NEED_PROGRAM(istat, "istat");
    const temp_dir dir;
    const std::string path = dir.file("many.dd");
    save_many_files_volume(path, {.directories = 3, .files = 4000, .scattered_indexes = true});
    const std::string rows = run_program(fls, {"-r", "-p", path}).standard_output;
    EXPECT_EQ(count(rows, ".txt\n"), 12000u);
    EXPECT_EQ(count(rows, "\tdir00002/file3999.txt\n"), 1u);
    // The blocks of a directory are three clusters apart.
    const byte_image image = byte_image::load(path);
    std::uint64_t first = 0;
    while (image.get_bytes(first, 4) != bytes{'I', 'N', 'D', 'X'} ||
           image.get_bytes(first + 4096, 4) != bytes{'I', 'N', 'D', 'X'}) {
        first += 4096;
        ASSERT_LT(first + 8192, image.size());
    }
    EXPECT_EQ(image.get_bytes(first + 16, 1), bytes{0});
    EXPECT_EQ(image.get_bytes(first + 4096 + 16, 1), bytes{0});
    EXPECT_EQ(image.get_bytes(first + 3 * 4096 + 16, 1), bytes{1});
}

TEST(SampleVolume, ManyFilesShareADescriptor) {
    NEED_PROGRAM(fsntfsinfo, "fsntfsinfo");  // rejects a volume without descriptors
    const temp_dir dir;
    const std::string path = dir.file("many.dd");
    save_many_files_volume(path, {.directories = 1, .files = 3});
    EXPECT_EQ(count(run_program(fsntfsinfo, {"-H", path}).standard_output, ".txt\n"), 3u);
    const std::string entry = run_program(fsntfsinfo, {"-E", "65", path}).standard_output;
    EXPECT_EQ(count(entry, "descriptor identifier\t: 256\n"), 1u) << entry;
}

TEST(SampleVolume, VirtualDisksContainTheDisk) {
    NEED_PROGRAM(qemu_img, "qemu-img");
    const temp_dir dir;
    byte_image disk = sample_disk();
    disk.resize((disk.size() + 65535) / 65536 * 65536);
    byte_image changed = disk;
    changed.put(sample_volume_offset + 200000, 77, 1);
    const std::uint64_t grain = (sample_volume_offset + 200000) / 65536;
    const vmdk_image base = vmdk_image({.shuffle_grains = true}).content(disk);
    vmdk_image delta({.capacity = base.capacity()});
    delta.grain(grain, changed.get_bytes(grain * 65536, 65536));
    const auto paths = save_vmdk_chain(dir.path(), "disk", {base, delta});
    for (const std::string& path : paths) {
        SCOPED_TRACE(path);
        const std::string raw = dir.file("raw");
        EXPECT_EQ(run_program(qemu_img, {"convert", "-O", "raw", path, raw}).status, 0);
        EXPECT_EQ(byte_image::load(raw).bytes(), path == paths[0] ? disk.bytes() : changed.bytes());
    }
}

TEST(SampleVolume, SnapshotContainsTheChangedDisk) {
    NEED_PROGRAM(qemu_img, "qemu-img");
    const temp_dir dir;
    save_snapshot_chain(dir.file("base.vmdk"), dir.file("snapshot.vmdk"));
    const std::string raw = dir.file("raw");
    EXPECT_EQ(
        run_program(qemu_img, {"convert", "-O", "raw", dir.file("snapshot.vmdk"), raw}).status, 0);
    byte_image changed = disk_around(changed_sample_volume());
    changed.resize((changed.size() + 65535) / 65536 * 65536);
    EXPECT_EQ(byte_image::load(raw).bytes(), changed.bytes());
}

TEST(SampleVolume, ChangedVolumeDiffersInOneDirectory) {
    NEED_PROGRAM(fls, "fls");
    const temp_dir dir;
    const auto rows = [&](const ntfs_image& volume) {
        const std::string path = volume.save(dir.file("volume.dd"));
        return run_program(fls, {"-r", "-u", "-p", path}).standard_output;
    };
    const std::string original = rows(sample_volume()), changed = rows(changed_sample_volume());
    EXPECT_EQ(count(original, "\n"), count(changed, "\n"));
    EXPECT_EQ(count(original, "\tusers/kim/documents/empty.txt\n"), 1u);
    EXPECT_EQ(count(original, "\tusers/kim/documents/plan.txt\n"), 0u);
    EXPECT_EQ(count(changed, "\tusers/kim/documents/empty.txt\n"), 0u);
    EXPECT_EQ(count(changed, "\tusers/kim/documents/letter.txt\n"), 1u);
    EXPECT_EQ(count(changed, "\tusers/kim/documents/plan.txt\n"), 1u);
}

TEST(BehaviourVolume, IsReadByTheSleuthKit) {
    NEED_PROGRAM(fls, "fls");
    NEED_PROGRAM(icat, "icat");
    const temp_dir dir;
    const std::string path = behaviour_volume().save(dir.file("volume.dd"));
    const std::string rows = run_program(fls, {"-r", "-u", "-p", path}).standard_output;
    for (const char* name : {"sizes/sparse.bin", "stamps/3001.txt", "elsewhere/newcomer.txt",
                             "names/first link.txt", "names/second link.txt", "names/pipe|d.txt",
                             "names/\u00C4pfel.txt", "R&D/1 & 2.txt", "links/target/inside.txt"}) {
        EXPECT_EQ(count(rows, "\t" + std::string(name) + "\n"), 1u) << name;
    }
    EXPECT_EQ(count(rows, "\tdeleted/slack.txt\n"), 0u);
    const auto content = [&](std::uint64_t entry) {
        return run_program(icat, {path, std::to_string(entry)}).standard_output;
    };
    EXPECT_EQ(content(behaviour::sizes + 2).size(), 4097u);
    EXPECT_EQ(content(behaviour::sizes + 3).size(), 1048576u);
    EXPECT_EQ(content(behaviour::reused), "new");
}

TEST(PartitionImage, TablesAreReportedAsValid) {
    NEED_PROGRAM(sgdisk, "sgdisk");
    const temp_dir dir;
    byte_image disk(64 << 20);
    put_gpt(disk, {{.first = 2048, .last = 30000, .name = u"first"},
                   {.type = linux_data_guid, .first = 40960, .last = 50000}});
    const auto result = run_program(sgdisk, {"-v", disk.save(dir.file("gpt.dd"))});
    EXPECT_THAT(result.standard_output, testing::HasSubstr("No problems found"));
}

}  // namespace
}  // namespace support

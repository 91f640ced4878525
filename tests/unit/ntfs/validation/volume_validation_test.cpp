#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string_view>

#include "ntfs/volume/ntfs.h"
#include "support/byte_image.h"
#include "support/ntfs_image.h"
#include "support/partition_image.h"
#include "unit/ntfs/image_volume.h"

namespace {

using support::byte_image;
using support::ntfs_image;

// A boot sector followed by zeros, without file records.
byte_image boot_only(const support::ntfs_boot_options& options = {}) {
    byte_image image(256 * 1024);
    image.put_image(0, support::ntfs_boot_sector(options));
    return image;
}

bool opens(const ntfs_image& image) { return image_volume(image.build()).validate(); }

TEST(NtfsGeometry, FollowsTheBootSector) {
    const struct {
        const char* name;
        std::uint16_t bytes_per_sector;
        std::uint8_t sectors_per_cluster;
        std::uint8_t record_field;
        std::int32_t cluster;
        std::uint32_t record;
        std::uint32_t clusters_per_record;
    } cases[] = {
        {"2^10 in larger clusters", 512, 8, 0xF6, 4096, 1024, 0},
        {"two clusters", 512, 1, 0x02, 512, 1024, 2},
        {"2^10 in smaller clusters", 512, 1, 0xF6, 512, 1024, 2},
        {"2^12 in clusters of that size", 4096, 1, 0xF4, 4096, 4096, 1},
        {"one cluster", 512, 8, 0x01, 4096, 4096, 1},
        {"most clusters", 512, 8, 0x7F, 4096, 4096 * 127, 127},
        {"2^1", 512, 8, 0xFF, 4096, 2, 0},
        {"2^31", 512, 8, 0xE1, 4096, 0x80000000, 0x80000},
        {"an exponent of 32 is used as 0", 512, 8, 0xE0, 4096, 1, 0},
        {"an exponent of 128 is used as 0", 512, 8, 0x80, 4096, 1, 0},
        {"no size", 512, 8, 0x00, 4096, 0, 0},
        {"no sectors in a cluster", 512, 0, 0xF6, 0, 1024, 0},
        {"no bytes in a sector", 0, 8, 0x01, 0, 0, 1},
        {"odd sizes", 0xFFFF, 0xFF, 0x7F, 0xFFFF * 0xFF, 0xFFFFu * 0xFF * 0x7F, 0x7F},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        image_volume volume(boot_only({.bytes_per_sector = c.bytes_per_sector,
                                       .sectors_per_cluster = c.sectors_per_cluster,
                                       .total_sectors = 0x1001,
                                       .mft_lcn = 3,
                                       .record_size = c.record_field}));
        EXPECT_FALSE(volume.validate()) << "there is no record 0";
        const CNtfs& ntfs = volume.ntfs;
        EXPECT_EQ(ntfs.get_bytes_per_sector(), c.bytes_per_sector);
        EXPECT_EQ(ntfs.m_sectors_per_cluster, c.sectors_per_cluster);
        EXPECT_EQ(ntfs.m_cluster_size, c.cluster);
        EXPECT_EQ(ntfs.m_mft_record_size, c.record);
        EXPECT_EQ(ntfs.get_mft_record_size(), c.record != 0 ? c.record : 1024);
        EXPECT_EQ(ntfs.m_mft_cluster_per_record_fixed, c.clusters_per_record);
        const std::uint64_t per_cluster = c.sectors_per_cluster;
        EXPECT_EQ(ntfs.m_total_clusters, per_cluster != 0 ? 0x1001 / per_cluster : 0);
        EXPECT_EQ(ntfs.m_mft_file_pos, static_cast<std::uint64_t>(c.cluster) * 3);
        EXPECT_FALSE(ntfs.is_open());
    }
}

TEST(NtfsGeometry, PositionOfTheMftWrapsAtSixtyFourBits) {
    image_volume volume(boot_only({.mft_lcn = (1ull << 52) + 5}));
    std::uint64_t position = 77;
    EXPECT_FALSE(volume.ntfs.validate(position));
    EXPECT_EQ(volume.ntfs.m_mft_file_pos, 5u * 4096);
    EXPECT_EQ(position, 5u * 4096) << "set even if record 0 fails";
}

TEST(NtfsGeometry, BootSectorStatesTheMirrorAndTheVolume) {
    NTFS_BOOT boot;
    boot.raw[56] = 3;
    boot.raw[72] = 4;
    EXPECT_EQ(boot.mftmirr_start_lcn(), 3u);
    EXPECT_EQ(boot.volume_serial_number(), 4u);
}

TEST(NtfsGeometry, BlocksAndClusters) {
    const struct {
        std::int32_t cluster;
        std::uint32_t per_4k;
        std::uint32_t blocks;
    } cases[] = {{0, 0, 0},    {17, 240, 0}, {512, 8, 0},  {1024, 4, 0},
                 {1536, 2, 0}, {2048, 2, 0}, {4095, 1, 0}, {4096, 1, 1},
                 {4097, 1, 1}, {6144, 1, 1}, {8192, 1, 2}, {65536, 1, 16}};
    CNtfs ntfs(nullptr, 0, source_kind::file);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.cluster);
        ntfs.m_cluster_size = c.cluster;
        EXPECT_EQ(ntfs.clusters_per_4k(), c.per_4k);
        EXPECT_EQ(ntfs.blocks_per_cluster(), c.blocks);
    }
}

TEST(NtfsValidate, OpensVolumesOfAllUsualGeometries) {
    for (const std::uint32_t sector : {512u, 1024u, 2048u, 4096u}) {
        for (const std::uint32_t cluster : {512u, 1024u, 4096u, 65536u}) {
            for (const std::uint32_t record : {1024u, 4096u}) {
                if (cluster < sector) continue;
                SCOPED_TRACE(testing::Message() << sector << " " << cluster << " " << record);
                image_volume volume(
                    ntfs_image({.sector = sector, .cluster = cluster, .record = record}).build());
                EXPECT_TRUE(volume.validate());
                EXPECT_TRUE(volume.ntfs.is_open());
                EXPECT_EQ(volume.ntfs.m_bytes_per_file_record, record);
                EXPECT_TRUE(volume.ntfs.is_directory(5));
            }
        }
    }
}

TEST(NtfsValidate, ReadsTheMft) {
    ntfs_image image({.mft_records = 64});
    image_volume volume(image.build());
    std::uint64_t position = 0;
    EXPECT_EQ(volume.ntfs.get_total_mft_entries(), 0u) << "not yet validated";
    ASSERT_TRUE(volume.ntfs.validate(position));
    EXPECT_EQ(position, image.record_pos(0));
    EXPECT_EQ(volume.ntfs.get_total_mft_entries(), 64u);
    ASSERT_EQ(volume.ntfs.m_mft_info.data_runs.size(), 1u);
    EXPECT_EQ(volume.ntfs.m_mft_info.data_runs[0].lcn, image.record_pos(0) / 4096);
    EXPECT_EQ(ql::le32(volume.ntfs.m_mft_record, 0), 0x454C4946u);
    ASSERT_EQ(volume.ntfs.m_bitmap_runs.size(), 1u);
    EXPECT_EQ(volume.ntfs.disk(), volume.ntfs.m_disk.get());
}

TEST(NtfsValidate, SecondCallReadsNothing) {
    image_volume volume(ntfs_image().build());
    std::uint64_t position = 0;
    ASSERT_TRUE(volume.ntfs.validate(position));
    volume.ntfs.m_disk->ok = false;  // each further read fails
    std::uint64_t again = 0;
    EXPECT_TRUE(volume.ntfs.validate(again));
    EXPECT_EQ(again, position);
    EXPECT_TRUE(volume.ntfs.is_open());
    EXPECT_EQ(volume.ntfs.disk(), nullptr);
}

TEST(NtfsValidate, VolumeInsideASourceIsReadAtItsOffset) {
    const std::uint64_t offset = 63 * 512;
    byte_image disk;
    disk.put_image(offset, ntfs_image().build());
    image_volume volume(disk, offset);
    EXPECT_TRUE(volume.validate());
    EXPECT_TRUE(volume.ntfs.is_directory(5));
    EXPECT_FALSE(image_volume(disk, 0).validate());
    EXPECT_FALSE(image_volume(disk, disk.size()).validate());
}

TEST(NtfsValidate, OtherSignaturesAreRejected) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    for (const std::string_view signature :
         {std::string_view("-FVE-FS-"), std::string_view("EXFAT   "), std::string_view("ntfs    "),
          std::string_view("NTFS\0   ", 8), std::string_view("NTFS   \0", 8)}) {
        byte_image image = ntfs_image().build();
        image.put_text(3, signature);
        EXPECT_FALSE(image_volume(image).validate()) << signature;
    }
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(NtfsValidate, ChecksumAndEndMarkerAreIgnored) {
    EXPECT_TRUE(opens(ntfs_image().put(80, 0xDEADBEEF, 4).put(510, 0, 2)));
}

TEST(NtfsValidate, FailsWithoutASource) {
    std::uint64_t position = 0;
    CNtfs none(nullptr, 0, source_kind::file);
    none.m_Validated = true;
    EXPECT_FALSE(none.validate(position));
    EXPECT_FALSE(none.m_Validated);
    EXPECT_FALSE(none.is_open());
    EXPECT_EQ(none.disk(), nullptr);

    const support::temp_dir dir;
    CNtfs missing(std::make_unique<CRawDisk>(ql::to_wide(dir.file("missing.dd")), false, false, 0),
                  0, source_kind::file);
    EXPECT_FALSE(missing.validate(position));
    EXPECT_EQ(missing.disk(), nullptr);
}

TEST(NtfsValidate, TruncatedBootSectorReadsZerosPastItsEnd) {
    byte_image boot = boot_only();
    boot.resize(48);  // everything up to the LCN of $MFT
    image_volume volume(boot);
    EXPECT_FALSE(volume.validate());
    EXPECT_EQ(volume.ntfs.m_cluster_size, 4096);
    EXPECT_EQ(volume.ntfs.m_mft_file_pos, 0u);
    EXPECT_EQ(volume.ntfs.m_mft_record_size, 0u);
    for (std::uint64_t size = 0; size < 48; ++size) {
        EXPECT_FALSE(image_volume(boot.resize(size)).validate());
    }
}

TEST(NtfsValidate, RecordZeroMustBeARecord) {
    const struct {
        const char* name;
        const char* keyword;
        bool opens;
    } cases[] = {{"file", "FILE", true},
                 {"index block", "INDX", true},
                 {"bad", "BAAD", false},
                 {"other", "RCRD", false}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        ntfs_image image;
        byte_image bytes = image.build();
        bytes.put_text(image.record_pos(0), c.keyword);
        EXPECT_EQ(image_volume(bytes).validate(), c.opens);
    }
    ntfs_image old_layout;
    EXPECT_FALSE(opens(old_layout.put(old_layout.record_pos(0) + 4, 42, 2)));
}

TEST(NtfsValidate, UpdateSequenceMustFitTheStatedRecordSize) {
    const struct {
        const char* name;
        std::uint32_t record;
        std::uint16_t count;
        bool opens;
    } cases[] = {
        {"as stated", 1024, 3, true},         {"one sector more", 1024, 4, false},
        {"a record of 4096", 1024, 9, false}, {"less than stated", 4096, 3, true},
        {"count 1", 1024, 1, true},           {"count 0 is the largest", 1024, 0, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        ntfs_image image({.record = c.record});
        EXPECT_EQ(opens(image.put(image.record_pos(0) + 6, c.count, 2)), c.opens);
    }
}

TEST(NtfsValidate, IndexBlockAsRecordZeroMayHaveAnyCount) {
    ntfs_image image;
    byte_image bytes = image.build();
    bytes.put_text(image.record_pos(0), "INDX").put(image.record_pos(0) + 6, 9, 2);
    EXPECT_TRUE(image_volume(bytes).validate());
}

TEST(NtfsValidate, ImplausibleRecordSizesAreRejectedBeforeAllocation) {
    for (const unsigned field : {0x00u, 0xE1u, 0xE2u, 0xE8u, 0x7Fu}) {
        SCOPED_TRACE(field);
        EXPECT_FALSE(opens(ntfs_image({.mft_records = 24}).put(64, field, 1).put(13, 0x80, 1)));
    }
}

TEST(NtfsValidate, StrideOfEntriesIsStatedByRecordZero) {
    for (const std::uint32_t allocated : {0u, 512u, 2048u, 0xFFFFFFFFu}) {
        SCOPED_TRACE(allocated);
        ntfs_image image({.mft_records = 64});
        image_volume volume(image.put(image.record_pos(0) + 28, allocated, 4).build());
        EXPECT_TRUE(volume.validate());
        EXPECT_EQ(volume.ntfs.m_bytes_per_file_record, allocated);
        EXPECT_EQ(volume.ntfs.get_mft_record_size(), 1024u);
        const std::uint64_t expected = allocated == 0 ? 0 : 64 * 1024 / allocated;
        EXPECT_EQ(volume.ntfs.get_total_mft_entries(), expected);
    }
}

TEST(NtfsValidate, ResidentMftHasOneCluster) {
    ntfs_image image;
    image.entry(0).data("not a list of runs");
    image_volume volume(image.build());
    EXPECT_TRUE(volume.validate());
    EXPECT_EQ(volume.ntfs.get_total_mft_entries(), 4u);
}

TEST(NtfsValidate, ValueAfterTheRunsOfTheMftHasNoClusters) {
    ntfs_image image({.mft_records = 64});
    image.entry(0).data_runs({{image.record_pos(0) / 4096, 16}}).stream(u"named", "value");
    image_volume volume(image.build());
    ASSERT_TRUE(volume.validate());
    ASSERT_EQ(volume.ntfs.m_mft_info.data_runs.size(), 2u);
    EXPECT_EQ(volume.ntfs.get_total_mft_entries(), 64u);
}

TEST(NtfsValidate, LastRunsOfTheMftAndOfTheBitmapAreUsed) {
    ntfs_image image({.mft_records = 64});
    const std::uint64_t lcn = image.record_pos(0) / 4096;
    image.entry(0).data_runs({{lcn, 8}}).stream_runs(u"named", {{lcn, 16}});
    image.entry(6).data_runs({{7, 1}}).stream_runs(u"named", {{8, 1}});
    image_volume volume(image.build());
    ASSERT_TRUE(volume.validate());
    ASSERT_EQ(volume.ntfs.m_mft_info.data_runs.size(), 1u);
    EXPECT_EQ(volume.ntfs.m_mft_info.data_runs[0].num_clusters, 16u);
    ASSERT_EQ(volume.ntfs.m_bitmap_runs.size(), 1u);
    EXPECT_EQ(volume.ntfs.m_bitmap_runs[0].lcn, 8u);
}

TEST(NtfsValidate, ReaderIsEmptyBeforeValidation) {
    const CNtfs ntfs(nullptr, 0, source_kind::file);
    EXPECT_EQ(ntfs.get_mft_record_size(), 1024u);
    for (const std::uint64_t field :
         {ntfs.m_total_mft_entries, ntfs.m_total_clusters, ntfs.m_mft_file_pos,
          std::uint64_t{ntfs.m_bytes_per_file_record}, std::uint64_t{ntfs.cluster_size()},
          std::uint64_t{ntfs.m_mft_cluster_per_record_fixed},
          std::uint64_t{ntfs.m_sectors_per_cluster}})
        EXPECT_EQ(field, 0u);
    EXPECT_EQ(NTFS_DIR_CACHE_ENTRY{}.inode, 0u);
}

TEST(NtfsValidate, MftWithoutDataHasNoEntries) {
    ntfs_image image;
    // The type of $DATA is changed to an unused one.
    const std::size_t at = image.record_pos(0);
    byte_image bytes = image.build();
    std::size_t attribute = at + bytes.get(at + 20, 2);
    while (bytes.get(attribute, 4) != 0x80)
        attribute += bytes.get(attribute + 4, 4);
    image_volume volume(bytes.put(attribute, 0x70, 4));
    EXPECT_TRUE(volume.validate()) << "an empty $MFT is accepted";
    EXPECT_EQ(volume.ntfs.get_total_mft_entries(), 0u);
    EXPECT_FALSE(volume.ntfs.is_directory(5));
}

TEST(NtfsValidate, DamagedBitmapRecordIsIgnored) {
    ntfs_image image;
    image_volume volume(image.put(image.record_pos(6), 0, 4).build());
    EXPECT_TRUE(volume.validate());
    EXPECT_TRUE(volume.ntfs.m_bitmap_runs.empty());
    EXPECT_TRUE(volume.ntfs.is_directory(5));
}

TEST(NtfsValidate, NoPrefixOfAVolumeIsFatal) {
    ntfs_image image;
    const std::uint64_t record_0 = image.record_pos(0);
    const byte_image whole = image.build();
    const struct {
        std::uint64_t size;
        bool opens;
    } cases[] = {
        {511, false},
        {512, false},
        {record_0, false},
        {record_0 + 4, false},
        {record_0 + 512, true},
        {record_0 + 1024, true},
        {record_0 + 6 * 1024 + 4, true},
        {whole.size() - 1, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.size);
        byte_image cut = whole;
        EXPECT_EQ(image_volume(cut.resize(c.size)).validate(), c.opens);
    }
}

}  // namespace

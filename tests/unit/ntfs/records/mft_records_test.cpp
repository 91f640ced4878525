#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "ntfs/volume/ntfs.h"
#include "support/byte_image.h"
#include "support/ntfs_image.h"
#include "unit/ntfs/image_volume.h"

namespace {

using byte_list = std::vector<std::uint8_t>;
using support::byte_image;
using support::ntfs_image;

constexpr std::uint64_t all_ones = ~std::uint64_t{0};

// The results of one read.
struct record_read {
    bool result = false;
    byte_list bytes;
    std::uint64_t position = 77;
    std::int64_t size = 0;
};

// Reads into a buffer of `buffer_size` bytes of 0xCC.
record_read read_into(CNtfs& ntfs, std::uint64_t inode, std::size_t buffer_size = 1024) {
    record_read read;
    read.bytes.assign(buffer_size, 0xCC);
    read.size = static_cast<std::int64_t>(buffer_size);
    read.result = ntfs.read_file_record(inode, read.bytes, read.position, read.size, false);
    return read;
}

record_read read_allocated(CNtfs& ntfs, std::uint64_t inode) {
    record_read read;
    read.bytes.assign(3, 0xCC);
    read.result = ntfs.read_file_record(inode, read.bytes, read.position, read.size, true);
    return read;
}

struct vector_read {
    bool result = false;
    byte_list bytes;
    std::uint64_t position = 77;
    std::uint32_t kind = 77;
};

vector_read read_vector(CNtfs& ntfs, std::uint64_t inode) {
    vector_read read;
    read.bytes.assign(5, 0xCC);
    read.result = ntfs.read_record_vector(inode, read.bytes, read.position, read.kind);
    return read;
}

// A volume with the file 30, and the position of its record.
ntfs_image volume_with_file() {
    ntfs_image image;
    image.file(5, u"file.txt", 30).data("content");
    return image;
}

// A valid volume, opened.
struct opened_volume : image_volume {
    explicit opened_volume(const ntfs_image& image) : image_volume(image.build()) {
        EXPECT_TRUE(validate());
    }
};

// --- position of an entry ---

// A reader without a source, with the given runs of $MFT.
struct mft_layout {
    CNtfs ntfs{nullptr, 0, source_kind::file};

    mft_layout(std::int32_t cluster, std::uint32_t record, std::vector<support::cluster_run> runs) {
        ntfs.m_Validated = true;
        ntfs.m_cluster_size = cluster;
        ntfs.m_bytes_per_file_record = record;
        for (const support::cluster_run& run : runs) {
            NTFS_DATA& data = ntfs.m_mft_info.data_runs.emplace_back();
            data.lcn = run.lcn;
            data.num_clusters = static_cast<std::uint32_t>(run.count);
        }
    }
    void make_index() {
        std::uint64_t vcn = 0;
        const std::vector<NTFS_DATA>& runs = ntfs.m_mft_info.data_runs;
        for (std::size_t i = 0; i < runs.size(); ++i) {
            ntfs.m_mft_info.data_run_index[vcn] = i;
            vcn += runs[i].num_clusters;
        }
    }
    // Finds the first run that contains the entry, by a walk over all runs.
    std::uint64_t walked_position(std::uint64_t inode) const {
        const auto cluster = static_cast<std::uint64_t>(ntfs.m_cluster_size);
        const std::uint64_t offset = ntfs.m_bytes_per_file_record * inode;
        std::uint64_t first = 0;
        for (const NTFS_DATA& run : ntfs.m_mft_info.data_runs) {
            const std::uint64_t vcn = offset / cluster;
            if (first <= vcn && vcn < first + run.num_clusters) {
                return offset % cluster + (vcn - first + run.lcn) * cluster;
            }
            first += run.num_clusters;
        }
        return 0;
    }
};

TEST(EntryPosition, IsFoundThroughTheRunsOfTheMft) {
    mft_layout mft(4096, 1024, {{100, 2}, {50, 0}, {10, 1}, {all_ones, 3}, {7, 1}});
    const struct {
        const char* name;
        std::uint64_t inode;
        std::uint64_t position;
    } cases[] = {
        {"first", 0, 100 * 4096},
        {"inside the first cluster", 3, 100 * 4096 + 3 * 1024},
        {"second cluster", 4, 101 * 4096},
        {"an empty run contains no entry", 8, 10 * 4096},
        {"first cluster of a run without LCN", 12, 0 - 4096ull},
        {"inside it", 13, 0 - 3072ull},
        {"its second cluster is the start of the volume", 16, 0},
        {"its third cluster", 20, 4096},
        {"last run", 27, 7 * 4096 + 3 * 1024},
        {"past the runs", 28, 0},
        {"far past the runs", 0xFFFFFFFFFFFF, 0},
        {"2^54 times 1024 is 0", 1ull << 54, 100 * 4096},
        {"2^54 + 9 is 9", (1ull << 54) + 9, 10 * 4096 + 1024},
    };
    for (const bool with_index : {false, true}) {
        if (with_index) mft.make_index();
        for (const auto& c : cases) {
            SCOPED_TRACE(c.name);
            EXPECT_EQ(mft.ntfs.get_file_pos_for_inode(c.inode), c.position);
        }
    }
}

TEST(EntryPosition, IndexAndWalkAgreeOnAnyRuns) {
    std::mt19937_64 random(99);
    const std::int32_t clusters[] = {512, 1024, 1536, 4096, 65536};
    const std::uint32_t records[] = {512, 1024, 1000, 4096, 0xFFFFFFFF};
    for (int round = 0; round < 300; ++round) {
        std::vector<support::cluster_run> runs(random() % 40);
        for (support::cluster_run& run : runs) {
            const std::uint64_t counts[] = {0, random() % 8, random() % 0x100000000};
            run.count = counts[random() % 3];
            run.lcn = random() % 5 == 0 ? all_ones : random();
        }
        mft_layout mft(clusters[random() % 5], records[random() % 5], runs);
        mft_layout indexed(mft.ntfs.m_cluster_size, mft.ntfs.m_bytes_per_file_record, runs);
        indexed.make_index();
        std::vector<std::uint64_t> inodes{0, 1, 2, all_ones, 1ull << 54, (1ull << 54) - 1};
        std::uint64_t first_byte = 0;
        for (const support::cluster_run& run : runs) {  // both sides of each boundary
            const std::uint64_t inode = first_byte / mft.ntfs.m_bytes_per_file_record;
            for (const std::uint64_t step : {0ull, 1ull, 2ull})
                inodes.push_back(inode + step - 1);
            first_byte += run.count * static_cast<std::uint64_t>(mft.ntfs.m_cluster_size);
        }
        for (int i = 0; i < 20; ++i)
            inodes.push_back(random() >> random() % 64);
        for (const std::uint64_t inode : inodes) {
            const std::uint64_t expected = mft.walked_position(inode);
            ASSERT_EQ(mft.ntfs.get_file_pos_for_inode(inode), expected) << inode;
            ASSERT_EQ(indexed.ntfs.get_file_pos_for_inode(inode), expected) << inode;
        }
    }
}

TEST(EntryPosition, IsZeroIfNotValidated) {
    mft_layout mft(4096, 1024, {{100, 2}});
    mft.ntfs.m_Validated = false;
    EXPECT_EQ(mft.ntfs.get_file_pos_for_inode(1), 0u);
    mft.ntfs.m_Validated = true;
    mft.ntfs.m_cluster_size = 0;
    EXPECT_EQ(mft.ntfs.get_file_pos_for_inode(1), 0u);
}

TEST(EntryPosition, IsFoundInAFragmentedMft) {
    ntfs_image image;
    image.mft_runs({{100, 4}, {60, 4}, {130, 8}, {90, 2}});
    image.file(5, u"last.txt", 71).data("x");
    opened_volume volume(image);
    EXPECT_EQ(volume.ntfs.get_total_mft_entries(), 72u);
    EXPECT_EQ(volume.ntfs.m_mft_info.data_run_index.size(), 4u);
    for (std::uint64_t inode = 0; inode < 72; ++inode) {
        SCOPED_TRACE(inode);
        EXPECT_EQ(volume.ntfs.get_file_pos_for_inode(inode), image.record_pos(inode));
        const record_read read = read_into(volume.ntfs, inode);
        ASSERT_TRUE(read.result);
        EXPECT_EQ(file_record{read.bytes}.own_number(), inode);
    }
    EXPECT_EQ(volume.ntfs.get_file_pos_for_inode(72), 0u);
}

// --- read_file_record ---

TEST(ReadFileRecord, AppliesTheUpdateSequence) {
    ntfs_image image = volume_with_file();
    const byte_list expected = image.entry(30).build_before_fixup();
    opened_volume volume(image);
    for (const record_read& read : {read_into(volume.ntfs, 30), read_allocated(volume.ntfs, 30)}) {
        EXPECT_TRUE(read.result);
        EXPECT_EQ(read.bytes, expected);
        EXPECT_EQ(read.position, image.record_pos(30));
        EXPECT_EQ(read.size, 1024);
    }
}

TEST(ReadFileRecord, EntryZeroNeedsNeitherRunsNorAValidatedVolume) {
    ntfs_image image = volume_with_file();
    image_volume volume(image.build());
    volume.ntfs.m_mft_file_pos = image.record_pos(0);
    volume.ntfs.m_mft_record_size = 1024;
    volume.ntfs.m_bytes_per_file_record = 1024;
    const record_read zero = read_allocated(volume.ntfs, 0);
    EXPECT_TRUE(zero.result);
    EXPECT_EQ(zero.position, image.record_pos(0));
    const record_read too_early = read_allocated(volume.ntfs, 30);
    EXPECT_FALSE(too_early.result);
    EXPECT_TRUE(too_early.bytes.empty());
    EXPECT_FALSE(read_into(volume.ntfs, 30).result);
    EXPECT_TRUE(volume.validate());
    EXPECT_TRUE(read_allocated(volume.ntfs, 30).result);
}

TEST(ReadFileRecord, EntryZeroIsReadAtThePositionInTheBootSector) {
    ntfs_image image({.mirror_lcn = 40});
    image.put(48, 40, 8);                  // the boot sector points to the mirror
    image.put(40 * 4096 + 16, 0x4321, 2);  // the mirror has another sequence number
    opened_volume volume(image);
    const record_read zero = read_into(volume.ntfs, 0);
    EXPECT_TRUE(zero.result);
    EXPECT_EQ(zero.position, 40u * 4096);
    EXPECT_EQ(file_record{zero.bytes}.sequence_number(), 0x4321);
    EXPECT_EQ(read_vector(volume.ntfs, 0).position, 40u * 4096);
    EXPECT_EQ(volume.ntfs.get_file_pos_for_inode(0), image.record_pos(0));
}

TEST(ReadFileRecord, AcceptsValidFileRecordsAndIndexBlocks) {
    const struct {
        const char* name;
        std::size_t at;
        std::uint64_t value;
        std::size_t width;
        bool by_read_file_record;
        bool by_read_record_vector;
        std::uint32_t kind;
    } cases[] = {
        {"as built", 16, 1, 2, true, true, record_kind::file},
        {"sequence array at 42", 4, 42, 2, false, false, record_kind::none},
        {"count 10", 6, 10, 2, false, false, record_kind::none},
        {"count 9 in a record of two sectors", 6, 9, 2, true, false, record_kind::file},
        {"count 1", 6, 1, 2, true, true, record_kind::file},
        {"count 0", 6, 0, 2, true, true, record_kind::file},
        {"first attribute at 73", 20, 73, 2, false, false, record_kind::none},
        {"INDX", 0, 0x58444E49, 4, true, true, record_kind::index},
        {"BAAD", 0, 0x44414142, 4, false, true, record_kind::bad},
        {"zeros", 0, 0, 4, false, false, record_kind::none},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        ntfs_image image = volume_with_file();
        image.put(image.record_pos(30) + c.at, c.value, c.width);
        opened_volume volume(image);
        const record_read into = read_into(volume.ntfs, 30);
        EXPECT_EQ(into.result, c.by_read_file_record);
        EXPECT_EQ(into.bytes.size(), 1024u) << "the size of the caller's buffer is unchanged";
        const record_read allocated = read_allocated(volume.ntfs, 30);
        EXPECT_EQ(allocated.result, c.by_read_file_record);
        EXPECT_EQ(allocated.bytes.empty(), !c.by_read_file_record);
        const vector_read vector = read_vector(volume.ntfs, 30);
        EXPECT_EQ(vector.result, c.by_read_record_vector);
        EXPECT_EQ(vector.kind, c.kind);
    }
}

TEST(ReadFileRecord, OtherKindsUseTheUpdateSequenceOffsetOfTheHeader) {
    for (const char* keyword : {"INDX", "BAAD"}) {
        SCOPED_TRACE(keyword);
        ntfs_image image;
        image.entry(30).usa_offset(64).first_attribute(80).keyword(keyword);
        image.entry(30).data(byte_list(900, 0x5A));
        const byte_list valid = image.entry(30).build_before_fixup();
        opened_volume volume(image);
        const record_read read = read_into(volume.ntfs, 30);
        EXPECT_EQ(read.result, std::string(keyword) == "INDX");
        if (read.result) {
            EXPECT_EQ(read.bytes, valid);
        }
        const vector_read vector = read_vector(volume.ntfs, 30);
        EXPECT_TRUE(vector.result);
        EXPECT_EQ(vector.bytes, valid);
    }
}

TEST(ReadFileRecord, CountOfOneChangesNothing) {
    ntfs_image image = volume_with_file();
    image.put(image.record_pos(30) + 6, 1, 2);
    opened_volume volume(image);
    const record_read read = read_into(volume.ntfs, 30);
    EXPECT_TRUE(read.result);
    EXPECT_EQ(read.bytes, image.build().get_bytes(image.record_pos(30), 1024));
}

TEST(ReadFileRecord, TornSectorIsOverwritten) {
    ntfs_image image = volume_with_file();
    const byte_list valid = image.entry(30).build_before_fixup();
    image.put(image.record_pos(30) + 510, 0xDEAD, 2).put(image.record_pos(30) + 1022, 0xBEEF, 2);
    opened_volume volume(image);
    EXPECT_EQ(read_into(volume.ntfs, 30).bytes, valid);
    EXPECT_EQ(read_vector(volume.ntfs, 30).bytes, valid);
}

TEST(ReadFileRecord, LargeSectorsRestoreOnlyOneWord) {
    // The sectors have 4096 bytes, but the update sequence has a word for each 512 bytes.
    ntfs_image image({.sector = 4096, .record = 4096});
    image.entry(30).data(byte_list(3000, 0x5A));
    const byte_list on_disk = image.entry(30).build();
    opened_volume volume(image);
    const record_read read = read_into(volume.ntfs, 30, 4096);
    ASSERT_TRUE(read.result);
    byte_list expected = on_disk;
    expected[4094] = on_disk[50];  // word 1 of the array, meant for offset 510
    expected[4095] = on_disk[51];
    EXPECT_EQ(read.bytes, expected);
    EXPECT_EQ(ql::le16(read.bytes, 510), 1) << "the check value is kept";
    EXPECT_FALSE(read_vector(volume.ntfs, 30).result)
        << "nine words for sectors of 4096 bytes are too many";
}

TEST(ReadFileRecord, EntryPastTheMftReadsTheBootSectorAndFails) {
    opened_volume volume(volume_with_file());
    for (const std::uint64_t inode : {64ull, 1000ull, 0xFFFFFFFFFFFFull, ~0ull}) {
        SCOPED_TRACE(inode);
        const record_read read = read_into(volume.ntfs, inode);
        EXPECT_FALSE(read.result);
        EXPECT_EQ(read.position, 0u);
        EXPECT_TRUE(ql::has_text(read.bytes, 3, "NTFS    "));
        EXPECT_FALSE(read_allocated(volume.ntfs, inode).result);
        EXPECT_FALSE(read_vector(volume.ntfs, inode).result);
        EXPECT_FALSE(volume.ntfs.is_directory(inode));
    }
}

TEST(ReadFileRecord, EntryInAHoleOfTheMftReadsNothing) {
    ntfs_image image;
    image.entry(0).data_runs({{image.record_pos(0) / 4096, 8}, {support::hole, 8}});
    opened_volume volume(image);
    EXPECT_EQ(volume.ntfs.get_file_pos_for_inode(32), 0 - 4096ull);
    EXPECT_FALSE(read_into(volume.ntfs, 32).result);
    EXPECT_FALSE(read_vector(volume.ntfs, 32).result);
}

TEST(ReadFileRecord, EntryInAHoleCanBeBeforeTheVolume) {
    const std::uint64_t offset = 65536;
    ntfs_image image;
    image.entry(0).data_runs({{image.record_pos(0) / 4096, 8}, {support::hole, 8}});
    byte_image disk;
    disk.put_image(offset, image.build());
    disk.put_bytes(offset - 4096, support::record_builder(4711).build());
    image_volume volume(disk, offset);
    ASSERT_TRUE(volume.validate());
    const record_read read = read_into(volume.ntfs, 32);
    EXPECT_TRUE(read.result);
    EXPECT_EQ(file_record{read.bytes}.own_number(), 4711u);
}

TEST(ReadFileRecord, SizeBelowARecordFails) {
    opened_volume volume(volume_with_file());
    EXPECT_TRUE(read_into(volume.ntfs, 30, 1024).result);
    EXPECT_TRUE(read_into(volume.ntfs, 30, 2000).result);
    EXPECT_FALSE(read_into(volume.ntfs, 30, 1023).result);
    EXPECT_FALSE(read_into(volume.ntfs, 30, 0).result);

    record_read nothing;  // even if a record has no bytes
    volume.ntfs.m_bytes_per_file_record = 0;
    EXPECT_FALSE(
        volume.ntfs.read_file_record(30, nothing.bytes, nothing.position, nothing.size, false));
    volume.ntfs.m_bytes_per_file_record = 1024;

    record_read announced_less;
    announced_less.bytes.resize(1024);
    announced_less.size = 1023;
    EXPECT_FALSE(volume.ntfs.read_file_record(30, announced_less.bytes, announced_less.position,
                                              announced_less.size, false));
}

TEST(ReadFileRecord, BufferIsReplacedByTheBytesOfTheRecord) {
    opened_volume volume(volume_with_file());
    const record_read read = read_into(volume.ntfs, 30, 1100);
    ASSERT_TRUE(read.result);
    EXPECT_EQ(read.bytes.size(), 1024u);
}

TEST(ReadFileRecord, TruncatedRecordHasTheBytesThatWereRead) {
    ntfs_image image;
    image.entry(30).data(byte_list(900, 0x5A)).put_before_fixup(1022, 0x5A5A, 2);
    const byte_list on_disk = image.entry(30).build();
    const byte_list valid = image.entry(30).build_before_fixup();
    image.truncate(image.record_pos(30) + 600);
    opened_volume volume(image);

    byte_list expected(valid.begin(), valid.begin() + 512);
    expected.insert(expected.end(), on_disk.begin() + 512, on_disk.begin() + 600);
    for (const record_read& read : {read_into(volume.ntfs, 30), read_allocated(volume.ntfs, 30)}) {
        EXPECT_TRUE(read.result);
        EXPECT_EQ(read.size, 600) << "one whole sector: one word is restored";
        EXPECT_EQ(read.bytes, expected);
    }

    const vector_read vector = read_vector(volume.ntfs, 30);
    EXPECT_TRUE(vector.result);
    EXPECT_EQ(ql::le16(vector.bytes, 1022), 0x5A5A) << "both words are restored";
    vector_read again;  // into the buffer of another record
    again.bytes.assign(2000, 0xCC);
    EXPECT_TRUE(volume.ntfs.read_record_vector(30, again.bytes, again.position, again.kind));
    EXPECT_EQ(again.bytes, vector.bytes);
    EXPECT_EQ(ql::le16(again.bytes, 700), 0);
}

TEST(ReadFileRecord, StrideAboveTheRecordSizeFailsExceptWithAllocate) {
    ntfs_image image = volume_with_file();
    image.put(image.record_pos(0) + 28, 2048, 4);
    opened_volume volume(image);
    EXPECT_FALSE(read_into(volume.ntfs, 15).result);
    const record_read read = read_allocated(volume.ntfs, 15);
    EXPECT_TRUE(read.result);
    EXPECT_EQ(read.size, 2048);
    EXPECT_EQ(file_record{read.bytes}.own_number(), 30u) << "15 times 2048 is entry 30";
    EXPECT_TRUE(read_into(volume.ntfs, 0).result)
        << "entry 0 has the record size of the boot sector";
}

TEST(ReadFileRecord, StrideBelowTheRecordSizeReadsLess) {
    ntfs_image image = volume_with_file();
    image.put(image.record_pos(0) + 28, 512, 4);
    opened_volume volume(image);
    const record_read read = read_into(volume.ntfs, 60);
    EXPECT_TRUE(read.result);
    EXPECT_EQ(read.size, 512);
    EXPECT_EQ(file_record{read.bytes}.own_number(), 30u);
    EXPECT_EQ(read.bytes.size(), 512u);
}

TEST(ReadFileRecord, StrideOfZeroReadsOnlyEntryZero) {
    ntfs_image image = volume_with_file();
    image.put(image.record_pos(0) + 28, 0, 4);
    opened_volume volume(image);
    EXPECT_TRUE(read_into(volume.ntfs, 0).result);
    EXPECT_FALSE(read_into(volume.ntfs, 30).result);
    EXPECT_FALSE(read_allocated(volume.ntfs, 30).result);
}

TEST(ReadFileRecord, StrideAboveTheSourceUsesNoMemory) {
    ntfs_image image = volume_with_file();
    image.put(image.record_pos(0) + 28, 0xFFFFFFFF, 4);
    opened_volume volume(image);
    EXPECT_FALSE(read_allocated(volume.ntfs, 0xFFFFFFFF).result);
    EXPECT_FALSE(volume.ntfs.is_directory(1));
}

TEST(ReadFileRecord, RecordSizeAboveTheSourceReadsWhatIsThere) {
    opened_volume volume(volume_with_file());
    const record_read usual = read_allocated(volume.ntfs, 0);
    for (const std::uint32_t stated : {0x8000000u, 0x80000000u, 0xFFFFFFFFu}) {
        volume.ntfs.m_mft_record_size = stated;
        const record_read read = read_allocated(volume.ntfs, 0);
        EXPECT_TRUE(read.result);
        EXPECT_EQ(static_cast<std::uint64_t>(read.size),
                  volume.ntfs.m_disk->size_in_bytes() - volume.ntfs.m_mft_file_pos);
        ASSERT_GE(read.bytes.size(), 1024u);
        EXPECT_TRUE(std::equal(usual.bytes.begin(), usual.bytes.end(), read.bytes.begin()));
        EXPECT_LE(read.bytes.size(), 0x10000u) << "no attribute extends further";
        const vector_read vector = read_vector(volume.ntfs, 30);
        EXPECT_TRUE(vector.result);
        EXPECT_EQ(file_record{vector.bytes}.own_number(), 30u);
    }
}

TEST(ReadFileRecord, PreviousRecordIsNotReturnedForAnUnreadableOne) {
    opened_volume volume(volume_with_file());
    record_read read = read_into(volume.ntfs, 30);
    vector_read vector = read_vector(volume.ntfs, 30);
    ASSERT_TRUE(read.result);
    ASSERT_TRUE(vector.result);
    volume.ntfs.m_disk->ok = false;
    EXPECT_FALSE(volume.ntfs.read_file_record(30, read.bytes, read.position, read.size, false));
    volume.ntfs.m_disk->ok = true;
    // Far past the end of the source.
    volume.ntfs.m_mft_info.data_runs[0].lcn = 1u << 30;
    EXPECT_FALSE(volume.ntfs.read_record_vector(30, vector.bytes, vector.position, vector.kind));
}

TEST(ReadFileRecord, ClosedSourceFails) {
    opened_volume volume(volume_with_file());
    volume.ntfs.m_disk->ok = false;
    EXPECT_FALSE(read_into(volume.ntfs, 30).result);
    EXPECT_FALSE(read_into(volume.ntfs, 0).result);
    EXPECT_FALSE(read_vector(volume.ntfs, 30).result);
}

// --- read_record_vector ---

TEST(ReadRecordVector, ResizesTheVectorAndAppliesTheUpdateSequence) {
    ntfs_image image = volume_with_file();
    const byte_list expected = image.entry(30).build_before_fixup();
    opened_volume volume(image);
    const vector_read read = read_vector(volume.ntfs, 30);
    EXPECT_TRUE(read.result);
    EXPECT_EQ(read.bytes, expected);
    EXPECT_EQ(read.position, image.record_pos(30));
    EXPECT_EQ(read.kind, record_kind::file);
}

TEST(ReadRecordVector, NeedsAValidatedVolumeEvenForEntryZero) {
    image_volume volume(volume_with_file().build());
    EXPECT_FALSE(read_vector(volume.ntfs, 0).result);
    ASSERT_TRUE(volume.validate());
    EXPECT_TRUE(read_vector(volume.ntfs, 0).result);
    volume.ntfs.m_Validated = false;
    const vector_read read = read_vector(volume.ntfs, 0);
    EXPECT_FALSE(read.result);
    EXPECT_EQ(read.kind, record_kind::none);
}

TEST(ReadRecordVector, RecordsBelow1024BytesFail) {
    ntfs_image image({.record = 512});
    image.file(5, u"a", 30);
    opened_volume volume(image);
    EXPECT_TRUE(read_into(volume.ntfs, 30).result);
    const vector_read read = read_vector(volume.ntfs, 30);
    EXPECT_FALSE(read.result);
    EXPECT_EQ(read.kind, record_kind::none);
}

// --- is_directory ---

TEST(IsDirectory, TestsTheFlagOfTheRecord) {
    ntfs_image image = volume_with_file();
    image.directory(5, u"folder", 31);
    image.directory(5, u"gone", 32).flags(2);
    opened_volume volume(image);
    EXPECT_TRUE(volume.ntfs.is_directory(5));
    EXPECT_FALSE(volume.ntfs.is_directory(30));
    EXPECT_TRUE(volume.ntfs.is_directory(31));
    EXPECT_TRUE(volume.ntfs.is_directory(32)) << "in use or not";
}

}  // namespace

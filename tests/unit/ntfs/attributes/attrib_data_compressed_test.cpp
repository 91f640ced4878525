// Tests compressed data of a row that is written to a stream.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "ntfs/attributes/attrib_rows.h"
#include "ntfs/volume/ntfs.h"
#include "support/byte_image.h"
#include "support/lznt1_compressor.h"
#include "support/ntfs_image.h"
#include "unit/ntfs/attributes/cluster_source.h"
#include "unit/ntfs/image_volume.h"

namespace {

using namespace cluster_data;

// A compressed row, stored from LCN 0. Each unit is filled up to 16 clusters with a hole.
struct compressed_volume {
    support::byte_image image;
    data_run_list runs;
    std::uint64_t lcn = 0;
    std::uint64_t vcn = 0;

    void add_unit(const byte_list& stored) {
        image.put_bytes(lcn * cluster_bytes, stored);
        const auto clusters =
            static_cast<std::uint32_t>((stored.size() + cluster_bytes - 1) / cluster_bytes);
        if (clusters > 0) runs.push_back({lcn, vcn, 0, clusters});
        if (clusters < 16) runs.push_back({0, vcn + clusters, 1, 16 - clusters});
        lcn += clusters;
        vcn += 16;
        image.resize(lcn * cluster_bytes + 512);
    }
    streamed_row stream(const row_sizes& sizes) const {
        image_volume volume(image);
        volume.ntfs.m_cluster_size = cluster_bytes;
        volume.ntfs.m_Validated = true;
        return {volume.ntfs, row_with_runs(runs, sizes)};
    }
};

constexpr std::size_t unit_bytes = 16 * cluster_bytes;  // two chunks of 4096

byte_list text_content(std::size_t size, char first) {
    byte_list out;
    for (std::size_t i = 0; out.size() < size; ++i) {
        out.push_back(static_cast<std::uint8_t>(first + static_cast<char>(i / 64 % 10)));
    }
    return out;
}

row_sizes compressed_sizes(std::size_t size) {
    const std::size_t units = (size + unit_bytes - 1) / unit_bytes;
    return {.allocated = units * unit_bytes,
            .real = size,
            .initialized = size,
            .compressed = 1024,
            .unit = 4,
            .flags = 1};
}

TEST(StreamCompressed, UnitsAreDecompressedOneByOne) {
    for (const std::size_t size :
         {unit_bytes, 2 * unit_bytes, 2 * unit_bytes + 100, unit_bytes + 4096, std::size_t{100}}) {
        SCOPED_TRACE(size);
        const byte_list plain = text_content(size, 'a');
        compressed_volume volume;
        for (std::size_t at = 0; at < size; at += unit_bytes) {
            volume.add_unit(
                support::lznt1_compress(part(plain, at, std::min(unit_bytes, size - at))));
        }
        const streamed_row streamed = volume.stream(compressed_sizes(size));
        EXPECT_TRUE(streamed.result);
        EXPECT_TRUE(streamed.text == text_of(plain));
        EXPECT_EQ(streamed.byte_count, size);
    }
}

TEST(StreamCompressed, UnitThatDidNotShrinkIsWrittenUnchanged) {
    const byte_list noise = support::pattern(unit_bytes, 9);
    const byte_list text = text_content(unit_bytes, 'a');
    compressed_volume volume;
    volume.add_unit(noise);
    volume.add_unit(support::lznt1_compress(text));
    const streamed_row streamed = volume.stream(compressed_sizes(2 * unit_bytes));
    EXPECT_TRUE(streamed.text == text_of(joined({noise, text})));
}

TEST(StreamCompressed, HolesOfOneUnitDoNotAffectTheNext) {
    // If the second unit were read as chunks, it would consist of gaps.
    byte_list stored_plain = support::pattern(unit_bytes, 9);
    stored_plain[0] = stored_plain[1] = 0;
    stored_plain[4096] = stored_plain[4097] = 0;
    const byte_list text = text_content(unit_bytes, 'a');
    compressed_volume volume;
    volume.add_unit(support::lznt1_compress(text));
    volume.add_unit(stored_plain);
    const streamed_row streamed = volume.stream(compressed_sizes(2 * unit_bytes));
    EXPECT_TRUE(streamed.text == text_of(joined({text, stored_plain})));
}

TEST(StreamCompressed, UnreadableClusterInsideAUnitEndsTheStream) {
    const byte_list noise = support::pattern(unit_bytes, 9);
    compressed_volume volume;
    volume.add_unit(noise);
    volume.add_unit(noise);
    volume.runs = {{0, 0, 0, 3}, {1000, 3, 0, 13}, {16, 16, 0, 16}};
    const streamed_row streamed = volume.stream(compressed_sizes(2 * unit_bytes));
    EXPECT_TRUE(streamed.result);
    EXPECT_TRUE(streamed.text == text_of(part(noise, 0, 3 * cluster_bytes)));
}

TEST(StreamCompressed, UnitThatIsAHoleEndsTheStream) {
    const byte_list text = text_content(unit_bytes, 'a');
    compressed_volume volume;
    volume.add_unit(support::lznt1_compress(text));
    volume.add_unit({});
    volume.add_unit(support::lznt1_compress(text));
    const streamed_row streamed = volume.stream(compressed_sizes(3 * unit_bytes));
    EXPECT_TRUE(streamed.result);
    EXPECT_TRUE(streamed.text == text_of(text));
    EXPECT_EQ(streamed.byte_count, 3 * unit_bytes) << "the stated size, not the bytes written";
}

TEST(StreamCompressed, DamagedUnitEndsTheStream) {
    const byte_list text = text_content(unit_bytes, 'a');
    compressed_volume volume;
    volume.add_unit(support::lznt1_compress(text));
    volume.add_unit({0x01, 0x00});
    volume.add_unit(support::lznt1_compress(text));
    EXPECT_TRUE(volume.stream(compressed_sizes(3 * unit_bytes)).text == text_of(text));

    compressed_volume first_damaged;
    first_damaged.add_unit({0x01, 0x00});
    const streamed_row nothing = first_damaged.stream(compressed_sizes(unit_bytes));
    EXPECT_FALSE(nothing.result);
    EXPECT_EQ(nothing.text, "");
    EXPECT_EQ(nothing.byte_count, 0u);
}

TEST(StreamCompressed, UnreadableUnitEndsTheStream) {
    const byte_list text = text_content(unit_bytes, 'a');
    compressed_volume volume;
    volume.add_unit(support::lznt1_compress(text));
    volume.runs.push_back({1000, 16, 0, 16});
    EXPECT_TRUE(volume.stream(compressed_sizes(2 * unit_bytes)).text == text_of(text));

    volume.runs = {{1000, 0, 0, 16}};
    const streamed_row nothing = volume.stream(compressed_sizes(unit_bytes));
    EXPECT_FALSE(nothing.result);
    EXPECT_EQ(nothing.text, "");
}

TEST(StreamCompressed, CompressionNeedsTheExactFlagAUnitAndASize) {
    const byte_list packed = support::lznt1_compress(text_content(unit_bytes, 'a'));
    compressed_volume volume;
    volume.add_unit(packed);
    byte_list raw = packed;
    raw.resize(unit_bytes);
    const row_sizes valid = compressed_sizes(unit_bytes);
    EXPECT_TRUE(volume.stream(valid).text == text_of(text_content(unit_bytes, 'a')));
    for (const std::uint16_t flags :
         {std::uint16_t{0}, std::uint16_t{0x8001}, std::uint16_t{0x4001}, std::uint16_t{3}}) {
        SCOPED_TRACE(flags);
        row_sizes sizes = valid;
        sizes.flags = flags;
        EXPECT_TRUE(volume.stream(sizes).text == text_of(raw));
    }
    row_sizes no_unit = valid;
    no_unit.unit = 0;
    EXPECT_TRUE(volume.stream(no_unit).text == text_of(raw));
    row_sizes no_size = valid;
    no_size.compressed = 0;
    EXPECT_TRUE(volume.stream(no_size).text == text_of(raw));
}

TEST(StreamCompressed, LastUnitIsReadToItsAllocatedEndOnly) {
    // The last unit stores its data in 1024 bytes, which are read up to the allocated size. If the
    // allocated size ends with the data, the end of the chunk is not read.
    const byte_list first = text_content(unit_bytes, 'a');
    const byte_list last = support::pattern(900, 5);
    compressed_volume volume;
    volume.add_unit(support::lznt1_compress(first));
    volume.add_unit(support::lznt1_literals(last));
    row_sizes sizes = compressed_sizes(unit_bytes + 900);
    EXPECT_TRUE(volume.stream(sizes).text == text_of(joined({first, last})));

    sizes.allocated = ~0ull;  // at most one unit is read
    EXPECT_TRUE(volume.stream(sizes).text == text_of(joined({first, last})));

    sizes.allocated = unit_bytes + 900;
    const std::string cut = volume.stream(sizes).text;
    EXPECT_NE(cut, text_of(joined({first, last})));
    EXPECT_TRUE(cut.substr(0, unit_bytes) == text_of(first));
}

TEST(StreamCompressed, StreamOfABuiltVolume) {
    support::ntfs_image image;
    const byte_list plain =
        joined({text_content(200000, 'a'), support::pattern(4 * 65536 - 200000, 3),
                text_content(5000, 'a')});
    image.compressed_stream(image.file(5, u"packed.txt", 30), u"", plain);
    image_volume volume(image.build());
    ASSERT_TRUE(volume.validate());
    std::vector<NTFS_ATTRIB_ROW> rows;
    ASSERT_TRUE(volume.ntfs.get_attrib_rows(30, rows));
    const auto data = std::find_if(rows.begin(), rows.end(),
                                   [](const NTFS_ATTRIB_ROW& row) { return row.type == 0x80; });
    ASSERT_NE(data, rows.end());
    const streamed_row streamed(volume.ntfs, *data);
    EXPECT_TRUE(streamed.result);
    EXPECT_TRUE(streamed.text == text_of(plain));
}

}  // namespace

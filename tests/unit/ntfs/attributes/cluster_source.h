// A volume of numbered clusters, and rows whose data is written to a stream.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <initializer_list>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "ntfs/attributes/attrib_rows.h"
#include "ntfs/attributes/entry_context.h"
#include "ntfs/volume/ntfs.h"
#include "support/byte_image.h"
#include "support/temp_dir.h"
#include "unit/ntfs/image_volume.h"

namespace cluster_data {

using byte_list = std::vector<std::uint8_t>;

inline constexpr std::uint32_t cluster_bytes = 512;

// Returns the parts one after the other.
inline byte_list joined(std::initializer_list<byte_list> parts) {
    byte_list out;
    for (const byte_list& part : parts)
        out.insert(out.end(), part.begin(), part.end());
    return out;
}

// Returns `count` bytes from `from` on.
inline byte_list part(const byte_list& whole, std::size_t from, std::size_t count) {
    const auto begin = whole.begin() + static_cast<std::ptrdiff_t>(from);
    return {begin, begin + static_cast<std::ptrdiff_t>(count)};
}

// Returns the content of a cluster of the test source.
inline byte_list cluster_content(std::uint64_t lcn) {
    return support::pattern(cluster_bytes, static_cast<std::uint32_t>(lcn + 1));
}

// A cluster of a hole.
inline const byte_list hole(cluster_bytes, 0);

// 40 clusters of 512 bytes with different content, in a reader that uses them as a volume.
class cluster_source : public image_volume {
public:
    explicit cluster_source(std::uint64_t size = 40 * cluster_bytes)
        : image_volume(make_image(size)) {
        ntfs.m_cluster_size = cluster_bytes;
        ntfs.m_Validated = true;
    }

private:
    static support::byte_image make_image(std::uint64_t size) {
        support::byte_image image;
        for (std::uint64_t lcn = 0; lcn < 40; ++lcn) {
            image.put_bytes(lcn * cluster_bytes, cluster_content(lcn));
        }
        return image.resize(size);
    }
};

// VCN 0 and 1 at LCN 10, a hole of 2, VCN 4 at LCN 30, VCN 5 and 6 at LCN 20.
inline const data_run_list test_runs{{10, 0, 0, 2}, {0, 2, 1, 2}, {30, 4, 0, 1}, {20, 5, 0, 2}};
inline const byte_list test_content =
    joined({cluster_content(10), cluster_content(11), hole, hole, cluster_content(30),
            cluster_content(20), cluster_content(21)});

// The sizes of a non-resident attribute, its compression unit and its flags.
struct row_sizes {
    std::uint64_t allocated = 0, real = 0, initialized = 0, compressed = 0;
    std::uint8_t unit = 0;
    std::uint16_t flags = 0;
};

// Returns the row of a non-resident attribute.
inline NTFS_ATTRIB_ROW row_with_runs(const data_run_list& runs, const row_sizes& sizes) {
    NTFS_ATTRIB_ROW row;
    row.runs = runs;
    row.nonresident = 1;
    row.attrib_flags = sizes.flags;
    const byte_list body = support::byte_image(row.body.size())
                               .put(8, sizes.allocated, 8)
                               .put(16, sizes.real, 8)
                               .put(24, sizes.initialized, 8)
                               .put(32, sizes.compressed, 8)
                               .put(44, sizes.unit, 1)
                               .bytes();
    std::copy(body.begin(), body.end(), row.body.begin());
    return row;
}

// The data of a row as stream_attribute writes it, and the trace.
struct streamed_row {
    bool result = false;
    std::string text;
    std::uint64_t byte_count = 0;
    std::string trace;

    streamed_row(CNtfs& ntfs, const NTFS_ATTRIB_ROW& row) {
        const support::temp_dir dir;
        std::ostringstream out, out2;
        out.setstate(std::ios::failbit);
        out2.setstate(std::ios::failbit);
        {
            mft_entries_ctx ctx;
            ctx.byte_count = 99;
            ctx.diags_on = 1;
            ctx.diags_stream = std::make_unique<std::ofstream>(dir.file("trace"));
            result = ntfs.stream_attribute(row, out, out2, ctx);
            byte_count = ctx.byte_count;
        }
        text = out.str();
        trace = support::read_file(dir.file("trace"));
        EXPECT_TRUE(out.good());
        EXPECT_TRUE(out2.good());
        EXPECT_EQ(out2.str(), "");
    }
};

// Returns bytes as the text that they are in a stream.
inline std::string text_of(const byte_list& content) { return {content.begin(), content.end()}; }

}  // namespace cluster_data

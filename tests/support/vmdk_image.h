// Virtual disks as one file of sparse grains (hosted sparse extents), and chains of them.
//
// The file: header (sector 0), descriptor, redundant grain directory and tables, grain directory,
// grain tables, then the grains. Header:
//
//    0  "KDMV"                         44  u32  grain table entries per table
//    4  u32  version                   48  u64  redundant grain directory, sectors
//    8  u32  flags                     56  u64  grain directory, sectors
//   12  u64  capacity, sectors         64  u64  overhead, sectors
//   20  u64  grain size, sectors       72  u8   unclean shutdown
//   28  u64  descriptor, sectors       73  "\n \r\n"
//   36  u64  descriptor size, sectors  77  u16  compression
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "support/byte_image.h"

namespace support {

struct vmdk_options {
    std::uint64_t capacity = 0;      // sectors; 0: as many as the content needs, in whole grains
    std::uint64_t grain_size = 128;  // sectors
    std::uint32_t table_entries = 512;
    std::uint64_t descriptor_sectors = 20;
    std::uint32_t version = 1;
    std::uint32_t flags = 3;               // newline test valid, redundant table used
    bool redundant = true;                 // writes the second directory and tables
    std::uint64_t first_grain_sector = 0;  // 0: after the metadata
    bool shuffle_grains = false;           // stores the grains in reverse order
};

class vmdk_image {
public:
    explicit vmdk_image(const vmdk_options& options = {});

    // --- content ---
    // Sets the disk's bytes. Grains of zeros are not stored.
    vmdk_image& content(const byte_image& disk);
    // Sets grain `number` (zero padded), which is stored even if it is zero.
    vmdk_image& grain(std::uint64_t number, std::span<const std::uint8_t> content);
    // Sets a table entry to a value without storing a grain: 0 unallocated, 1 zeroed.
    vmdk_image& grain_entry(std::uint64_t number, std::uint32_t value);
    // Sets a directory entry to 0: the table is missing, and its grains are unreachable.
    vmdk_image& without_table(std::uint64_t table);

    // --- descriptor ---
    // The default descriptor has CID, parentCID, createType, one extent line and the ddb lines.
    vmdk_image& cid(std::uint32_t value);
    vmdk_image& parent(std::uint32_t parent_cid, std::string_view file_name_hint);
    vmdk_image& create_type(std::string_view value);
    vmdk_image& extent_line(std::string_view line);
    // Adds a line before the extents.
    vmdk_image& line(std::string_view text);
    // Replaces the whole descriptor by `text`, truncated to the space available.
    vmdk_image& descriptor(std::string_view text);
    std::string descriptor() const;

    // --- damage ---
    // Overwrites bytes of the finished file; the header is at 0.
    vmdk_image& put(std::uint64_t at, std::uint64_t value, std::size_t width);
    vmdk_image& put_text(std::uint64_t at, std::string_view text);

    // --- results ---
    byte_image build() const;
    // The extent line names the last component of `path`, unless one has been set.
    std::string save(const std::string& path) const;
    // Positions in the file, in sectors.
    std::uint64_t descriptor_sector() const { return 1; }
    std::uint64_t directory_sector() const;
    std::uint64_t table_sector(std::uint64_t table) const;
    // Returns the position of the grain's content, or 0 if it is not stored.
    std::uint64_t grain_sector(std::uint64_t number) const;
    std::uint64_t capacity() const;  // sectors

private:
    struct layout;
    layout lay_out() const;
    void put_header(byte_image& file, const layout& where) const;
    void put_tables(byte_image& file, const layout& where, std::uint64_t at) const;

    vmdk_options m_options;
    std::map<std::uint64_t, bytes> m_grains;
    std::map<std::uint64_t, std::uint32_t> m_entries;  // entries of a given value
    std::vector<std::uint64_t> m_missing_tables;
    std::uint64_t m_content_sectors = 0;
    std::uint32_t m_cid = 0x12345678, m_parent_cid = 0xFFFFFFFF;
    std::string m_create_type = "monolithicSparse", m_parent_hint;
    std::optional<std::string> m_extent_line, m_descriptor;
    std::vector<std::string> m_lines;
    std::vector<std::pair<std::uint64_t, bytes>> m_patches;
};

// Writes a base and its deltas to `directory` as "<stem>.vmdk", "<stem>-000001.vmdk" and so on. The
// i-th file gets the CID 0x10000000 + i, and each delta the CID and the file name of its
// predecessor. All must have the same capacity. Returns the paths, base first.
std::vector<std::string> save_vmdk_chain(const std::string& directory, const std::string& stem,
                                         std::vector<vmdk_image> base_and_deltas);

}  // namespace support

// The attributes of MFT entries as flat rows.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "foundation/bytes/ql_bytes.h"
#include "ntfs/attributes/attrib_pass.h"
#include "ntfs/runs/data_run_list.h"

class CNtfs;

// Type of the row that describes the record header.
constexpr std::uint32_t row_type_record_head = 272;

// One attribute as a flat row. Fields in `body`, little-endian:
//
//   record header  0 entry number u64; 8 flags u8 (bit 0 not in use, bit 1 directory, bit 2 always
//                  1, bits 3 to 6 low bits of the hard link count, bit 7 has a base record);
//                  9 base_ref u64
//   0x10           0 created, 8 modified, 16 accessed, 24 MFT changed (u64); 32 attributes u32
//   0x30           0 parent reference; 8 created, 16 modified, 24 accessed, 32 MFT changed;
//                  40 real size (u64); 48 namespace u8; 49 low byte of the file flags u8
//   non-resident   0 owner_ref; 8 allocated, 16 real, 24 initialized, 32 compressed size (u64);
//                  44 compression unit u8: see row_body
//   resident       0 value length u32; in a 0x40 row with a value of 16 bytes: 0 the object id
struct NTFS_ATTRIB_ROW {
    std::uint32_t type = 0;
    std::uint16_t attrib_id = 0;
    std::uint16_t attrib_flags = 0;
    std::uint64_t file_ref = 0;  // file reference; in the record header row the entry number
    std::uint8_t nonresident = 0;
    std::array<std::uint8_t, 55> body{};
    std::string name;       // of the attribute; the volume name in an unnamed 0x60 row
    std::string file_name;  // in a 0x30 row only
    data_run_list runs;
    std::vector<std::uint8_t> value;  // of a resident attribute
    std::uint32_t record_size = 0;
};

// Offsets in NTFS_ATTRIB_ROW::body.
namespace row_body {
constexpr std::size_t value_length = 0;  // of a resident attribute
constexpr std::size_t owner_ref = 0;     // this and the following: of a non-resident one
constexpr std::size_t allocated_size = 8;
constexpr std::size_t real_size = 16;
constexpr std::size_t initialized_size = 24;
constexpr std::size_t compressed_size = 32;
constexpr std::size_t compression_unit = 44;
}  // namespace row_body

// Returns the data size that a non-resident row states: the larger of its real and initialized
// size.
inline std::uint64_t announced_size(const NTFS_ATTRIB_ROW& row) {
    return std::max(ql::le64(row.body, row_body::real_size),
                    ql::le64(row.body, row_body::initialized_size));
}

// Returns the first row of `type` and `name` that get_attrib_rows returns for an entry, without
// copying the values of the other rows. Returns nullopt if there is no such row, if the record
// cannot be used or if the volume is not open.
std::optional<NTFS_ATTRIB_ROW> find_attrib_row(CNtfs& ntfs, std::uint64_t inode, std::uint32_t type,
                                               const std::string& name);

// Reads the rows of many entries in turn, reusing its buffers.
class listing_rows {
public:
    // `ntfs` must outlive this object.
    explicit listing_rows(CNtfs& ntfs);

    // Reads the rows of get_attrib_rows that a listing shows: those of $OBJECT_ID, $DATA and
    // $INDEX_ALLOCATION, without runs and values. Returns false, with no rows, if the volume is not
    // open or the record cannot be used. `known`: see attrib_pass::run.
    bool read(std::uint64_t inode, const whole_record* known = nullptr);

    // The rows of the entry that was read last, by attribute id.
    const std::vector<NTFS_ATTRIB_ROW>& rows() const { return m_rows; }

private:
    CNtfs& m_ntfs;
    attrib_pass m_pass;
    std::vector<NTFS_ATTRIB_ROW> m_rows;
};

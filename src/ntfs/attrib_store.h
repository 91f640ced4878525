// The attributes of one MFT entry: the store, and the flat rows and names made from the same
// record.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "foundation/ql_bytes.h"
#include "ntfs/data_run_list.h"
#include "run/cmd_params.h"

class CNtfs;

// The context of one categorising pass: the volume, the record geometry and the trace of
// cmd_params, which is off by default.
class mft_entries_ctx : public cmd_params {
public:
    CNtfs* ntfs = nullptr;
    std::uint32_t record_size = 0;  // fixed on first use
    std::uint16_t bytes_per_sector = 0;
    std::uint64_t byte_count = 0;  // bytes passed on by the last stream_attribute
};

struct NTFS_STD_INFO_ITEM {
    std::array<std::uint8_t, 72> value{};  // a shorter value is filled with zeros
    bool time_warning = false;             // one of the four timestamps is 0
    std::string warning;                   // "null" if time_warning is set
};

struct NTFS_FILE_NAME_ITEM {
    std::array<std::uint8_t, 68> value{};
    std::wstring name;
    bool is_dos_name = false;  // namespace 2
    bool time_warning = false;
    std::string warning;
    std::uint16_t attrib_id = 0;
    std::uint64_t inode = 0;
};

struct NTFS_ATTRIB_ITEM {
    std::wstring attrib_name;
    std::string label;              // "unnamed data", "ads", "indx root" ...
    std::vector<std::uint8_t> raw;  // the whole attribute, header included
    std::string value_text;
    bool is_ads = false;
    bool is_data = false;
    data_run_list runs;  // of a non-resident attribute
    std::vector<std::uint8_t> resident_value;
};

// The result of one pass over an MFT entry and its extension records.
struct NTFS_ENTRY_STORE {
    std::uint64_t inode = 0;
    std::uint16_t sequence = 0;
    std::array<std::uint8_t, 42> header{};   // of the base record
    std::vector<std::uint8_t> record_bytes;  // the base record with its update sequence applied
    bool has_base = false;
    std::uint64_t base_ref = 0;
    std::map<std::uint16_t, NTFS_STD_INFO_ITEM> std_infos;  // by attribute id
    std::map<std::string, NTFS_FILE_NAME_ITEM> file_names;  // by name key
    std::map<std::uint64_t, NTFS_ATTRIB_ITEM> attributes;   // by id << 48 | type
    bool seen_unnamed_data = false;
};

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

// One $FILE_NAME of a record.
struct NTFS_NAME_ENTRY {
    std::string key;
    std::wstring name;
    std::uint64_t parent_ref = 0;
    std::uint8_t is_dos_name = 0;
    std::array<std::uint8_t, 68> file_name_body{};
    std::array<std::uint8_t, 72> attrib_head{};
    std::uint32_t record_number = 0;
};

using name_entry_map = std::map<std::string, NTFS_NAME_ENTRY>;

// Returns the sort key of a $FILE_NAME: the parent in hexadecimal (at least 8 digits), "_", the
// name in UTF-8, "_", `number` in hexadecimal (at least 8 digits).
std::string name_key(std::uint64_t parent, const std::wstring& name, std::uint64_t number);

// Selects names under all parents in get_file_names.
constexpr std::uint64_t no_parent_filter = ~std::uint64_t{0};

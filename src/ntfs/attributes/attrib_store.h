// The attributes of one MFT entry, sorted by type.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "ntfs/runs/data_run_list.h"

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

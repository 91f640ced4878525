// The names of an MFT entry.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>

#include "ntfs/format/file_reference.h"

// One $FILE_NAME of a record.
struct NTFS_NAME_ENTRY {
    std::string key;
    std::wstring name;
    std::uint64_t parent_ref = 0;
    std::uint8_t is_dos_name = 0;
    std::array<std::uint8_t, 68> file_name_body{};
    std::array<std::uint8_t, 72> attrib_head{};
    std::uint32_t record_number = 0;

    // MFT entry of the directory that contains the name.
    std::uint64_t parent_entry() const { return file_reference{parent_ref}.entry(); }
};

using name_entry_map = std::map<std::string, NTFS_NAME_ENTRY>;

// Returns the sort key of a $FILE_NAME: the parent in hexadecimal (at least 8 digits), "_", the
// name in UTF-8, "_", `number` in hexadecimal (at least 8 digits).
std::string name_key(std::uint64_t parent, const std::wstring& name, std::uint64_t number);

// Selects names under all parents in get_file_names.
constexpr std::uint64_t no_parent_filter = ~std::uint64_t{0};

// Selects the names of a record.
struct name_filter {
    bool all_namespaces = false;              // also DOS names
    std::uint64_t parent = no_parent_filter;  // entry of the only parent whose names are selected
};

// The rows of a listing.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <set>
#include <string>
#include <string_view>
#include <vector>

// A $FILE_NAME of a listed entry.
struct fn_entry {
    std::uint64_t parent_ref = 0;
    std::uint64_t created = 0;  // FILETIMEs
    std::uint64_t modified = 0;
    std::uint64_t mft_changed = 0;
    std::uint64_t accessed = 0;
    std::wstring name;
    std::uint8_t is_short = 0;   // the DOS name
    std::uint8_t time_null = 0;  // one of the four timestamps is 0
    std::string_view comment;    // "fn:time null" if so
};

// The kinds of row.
namespace entry_type {
constexpr std::uint32_t file = 1;
constexpr std::uint32_t directory = 16;
constexpr std::uint32_t index_stream = 256;
constexpr std::uint32_t data_stream = 4096;
}  // namespace entry_type

// The bit of dir_entry::flags that is set if the FILE record is a directory.
constexpr std::uint16_t record_flag_directory = 0x0002;

// A row: a file, a directory, an alternate data stream or an index allocation stream.
struct dir_entry {
    std::vector<fn_entry> fn_list;             // names under this parent, in name-key order
    std::wstring parent_path;                  // the directory's path
    std::uint32_t type = 0;                    // one of entry_type
    std::array<std::uint8_t, 16> object_id{};  // all zero without one
    std::uint64_t size = 0;    // bytes: allocated size, or the length of a resident value
    std::wstring link_target;  // always empty
    std::uint64_t mft_entry = 0;
    std::uint16_t seq_num = 0;
    std::uint16_t flags = 0;  // of the FILE record
    std::uint64_t parent_entry = 0;
    std::wstring name;             // display name
    std::wstring full_path;        // lower-cased; the sort key
    std::uint64_t si_created = 0;  // FILETIMEs of $STANDARD_INFORMATION
    std::uint64_t si_modified = 0;
    std::uint64_t si_mft_changed = 0;
    std::uint64_t si_accessed = 0;
    std::uint32_t attributes = 0;  // file attribute flags
};

// Returns true for all rows of a directory, including those of its streams.
inline bool is_of_directory(const dir_entry& entry) {
    return (entry.flags & record_flag_directory) != 0;
}

// Returns true unless the object id is all zero.
inline bool has_object_id(const dir_entry& entry) {
    return std::any_of(entry.object_id.begin(), entry.object_id.end(),
                       [](std::uint8_t byte) { return byte != 0; });
}

// Orders rows by their sort key, code point by code point; a prefix sorts first.
struct by_full_path {
    bool operator()(const dir_entry& a, const dir_entry& b) const {
        return a.full_path < b.full_path;
    }
};

// Rows in report order. Rows with equal keys keep the order of insertion.
using dir_entry_set = std::multiset<dir_entry, by_full_path>;

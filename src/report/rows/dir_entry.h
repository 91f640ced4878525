// The rows of a listing.
//
// The largest directory of a volume is held in rows, so they are small: texts of a row are in
// UTF-8, like the reports, and a path that all rows have in common is shared.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// The path of a directory. Copies share one text.
class shared_path {
public:
    shared_path() = default;
    explicit shared_path(std::wstring path)
        : m_text(std::make_shared<const std::wstring>(std::move(path))) {}

    // The path; empty if none was given.
    const std::wstring& text() const {
        static const std::wstring none;
        return m_text != nullptr ? *m_text : none;
    }
    // Returns true if both are copies of one object, and not only equal.
    bool is_shared_with(const shared_path& other) const { return m_text == other.m_text; }

private:
    std::shared_ptr<const std::wstring> m_text;
};

// A $FILE_NAME of a listed entry.
struct fn_entry {
    std::uint64_t parent_ref = 0;
    std::uint64_t created = 0;  // FILETIMEs
    std::uint64_t modified = 0;
    std::uint64_t mft_changed = 0;
    std::uint64_t accessed = 0;
    std::string name;            // UTF-8
    std::uint8_t is_short = 0;   // the DOS name
    std::uint8_t time_null = 0;  // one of the four timestamps is 0

    std::string_view comment() const { return time_null != 0 ? "fn:time null" : ""; }
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
    // Names under this parent, in name-key order. Filled only for reports with all dates.
    std::vector<fn_entry> fn_list;
    shared_path parent_path;  // the directory's path
    std::uint32_t type = 0;   // one of entry_type
    std::uint16_t seq_num = 0;
    std::uint16_t flags = 0;                   // of the FILE record
    std::array<std::uint8_t, 16> object_id{};  // all zero without one
    std::uint64_t size = 0;   // bytes: allocated size, or the length of a resident value
    std::string link_target;  // always empty
    std::uint64_t mft_entry = 0;
    std::uint64_t parent_entry = 0;
    std::string name;              // display name, UTF-8
    std::string full_path;         // lower-cased, UTF-8; the sort key
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

// Orders rows by their sort key, code point by code point, which is the order of the bytes in
// UTF-8; a prefix sorts first.
struct by_full_path {
    bool operator()(const dir_entry& a, const dir_entry& b) const {
        return a.full_path < b.full_path;
    }
};

// Rows in report order. Rows with equal keys keep the order of insertion.
using dir_entry_set = std::multiset<dir_entry, by_full_path>;

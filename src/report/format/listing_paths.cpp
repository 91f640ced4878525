#include "report/format/listing_paths.h"

#include <string_view>
#include <utility>

#include "foundation/text/ql_string.h"
#include "report/format/row_text.h"

namespace {

bool is_separator(std::uint32_t c) { return c == '\\' || c == '/'; }

// Returns `path` without its trailing backslashes, or all of it if it has no other characters.
std::string_view without_trailing_backslashes(std::string_view path) {
    const std::size_t last = path.find_last_not_of('\\');
    return last == std::string_view::npos ? path : path.substr(0, last + 1);
}

// Returns the part of a name from its last colon, or all of a name without a colon.
std::string_view stream_part(std::string_view name) {
    const std::size_t colon = name.rfind(':');
    return colon == std::string_view::npos ? name : name.substr(colon);
}

}  // namespace

bool start_listing(std::ostream& out, dir_entry_set& recurse_list, const dir_entry_set& entries) {
    recurse_list.clear();
    if (!entries.empty()) return true;
    ql::text_buffer line;
    line += "no items in directory";
    write_row(out, line);
    return false;
}

listing_paths::listing_paths(std::string path, std::uint64_t dir_entry_num, bool last_level)
    : dir_path(std::move(path)), m_dir_entry_num(dir_entry_num), m_last_level(last_level) {
    if (dir_path.empty() || !is_separator(static_cast<unsigned char>(dir_path.back()))) {
        dir_path += '\\';
    }
}

bool listing_paths::take(const dir_entry& entry) {
    if (!is_of_directory(entry)) return true;
    if (entry.mft_entry == m_dir_entry_num) {
        row_path = dir_path;
        return true;
    }
    if (!m_last_level) return false;
    row_path = dir_path;
    row_path += name;
    row_path += '\\';
    return true;
}

void move_to_recurse_list(dir_entry_set& recurse_list, dir_entry_set::node_type row) {
    dir_entry& entry = row.value();
    std::wstring path = entry.parent_path.text();
    if (path.empty() || !is_separator(static_cast<std::uint32_t>(path.back()))) path += L'\\';
    path += ql::to_wide(entry.name);
    entry.parent_path = shared_path(std::move(path));
    recurse_list.insert(recurse_list.end(), std::move(row));
}

void listing_paths::append_path(ql::text_buffer& row, const dir_entry& entry) const {
    switch (entry.type) {
        case entry_type::file:
            row += dir_path;
            row += name;
            break;
        case entry_type::directory:
            row += row_path;
            break;
        case entry_type::index_stream:
        case entry_type::data_stream:
            append_stream_path(row, entry);
            break;
        default:
            break;
    }
}

// The path of a stream of the listed entry continues the latest directory row: "\dir:zone", without
// a backslash before the colon. If the listed entry is a file there is no such row, and its streams
// are shown as ":zone" alone.
void listing_paths::append_stream_path(ql::text_buffer& row, const dir_entry& entry) const {
    if (entry.mft_entry == m_dir_entry_num) {
        row += without_trailing_backslashes(row_path);
        row += stream_part(name);
    } else if (name.empty()) {
        row += row_path;
    } else {
        row += dir_path;
        row += name;
    }
}

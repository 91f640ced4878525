#include "convert/formats/body_format.h"

#include "convert/listing/name_text.h"
#include "foundation/text/number_text.h"

namespace convert {

namespace {

constexpr std::string_view name_mark = " ($FILE_NAME)";
constexpr std::string_view deleted_mark = " (deleted)";

void append_character(std::string& out, const character& next, std::string_view bytes) {
    if (next.what != character::kind::valid) {
        out += replacement_character;
    } else if (next.value == '\\') {
        out += '/';
    } else if (next.value == '%' || next.value == '|' || next.value == '/') {
        append_percent_escape(out, bytes);
    } else if (is_control(next.value)) {
        out += "\\x";
        ql::append_hex(out, next.value, 2);
    } else {
        out += bytes;
    }
}

// If the path ends in a mark, escapes the blank of the mark.
void escape_mark(std::string& path) {
    for (const std::string_view mark : {name_mark, deleted_mark}) {
        if (path.ends_with(mark)) path.replace(path.size() - mark.size(), 1, "%20");
    }
}

// A read-only file has no write permission. NTFS has no other permissions to show.
std::string_view mode_of(const listing_row& row) {
    const bool writable = (row.attributes & listing_row::attribute_read_only) == 0;
    if (row.type == row_type::directory) return writable ? "d/drwxrwxrwx" : "d/dr-xr-xr-x";
    return writable ? "r/rrwxrwxrwx" : "r/rr-xr-xr-x";
}

void append_seconds(std::string& out, const std::optional<utc_time>& time) {
    out += '|';
    ql::append_decimal(out, time ? unix_seconds(*time) : 0);
}

}  // namespace

void append_body_path(std::string& out, const listing_row& row) {
    std::string_view rest = row.path;
    const bool has_end = row.type == row_type::directory && rest.size() > 1 && rest.ends_with('\\');
    if (has_end) rest.remove_suffix(1);
    while (!rest.empty()) {
        const character next = decode_character(rest);
        append_character(out, next, rest.substr(0, next.length));
        rest.remove_prefix(next.length);
    }
    escape_mark(out);
}

void body_writer::append_line(std::string& out, const listing_row& row, const row_times& times,
                              std::string_view mark) {
    if (times.blank()) ++m_lines_without_time;
    out += "0|";
    out += m_path;
    out += mark;
    if (row.is_deleted()) out += deleted_mark;
    out += '|';
    ql::append_decimal(out, row.entry);
    out += '|';
    out += mode_of(row);
    out += "|0|0|";
    ql::append_decimal(out, row.allocated_size);
    append_seconds(out, times.accessed);
    append_seconds(out, times.modified);
    append_seconds(out, times.changed);
    append_seconds(out, times.created);
    out += '\n';
}

void body_writer::append(std::string& out, const listing_row& row) {
    m_path.clear();
    append_body_path(m_path, row);
    append_line(out, row, row.standard, "");
    if (row.is_entry()) append_line(out, row, row.name, name_mark);
}

std::string body_writer::note() const {
    if (m_lines_without_time == 0) return {};
    std::string text = "lines without a time, which mactime skips: ";
    ql::append_decimal(text, m_lines_without_time);
    return text;
}

}  // namespace convert

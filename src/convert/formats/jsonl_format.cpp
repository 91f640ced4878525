#include "convert/formats/jsonl_format.h"

#include <array>

#include "convert/listing/name_text.h"
#include "foundation/text/number_text.h"

namespace convert {

namespace {

// Appends a comma, a name and a colon.
void append_name(std::string& out, std::string_view name) {
    out += ",\"";
    out += name;
    out += "\":";
}

void append_number(std::string& out, std::string_view name, std::uint64_t value) {
    append_name(out, name);
    ql::append_decimal(out, value);
}

void append_flag(std::string& out, std::string_view name, bool value) {
    append_name(out, name);
    out += value ? "true" : "false";
}

// Appends a string, or null if it is empty.
void append_text(std::string& out, std::string_view name, std::string_view text) {
    append_name(out, name);
    if (text.empty())
        out += "null";
    else
        append_json_text(out, text);
}

void append_time(std::string& out, std::string_view name, const std::optional<utc_time>& time) {
    append_name(out, name);
    if (!time) {
        out += "null";
        return;
    }
    out += '"';
    append_iso_time(out, *time);
    out += '"';
}

using time_names = std::array<std::string_view, 4>;

void append_times(std::string& out, const time_names& names, const row_times& times) {
    append_time(out, names[0], times.created);
    append_time(out, names[1], times.modified);
    append_time(out, names[2], times.changed);
    append_time(out, names[3], times.accessed);
}

void append_escaped(std::string& out, char32_t value) {
    out += "\\u";
    ql::append_hex(out, value, 4);
}

// Returns true if each character is printable ASCII that is not escaped.
bool is_plain(std::string_view text) {
    for (const char c : text) {
        if (c < 0x20 || c >= 0x7F || c == '"' || c == '\\') return false;
    }
    return true;
}

void append_character(std::string& out, const character& next, std::string_view bytes) {
    if (next.what == character::kind::invalid) {
        out += replacement_character;
    } else if (next.what == character::kind::surrogate || is_control(next.value)) {
        append_escaped(out, next.value);
    } else {
        if (next.value == '"' || next.value == '\\') out += '\\';
        out += bytes;
    }
}

}  // namespace

void append_json_text(std::string& out, std::string_view text) {
    out += '"';
    if (is_plain(text)) {
        out += text;
        text = {};
    }
    while (!text.empty()) {
        const character next = decode_character(text);
        append_character(out, next, text.substr(0, next.length));
        text.remove_prefix(next.length);
    }
    out += '"';
}

void append_json_row(std::string& out, const listing_row& row) {
    out += "{\"type\":\"";
    out += type_name(row.type);
    out += '"';
    append_text(out, "path", row.path);
    std::string path_hex;
    if (!is_valid_unicode(row.path)) append_hex_bytes(path_hex, row.path);
    append_text(out, "path_hex", path_hex);
    append_text(out, "link_target", row.link_target);
    append_number(out, "allocated_size", row.allocated_size);
    append_number(out, "attributes", row.attributes);
    append_number(out, "entry", row.entry);
    append_number(out, "sequence", row.sequence);
    append_number(out, "flags", row.flags);
    append_flag(out, "deleted", row.is_deleted());
    append_times(out, {"si_created", "si_modified", "si_changed", "si_accessed"}, row.standard);
    append_times(out, {"fn_created", "fn_modified", "fn_changed", "fn_accessed"}, row.name);
    append_times(out,
                 {"short_fn_created", "short_fn_modified", "short_fn_changed", "short_fn_accessed"},
                 row.short_name);
    append_flag(out, "set_back", row.set_back);
    append_text(out, "object_id", row.object_id);
    out += '}';
}

void jsonl_writer::append(std::string& out, const listing_row& row) {
    append_json_row(out, row);
    out += '\n';
}

}  // namespace convert

#include "convert/formats/csv_format.h"

#include "convert/listing/name_text.h"
#include "foundation/text/number_text.h"

namespace convert {

namespace {

constexpr std::string_view line_end = "\r\n";

void append_number(std::string& out, std::uint64_t value) {
    ql::append_decimal(out, value);
    out += ',';
}

void append_flag(std::string& out, bool value) { out += value ? "true," : "false,"; }

void append_time(std::string& out, const std::optional<utc_time>& time) {
    if (time) append_iso_time(out, *time);
    out += ',';
}

void append_times(std::string& out, const row_times& times) {
    append_time(out, times.created);
    append_time(out, times.modified);
    append_time(out, times.changed);
    append_time(out, times.accessed);
}

// Returns true if a spreadsheet takes the text for a formula, or if the first apostrophe of the
// text would be mistaken for the mark.
bool needs_apostrophe(std::string_view text) {
    return !text.empty() && std::string_view("=+-@\t\r\n'").find(text[0]) != std::string_view::npos;
}

}  // namespace

void append_csv_text(std::string& out, std::string_view text) {
    const bool quoted = text.find_first_of(",\"\r\n") != std::string_view::npos;
    if (quoted) out += '"';
    if (needs_apostrophe(text)) out += '\'';
    const std::size_t start = out.size();
    append_valid(out, text);
    if (!quoted) return;
    for (std::size_t at = out.find('"', start); at != std::string::npos; at = out.find('"', at + 2))
        out.insert(at, 1, '"');
    out += '"';
}

std::string csv_writer::heading() const {
    std::string text =
        "type,path,path_hex,link_target,allocated_size,attributes,entry,sequence,flags,deleted,";
    for (const char* source : {"si", "fn", "short_fn"}) {
        for (const char* time : {"created", "modified", "changed", "accessed"})
            text += std::string(source) + "_" + time + ",";
    }
    text += "set_back,object_id";
    return text += line_end;
}

void csv_writer::append(std::string& out, const listing_row& row) {
    out += type_name(row.type);
    out += ',';
    append_csv_text(out, row.path);
    out += ',';
    if (!is_valid_unicode(row.path)) append_hex_bytes(out, row.path);
    out += ',';
    append_csv_text(out, row.link_target);
    out += ',';
    append_number(out, row.allocated_size);
    append_number(out, row.attributes);
    append_number(out, row.entry);
    append_number(out, row.sequence);
    append_number(out, row.flags);
    append_flag(out, row.is_deleted());
    append_times(out, row.standard);
    append_times(out, row.name);
    append_times(out, row.short_name);
    append_flag(out, row.set_back);
    out += row.object_id;
    out += line_end;
}

}  // namespace convert

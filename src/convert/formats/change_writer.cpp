#include "convert/formats/change_writer.h"

#include <array>

#include "convert/formats/jsonl_format.h"
#include "convert/listing/name_text.h"
#include "foundation/text/number_text.h"

namespace convert {

namespace {

constexpr std::size_t change_width = 16;
constexpr std::size_t type_width = 4;
constexpr std::size_t entry_width = 10;
constexpr std::size_t sequence_width = 8;
constexpr std::size_t bytes_width = 14;

// Appends a text with blanks after it, and one more.
void append_left(std::string& out, std::string_view text, std::size_t width) {
    out += text;
    out.append(text.size() < width ? width - text.size() : 0, ' ');
    out += ' ';
}

// Appends a text with blanks before it, and one after it.
void append_right(std::string& out, std::string_view text, std::size_t width) {
    out.append(text.size() < width ? width - text.size() : 0, ' ');
    out += text;
    out += ' ';
}

// Appends the names of the kinds of a change, in quotes and with `separator` between them.
void append_kinds(std::string& out, const row_change& change, std::string_view quote) {
    const auto kinds = kinds_of(change);
    bool first = true;
    for (std::size_t i = 0; i < kinds.size(); ++i) {
        if (!kinds.at(i)) continue;
        if (!first) out += ',';
        first = false;
        out += quote;
        out += change_names.at(i);
        out += quote;
    }
}

void append_number(std::string& out, std::uint64_t value, std::size_t width) {
    ql::append_decimal(out, value, width);
    out += ' ';
}

void append_bytes(std::string& out, const listing_row* row) {
    if (row != nullptr)
        append_number(out, row->allocated_size, bytes_width);
    else
        append_right(out, "-", bytes_width);
}

// Appends the letters of the times that differ, of four bits of changed_times().
void append_letters(std::string& out, unsigned times) {
    constexpr std::array<unsigned, 4> bits = {2, 8, 4, 1};  // M, A, C, B
    constexpr std::string_view letters = "MACB";
    for (std::size_t i = 0; i < bits.size(); ++i)
        out += (times & bits.at(i)) != 0 ? letters[i] : '.';
    out += ' ';
}

bool needs_escape(char32_t value) {
    return value == '%' || value == '>' || is_control(value) || is_direction_mark(value) ||
           is_invisible(value);
}

void append_path(std::string& out, std::string_view path) {
    while (!path.empty()) {
        const character next = decode_character(path);
        const std::string_view bytes = path.substr(0, next.length);
        path.remove_prefix(next.length);
        if (next.what != character::kind::valid)
            out += replacement_character;
        else if (needs_escape(next.value))
            append_percent_escape(out, bytes);
        else
            out += bytes;
    }
}

void append_object(std::string& out, std::string_view name, const listing_row* row) {
    out += ",\"";
    out += name;
    out += "\":";
    if (row != nullptr)
        append_json_row(out, *row);
    else
        out += "null";
}

}  // namespace

std::string change_table::heading() const {
    std::string text;
    append_left(text, "change", change_width);
    append_left(text, "type", type_width);
    append_right(text, "entry", entry_width);
    append_right(text, "sequence", sequence_width);
    append_right(text, "old bytes", bytes_width);
    append_right(text, "new bytes", bytes_width);
    append_left(text, "SI", 4);
    append_left(text, "FN", 4);
    return text + "path\n";
}

void change_table::append(std::string& out, const row_change& change) {
    const listing_row& row = change.row();
    std::string kinds;
    append_kinds(kinds, change, "");
    append_left(out, kinds, change_width);
    append_left(out, type_name(row.type), type_width);
    append_number(out, row.entry, entry_width);
    append_number(out, row.sequence, sequence_width);
    append_bytes(out, change.before);
    append_bytes(out, change.after);
    append_letters(out, change.times);
    append_letters(out, change.times >> 4 | change.times >> 8);
    if (change.renamed || change.moved) {
        append_path(out, change.before->path);
        out += " -> ";
    }
    append_path(out, row.path);
    out += '\n';
}

void change_jsonl::append(std::string& out, const row_change& change) {
    const listing_row& row = change.row();
    out += "{\"change\":[";
    append_kinds(out, change, "\"");
    out += "],\"type\":\"";
    out += type_name(row.type);
    out += "\",\"entry\":";
    ql::append_decimal(out, row.entry);
    out += ",\"sequence\":";
    ql::append_decimal(out, row.sequence);
    out += ",\"times\":[";
    bool first = true;
    for (std::size_t i = 0; i < time_names.size(); ++i) {
        if ((change.times >> i & 1u) == 0) continue;
        out += first ? "\"" : ",\"";
        first = false;
        out += time_names.at(i);
        out += '"';
    }
    out += ']';
    append_object(out, "old", change.before);
    append_object(out, "new", change.after);
    out += "}\n";
}

}  // namespace convert

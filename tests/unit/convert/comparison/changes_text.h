// Compares rows and describes the changes as text.
#pragma once

#include <string>
#include <vector>

#include "convert/comparison/row_change.h"
#include "unit/convert/formats/format_text.h"

namespace changes_text {

// Returns the row of an entry in use.
inline convert::listing_row row_of(convert::row_type type, const std::string& path,
                                   std::uint64_t entry, std::uint16_t sequence = 1) {
    convert::listing_row row = format_text::plain_row();
    row.type = type;
    row.path = path;
    row.entry = entry;
    row.sequence = sequence;
    row.standard = format_text::times_of("2021");
    return row;
}

inline convert::listing_row file(const std::string& path, std::uint64_t entry = 41,
                                 std::uint16_t sequence = 1) {
    return row_of(convert::row_type::file, path, entry, sequence);
}

inline convert::listing_row stream(const std::string& path, std::uint64_t entry = 41) {
    return row_of(convert::row_type::stream, path, entry);
}

inline convert::listing_row directory(const std::string& path, std::uint64_t entry) {
    convert::listing_row row = row_of(convert::row_type::directory, path, entry);
    row.flags = 3;
    return row;
}

inline convert::listing_row unused(convert::listing_row row) {
    row.flags &= 0xFFFE;
    return row;
}

inline convert::listing_row sized(convert::listing_row row, std::uint64_t size) {
    row.allocated_size = size;
    return row;
}

// Returns "renamed times \old > \new", or "created \new".
inline std::string text_of(const convert::row_change& change) {
    std::string text;
    const auto kinds = kinds_of(change);
    for (std::size_t i = 0; i < kinds.size(); ++i)
        text += kinds.at(i) ? std::string(convert::change_names.at(i)) + " " : "";
    if (change.renamed || change.moved) text += change.before->path + " > ";
    return text + change.row().path;
}

}  // namespace changes_text

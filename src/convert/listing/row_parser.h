// Parses one row of a listing.
//
// Each field is followed by the separator S:
//
//   type S  path S  link S  size S  attributes S  entry S  sequence S  flags S
//   four times of $STANDARD_INFORMATION:     date S time S
//   four times of a $FILE_NAME:              date S time S
//   four times of the $FILE_NAME in DOS form date S time S
//   "true" or nothing S  object id or nothing  line feed
//
// The times are created, modified, MFT changed, accessed. Date and time are both empty or neither
// is. A row of an entry without a $FILE_NAME lacks the eight times after the first four. Only the
// path and the link can contain any byte except zero; the path may contain line feeds.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "convert/listing/listing_form.h"
#include "convert/listing/listing_row.h"

namespace convert {

struct parse_result {
    enum class kind {
        row,
        no_items,    // the text "no items" and two line feeds, of a path without rows
        incomplete,  // the text ends first
        malformed,
    };
    kind what = kind::incomplete;
    std::size_t length = 0;         // bytes of a row or of "no items"; otherwise 0
    const char* reason = "";        // if malformed
    std::size_t reason_offset = 0;  // if malformed: where the text stops to fit
};

class row_parser {
public:
    // A longer row is malformed, so that a damaged listing does not fill the memory.
    static constexpr std::size_t most_bytes = std::size_t{16} << 20;

    // No row has a longer start: a line feed before it, its type and the separator.
    static constexpr std::size_t most_start_bytes = 1 + 4 + separator_length;

    row_parser(std::string separator, bool with_object_id);

    // Parses the row at the start of `text`. `row` is unspecified unless the result is a row.
    parse_result parse(std::string_view text, listing_row& row) const;

    // Finds the first line feed of `text` before what can be a row: its first field and the
    // separator, or as much of them as the text contains. Returns the offset of the line feed, or
    // `text.size()`.
    std::size_t find_next_row(std::string_view text) const;

private:
    bool may_start_row(std::string_view text) const;

    std::string m_separator;
    std::vector<std::string> m_row_starts;  // a type and the separator
    bool m_with_object_id;
};

}  // namespace convert

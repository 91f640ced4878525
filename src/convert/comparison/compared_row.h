// A row of one of two listings, as a record of a sort.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "convert/listing/listing_row.h"
#include "convert/listing/path_map.h"
#include "convert/listing/row_owner.h"

namespace convert {

enum class listing_side : std::uint8_t { old_listing, new_listing };

struct entry_id {
    std::uint64_t entry = 0;
    std::uint16_t sequence = 0;

    bool operator==(const entry_id&) const = default;
};

struct compared_row {
    listing_row row;
    listing_side side = listing_side::old_listing;
    std::optional<entry_id> directory;  // that contains the entry; empty if it has no row
    std::size_t name_begin = 0;         // of the entry, in the path
    std::size_t name_end = 0;           // the name of a stream follows, after a colon

    std::string_view name() const {
        return std::string_view(row.path).substr(name_begin, name_end - name_begin);
    }
    // The text before the name.
    std::string_view directory_path() const {
        return std::string_view(row.path).substr(0, name_begin);
    }
    // The path of the entry, without a backslash at its end.
    std::string_view entry_path() const { return std::string_view(row.path).substr(0, name_end); }
    // The colon and the name of a stream; a backslash or nothing for an entry.
    std::string_view stream_name() const { return std::string_view(row.path).substr(name_end); }
};

// Finds the directories and names of the rows of one listing.
class row_locator {
public:
    // Call it for each row, in the order of the listing.
    void locate(compared_row& row);

private:
    path_map<entry_id> m_directories;
    row_owner m_owner;
};

// Appends a record. Records are sorted by entry, sequence number, listing, type and path.
void append_record(std::string& out, const compared_row& row);
// Returns the row of a record that append_record() has written.
compared_row parse_record(std::string_view bytes);

}  // namespace convert

// Reads the rows of a listing for a run, and reports what cannot be read.
#pragma once

#include <functional>
#include <string>

#include "convert/command/listing_source.h"
#include "convert/command/row_counts.h"
#include "convert/listing/listing_reader.h"

namespace convert {

class listing_rows {
public:
    // `source` is open and must outlive this object. `prefix` begins the messages about rows.
    explicit listing_rows(listing_source& source, std::string prefix = {});

    // Reads the head. Returns false after a message if no rows follow it.
    [[nodiscard]] bool read_head();
    const std::string& head() const { return m_reader.head(); }

    // Returns false to end the visit.
    using visitor = std::function<bool(const listing_row& row)>;
    enum class outcome {
        end,      // of the listing, with a message for each malformed row
        refused,  // `visit` returned false
        failed,   // after a message
    };
    // Passes the rows to `visit`, and counts them. On a terminal it shows their number.
    outcome visit(const visitor& visit, row_counts& counts);

    // Ends the source. Returns false after a message if it failed or if there was no row.
    [[nodiscard]] bool finish(const row_counts& counts);

private:
    bool report(listing_reader::item what, row_counts& counts);

    listing_source& m_source;
    std::string m_prefix;
    listing_reader m_reader;
};

}  // namespace convert

// Compares two listings by entry and sequence number.
//
// Its memory has a limit, except for a value for each directory and the rows of one entry: rows
// that do not fit are sorted in temporary files.
#pragma once

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "convert/comparison/compared_row.h"
#include "convert/comparison/entry_comparison.h"
#include "convert/sorting/record_sorter.h"

namespace convert {

class listing_comparison {
public:
    // The temporary files are created in `folder`.
    explicit listing_comparison(std::string folder, const sort_limits& limits = {});

    // Adds a row of a listing, in the order of that listing. Returns false if a temporary file
    // fails; then only failure() may be called.
    [[nodiscard]] bool add(const listing_row& row, listing_side side);
    // Passes the changes to `visit`, sorted by entry. Call it once, last. Returns false if a
    // temporary file fails or `visit` returns false; failure() is empty then.
    [[nodiscard]] bool visit_changes(const change_visitor& visit);

    const std::string& failure() const { return m_sorter.failure(); }

private:
    std::array<row_locator, 2> m_locators;  // of the old and the new listing
    record_sorter m_sorter;
    std::string m_record;
    std::vector<compared_row> m_entry;  // the rows of one entry
};

}  // namespace convert

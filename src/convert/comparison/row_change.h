// What differs between two listings in one row.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "convert/listing/listing_row.h"

namespace convert {

// Bits of the four times: of $STANDARD_INFORMATION, and from bits 4 and 8 on of the two $FILE_NAME.
constexpr std::array<std::string_view, 12> time_names = {
    "si_created",       "si_modified",       "si_changed",       "si_accessed",
    "fn_created",       "fn_modified",       "fn_changed",       "fn_accessed",
    "short_fn_created", "short_fn_modified", "short_fn_changed", "short_fn_accessed"};

struct row_change {
    const listing_row* before = nullptr;  // null if created
    const listing_row* after = nullptr;   // null if deleted
    bool renamed = false;                 // has another name
    bool moved = false;                   // is in another directory
    bool resized = false;
    unsigned times = 0;  // a bit for each of time_names that differs

    // The row that exists, the new one if both do.
    const listing_row& row() const { return after != nullptr ? *after : *before; }
    bool is_created() const { return before == nullptr; }
    bool is_deleted() const { return after == nullptr; }
    bool any() const {
        return is_created() || is_deleted() || renamed || moved || resized || times != 0;
    }
};

// Returns the bits of time_names that differ.
unsigned changed_times(const listing_row& before, const listing_row& after);

// The names of the kinds of change, in the order of a table.
constexpr std::array<std::string_view, 6> change_names = {"created", "deleted", "renamed",
                                                          "moved",   "resized", "times"};

// Returns whether a change is of each kind of change_names.
std::array<bool, change_names.size()> kinds_of(const row_change& change);

}  // namespace convert

// The $FILE_NAME timestamps that a row shows next to those of $STANDARD_INFORMATION.
#pragma once

#include <cstdint>
#include <vector>

#include "report/rows/dir_entry.h"

// Four FILETIMEs in report order.
struct stamp_set {
    std::uint64_t created = 0;
    std::uint64_t modified = 0;
    std::uint64_t mft_changed = 0;
    std::uint64_t accessed = 0;
};

// The timestamps of the long and of the short name.
struct name_stamps {
    stamp_set long_name;
    stamp_set short_name;
};

// Returns the timestamps of $STANDARD_INFORMATION.
stamp_set standard_stamps(const dir_entry& entry);

// Picks the first name of each kind with a non-zero `created`, otherwise the last name of that
// kind, whose other timestamps may be non-zero. All timestamps are 0 if there is no name of that
// kind.
name_stamps pick_name_stamps(const std::vector<fn_entry>& fn_list);

// Returns true if the entry's timestamps may have been set back: `created` and `mft_changed` of
// $STANDARD_INFORMATION are both more than a day before those of the long name. All four must be
// non-zero. The day is added in 64-bit arithmetic, which wraps.
bool has_time_discrepancy(const dir_entry& entry, const stamp_set& long_name);

// The $FILE_NAME stamps that a row shows beside those of $STANDARD_INFORMATION.
#pragma once

#include <cstdint>
#include <vector>

#include "report/dir_entry.h"

// Four FILETIMEs in the order of the reports.
struct stamp_set {
    std::uint64_t created = 0;
    std::uint64_t modified = 0;
    std::uint64_t mft_changed = 0;
    std::uint64_t accessed = 0;
};

// The stamps of the long and of the short name.
struct name_stamps {
    stamp_set long_name;
    stamp_set short_name;
};

// The stamps of $STANDARD_INFORMATION.
stamp_set standard_stamps(const dir_entry& entry);

// Of the names of each kind, the first with a non-zero `created` counts; when there is none, the
// last, whose other stamps may still be set. All zero without a name of that kind.
name_stamps pick_name_stamps(const std::vector<fn_entry>& fn_list);

// True when the entry's stamps look set back: `created` and `mft_changed` of $STANDARD_INFORMATION
// both lie more than a day before those of the long name. All four must be non-zero. A day is added
// in 64 bits that wrap.
bool has_time_discrepancy(const dir_entry& entry, const stamp_set& long_name);

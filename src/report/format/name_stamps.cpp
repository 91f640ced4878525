#include "report/format/name_stamps.h"

#include "foundation/time/ql_calendar.h"

namespace {

bool is_a_day_before(std::uint64_t stamp, std::uint64_t name_stamp) {
    return stamp != 0 && stamp + ql::ticks_a_day < name_stamp;
}

}  // namespace

stamp_set standard_stamps(const dir_entry& entry) {
    return {entry.si_created, entry.si_modified, entry.si_mft_changed, entry.si_accessed};
}

name_stamps pick_name_stamps(const std::vector<fn_entry>& fn_list) {
    name_stamps picked;
    for (const fn_entry& name : fn_list) {
        stamp_set& set = name.is_short != 0 ? picked.short_name : picked.long_name;
        if (set.created == 0) {
            set = {name.created, name.modified, name.mft_changed, name.accessed};
        }
    }
    return picked;
}

bool has_time_discrepancy(const dir_entry& entry, const stamp_set& long_name) {
    return is_a_day_before(entry.si_created, long_name.created) &&
           is_a_day_before(entry.si_mft_changed, long_name.mft_changed);
}

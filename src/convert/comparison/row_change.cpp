#include "convert/comparison/row_change.h"

namespace convert {

namespace {

unsigned differing(const row_times& a, const row_times& b) {
    return (a.created != b.created ? 1u : 0u) | (a.modified != b.modified ? 2u : 0u) |
           (a.changed != b.changed ? 4u : 0u) | (a.accessed != b.accessed ? 8u : 0u);
}

}  // namespace

unsigned changed_times(const listing_row& before, const listing_row& after) {
    return differing(before.standard, after.standard) | differing(before.name, after.name) << 4 |
           differing(before.short_name, after.short_name) << 8;
}

std::array<bool, change_names.size()> kinds_of(const row_change& change) {
    return {change.is_created(), change.is_deleted(), change.renamed,
            change.moved,        change.resized,      change.times != 0};
}

}  // namespace convert

#include "convert/summary/directory_totals.h"

#include <algorithm>

namespace convert {

namespace {

using item = directory_totals::item;

std::vector<item> first(const path_map<directory_total>& directories, std::size_t count,
                        std::uint64_t directory_total::*number) {
    std::vector<const item*> all;
    for (const item& directory : directories) {
        if (directory.second.*number > 0) all.push_back(&directory);
    }
    const auto end = all.begin() + static_cast<std::ptrdiff_t>(std::min(count, all.size()));
    std::partial_sort(all.begin(), end, all.end(), [number](const item* a, const item* b) {
        const std::uint64_t of_a = a->second.*number;
        const std::uint64_t of_b = b->second.*number;
        return of_a != of_b ? of_a > of_b : a->first < b->first;
    });
    std::vector<item> result;
    std::transform(all.begin(), end, std::back_inserter(result),
                   [](const item* directory) { return *directory; });
    return result;
}

}  // namespace

void directory_totals::finish() {
    std::vector<item*> longest_first;
    for (item& directory : m_directories) {
        directory.second.entries_below = directory.second.entries;
        directory.second.bytes_below = directory.second.bytes;
        longest_first.push_back(&directory);
    }
    std::sort(longest_first.begin(), longest_first.end(),
              [](const item* a, const item* b) { return a->first.size() > b->first.size(); });
    for (const item* directory : longest_first) {
        item* above = find(without_end(directory->first));
        if (above == nullptr) continue;
        above->second.entries_below += directory->second.entries_below;
        above->second.bytes_below =
            capped_sum(above->second.bytes_below, directory->second.bytes_below);
    }
}

std::vector<item> directory_totals::largest(std::size_t count) const {
    return first(m_directories, count, &directory_total::bytes);
}

std::vector<item> directory_totals::most_populated(std::size_t count) const {
    return first(m_directories, count, &directory_total::entries);
}

}  // namespace convert

// Counts the entries of each listed directory, and their bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "convert/listing/path_map.h"

namespace convert {

// Returns the sum, or the greatest number if the sum is greater. A damaged volume states any size.
constexpr std::uint64_t capped_sum(std::uint64_t a, std::uint64_t b) {
    return a + b < a ? UINT64_MAX : a + b;
}

struct directory_total {
    std::uint64_t entries = 0;        // files and directories in it
    std::uint64_t bytes = 0;          // allocated, of files, streams and indexes in it
    std::uint64_t entries_below = 0;  // with all subdirectories
    std::uint64_t bytes_below = 0;
};

class directory_totals {
public:
    using item = path_map<directory_total>::item;

    // Adds a directory that has a row.
    void list(std::string_view directory) { m_directories.add(directory); }
    // Returns the listed directory that contains a path without a backslash at its end, or null.
    item* find(std::string_view path) { return m_directories.find_above(path); }
    // Adds the totals of each directory to those above it. Call it once, last.
    void finish();

    // Return at most `count` directories, the first by bytes or by entries in it. Those with the
    // same number are sorted by path, and those with 0 are left out.
    std::vector<item> largest(std::size_t count) const;
    std::vector<item> most_populated(std::size_t count) const;

    std::size_t size() const { return m_directories.size(); }

private:
    path_map<directory_total> m_directories;
};

}  // namespace convert

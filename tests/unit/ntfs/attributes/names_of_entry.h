// The names that the reader finds in a record.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ntfs/volume/name_entry.h"
#include "ntfs/volume/ntfs.h"
#include "support/byte_image.h"

namespace entry_names {

// Returns the names in the order of their keys.
inline std::vector<std::wstring> names_of(const name_entry_map& map) {
    std::vector<std::wstring> names;
    for (const auto& [key, entry] : map)
        names.push_back(entry.name);
    return names;
}

// Returns the names of a record without an attribute list, which needs no volume.
inline std::vector<std::wstring> names_in(const support::bytes& record, bool all_namespaces = false,
                                          std::uint64_t parent_filter = no_parent_filter) {
    CNtfs ntfs(nullptr, 0, 33);
    name_entry_map map;
    const bool found = ntfs.get_file_names(map, 64, record, all_namespaces, parent_filter);
    EXPECT_EQ(found, !map.empty());
    return names_of(map);
}

}  // namespace entry_names

// Nodes and blocks of directory indexes, and the children that the reader finds in a volume.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "ntfs/volume/ntfs.h"
#include "support/directory_index.h"
#include "support/ntfs_image.h"
#include "unit/ntfs/open_volume.h"

namespace index_contents {

// Entry numbers.
using entry_set = std::set<std::uint64_t>;

// Overwrites a little-endian number of `width` bytes at offset `at`.
inline void put(support::bytes& bytes, std::size_t at, std::uint64_t value, std::size_t width) {
    for (std::size_t i = 0; i < width; ++i) {
        bytes[at + i] = static_cast<std::uint8_t>(value >> (i * 8));
    }
}

// Returns the entry of a file in the root directory.
inline support::index_entry entry_of_file(std::uint64_t number,
                                          std::u16string_view name = u"name") {
    return {.reference = support::file_reference(number, 1),
            .key = support::file_name_value(5, name)};
}

// Returns the entries and the end entry.
inline support::bytes with_end(const std::vector<support::index_entry>& entries) {
    support::bytes content = support::index_entries(entries);
    const support::bytes end = support::index_end_entry();
    content.insert(content.end(), end.begin(), end.end());
    return content;
}

// Returns an index block with the entry of one file.
inline support::bytes block_with(std::uint64_t number,
                                 const support::index_block_options& options = {}) {
    return support::index_block(with_end({entry_of_file(number)}), options);
}

// Returns the parts one after the other.
inline support::bytes joined(const std::vector<support::bytes>& parts) {
    support::bytes all;
    for (const support::bytes& part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

// Returns the children of a directory. `expected` is the result of the call.
inline entry_set children_of(open_volume& volume, std::uint64_t inode, bool expected = true) {
    EXPECT_TRUE(volume.opened);
    entry_set children;
    EXPECT_EQ(volume.ntfs.get_children(inode, children, false), expected);
    return children;
}

// Adds a directory 64 with `count` files, starting at entry 100.
inline void fill_directory(support::ntfs_image& image, std::size_t count) {
    image.directory(5, u"dir", 64);
    for (std::size_t i = 0; i < count; ++i) {
        std::u16string name = u"file ";
        name += static_cast<char16_t>(u'a' + i / 26);
        name += static_cast<char16_t>(u'a' + i % 26);
        image.file(64, name, 100 + i);
    }
}

// Returns `count` numbers from `first` on.
inline entry_set numbers(std::uint64_t first, std::size_t count) {
    entry_set set;
    for (std::size_t i = 0; i < count; ++i)
        set.insert(first + i);
    return set;
}

}  // namespace index_contents

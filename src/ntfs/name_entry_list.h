// The names of one MFT entry after the other, without an allocation for each.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "ntfs/attrib_store.h"
#include "ntfs/file_record.h"

// What name_entry_map holds, in the same order: that of the keys, and of two names with one key the
// first. A list serves many entries in turn and keeps the memory of their texts. The only name of
// an entry, which is the usual case, has no use for a key and gets none.
class name_entry_list {
public:
    void clear() { m_order.clear(); }
    bool empty() const { return m_order.empty(); }
    std::size_t size() const { return m_order.size(); }
    // The name at `place` in the order of the keys. Its `key` is unspecified.
    const NTFS_NAME_ENTRY& operator[](std::size_t place) const { return m_names[m_order[place]]; }

    // Copies a $FILE_NAME attribute into the list. A name is sorted in by moving the numbers of
    // those behind it: NTFS has at most 1024 of them.
    void add(const record_attrib& attribute);
    // Moves all names into a map, which is emptied first.
    void move_to(name_entry_map& names);

private:
    std::vector<NTFS_NAME_ENTRY> m_names;  // those of this entry, then memory of entries before it
    std::vector<std::uint32_t> m_order;    // indexes of this entry's names, by key
};

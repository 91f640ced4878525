// The names of an MFT entry, in a list that is reused for many entries.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "ntfs/format/file_record.h"
#include "ntfs/volume/name_entry.h"

// Contains the same names as name_entry_map in the same order, that of the keys. If two names have
// the same key, the first is kept. The list is reused for many entries and keeps the memory of
// their texts. Most entries have one name, for which no key is computed.
class name_entry_list {
public:
    void clear() { m_order.clear(); }
    bool empty() const { return m_order.empty(); }
    std::size_t size() const { return m_order.size(); }
    // The name at index `place`, below size(), in the order of the keys. Its `key` is unspecified.
    const NTFS_NAME_ENTRY& operator[](std::size_t place) const { return m_names[m_order[place]]; }

    // Copies a $FILE_NAME attribute into the list. A name is inserted by moving the indexes of the
    // names after it, which is cheap: an NTFS file has at most 1024 names.
    void add(const record_attrib& attribute);
    // Moves all names into a map, which is cleared first. The list is empty afterwards.
    void move_to(name_entry_map& names);

private:
    std::vector<NTFS_NAME_ENTRY> m_names;  // this entry's names, then unused ones with their memory
    std::vector<std::uint32_t> m_order;    // indexes of this entry's names, by key
};

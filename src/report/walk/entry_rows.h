// Builds the rows of MFT entries, one entry at a time.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "foundation/bytes/ql_bytes.h"
#include "ntfs/attributes/attrib_rows.h"
#include "ntfs/attributes/name_entry_list.h"
#include "report/rows/dir_entry.h"

class CNtfs;
class quorvel_opts;
struct whole_record;

// Rows that have been printed, for reuse. New rows take over the memory of their texts; without it
// a listing would spend much of its time allocating and freeing memory.
class spare_rows {
public:
    // Returns a row, which may have the content of an earlier one.
    dir_entry_set::node_type take();
    // Moves rows of `entries` into this object until it has 10,000, and deletes the others.
    void add(dir_entry_set& entries);

private:
    std::vector<dir_entry_set::node_type> m_rows;
};

// What the rows of an entry are built from.
struct entry_source {
    ql::bytes record;  // FILE record, update sequence applied
    std::uint64_t entry_num = 0;
    std::uint64_t parent_num = 0;  // MFT entry that must be the parent of the names
    const shared_path& path;       // of the listed directory
    bool show_indx = false;        // index allocation streams get rows
    // The sort key of a directory is path and name, otherwise the path alone. The key of a file is
    // always path and name.
    bool append_name = false;
    const whole_record* whole = nullptr;  // `record`, if CNtfs::read_record returned it whole
};

// Builds the rows of many entries in turn. The buffers are reused.
class entry_rows {
public:
    // Both must outlive this object.
    entry_rows(CNtfs& ntfs, const quorvel_opts& opts)
        : m_ntfs(ntfs), m_opts(opts), m_attribute_rows(ntfs) {}

    // Adds the rows of one entry to `entries`; see add_entry_rows.
    void add(const entry_source& source, dir_entry_set& entries);

    // Clears `entries` and keeps the memory of its rows for new ones.
    void recycle(dir_entry_set& entries) { m_spare.add(entries); }

private:
    bool read_entry(const entry_source& source);
    void set_names();
    void set_directory(const shared_path& path);
    void make_key(bool append_name);
    bool passes_filters() const;
    void add_rows(dir_entry_set& entries, bool show_indx);
    void add_stream(const NTFS_ATTRIB_ROW& attribute, dir_entry_set& entries);
    dir_entry_set::node_type make_base_row();
    dir_entry_set::node_type make_row(std::uint32_t type);

    CNtfs& m_ntfs;
    const quorvel_opts& m_opts;
    name_entry_list m_names;
    listing_rows m_attribute_rows;
    spare_rows m_spare;
    dir_entry m_common;      // the fields that all rows of the entry share
    std::string m_path_key;  // sort key of the listed directory
    std::string m_key;       // sort key of the entry itself
    std::array<std::uint8_t, 16> m_object_id{};
};

// Adds the rows of one entry: itself and its streams. Adds none if the entry has no name under this
// parent, has no $STANDARD_INFORMATION, has attributes that cannot be read, or is a file that a
// filter rejects. Always returns true. The parameters are fields of entry_source.
bool add_entry_rows(CNtfs& ntfs, ql::bytes record, std::uint64_t entry_num,
                    std::uint64_t parent_num, const std::wstring& path, dir_entry_set& entries,
                    bool show_indx, bool append_name, quorvel_opts& opts);

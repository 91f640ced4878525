// The positions of a disk's grains in a VMDK file: the grain directory and the grain tables.
#pragma once

#include <cstdint>
#include <optional>
#include <unordered_map>
#include <vector>

class vmdk_metadata_reader;

// What the header of a VMDK file says about its directory and tables.
struct vmdk_directory_place {
    std::uint64_t position = 0;     // bytes in the file
    std::uint64_t num_entries = 0;  // up to the first table; may be past the end of the file
    std::uint32_t entries_per_table = 0;
    std::uint64_t metadata_size = 0;  // bytes from the start of the file
};

// A directory entry is the sector of a grain table, a table entry is the sector of a grain; 0 is a
// grain that the file does not have. Entries past the end of the file are 0. A directory entry of 0
// is not special: it means a table at the start of the file, so that header and descriptor become
// sectors of grains.
//
// The object holds in memory the bytes of the directory that are in the file, and each table once,
// without the zeros at its end. Tables that overlap could be far larger in total than the file. If
// they exceed the memory limit, the rest of them is not held, and their entries are read from the
// file one by one. A grain that is in the file is stored.
class vmdk_grain_map {
public:
    // Reads the directory and the tables; called once. `fd` is borrowed and must stay open as long
    // as this object is used. If a table outside of the metadata cannot be read, the directory ends
    // before it. Returns false if there are no tables or tables have no entries.
    bool read(int fd, std::uint64_t file_size, const vmdk_directory_place& place,
              vmdk_metadata_reader& reader);

    // Directory entries that have a table.
    std::uint64_t num_tables() const { return m_num_tables; }
    // Tables and entries in memory, for tests of the memory limit.
    std::size_t num_held_tables() const { return m_tables.size(); }
    std::uint64_t num_held_entries() const;

    // Returns the sector of a grain: entry `grain` of the table of directory entry `table`. Returns
    // 0 if there is no such entry or it cannot be read.
    std::uint32_t sector_of(std::uint64_t table, std::uint64_t grain) const;

    // Returns the first table after `table` that may have a grain in the file, or nullopt. Numbers
    // of tables have 64 bits, of which the low 32 are the directory entry.
    std::optional<std::uint64_t> next_stored_table(std::uint64_t table) const;

    // Returns the first grain in [`grain`, `end`) that starts in the file, or nullopt. A long
    // search of a table that is not in memory ends early, at a grain that may be in the file.
    std::optional<std::uint64_t> next_stored_grain(std::uint64_t table, std::uint64_t grain,
                                                   std::uint64_t end) const;

private:
    struct grain_table {
        std::vector<std::uint32_t> sectors;
        bool has_stored_grain = false;
    };

    bool read_table(std::uint32_t sector, vmdk_metadata_reader& reader);
    void read_tables(vmdk_metadata_reader& reader);
    void mark_tables();
    bool is_in_file(std::uint32_t sector) const;
    bool may_have_stored_grain(std::uint32_t table_sector) const;
    std::uint32_t table_sector(std::uint64_t table) const;
    std::uint32_t read_sector_of(std::uint32_t table_sector, std::uint64_t grain) const;
    std::optional<std::uint64_t> search_file(std::uint32_t table_sector, std::uint64_t grain,
                                             std::uint64_t end) const;
    std::optional<std::uint64_t> first_marked_entry(std::uint64_t index) const;

    int m_fd = -1;
    std::uint64_t m_file_size = 0;
    vmdk_directory_place m_place;
    std::uint64_t m_num_tables = 0;
    std::uint64_t m_budget = 0;              // bytes of tables that may still be read
    std::vector<std::uint32_t> m_directory;  // without the zeros at its end
    std::unordered_map<std::uint32_t, grain_table> m_tables;  // by sector
    // One bit for each entry of m_directory: set if its table may have a grain in the file.
    std::vector<std::uint64_t> m_marks;
    bool m_are_others_marked = false;  // the entries after those in m_directory
};

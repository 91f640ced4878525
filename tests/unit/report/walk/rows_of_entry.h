// The rows of single entries of a test volume.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "report/walk/entry_rows.h"
#include "unit/report/listed_volume.h"

namespace listing {

// Returns the record of an entry.
inline support::bytes record_in(CNtfs& ntfs, std::uint64_t entry) {
    support::bytes record(ntfs.get_mft_record_size());
    std::uint64_t position = 0;
    std::int64_t size = static_cast<std::int64_t>(record.size());
    EXPECT_TRUE(ntfs.read_file_record(entry, record, position, size, false));
    return record;
}

// Adds the rows of `entry` under the root.
inline void add(entry_rows& maker, CNtfs& ntfs, std::uint64_t entry, const shared_path& path,
                dir_entry_set& entries) {
    const support::bytes record = record_in(ntfs, entry);
    maker.add({.record = record,
               .entry_num = entry,
               .parent_num = root,
               .path = path,
               .append_name = true},
              entries);
}

class EntryRows : public volume_test {
protected:
    // Returns the rows of `entry` under `parent` with the path "\Dir". The record passed in is that
    // of `entry`, or of `record_of` if it is not 0.
    std::vector<dir_entry> rows(std::uint64_t entry, std::uint64_t parent = root,
                                bool append_name = true, std::uint64_t record_of = 0) {
        const std::unique_ptr<CNtfs> ntfs = open();
        const support::bytes record = record_in(*ntfs, record_of != 0 ? record_of : entry);
        dir_entry_set entries;
        EXPECT_TRUE(add_entry_rows(*ntfs, record, entry, parent, L"\\Dir", entries, show_indx,
                                   append_name, opts));
        return {entries.begin(), entries.end()};
    }

    // Formats each row as a line: type, name, key and size.
    static std::string text_of(const std::vector<dir_entry>& rows) {
        std::ostringstream text;
        for (const dir_entry& row : rows) {
            text << row.type << ' ' << row.name << ' ' << row.full_path << ' ' << row.size << '\n';
        }
        return text.str();
    }
    std::string text_rows(std::uint64_t entry) { return text_of(rows(entry)); }

    bool show_indx = false;
};

}  // namespace listing

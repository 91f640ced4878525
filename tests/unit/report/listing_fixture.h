// Rows for the tests of the writers: the directory c:\data, entry 40.
#pragma once

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <string_view>

#include "foundation/text/ql_string.h"
#include "foundation/time/time_text.h"
#include "report/rows/dir_entry.h"
#include "report/writers/csv_listing.h"
#include "report/writers/text_listing.h"
#include "run/settings/quorvel_opts.h"
#include "support/filetime.h"

namespace listing {

inline constexpr std::uint64_t dir_num = 40;

// The timestamps of the rows: 12:34:56.789, 12:35:01.120 (twice) and 12:35:02.000 on 2021-03-04.
inline constexpr std::uint64_t created = support::filetime(2021, 3, 4, 12, 34, 56, 7890000);
inline constexpr std::uint64_t modified = support::filetime(2021, 3, 4, 12, 35, 1, 1200000);
inline constexpr std::uint64_t accessed = support::filetime(2021, 3, 4, 12, 35, 2);
inline constexpr std::uint64_t day = 24ull * 60 * 60 * 10'000'000;

// Returns a row of `type` in c:\data. `name` is in UTF-8. Directories have the directory bit; tests
// set other bits.
inline dir_entry make_row(std::uint32_t type, const std::string& name, std::uint64_t mft_entry) {
    dir_entry row;
    row.type = type;
    row.name = name;
    row.mft_entry = mft_entry;
    row.seq_num = 2;
    row.flags = type == entry_type::directory ? 3 : 1;
    row.parent_path = shared_path(L"c:\\data");
    row.parent_entry = dir_num;
    row.full_path = "c:\\data\\" + name;
    ql::lower(row.full_path);
    row.size = 4096;
    row.attributes = 0x20;
    row.si_created = created;
    row.si_modified = modified;
    row.si_mft_changed = modified;
    row.si_accessed = accessed;
    return row;
}

// Returns the row of c:\data itself.
inline dir_entry make_own_row() {
    dir_entry row = make_row(entry_type::directory, "data", dir_num);
    row.full_path = "c:\\data";
    return row;
}

inline dir_entry make_file(const std::string& name, std::uint64_t mft_entry = 1290) {
    return make_row(entry_type::file, name, mft_entry);
}

inline dir_entry make_directory(const std::string& name, std::uint64_t mft_entry = 1234) {
    return make_row(entry_type::directory, name, mft_entry);
}

// Returns the row of a stream of the listed directory.
inline dir_entry make_own_stream(std::uint32_t type, const std::string& name) {
    dir_entry row = make_row(type, name, dir_num);
    row.flags = 3;
    row.full_path = "c:\\data:" + name.substr(name.rfind(':') + 1);
    return row;
}

// Returns a name with its four timestamps.
inline fn_entry make_name(bool is_short, std::uint64_t fn_created, std::uint64_t fn_modified,
                          std::uint64_t fn_mft_changed, std::uint64_t fn_accessed) {
    fn_entry name;
    name.is_short = is_short ? 1 : 0;
    name.created = fn_created;
    name.modified = fn_modified;
    name.mft_changed = fn_mft_changed;
    name.accessed = fn_accessed;
    return name;
}

class writer_test : public testing::Test {
protected:
    writer_test() {
        text_header_pending = true;
        csv_header_pending = true;
        set_formats("yyyy-mm-dd", "hh:mm:ss.xxx");
        opts.last_level = 1;
    }

    void set_formats(const std::string& date, const std::string& time) {
        opts.date_format = date;
        opts.time_format = time;
        ql::parse_date_style(opts.date_style, date, time, opts.pair_datetime != 0);
    }

    void add(const dir_entry& row) { opts.entries.insert(row); }

    // Returns the text written since the last call.
    std::string written() {
        std::string text = out.str();
        out.str("");
        return text;
    }

    quorvel_opts opts;
    dir_entry_set recurse_list;
    std::ostringstream out;
    std::wstring parent = L"c:\\data";
};

}  // namespace listing

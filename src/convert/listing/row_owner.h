// The entry whose row precedes those of its streams.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>

#include "convert/listing/listing_row.h"
#include "convert/listing/path_map.h"

namespace convert {

class row_owner {
public:
    // Sets the row of a file or directory. Returns false, without a change, if it is the second row
    // of the directory before it, which is that of its own data.
    bool set(const listing_row& row) {
        if (row.type == row_type::directory && is_inside(row)) return false;
        m_path = row.type == row_type::directory ? without_end(row.path) : row.path;
        m_entry = row.entry;
        m_sequence = row.sequence;
        m_known = true;
        return true;
    }

    // The path, without a backslash at its end.
    const std::string& path() const { return m_path; }
    bool is_of(const listing_row& row) const {
        return m_known && row.entry == m_entry && row.sequence == m_sequence;
    }

    // Returns the length of the owner's path in the path of a stream: the colon before the name of
    // the stream is after it. The name may contain a backslash or a colon itself. Without a row of
    // the owner, the last colon is used.
    std::size_t length_in(const listing_row& stream) const {
        const std::string_view stream_path = stream.path;
        if (is_of(stream) && stream_path.starts_with(m_path) &&
            stream_path.substr(m_path.size()).starts_with(':'))
            return m_path.size();
        return std::min(stream_path.rfind(':'), stream_path.size());
    }

private:
    bool is_inside(const listing_row& row) const {
        return is_of(row) && row.path.size() > m_path.size() + 1 && row.path.starts_with(m_path) &&
               row.path[m_path.size()] == '\\';
    }

    std::string m_path;
    std::uint64_t m_entry = 0;
    std::uint16_t m_sequence = 0;
    bool m_known = false;
};

}  // namespace convert

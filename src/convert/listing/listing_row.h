// A row of a listing, with real types.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "convert/listing/utc_time.h"

namespace convert {

// A time is nullopt if the listing shows it blank: 0, before 1970 or after 3000.
struct row_times {
    std::optional<utc_time> created;
    std::optional<utc_time> modified;
    std::optional<utc_time> changed;  // the MFT entry
    std::optional<utc_time> accessed;

    bool operator==(const row_times&) const = default;
    bool blank() const { return !created && !modified && !changed && !accessed; }
};

enum class row_type {
    file,
    directory,
    index,   // an index allocation, listed with "-indx"
    stream,  // an alternate data stream
};

struct listing_row {
    static constexpr std::uint16_t flag_in_use = 0x0001;
    static constexpr std::uint32_t attribute_read_only = 0x0001;
    static constexpr std::uint32_t attribute_hidden = 0x0002;

    row_type type = row_type::file;
    // The bytes of the listing: UTF-8 that may contain surrogates as three bytes, separated by
    // backslashes. The path of a directory ends in a backslash; that of a stream or an index ends
    // in its name, after a colon.
    std::string path;
    std::string link_target;           // listings leave it empty
    std::uint64_t allocated_size = 0;  // bytes; the length of the value if it is in the MFT entry
    std::uint32_t attributes = 0;      // of $STANDARD_INFORMATION
    std::uint64_t entry = 0;
    std::uint16_t sequence = 0;
    std::uint16_t flags = 0;  // of the MFT entry
    row_times standard;       // $STANDARD_INFORMATION
    row_times name;           // $FILE_NAME that is not a DOS name
    row_times short_name;     // $FILE_NAME that is a DOS name
    bool set_back = false;    // $STANDARD_INFORMATION is more than a day older than $FILE_NAME
    std::string object_id;    // 36 characters, or empty

    bool operator==(const listing_row&) const = default;
    bool is_deleted() const { return (flags & flag_in_use) == 0; }
    // A row of a whole entry, unlike that of one of its streams.
    bool is_entry() const { return type == row_type::file || type == row_type::directory; }
};

// Returns "file", "dir", "indx" or "ads", the first field of a row.
constexpr const char* type_name(row_type type) {
    constexpr std::array<const char*, 4> names = {"file", "dir", "indx", "ads"};
    return names.at(static_cast<std::size_t>(type));
}

}  // namespace convert

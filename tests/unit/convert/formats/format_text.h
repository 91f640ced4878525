// Writes rows in a format to a text.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "convert/formats/row_writer.h"

namespace format_text {

class text_sink : public convert::byte_sink {
public:
    bool write(std::string_view bytes) override {
        text += bytes;
        return true;
    }
    std::string text;
};

template <typename Writer>
std::string written(const std::vector<convert::listing_row>& rows) {
    text_sink sink;
    Writer writer(sink);
    EXPECT_TRUE(writer.begin());
    for (const convert::listing_row& row : rows)
        EXPECT_TRUE(writer.write(row));
    EXPECT_TRUE(writer.finish());
    return sink.text;
}

// Returns a row of the file \a.txt without times.
inline convert::listing_row plain_row() {
    convert::listing_row row;
    row.path = "\\a.txt";
    row.allocated_size = 4096;
    row.attributes = 32;
    row.entry = 64;
    row.sequence = 2;
    row.flags = 1;
    return row;
}

inline std::optional<convert::utc_time> at(const char* date, const char* time) {
    const auto parsed = convert::parse_utc_time(date, time);
    EXPECT_TRUE(parsed.has_value()) << date << time;
    return parsed;
}

// Returns created, modified, changed and accessed on the days 1 to 4 of January of a year.
inline convert::row_times times_of(const std::string& year) {
    const char* time = "01:02:03.4567890";
    return {at((year + "-01-01").c_str(), time), at((year + "-01-02").c_str(), time),
            at((year + "-01-03").c_str(), time), at((year + "-01-04").c_str(), time)};
}

}  // namespace format_text

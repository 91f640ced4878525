// The body file of mactime, version 3: a line for each $STANDARD_INFORMATION and $FILE_NAME.
//
//   0|path|entry|mode|0|0|allocated size|accessed|modified|changed|created
//
// Times are seconds since 1970, or 0 if they are blank. A file or directory has a second line with
// the times of its $FILE_NAME, and " ($FILE_NAME)" after its path; a stream or an index has one
// line. " (deleted)" follows the path of an entry that is not in use.
//
// In a path, a backslash becomes a slash. "%", "|", a slash, and the blank before a mark that is
// part of a name become "%" and two hexadecimal digits, which mactime decodes. A control
// character becomes "\x0a", and what is not valid Unicode becomes U+FFFD.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "convert/formats/row_writer.h"

namespace convert {

class body_writer : public line_writer {
public:
    using line_writer::line_writer;

    // Says how many lines have no time, which mactime skips.
    std::string note() const override;

protected:
    void append(std::string& out, const listing_row& row) override;

private:
    void append_line(std::string& out, const listing_row& row, const row_times& times,
                     std::string_view mark);

    std::string m_path;
    std::uint64_t m_lines_without_time = 0;
};

// Appends the path of a row for a body file, without marks.
void append_body_path(std::string& out, const listing_row& row);

}  // namespace convert

// CSV as in RFC 4180: comma, CR LF, quotes around a field with a comma, a quote or a line end.
//
// The text is valid UTF-8. A path that a spreadsheet would take for a formula has an apostrophe
// before it, and so has one that starts with an apostrophe: removing the first apostrophe of a
// field restores the path.
#pragma once

#include <string>
#include <string_view>

#include "convert/formats/row_writer.h"

namespace convert {

class csv_writer : public line_writer {
public:
    using line_writer::line_writer;

protected:
    std::string heading() const override;
    void append(std::string& out, const listing_row& row) override;
};

// Appends a field: valid UTF-8, quoted if it must be.
void append_csv_text(std::string& out, std::string_view text);

}  // namespace convert

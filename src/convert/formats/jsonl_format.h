// JSON lines: one object a row, with numbers, booleans, strings, and null for what is blank.
#pragma once

#include <string>
#include <string_view>

#include "convert/formats/row_writer.h"

namespace convert {

class jsonl_writer : public line_writer {
public:
    using line_writer::line_writer;

protected:
    void append(std::string& out, const listing_row& row) override;
};

// Appends the object of a row.
void append_json_row(std::string& out, const listing_row& row);

// Appends a string in quotes. Control characters are escaped, and so are surrogates ("\ud800"). A
// byte that is not part of a character becomes U+FFFD.
void append_json_text(std::string& out, std::string_view text);

}  // namespace convert

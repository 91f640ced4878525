// Dates and times as text, always in UTC.
#pragma once

#include <cstdint>
#include <string>

#include "foundation/text/short_text.h"
#include "foundation/time/date_style.h"
#include "foundation/time/ql_time.h"

namespace ql {

// Renders `t` under `style` as a date text and a time text, both UTC. Both are empty if `t` is
// invalid. Returns `t.valid`, or 0 if the style is all zero and the default formats were used.
std::uint32_t date_time_strings(std::string& date_out, std::string& time_out, const time& t,
                                date_style style);

// Returns the date text of date_time_strings. `filetime` must be displayable and `style` not all
// zero.
short_text render_date(std::uint64_t filetime, date_style style);

// Returns the time of day of a displayable FILETIME, "hh:mm:ss". A fraction may be put after it:
// that is the time text of date_time_strings.
short_text render_clock(std::uint64_t filetime);

// Appends the point and `digits` digits of the fraction of a second, truncated. Appends nothing
// unless `digits` is 3 to 9.
void put_fraction(short_text& out, std::uint32_t nanosecond, std::size_t digits);

// Renders `t` under format texts, which may contain "yyyy", "yy", "mmm", "mm", "dd", "hh:mm", "ss"
// and "xxx". An empty format yields an empty text. Returns non-zero if `t` is valid; otherwise both
// texts are empty.
std::uint8_t format_date_time(std::string& date_out, std::string& time_out, const time& t,
                              const std::string& date_format, const std::string& time_format);

// Returns "Jan" to "Dec" for 1 to 12, otherwise "".
std::string month_abbrev(std::int32_t month);

}  // namespace ql

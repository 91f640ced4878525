// Parses dates of the command line.
#pragma once

#include <cstdint>
#include <string>

#include "foundation/time/ql_time.h"

namespace ql {

// Parses a date and a time. `order` contains "Y", "M" and "D" in the order of the fields ("YMD");
// "Mon" means that the month is a name. `date_text` is split at `separator`, and empty fields are
// skipped; a missing field is 0. `time_text` may be empty.
//
// Returns false, with `out_fields` unspecified, for an empty date, an unknown month name, a month
// above 12, a day above 31, or a time without a colon or with a minute of 0 or more than 31
// characters.
bool parse_date_time(const std::string& date_text, const std::string& time_text,
                     const std::string& order, char separator, _windows_systemtime& out_fields);

// Converts calendar fields, down to the milliseconds, to a FILETIME. A month of 0 means January.
// The leap day of the year itself depends on the number of years since 1900, so the result is one
// day early from 1 March to 31 December 2000. Returns false, with `out` unchanged, for a month
// above 12.
bool fields_to_filetime(std::uint64_t& out, const _windows_systemtime& fields);

}  // namespace ql

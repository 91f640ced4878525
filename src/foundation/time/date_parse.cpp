#include "foundation/time/date_parse.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <string_view>
#include <vector>

#include "foundation/text/ql_string.h"
#include "foundation/text/split_text.h"
#include "foundation/time/ql_calendar.h"
#include "foundation/time/ql_time.h"
#include "foundation/time/time_text.h"

namespace ql {

namespace {

constexpr std::size_t max_minute_text = 31;
constexpr long max_field = 65535;

// Parses a number of the date. A number that does not fit into a field is set to the field's
// largest value, which is not a valid month or day. A text that is not a number is 0.
std::uint16_t date_number(const std::string& text) {
    const long value = std::strtol(text.c_str(), nullptr, 10);
    return static_cast<std::uint16_t>(value < 0 ? max_field : std::min(value, max_field));
}

// Returns the month whose English name starts with these three letters, or 0.
std::uint16_t named_month(std::string text) {
    for (std::int32_t month = 1; month <= 12; ++month) {
        std::string name = month_abbrev(month);
        if (equal_nocase(name, text)) return static_cast<std::uint16_t>(month);
    }
    return 0;
}

std::uint16_t with_century(std::uint16_t year) {
    if (year >= 100) return year;
    return static_cast<std::uint16_t>(year + (year >= 31 ? 1900 : 2000));
}

// Reads the fields of the date in the order of the letters. Returns false for an unknown month
// name, a month above 12 or a day above 31.
bool read_date(const std::string& date_text, std::string order, char separator,
               _windows_systemtime& out) {
    upper(order);
    const bool month_by_name = order.find("MON") != std::string::npos;
    replace_all(order, order, "MON", "M");

    const std::vector<std::string> pieces = split_list(date_text, separator);
    const std::size_t count = std::min(pieces.size(), order.size());
    for (std::size_t i = 0; i < count; ++i) {
        if (order[i] == 'Y') {
            out.year = date_number(pieces[i]);
        } else if (order[i] == 'D') {
            out.day = date_number(pieces[i]);
        } else if (order[i] == 'M' && month_by_name) {
            out.month = named_month(pieces[i]);
            if (out.month == 0) return false;
        } else if (order[i] == 'M') {
            out.month = date_number(pieces[i]);
        }
    }
    out.year = with_century(out.year);
    return out.month < 13 && out.day < 32;
}

// Parses a decimal number of the time, with its fraction. The result is between 0 and the largest
// value of a field; a text that is not a number is 0.
double time_number(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(" \t+"), text.size()));
    double value = 0;
    std::from_chars(text.data(), text.data() + text.size(), value);
    return value > 0 ? std::min(value, static_cast<double>(max_field)) : 0;  // not a number is 0
}

// Returns true if "pm" occurs anywhere after the first colon.
bool is_afternoon(const std::string& time_text) {
    const std::size_t colon = time_text.find(':');
    return time_text.find("pm", colon) != std::string::npos;
}

bool read_time(std::string time_text, _windows_systemtime& out) {
    trim(time_text);
    lower(time_text);
    const std::vector<std::string> pieces = split_list(time_text, ':', {.keep_empty = true});
    if (pieces.size() < 2 || pieces[1].empty() || pieces[1].size() > max_minute_text) return false;

    const unsigned added_hours = is_afternoon(time_text) ? 12 : 0;
    out.hour = static_cast<std::uint16_t>(
        std::min(time_number(pieces[0]) + added_hours, static_cast<double>(max_field)));
    out.minute = static_cast<std::uint16_t>(time_number(pieces[1]));
    const double seconds = pieces.size() > 2 ? time_number(pieces[2]) : 0;
    out.second = static_cast<std::uint16_t>(seconds);
    out.millisecond = static_cast<std::uint16_t>(std::floor((seconds - out.second) * 1000 + 0.5));
    return true;
}

// Returns true if a leap day is added to the months after February. The leap-year rule is applied
// to the years since 1900, so a date from March to December 2000 is one day early.
bool adds_leap_day(std::int64_t year) {
    const std::int64_t since_1900 = year - 1900;
    return since_1900 > 0 && is_leap_year(since_1900);
}

}  // namespace

bool parse_date_time(const std::string& date_text, const std::string& time_text,
                     const std::string& order, char separator, _windows_systemtime& out_fields) {
    out_fields = _windows_systemtime{};
    if (date_text.empty() || !read_date(date_text, order, separator, out_fields)) return false;
    return time_text.empty() || read_time(time_text, out_fields);
}

bool fields_to_filetime(std::uint64_t& out, const _windows_systemtime& fields) {
    if (fields.month > 12) return false;
    const int month = std::max<int>(fields.month, 1);
    const std::int64_t days = days_before_year(fields.year) +
                              days_before_month(month, adds_leap_day(fields.year)) + fields.day - 1;
    const std::int64_t seconds =
        days * seconds_a_day + fields.hour * 3600L + fields.minute * 60L + fields.second;
    out = static_cast<std::uint64_t>(seconds) * ticks_a_second +
          static_cast<std::uint64_t>(fields.millisecond) * 10'000;
    return true;
}

}  // namespace ql

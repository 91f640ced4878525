// The formats of dates and times, compiled for the rows of a report.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace ql {

// Compiled date and time formats; see parse_date_style.
struct date_style {
    std::uint8_t separator = 0;   // "/", "-" or a blank; 0 if the format contains none of these
    std::uint8_t date_flags = 0;  // the date_flag bits
    std::uint8_t time_bits = 0;   // bit 0: paired date and time; bits 1 to 4: fraction digits, 0..9
    std::uint8_t reserved = 0;

    bool is_zero() const {
        return separator == 0 && date_flags == 0 && time_bits == 0 && reserved == 0;
    }
    unsigned fraction_digits() const { return (time_bits >> 1) & 15u; }
};

namespace date_flag {
constexpr std::uint8_t month_name = 0x01;      // "mmm"
constexpr std::uint8_t month_number = 0x02;    // "mm"
constexpr std::uint8_t year_4 = 0x04;          // "yyyy"
constexpr std::uint8_t year_2 = 0x08;          // "yy"
constexpr std::uint8_t comma = 0x10;           // the format contains a comma
constexpr std::uint8_t day_month_year = 0x20;  // order of the three fields
constexpr std::uint8_t month_day_year = 0x40;
constexpr std::uint8_t year_month_day = 0x80;
}  // namespace date_flag

// Compiles the formats into `style_out`. If the date format lacks the month, the year or the day,
// the function returns at once: what it has set so far is kept, and the fraction digits are 0.
void parse_date_style(date_style& style_out, const std::string& date_format,
                      const std::string& time_format, bool pair_datetime);

// Returns the first of "/", "-" and blank that the date format contains, or 0.
char separator_of(const std::string& date_format);

// Returns the number of fraction digits in a time format, from its first "xxx" to its last "x", or
// 0 if it does not contain "xxx".
std::size_t fraction_width(const std::string& time_format);

}  // namespace ql

// Time stamps: FILETIME values, their UTC calendar fields and their rendering.
//
// A FILETIME counts 100-nanosecond ticks since 1601-01-01 00:00:00 UTC. Stamps stay raw until they
// are printed, and every printed time is UTC. The host's zone only enters a range check.
#pragma once

#include <cstdint>
#include <ctime>
#include <string>

namespace ql {

// What a number given to ql::time is.
enum class type_time : std::uint32_t {
    filetime = 1,
    unix_seconds = 8,
};

// UTC calendar fields. The last four fields are the same fraction of the second, each in its own
// unit and truncated; they are not added together.
struct _windows_systemtime {
    std::uint16_t year = 0;         // full year
    std::uint16_t month = 0;        // 1 to 12
    std::uint16_t day_of_week = 0;  // 0 is Sunday
    std::uint16_t day = 0;          // 1 to 31
    std::uint16_t hour = 0;
    std::uint16_t minute = 0;
    std::uint16_t second = 0;
    std::uint16_t millisecond = 0;
    std::uint64_t microsecond = 0;  // 0 to 999,999
    std::uint64_t nanosecond = 0;   // a multiple of 100
    std::uint64_t picosecond = 0;
};

// The compiled form of the date and time formats: see parse_date_style.
struct date_style {
    std::uint8_t separator = 0;   // "/", "-" or a blank; 0 when the format holds none of these
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
constexpr std::uint8_t comma = 0x10;           // the format holds a comma
constexpr std::uint8_t day_month_year = 0x20;  // order of the three
constexpr std::uint8_t month_day_year = 0x40;
constexpr std::uint8_t year_month_day = 0x80;
}  // namespace date_flag

// A time stamp with its calendar fields. A stamp of 0, one with the top bit set, one before
// 1970-01-01 00:00:01 and one of the year 3001 or later is not displayable: `valid` stays 0.
class time {
public:
    // `value` is what `type` tells: a FILETIME, or seconds since 1970.
    time(std::uint64_t value, type_time type);
    // This moment by the system's clock, to the microsecond.
    static time now();

    std::uint64_t unix_seconds = 0;  // since 1970-01-01 UTC
    std::uint64_t filetime = 0;
    std::uint64_t filetime_checked = 0;  // copy of `filetime` once the stamp proved valid
    std::uint16_t dos_date = 0;          // MS-DOS form, 0 outside 1980 to 2037
    std::uint16_t dos_time = 0;
    std::tm local_fields{};  // the stamp in the host's local time; range check only
    _windows_systemtime system_time;
    std::uint32_t valid = 0;  // non-zero when the stamp can be shown

private:
    void fill_from_filetime(std::uint64_t ticks);
};

// Renders `t` under `style` into a date and a time text, both UTC. An invalid stamp gives two empty
// texts. The result is `t.valid`, or 0 when an all-zero style took the default formats.
std::uint32_t date_time_strings(std::string& date_out, std::string& time_out, const time& t,
                                date_style style);

// True for a FILETIME whose ql::time is valid.
bool can_be_shown(std::uint64_t filetime);

// The two texts of date_time_strings for a FILETIME that can be shown, under a style that is not
// all zero.
void render_date(std::string& out, std::uint64_t filetime, date_style style);
void render_time(std::string& out, std::uint64_t filetime, date_style style);

// The general renderer: reads "yyyy", "yy", "mmm", "mm", "dd", "hh:mm", "ss" and "xxx" from the
// format texts themselves. An empty format gives an empty text. The result is non-zero when `t` is
// valid; otherwise both texts are empty.
std::uint8_t format_date_time(std::string& date_out, std::string& time_out, const time& t,
                              const std::string& date_format, const std::string& time_format);

// Compiles the formats into `style_out`. A date format without month, year or day ends the work
// there and leaves what was set before, the fraction digits unset.
void parse_date_style(date_style& style_out, const std::string& date_format,
                      const std::string& time_format, bool pair_datetime);

// "Jan" to "Dec" for 1 to 12; "" otherwise.
std::string month_abbrev(std::int32_t month);

// Text to calendar fields. `order` has "Y", "M" and "D" in the order of the fields ("YMD"); "Mon"
// in it marks a month given by name. `date_text` is split at `separator`, empty fields skipped; a
// missing field is 0. `time_text` may be empty.
// False for an empty date, an unknown month name, a month above 12, a day above 31 or a time
// without a colon or minute; `out_fields` is then unspecified.
bool parse_date_time(const std::string& date_text, const std::string& time_text,
                     const std::string& order, char separator, _windows_systemtime& out_fields);

// Calendar fields to FILETIME, from the date down to the milliseconds; a month of 0 counts as
// January. The leap day of the year itself goes by the years since 1900: from 1 March to 31
// December 2000 the result is one day early. False, with `out` untouched, for a month above 12.
bool fields_to_filetime(std::uint64_t& out, const _windows_systemtime& fields);

// Seconds since 1970 in unsigned 64-bit arithmetic, so that earlier stamps wrap to huge counts.
// False for a value with the top bit set.
bool filetime_to_unix(std::uint64_t filetime, std::uint64_t& out);

}  // namespace ql

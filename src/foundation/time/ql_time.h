// Timestamps: FILETIME values, their UTC calendar fields and their rendering.
//
// A FILETIME counts 100-nanosecond ticks since 1601-01-01 00:00:00 UTC. Timestamps are kept as raw
// values until they are printed, and every printed time is UTC. The host's time zone is used only
// in a range check.
#pragma once

#include <cstdint>
#include <ctime>
#include <string>

namespace ql {

// The unit of a number passed to ql::time.
enum class type_time : std::uint32_t {
    filetime = 1,
    unix_seconds = 8,
};

// UTC calendar fields. The last four are the same fraction of the second, each truncated to its own
// unit; they are not added together.
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

// A timestamp with its calendar fields. `valid` is 0 for a timestamp that cannot be displayed: 0,
// one with the top bit set, one before 1970-01-01 00:00:01, or one in or after the year 3001 of the
// host's local time.
class time {
public:
    // `value` is a FILETIME or seconds since 1970, depending on `type`.
    time(std::uint64_t value, type_time type);
    // Returns the current time of the system clock, to the microsecond.
    static time now();

    std::uint64_t unix_seconds = 0;  // since 1970-01-01 UTC
    std::uint64_t filetime = 0;
    std::uint64_t filetime_checked = 0;  // copy of `filetime` if the timestamp is valid
    std::uint16_t dos_date = 0;          // MS-DOS form, 0 outside 1980 to 2037
    std::uint16_t dos_time = 0;
    std::tm local_fields{};  // in the host's local time; set by the range check only
    _windows_systemtime system_time;
    std::uint32_t valid = 0;  // non-zero if the timestamp can be displayed

private:
    void fill_from_filetime(std::uint64_t ticks);
};

// Renders `t` under `style` as a date text and a time text, both UTC. Both are empty if `t` is
// invalid. Returns `t.valid`, or 0 if the style is all zero and the default formats were used.
std::uint32_t date_time_strings(std::string& date_out, std::string& time_out, const time& t,
                                date_style style);

// Returns true if the ql::time of `filetime` is valid.
bool can_be_shown(std::uint64_t filetime);

// Render the two texts of date_time_strings. `filetime` must be displayable and `style` not all
// zero.
void render_date(std::string& out, std::uint64_t filetime, date_style style);
void render_time(std::string& out, std::uint64_t filetime, date_style style);

// Renders `t` under format texts, which may contain "yyyy", "yy", "mmm", "mm", "dd", "hh:mm", "ss"
// and "xxx". An empty format yields an empty text. Returns non-zero if `t` is valid; otherwise both
// texts are empty.
std::uint8_t format_date_time(std::string& date_out, std::string& time_out, const time& t,
                              const std::string& date_format, const std::string& time_format);

// Compiles the formats into `style_out`. If the date format lacks the month, the year or the day,
// the function returns at once: what it has set so far is kept, and the fraction digits are 0.
void parse_date_style(date_style& style_out, const std::string& date_format,
                      const std::string& time_format, bool pair_datetime);

// Returns "Jan" to "Dec" for 1 to 12, otherwise "".
std::string month_abbrev(std::int32_t month);

// Converts to seconds since 1970 in unsigned 64-bit arithmetic; earlier times wrap to huge values.
// Returns false if the top bit of `filetime` is set.
bool filetime_to_unix(std::uint64_t filetime, std::uint64_t& out);

}  // namespace ql

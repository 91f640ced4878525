#include "foundation/time/ql_time.h"

#include <sys/time.h>

#include <algorithm>
#include <array>
#include <utility>

#include "foundation/time/ql_calendar.h"

namespace ql {

namespace {

// The local time of a displayable timestamp is before this year.
constexpr std::int64_t first_year_not_shown = 3001;

// Returns the host's current offset from UTC in seconds. mktime interprets both times as standard
// time.
std::int64_t host_utc_offset() {
    const std::time_t now = std::time(nullptr);
    std::tm local{}, utc{};
    localtime_r(&now, &local);
    gmtime_r(&now, &utc);
    const auto seconds = static_cast<float>(std::mktime(&local) - std::mktime(&utc));
    const float hours = seconds / 3600.0f;
    return static_cast<std::int64_t>(hours * 3600.0f);
}

// Converts seconds since 1601 in the host's local time to broken-down fields; the summer-time flag
// is 0.
std::tm local_time_fields(std::uint64_t local_seconds) {
    const auto days = static_cast<std::uint32_t>(local_seconds / seconds_a_day);
    const auto second_of_day = static_cast<int>(local_seconds % seconds_a_day);
    const calendar_day date = day_to_calendar(days);
    std::tm fields{};
    fields.tm_sec = second_of_day % 60;
    fields.tm_min = second_of_day / 60 % 60;
    fields.tm_hour = second_of_day / 3600;
    fields.tm_mday = date.day;
    fields.tm_mon = date.month - 1;
    fields.tm_year = date.year - 1900;
    fields.tm_wday = date.day_of_week;
    fields.tm_yday =
        static_cast<int>(days_before_month(date.month, is_leap_year(date.year))) + date.day - 1;
    return fields;
}

// Computes the timestamp's local time in seconds since 1601. Returns false, with `out` unchanged,
// if it is not before the year 3001. The host's offset is read once, so that it is the same for all
// timestamps of a run.
bool to_local_seconds(std::uint64_t unix_seconds, std::uint64_t& out) {
    static const std::int64_t offset = host_utc_offset();
    constexpr std::int64_t seconds_to_1970 = days_1601_to_1970 * seconds_a_day;
    constexpr std::int64_t limit = days_before_year(first_year_not_shown) * seconds_a_day;
    // A larger value is out of range even when counted from 1601, and the sum below could wrap.
    if (std::cmp_greater(unix_seconds, limit)) return false;
    const std::int64_t local_seconds =
        static_cast<std::int64_t>(unix_seconds) + seconds_to_1970 + offset;
    if (local_seconds >= limit) return false;
    out = static_cast<std::uint64_t>(local_seconds);
    return true;
}

// Computes the seconds of a FILETIME since 1970 in UTC and since 1601 in local time. Returns false
// if it cannot be displayed.
bool shown_seconds(std::uint64_t filetime, std::uint64_t& unix_seconds,
                   std::uint64_t& local_seconds) {
    return filetime != 0 && filetime_to_unix(filetime, unix_seconds) && unix_seconds != 0 &&
           to_local_seconds(unix_seconds, local_seconds);
}

// Sets the date of a timestamp before the year 3002.
void set_date(_windows_systemtime& fields, std::uint64_t filetime) {
    const calendar_day date = day_to_calendar(static_cast<std::uint32_t>(filetime / ticks_a_day));
    fields.year = static_cast<std::uint16_t>(date.year);
    fields.month = static_cast<std::uint16_t>(date.month);
    fields.day_of_week = static_cast<std::uint16_t>(date.day_of_week);
    fields.day = static_cast<std::uint16_t>(date.day);
}

// The printed fields of a time of day.
struct clock_time {
    std::uint32_t hour;
    std::uint32_t minute;
    std::uint32_t second;
    std::uint32_t nanosecond;
};

clock_time clock_of(std::uint64_t filetime) {
    const auto second_of_day =
        static_cast<std::uint32_t>(filetime / ticks_a_second % seconds_a_day);
    const auto ticks = static_cast<std::uint32_t>(filetime % ticks_a_second);
    return {second_of_day / 3600, second_of_day / 60 % 60, second_of_day % 60, ticks * 100};
}

clock_time clock_of(const _windows_systemtime& fields) {
    return {fields.hour, fields.minute, fields.second,
            static_cast<std::uint32_t>(fields.nanosecond)};
}

void set_clock(_windows_systemtime& fields, std::uint64_t filetime) {
    const clock_time clock = clock_of(filetime);
    fields.hour = static_cast<std::uint16_t>(clock.hour);
    fields.minute = static_cast<std::uint16_t>(clock.minute);
    fields.second = static_cast<std::uint16_t>(clock.second);
    fields.millisecond = static_cast<std::uint16_t>(clock.nanosecond / 1'000'000);
    fields.microsecond = clock.nanosecond / 1'000;
    fields.nanosecond = clock.nanosecond;
    fields.picosecond = std::uint64_t{clock.nanosecond} * 1'000;
}

// A date or a time under construction. The longest text is a time with a nine-digit fraction, 18
// characters.
class short_text {
public:
    void put(char c) { m_text[m_size++] = c; }

    // Appends the low `digits` decimal digits of `value`, padded with zeros.
    void put_number(std::uint32_t value, unsigned digits) {
        for (unsigned i = digits; i-- > 0; value /= 10)
            m_text[m_size + i] = static_cast<char>('0' + value % 10);
        m_size += digits;
    }

    // Like put_number for two digits, the width of most fields, without a loop.
    void put_two(std::uint32_t value) {
        m_text[m_size++] = static_cast<char>('0' + value / 10 % 10);
        m_text[m_size++] = static_cast<char>('0' + value % 10);
    }

    void put_year(const _windows_systemtime& fields) { put_number(fields.year, 4); }

    void put_month(const _windows_systemtime& fields, bool by_name) {
        if (!by_name) return put_two(fields.month);
        for (const char c : month_abbrev(fields.month))
            put(c);
    }

    void copy_to(std::string& out) const { out.assign(m_text.data(), m_size); }

private:
    std::array<char, 32> m_text;
    unsigned m_size = 0;
};

// Appends the point and `digits` digits of the fraction, truncated. Appends nothing unless `digits`
// is 3 to 9.
void put_fraction(short_text& out, std::uint32_t nanosecond, std::size_t digits) {
    static constexpr std::uint32_t divisors[] = {1'000'000, 100'000, 10'000, 1'000, 100, 10, 1};
    if (digits < 3 || digits > 9) return;
    // The full fraction is the nine digits of `nanosecond`; a shorter one is its leading digits.
    out.put('.');
    out.put_number(nanosecond / divisors[digits - 3], static_cast<unsigned>(digits));
}

void put_clock(short_text& out, const clock_time& clock) {
    out.put_two(clock.hour);
    out.put(':');
    out.put_two(clock.minute);
}

// Appends the date in the order of the style, or nothing if the style has no known order. The year
// has four digits in every style. If the style has no separator, a NUL byte separates the fields.
void put_styled_date(short_text& out, const _windows_systemtime& fields, date_style style) {
    const auto separator = static_cast<char>(style.separator);
    const unsigned order =
        style.date_flags &
        (date_flag::day_month_year | date_flag::month_day_year | date_flag::year_month_day);
    const bool by_number = (style.date_flags & date_flag::month_number) != 0;
    const bool by_name = !by_number && (style.date_flags & date_flag::month_name) != 0;
    if (!by_number && !by_name) return;

    if (order == date_flag::month_day_year) {
        out.put_month(fields, by_name);
        out.put(separator);
        out.put_two(fields.day);
        out.put(separator);
        out.put_year(fields);
    } else if (order == date_flag::day_month_year) {
        out.put_two(fields.day);
        out.put(separator);
        out.put_month(fields, by_name);
        out.put(separator);
        out.put_year(fields);
    } else if (order == date_flag::year_month_day && by_number) {
        out.put_year(fields);
        out.put(separator);
        out.put_two(fields.month);
        out.put(separator);
        out.put_two(fields.day);
    }
}

// Renders the time of day under a style. One function composes all of it, so that the compiler
// knows each position in the text.
void set_styled_time(std::string& out, const clock_time& clock, date_style style) {
    short_text text;
    put_clock(text, clock);
    text.put(':');
    text.put_two(clock.second);
    put_fraction(text, clock.nanosecond, style.fraction_digits());
    text.copy_to(out);
}

bool holds(const std::string& format, const char* part) {
    return format.find(part) != std::string::npos;
}

// Returns the first of "/", "-" and blank that the date format contains, or 0.
char separator_of(const std::string& date_format) {
    for (const char separator : {'/', '-', ' '})
        if (date_format.find(separator) != std::string::npos) return separator;
    return '\0';
}

// Returns the number of fraction digits in a time format, from its first "xxx" to its last "x", or
// 0 if it does not contain "xxx".
std::size_t fraction_width(const std::string& time_format) {
    const std::size_t first = time_format.find("xxx");
    return first == std::string::npos ? 0 : time_format.rfind('x') - first + 1;
}

// Appends the date as the format text specifies it.
void put_formatted_date(short_text& out, const _windows_systemtime& fields,
                        const std::string& format) {
    const std::size_t year_at = format.find("yy");
    const std::size_t month_at = format.find("mm");
    const std::size_t day_at = format.find("dd");
    const bool by_name = holds(format, "mmm");
    const bool short_year = year_at != std::string::npos && !holds(format, "yyyy");
    const bool is_whole = std::max({year_at, month_at, day_at}) != std::string::npos;
    const char separator = is_whole ? separator_of(format) : '/';
    const auto separate = [&] {
        if (separator != '\0') out.put(separator);
    };
    const auto put_year = [&] { short_year ? out.put_two(fields.year) : out.put_year(fields); };

    if (is_whole && year_at == 0) {
        put_year();
        separate();
    }
    if (is_whole && day_at < month_at) {
        out.put_two(fields.day);
        separate();
        out.put_month(fields, by_name);
    } else {
        out.put_month(fields, by_name);
        separate();
        out.put_two(fields.day);
        const bool comma = is_whole && format.find(',', day_at) != std::string::npos;
        if (comma && separator == ' ') out.put(',');
    }
    if (!is_whole || year_at != 0) {
        separate();
        put_year();
    }
}

void put_formatted_time(short_text& out, const _windows_systemtime& fields,
                        const std::string& format) {
    const clock_time clock = clock_of(fields);
    if (holds(format, "hh:mm")) put_clock(out, clock);
    if (holds(format, "ss")) {
        out.put(':');
        out.put_two(clock.second);
    }
    put_fraction(out, clock.nanosecond, fraction_width(format));
}

std::uint8_t order_flag(std::size_t year_at, std::size_t month_at, std::size_t day_at) {
    if (day_at < month_at && month_at < year_at) return date_flag::day_month_year;
    if (month_at < day_at && day_at < year_at) return date_flag::month_day_year;
    if (year_at < month_at && month_at < day_at) return date_flag::year_month_day;
    return 0;
}

// Compiles a date format. Returns false at the first of month, year and day that the format lacks;
// what was found before it is kept in `style`.
bool compile_date(date_style& style, const std::string& format) {
    style.separator = static_cast<std::uint8_t>(separator_of(format));

    std::size_t month_at = format.find("mmm");
    const bool by_name = month_at != std::string::npos;
    if (!by_name) month_at = format.find("mm");
    if (month_at == std::string::npos) return false;
    style.date_flags |= by_name ? date_flag::month_name : date_flag::month_number;

    std::size_t year_at = format.find("yyyy");
    const bool long_year = year_at != std::string::npos;
    if (!long_year) year_at = format.find("yy");
    if (year_at == std::string::npos) return false;
    style.date_flags |= long_year ? date_flag::year_4 : date_flag::year_2;

    if (holds(format, ",")) style.date_flags |= date_flag::comma;
    const std::size_t day_at = format.find("dd");
    if (day_at == std::string::npos) return false;
    style.date_flags |= order_flag(year_at, month_at, day_at);
    return true;
}

}  // namespace

time::time(std::uint64_t value, type_time type) {
    if (type == type_time::filetime) {
        fill_from_filetime(value);
        return;
    }
    if (value < 1) return;
    unix_seconds = value;
    filetime = value * ticks_a_second + ticks_1601_to_1970;
    std::uint64_t local_seconds = 0;
    if (to_local_seconds(unix_seconds, local_seconds)) fill_from_filetime(filetime);
}

time time::now() {
    timeval clock{};
    gettimeofday(&clock, nullptr);
    return {static_cast<std::uint64_t>(clock.tv_usec) * 10 +
                static_cast<std::uint64_t>(clock.tv_sec) * ticks_a_second + ticks_1601_to_1970,
            type_time::filetime};
}

void time::fill_from_filetime(std::uint64_t ticks) {
    filetime = ticks;
    std::uint64_t local_seconds = 0;
    if (!shown_seconds(ticks, unix_seconds, local_seconds)) return;
    local_fields = local_time_fields(local_seconds);

    set_date(system_time, ticks);
    set_clock(system_time, ticks);
    filetime_checked = ticks;
    if (system_time.year >= 1980 && system_time.year < 2038) {
        dos_date = static_cast<std::uint16_t>((system_time.year - 1980) << 9 |
                                              system_time.month << 5 | system_time.day);
        dos_time = static_cast<std::uint16_t>(system_time.hour << 11 | system_time.minute << 5 |
                                              ((system_time.second + 1) / 2 & 31));
    }
    valid = 1;
}

std::uint32_t date_time_strings(std::string& date_out, std::string& time_out, const time& t,
                                date_style style) {
    date_out.clear();
    time_out.clear();
    if (t.valid == 0) return 0;
    if (style.is_zero()) {
        format_date_time(date_out, time_out, t, "yyyy-mm-dd", "hh:mm:ss.xxx");
        return 0;
    }
    short_text date_text;
    put_styled_date(date_text, t.system_time, style);
    date_text.copy_to(date_out);
    set_styled_time(time_out, clock_of(t.system_time), style);
    return t.valid;
}

bool can_be_shown(std::uint64_t filetime) {
    std::uint64_t unix_seconds = 0;
    std::uint64_t local_seconds = 0;
    return shown_seconds(filetime, unix_seconds, local_seconds);
}

void render_date(std::string& out, std::uint64_t filetime, date_style style) {
    _windows_systemtime fields;
    set_date(fields, filetime);
    short_text text;
    put_styled_date(text, fields, style);
    text.copy_to(out);
}

void render_time(std::string& out, std::uint64_t filetime, date_style style) {
    set_styled_time(out, clock_of(filetime), style);
}

std::uint8_t format_date_time(std::string& date_out, std::string& time_out, const time& t,
                              const std::string& date_format, const std::string& time_format) {
    date_out.clear();
    time_out.clear();
    if (t.valid == 0) return 0;
    short_text date_text, time_text;
    if (!date_format.empty()) put_formatted_date(date_text, t.system_time, date_format);
    if (!time_format.empty()) put_formatted_time(time_text, t.system_time, time_format);
    date_text.copy_to(date_out);
    time_text.copy_to(time_out);
    return 1;
}

void parse_date_style(date_style& style_out, const std::string& date_format,
                      const std::string& time_format, bool pair_datetime) {
    style_out = date_style{};
    style_out.time_bits = pair_datetime ? 1 : 0;
    if (!date_format.empty() && !compile_date(style_out, date_format)) return;
    const std::size_t digits = std::min<std::size_t>(fraction_width(time_format), 9);
    style_out.time_bits = static_cast<std::uint8_t>(style_out.time_bits | digits << 1);
}

std::string month_abbrev(std::int32_t month) {
    static constexpr const char* names[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                            "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    return month < 1 || month > 12 ? "" : names[month - 1];
}

bool filetime_to_unix(std::uint64_t filetime, std::uint64_t& out) {
    if (filetime >> 63 != 0) return false;
    out = (filetime - ticks_1601_to_1970) / ticks_a_second;
    return true;
}

}  // namespace ql

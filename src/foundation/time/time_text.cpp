#include "foundation/time/time_text.h"

#include <algorithm>
#include <array>

#include "foundation/time/ql_calendar.h"

namespace ql {

namespace {

calendar_day date_of(const _windows_systemtime& fields) {
    return {fields.year, fields.month, fields.day, fields.day_of_week};
}

clock_time clock_of(const _windows_systemtime& fields) {
    return {fields.hour, fields.minute, fields.second,
            static_cast<std::uint32_t>(fields.nanosecond)};
}

std::uint32_t as_number(int value) { return static_cast<std::uint32_t>(value); }

void put_year(short_text& out, const calendar_day& date) {
    out.put_number(as_number(date.year), 4);
}
void put_short_year(short_text& out, const calendar_day& date) {
    out.put_two(as_number(date.year));
}
void put_day(short_text& out, const calendar_day& date) { out.put_two(as_number(date.day)); }
void put_month(short_text& out, const calendar_day& date) { out.put_two(as_number(date.month)); }
void put_month_name(short_text& out, const calendar_day& date) {
    out.put(month_abbrev(date.month));
}

void put_clock(short_text& out, const clock_time& clock) {
    out.put_two(clock.hour);
    out.put(':');
    out.put_two(clock.minute);
}

// Appends the date in the order of the style, or nothing if the style has no known order. The year
// has four digits in every style. If the style has no separator, a NUL byte separates the fields.
void put_styled_date(short_text& out, const calendar_day& date, date_style style) {
    const auto separator = static_cast<char>(style.separator);
    const unsigned order =
        style.date_flags &
        (date_flag::day_month_year | date_flag::month_day_year | date_flag::year_month_day);
    const bool by_number = (style.date_flags & date_flag::month_number) != 0;
    const bool by_name = !by_number && (style.date_flags & date_flag::month_name) != 0;
    if (!by_number && !by_name) return;
    const auto put_any_month = [&] { by_name ? put_month_name(out, date) : put_month(out, date); };

    if (order == date_flag::month_day_year) {
        put_any_month();
        out.put(separator);
        put_day(out, date);
        out.put(separator);
        put_year(out, date);
    } else if (order == date_flag::day_month_year) {
        put_day(out, date);
        out.put(separator);
        put_any_month();
        out.put(separator);
        put_year(out, date);
    } else if (order == date_flag::year_month_day && by_number) {
        put_year(out, date);
        out.put(separator);
        put_month(out, date);
        out.put(separator);
        put_day(out, date);
    }
}

short_text clock_text(const clock_time& clock) {
    short_text text;
    put_clock(text, clock);
    text.put(':');
    text.put_two(clock.second);
    return text;
}

bool contains(const std::string& format, const char* part) {
    return format.find(part) != std::string::npos;
}

// Appends the date as the format text specifies it.
void put_formatted_date(short_text& out, const calendar_day& date, const std::string& format) {
    const std::size_t year_at = format.find("yy");
    const std::size_t month_at = format.find("mm");
    const std::size_t day_at = format.find("dd");
    const bool by_name = contains(format, "mmm");
    const bool short_year = year_at != std::string::npos && !contains(format, "yyyy");
    const bool is_whole = std::max({year_at, month_at, day_at}) != std::string::npos;
    const char separator = is_whole ? separator_of(format) : '/';
    const auto separate = [&] {
        if (separator != '\0') out.put(separator);
    };
    const auto put_any_year = [&] { short_year ? put_short_year(out, date) : put_year(out, date); };
    const auto put_any_month = [&] { by_name ? put_month_name(out, date) : put_month(out, date); };

    if (is_whole && year_at == 0) {
        put_any_year();
        separate();
    }
    if (is_whole && day_at < month_at) {
        put_day(out, date);
        separate();
        put_any_month();
    } else {
        put_any_month();
        separate();
        put_day(out, date);
        const bool comma = is_whole && format.find(',', day_at) != std::string::npos;
        if (comma && separator == ' ') out.put(',');
    }
    if (!is_whole || year_at != 0) {
        separate();
        put_any_year();
    }
}

void put_formatted_time(short_text& out, const clock_time& clock, const std::string& format) {
    if (contains(format, "hh:mm")) put_clock(out, clock);
    if (contains(format, "ss")) {
        out.put(':');
        out.put_two(clock.second);
    }
    put_fraction(out, clock.nanosecond, fraction_width(format));
}

}  // namespace

void put_fraction(short_text& out, std::uint32_t nanosecond, std::size_t digits) {
    static constexpr std::uint32_t divisors[] = {1'000'000, 100'000, 10'000, 1'000, 100, 10, 1};
    if (digits < 3 || digits > 9) return;
    // The full fraction is the nine digits of `nanosecond`; a shorter one is its leading digits.
    out.put('.');
    out.put_number(nanosecond / divisors[digits - 3], static_cast<unsigned>(digits));
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
    put_styled_date(date_text, date_of(t.system_time), style);
    date_out = date_text.view();
    const clock_time clock = clock_of(t.system_time);
    short_text time_text = clock_text(clock);
    put_fraction(time_text, clock.nanosecond, style.fraction_digits());
    time_out = time_text.view();
    return t.valid;
}

short_text render_date(std::uint64_t filetime, date_style style) {
    short_text text;
    put_styled_date(text, date_of(filetime), style);
    return text;
}

short_text render_clock(std::uint64_t filetime) { return clock_text(clock_of(filetime)); }

std::uint8_t format_date_time(std::string& date_out, std::string& time_out, const time& t,
                              const std::string& date_format, const std::string& time_format) {
    date_out.clear();
    time_out.clear();
    if (t.valid == 0) return 0;
    short_text date_text, time_text;
    if (!date_format.empty()) put_formatted_date(date_text, date_of(t.system_time), date_format);
    if (!time_format.empty()) put_formatted_time(time_text, clock_of(t.system_time), time_format);
    date_out = date_text.view();
    time_out = time_text.view();
    return 1;
}

std::string month_abbrev(std::int32_t month) {
    static constexpr const char* names[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                            "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    return month < 1 || month > 12 ? "" : names[month - 1];
}

}  // namespace ql

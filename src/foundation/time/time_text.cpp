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

    void put_year(const calendar_day& date) { put_number(as_number(date.year), 4); }
    void put_short_year(const calendar_day& date) { put_two(as_number(date.year)); }
    void put_day(const calendar_day& date) { put_two(as_number(date.day)); }
    void put_month(const calendar_day& date) { put_two(as_number(date.month)); }
    void put_month_name(const calendar_day& date) {
        for (const char c : month_abbrev(date.month))
            put(c);
    }

    void copy_to(std::string& out) const { out.assign(m_text.data(), m_size); }

private:
    static std::uint32_t as_number(int value) { return static_cast<std::uint32_t>(value); }

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
void put_styled_date(short_text& out, const calendar_day& date, date_style style) {
    const auto separator = static_cast<char>(style.separator);
    const unsigned order =
        style.date_flags &
        (date_flag::day_month_year | date_flag::month_day_year | date_flag::year_month_day);
    const bool by_number = (style.date_flags & date_flag::month_number) != 0;
    const bool by_name = !by_number && (style.date_flags & date_flag::month_name) != 0;
    if (!by_number && !by_name) return;
    const auto put_month = [&] { by_name ? out.put_month_name(date) : out.put_month(date); };

    if (order == date_flag::month_day_year) {
        put_month();
        out.put(separator);
        out.put_day(date);
        out.put(separator);
        out.put_year(date);
    } else if (order == date_flag::day_month_year) {
        out.put_day(date);
        out.put(separator);
        put_month();
        out.put(separator);
        out.put_year(date);
    } else if (order == date_flag::year_month_day && by_number) {
        out.put_year(date);
        out.put(separator);
        out.put_month(date);
        out.put(separator);
        out.put_day(date);
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
    const auto put_year = [&] { short_year ? out.put_short_year(date) : out.put_year(date); };
    const auto put_month = [&] { by_name ? out.put_month_name(date) : out.put_month(date); };

    if (is_whole && year_at == 0) {
        put_year();
        separate();
    }
    if (is_whole && day_at < month_at) {
        out.put_day(date);
        separate();
        put_month();
    } else {
        put_month();
        separate();
        out.put_day(date);
        const bool comma = is_whole && format.find(',', day_at) != std::string::npos;
        if (comma && separator == ' ') out.put(',');
    }
    if (!is_whole || year_at != 0) {
        separate();
        put_year();
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
    date_text.copy_to(date_out);
    set_styled_time(time_out, clock_of(t.system_time), style);
    return t.valid;
}

void render_date(std::string& out, std::uint64_t filetime, date_style style) {
    short_text text;
    put_styled_date(text, date_of(filetime), style);
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
    if (!date_format.empty()) put_formatted_date(date_text, date_of(t.system_time), date_format);
    if (!time_format.empty()) put_formatted_time(time_text, clock_of(t.system_time), time_format);
    date_text.copy_to(date_out);
    time_text.copy_to(time_out);
    return 1;
}

std::string month_abbrev(std::int32_t month) {
    static constexpr const char* names[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                            "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    return month < 1 || month > 12 ? "" : names[month - 1];
}

}  // namespace ql

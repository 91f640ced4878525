#include "foundation/time/date_style.h"

#include <algorithm>

namespace ql {

namespace {

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

    if (format.find(',') != std::string::npos) style.date_flags |= date_flag::comma;
    const std::size_t day_at = format.find("dd");
    if (day_at == std::string::npos) return false;
    style.date_flags |= order_flag(year_at, month_at, day_at);
    return true;
}

}  // namespace

void parse_date_style(date_style& style_out, const std::string& date_format,
                      const std::string& time_format, bool pair_datetime) {
    style_out = date_style{};
    style_out.time_bits = pair_datetime ? 1 : 0;
    if (!date_format.empty() && !compile_date(style_out, date_format)) return;
    const std::size_t digits = std::min<std::size_t>(fraction_width(time_format), 9);
    style_out.time_bits = static_cast<std::uint8_t>(style_out.time_bits | digits << 1);
}

char separator_of(const std::string& date_format) {
    for (const char separator : {'/', '-', ' '})
        if (date_format.find(separator) != std::string::npos) return separator;
    return '\0';
}

std::size_t fraction_width(const std::string& time_format) {
    const std::size_t first = time_format.find("xxx");
    return first == std::string::npos ? 0 : time_format.rfind('x') - first + 1;
}

}  // namespace ql

#include "run/options/date_window.h"

#include <algorithm>
#include <cstdint>
#include <iostream>

#include "foundation/time/date_parse.h"
#include "foundation/time/ql_time.h"
#include "run/settings/cmd_params.h"

namespace {

// The date and the time of a window's value.
struct window_text {
    std::string date;
    std::string time;
    char separator = 0;  // of the date's fields
};

bool cut_window_text(const std::string& value, window_text& out) {
    const std::size_t blank = std::min(value.find(' '), value.size());
    out.date = value.substr(0, blank);
    out.time = blank < value.size() ? value.substr(blank + 1) : "";
    out.separator = out.date.find('/') != std::string::npos ? '/' : '-';
    return out.date.find(out.separator) != std::string::npos;
}

bool read_filetime(const window_text& text, std::uint64_t& out) {
    ql::_windows_systemtime fields;
    return ql::parse_date_time(text.date, text.time, "YMD", text.separator, fields) &&
           ql::fields_to_filetime(out, fields);
}

std::uint32_t checked(std::uint64_t filetime) {
    return ql::time(filetime, ql::type_time::filetime).valid;
}

void clear_start(cmd_params& params) {
    params.time_from_on = 0;
    params.time_from = 0;
    params.time_from_alt = 0;
}

void set_stop(cmd_params& params, std::uint8_t on, std::uint64_t filetime, std::uint32_t check) {
    params.time_to_on = on;
    params.time_to = filetime;
    params.time_to_alt = check;
}

}  // namespace

bool set_window_start(cmd_params& params, const std::string& value) {
    clear_start(params);
    window_text text;
    if (!cut_window_text(value, text)) return false;

    std::uint64_t filetime = 0;
    if (!read_filetime(text, filetime)) {
        set_stop(params, 0, 0, 0);
        std::cerr << "invalid start time, ignoring\n";
        return true;
    }
    params.time_from_on = 1;
    params.time_from = filetime;
    params.time_from_alt = checked(filetime);
    set_stop(params, UINT8_MAX, UINT64_MAX, UINT32_MAX);
    return true;
}

bool set_window_stop(cmd_params& params, const std::string& value) {
    window_text text;
    if (!cut_window_text(value, text)) return false;
    if (text.time.empty()) text.time = "23:59:59";

    std::uint64_t filetime = 0;
    const bool readable = read_filetime(text, filetime);
    if (!readable || (params.time_from_on != 0 && filetime < params.time_from)) {
        set_stop(params, 0, 0, 0);
        std::cerr << "invalid stop time, ignoring\n";
        return true;
    }
    set_stop(params, 1, filetime, checked(filetime));
    return true;
}

#include "run/options/date_window.h"

#include <algorithm>
#include <cstdint>
#include <iostream>
#include <optional>

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

// Splits a value at its first blank. Returns nullopt if its date has neither a slash nor a dash.
std::optional<window_text> split_window_text(const std::string& value) {
    const std::size_t blank = std::min(value.find(' '), value.size());
    window_text text;
    text.date = value.substr(0, blank);
    text.time = blank < value.size() ? value.substr(blank + 1) : "";
    text.separator = text.date.find('/') != std::string::npos ? '/' : '-';
    if (text.date.find(text.separator) == std::string::npos) return std::nullopt;
    return text;
}

// Returns nullopt if the date or the time cannot be parsed.
std::optional<std::uint64_t> read_filetime(const window_text& text) {
    ql::_windows_systemtime fields;
    std::uint64_t filetime = 0;
    if (!ql::parse_date_time(text.date, text.time, "YMD", text.separator, fields)) {
        return std::nullopt;
    }
    if (!ql::fields_to_filetime(filetime, fields)) return std::nullopt;
    return filetime;
}

// Returns 1 if the FILETIME can be displayed, otherwise 0.
std::uint32_t displayable(std::uint64_t filetime) {
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

void clear_stop(cmd_params& params) { set_stop(params, 0, 0, 0); }

}  // namespace

bool set_window_start(cmd_params& params, const std::string& value) {
    clear_start(params);
    const std::optional<window_text> text = split_window_text(value);
    if (!text) return false;

    const std::optional<std::uint64_t> filetime = read_filetime(*text);
    if (!filetime) {
        clear_stop(params);
        std::cerr << "invalid start time, ignoring\n";
        return true;
    }
    params.time_from_on = 1;
    params.time_from = *filetime;
    params.time_from_alt = displayable(*filetime);
    set_stop(params, UINT8_MAX, UINT64_MAX, UINT32_MAX);
    return true;
}

bool set_window_stop(cmd_params& params, const std::string& value) {
    std::optional<window_text> text = split_window_text(value);
    if (!text) return false;
    if (text->time.empty()) text->time = "23:59:59";

    const std::optional<std::uint64_t> filetime = read_filetime(*text);
    if (!filetime || (params.time_from_on != 0 && *filetime < params.time_from)) {
        clear_stop(params);
        std::cerr << "invalid stop time, ignoring\n";
        return true;
    }
    set_stop(params, 1, *filetime, displayable(*filetime));
    return true;
}

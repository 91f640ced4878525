// Dates and times: parsing dates, styles and date windows, and formatting any timestamp in any
// style.
//
// Input: u64 timestamp, u8 separator, then three lines: a date, a time or format, an order of
// fields.
#include "foundation/time/date_parse.h"
#include "foundation/time/time_text.h"
#include "fuzz_support.h"
#include "run/options/date_window.h"
#include "run/settings/cmd_params.h"

namespace {

std::string take_line(fuzz::bytes& text) {
    const auto end = std::find(text.begin(), text.end(), '\n');
    const std::string line(text.begin(), end);
    text = end == text.end() ? fuzz::bytes{} : fuzz::bytes(end + 1, text.end());
    return line;
}

void render(std::uint64_t stamp, const std::string& date_format, const std::string& time_format) {
    for (const ql::type_time type : {ql::type_time::filetime, ql::type_time::unix_seconds}) {
        const ql::time moment(stamp, type);
        std::string date;
        std::string time;
        ql::date_style style;
        for (const bool pair : {false, true}) {
            ql::parse_date_style(style, date_format, time_format, pair);
            ql::date_time_strings(date, time, moment, style);
            if (moment.valid == 0)
                fuzz::require(date.empty() && time.empty(), "no date for an unusable stamp");
        }
        ql::format_date_time(date, time, moment, date_format, time_format);
    }
    std::uint64_t seconds = 0;
    const bool converted = ql::filetime_to_unix(stamp, seconds);
    fuzz::require(converted == (stamp >> 63 == 0), "the top bit decides");
}

void parse(const std::string& date, const std::string& time, const std::string& order,
           char separator) {
    ql::_windows_systemtime fields;
    if (!ql::parse_date_time(date, time, order, separator, fields)) return;
    fuzz::require(fields.month <= 12 && fields.day <= 31, "a date that was read is in range");
    std::uint64_t filetime = 0;
    if (ql::fields_to_filetime(filetime, fields)) render(filetime, "yyyy-mm-dd", "hh:mm:ss.xxx");
}

void open_window(const std::string& start, const std::string& stop) {
    cmd_params params;
    set_window_start(params, start);
    set_window_stop(params, stop);
    set_window_start(params, stop);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const fuzz::quiet silence;
    fuzz::input in(data, size);
    const std::uint64_t stamp = in.u64();
    const char separator = static_cast<char>(in.u8());
    fuzz::bytes text = in.rest();
    const std::string date = take_line(text);
    const std::string time = take_line(text);
    const std::string order = take_line(text);

    render(stamp, date, time);
    parse(date, time, order, separator);
    parse(date, time, "YMD", '-');
    parse(date, time, "MonDY", '/');
    open_window(date, time);
    open_window(date + " " + time, order);
    return 0;
}

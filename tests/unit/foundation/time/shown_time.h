// Timestamps as the program shows them.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <ostream>
#include <string>

#include "foundation/time/date_style.h"
#include "foundation/time/ql_time.h"
#include "foundation/time/time_text.h"
#include "support/filetime.h"

inline constexpr std::uint64_t ticks_to_1970 = 116444736000000000;
inline constexpr std::uint64_t second = 10000000;

struct texts {
    std::string date, time;
    bool operator==(const texts&) const = default;
    friend void PrintTo(const texts& t, std::ostream* out) {
        *out << testing::PrintToString(t.date) << " " << testing::PrintToString(t.time);
    }
};

inline ql::date_style compiled(const std::string& date_format, const std::string& time_format,
                               bool pair_datetime = false) {
    ql::date_style style{1, 2, 3, 4};
    ql::parse_date_style(style, date_format, time_format, pair_datetime);
    return style;
}

inline const ql::date_style& default_style() {
    static const ql::date_style style = compiled("yyyy-mm-dd", "hh:mm:ss.xxx");
    return style;
}

inline texts shown(std::uint64_t ticks, ql::date_style style = default_style()) {
    texts out{"old", "old"};
    const ql::time t(ticks, ql::type_time::filetime);
    ql::date_time_strings(out.date, out.time, t, style);
    return out;
}

inline texts formatted(std::uint64_t ticks, const std::string& date_format,
                       const std::string& time_format) {
    texts out{"old", "old"};
    const ql::time t(ticks, ql::type_time::filetime);
    ql::format_date_time(out.date, out.time, t, date_format, time_format);
    return out;
}

// 2021-03-04 05:06:07.1234567: all fields differ.
inline constexpr std::uint64_t sample = support::filetime(2021, 3, 4, 5, 6, 7, 1234567);

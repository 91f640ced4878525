// Timestamps as the reports print them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "foundation/text/short_text.h"
#include "foundation/time/ql_calendar.h"
#include "foundation/time/time_text.h"

// Renders timestamps under one style. The timestamps of an entry are often equal or of one second,
// and those of a directory often fall on a few days, so the texts of the previous call are reused
// where they match.
class stamp_text {
public:
    explicit stamp_text(ql::date_style style) : m_style(style), m_is_default(style.is_zero()) {}

    // Sets `date` and `time` to the texts of a FILETIME in UTC. Both are empty if it cannot be
    // displayed, as for 0.
    void render(std::uint64_t filetime) {
        if (filetime == m_filetime) return;
        m_filetime = filetime;
        if (m_is_default) {
            render_default(filetime);
            return;
        }
        const std::uint64_t second = filetime / ql::ticks_a_second;
        if (second != m_second) render_second(filetime, second);
        if (time.size() != 0) render_fraction(filetime - second * ql::ticks_a_second);
    }

    ql::short_text date;
    ql::short_text time;

private:
    static constexpr std::uint64_t no_day = ~std::uint64_t{0};
    static constexpr std::size_t clock_size = 8;  // "hh:mm:ss"
    static constexpr std::uint32_t nanoseconds_a_tick = 100;

    // Renders under the default formats, which an all-zero style selects.
    void render_default(std::uint64_t filetime) {
        std::string date_out;
        std::string time_out;
        ql::date_time_strings(date_out, time_out, {filetime, ql::type_time::filetime}, m_style);
        date.clear();
        date.put(date_out);
        time.clear();
        time.put(time_out);
    }

    // Renders the date and the time without its fraction. Either all timestamps of a second can be
    // displayed or none.
    void render_second(std::uint64_t filetime, std::uint64_t second) {
        m_second = second;
        if (ql::can_be_shown(filetime)) {
            render_date(filetime);
            time = ql::render_clock(filetime);
        } else {
            date.clear();
            time.clear();
            m_day = no_day;
        }
    }

    void render_date(std::uint64_t filetime) {
        const std::uint64_t day = filetime / ql::ticks_a_day;
        if (day == m_day) return;
        date = ql::render_date(filetime, m_style);
        m_day = day;
    }

    void render_fraction(std::uint64_t ticks) {
        time.truncate(clock_size);
        ql::put_fraction(time, static_cast<std::uint32_t>(ticks) * nanoseconds_a_tick,
                         m_style.fraction_digits());
    }

    ql::date_style m_style;
    bool m_is_default;             // the style is all zero
    std::uint64_t m_filetime = 0;  // what both texts show
    std::uint64_t m_second = 0;    // the second since 1601 that both texts show
    std::uint64_t m_day = no_day;  // the day since 1601 that `date` shows
};

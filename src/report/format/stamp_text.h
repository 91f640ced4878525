// Timestamps as the reports print them.
#pragma once

#include <cstdint>
#include <string>

#include "foundation/text/short_text.h"
#include "foundation/time/ql_calendar.h"
#include "foundation/time/time_text.h"

// Renders timestamps under one style. The timestamps of an entry are often equal, and those of a
// directory often fall on a few days, so the texts of the previous call are reused where they
// match.
class stamp_text {
public:
    explicit stamp_text(ql::date_style style) : m_style(style) {}

    // Sets `date` and `time` to the texts of a FILETIME in UTC. Both are empty if it cannot be
    // displayed, as for 0.
    void render(std::uint64_t filetime) {
        if (filetime == m_filetime) return;
        m_filetime = filetime;
        if (m_style.is_zero()) {
            render_default(filetime);
        } else if (ql::can_be_shown(filetime)) {
            render_date(filetime);
            time = ql::render_time(filetime, m_style);
        } else {
            date.clear();
            time.clear();
            m_day = no_day;
        }
    }

    ql::short_text date;
    ql::short_text time;

private:
    static constexpr std::uint64_t no_day = ~std::uint64_t{0};

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

    void render_date(std::uint64_t filetime) {
        const std::uint64_t day = filetime / ql::ticks_a_day;
        if (day == m_day) return;
        date = ql::render_date(filetime, m_style);
        m_day = day;
    }

    ql::date_style m_style;
    std::uint64_t m_filetime = 0;  // what both texts show
    std::uint64_t m_day = no_day;  // the day since 1601 that `date` shows
};

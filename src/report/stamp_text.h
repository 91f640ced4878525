// Time stamps as the reports print them.
#pragma once

#include <cstdint>
#include <string>

#include "foundation/ql_time.h"

// Renders stamps under one style; the two texts are reused from stamp to stamp.
class stamp_text {
public:
    explicit stamp_text(ql::date_style style) : m_style(style) {}

    // Sets `date` and `time` to the texts of a FILETIME, UTC; both are empty for an invalid stamp.
    void render(std::uint64_t filetime) {
        ql::date_time_strings(date, time, ql::time(filetime, ql::type_time::filetime), m_style);
    }

    std::string date;
    std::string time;

private:
    ql::date_style m_style;
};

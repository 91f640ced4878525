#include "report/format/stamp_text.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "foundation/time/date_style.h"
#include "support/filetime.h"

namespace {

using support::filetime;
using texts = std::pair<std::string, std::string>;

ql::date_style style_of(const std::string& date_format, const std::string& time_format) {
    ql::date_style style;
    ql::parse_date_style(style, date_format, time_format, false);
    return style;
}

texts rendered(stamp_text& stamp, std::uint64_t value) {
    stamp.render(value);
    return {std::string(stamp.date.view()), std::string(stamp.time.view())};
}

TEST(StampText, RendersEachTimestampOfASequence) {
    stamp_text stamp(style_of("yyyy-mm-dd", "hh:mm:ss.xxx"));
    const struct {
        const char* name;
        std::uint64_t value;
        texts shown;
    } cases[] = {
        {"none yet", 0, {"", ""}},
        {"first", filetime(2021, 3, 4, 5, 6, 7, 1230000), {"2021-03-04", "05:06:07.123"}},
        {"same timestamp", filetime(2021, 3, 4, 5, 6, 7, 1230000), {"2021-03-04", "05:06:07.123"}},
        {"same second", filetime(2021, 3, 4, 5, 6, 7, 90000), {"2021-03-04", "05:06:07.009"}},
        {"same day", filetime(2021, 3, 4, 23, 59, 59, 9999999), {"2021-03-04", "23:59:59.999"}},
        {"next tick", filetime(2021, 3, 5), {"2021-03-05", "00:00:00.000"}},
        {"invalid", 1, {"", ""}},
        {"the day before", filetime(2021, 3, 5, 1), {"2021-03-05", "01:00:00.000"}},
        {"zero", 0, {"", ""}},
        {"zero again", 0, {"", ""}},
        {"year before", filetime(2020, 3, 5, 1), {"2020-03-05", "01:00:00.000"}},
        {"first second of 1970", filetime(1970, 1, 1), {"", ""}},
        {"its second", filetime(1970, 1, 1, 0, 0, 1), {"1970-01-01", "00:00:01.000"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(rendered(stamp, c.value), c.shown);
    }
}

// Renders a sequence of valid and invalid timestamps like date_time_strings.
TEST(StampText, RendersLikeDateTimeStrings) {
    const std::vector<std::uint64_t> values = {filetime(2021, 3, 4, 5, 6, 7, 1234567),
                                               filetime(2021, 3, 4),
                                               filetime(2021, 3, 4, 0, 0, 0, 7654321),
                                               filetime(2021, 3, 4, 0, 0, 0, 1),
                                               0,
                                               1,
                                               filetime(1969, 12, 31, 23, 59, 59),
                                               filetime(2999, 6, 1),
                                               filetime(3002, 1, 1),
                                               filetime(2000, 2, 29, 12),
                                               filetime(1970, 1, 1, 0, 0, 0, 9999999),
                                               filetime(1970, 1, 1, 0, 0, 1),
                                               filetime(1970, 1, 1, 0, 0, 1, 1),
                                               ~std::uint64_t{0},
                                               filetime(2000, 2, 29, 13)};
    for (const ql::date_style style :
         {style_of("yyyy-mm-dd", "hh:mm:ss.xxx"), style_of("dd mmm yyyy", "hh:mm:ss.xxxxxxx"),
          style_of("mm/dd/yy", "hh:mm:ss"), style_of("yyyymmdd", ""), style_of("", "hh:mm:ss.xxx"),
          ql::date_style{}}) {
        stamp_text stamp(style);
        for (const std::uint64_t value : values) {
            SCOPED_TRACE(value);
            texts alone;
            const ql::time time(value, ql::type_time::filetime);
            ql::date_time_strings(alone.first, alone.second, time, style);
            EXPECT_EQ(rendered(stamp, value), alone);
            EXPECT_EQ(ql::can_be_shown(value), time.valid != 0);
        }
    }
}

}  // namespace

#include "convert/summary/odd_names.h"

#include <gtest/gtest.h>

namespace {

TEST(OddNames, SaysWhatIsOdd) {
    const std::string invalid = "not valid Unicode", control = "control character",
                      direction = "changes the direction of text",
                      invisible = "invisible character", refused = "character that Windows refuses",
                      padded = "begins with a blank, or ends in a blank or dot",
                      device = "name of a device";
    const struct {
        std::string name, odd;
    } cases[] = {
        {"", ""},
        {"letter.txt", ""},
        {".hidden", ""},
        {"a b;c,d!%&'()+=@[]^_`{}~$#-.x", ""},
        {"\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80", ""},
        {"a\nb", control},
        {"a\x7F", control},
        {"a\xC2\x9B", control},
        {"a\xC2\xA0", ""},
        {"a\xED\xA0\x80", invalid},
        {"a\xFF", invalid},
        {"\xE2\x80\xAEgnp.exe", direction},
        {"\xE2\x81\xA6x", direction},
        {"\xD8\x9Cx", direction},
        {"a\xE2\x80\x8B.txt", invisible},
        {"\xEF\xBB\xBFx", invisible},
        {"a\xE3\x85\xA4", invisible},
        {"a<b", refused},
        {"a>", refused},
        {"a:b", refused},
        {"a\"", refused},
        {"a/b", refused},
        {"a\\b", refused},
        {"a|b", refused},
        {"a?", refused},
        {"a*", refused},
        {" a", padded},
        {"a ", padded},
        {"a.", padded},
        {"a .b", ""},
        {"con", device},
        {"NUL", device},
        {"Prn.txt", device},
        {"aux .a.b", device},
        {"com1", device},
        {"LPT9.x", device},
        {"com0", ""},
        {"com10", ""},
        {"console", ""},
        {"lpt", ""},
        {"xcom1", ""},
        {"nul ", padded + ", " + device},
        {"\xED\xA0\x80\n\xE2\x80\xAE\xE2\x80\x8B<.", invalid + ", " + control + ", " + direction +
                                                         ", " + invisible + ", " + refused + ", " +
                                                         padded},
    };
    for (const auto& c : cases)
        EXPECT_EQ(convert::describe_odd_name(c.name), c.odd) << c.name;
}

}  // namespace

#include "foundation/text/text_buffer.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <string>

namespace {

using ql::text_buffer;

TEST(TextBuffer, IsEmptyAtFirstAndAfterClear) {
    text_buffer text;
    EXPECT_TRUE(text.empty());
    EXPECT_EQ(text.view(), "");
    text += 'a';
    EXPECT_FALSE(text.empty());
    text.clear();
    EXPECT_TRUE(text.empty());
    EXPECT_EQ(text.view(), "");
}

TEST(TextBuffer, AppendsTextsOfAllKinds) {
    ql::short_text date;
    date.put("2021-03-04");
    text_buffer text;
    text += "";
    text += 'a';
    text += std::string("bc\0d", 4);
    text += date;
    text.append(3, '.');
    text.append(0, '!');
    std::memcpy(text.reserve(20), "0123456789", 10);
    text.add_written(4);
    text += ql::short_text();
    EXPECT_EQ(text.view(), std::string("abc\0d", 5) + "2021-03-04...0123");
    EXPECT_EQ(text.size(), text.view().size());
}

// At each size, the memory may or may not have to grow for the next text.
TEST(TextBuffer, KeepsTheTextWhenItGrows) {
    for (std::size_t size = 0; size < 1100; ++size) {
        ql::short_text end;
        end.put("end");
        text_buffer text;
        text.append(size, 'x');
        text += 'y';
        text += "zz";
        text += end;
        ASSERT_EQ(text.view(), std::string(size, 'x') + "yzzend");
    }
}

TEST(TextBuffer, GrowsByMoreThanTwice) {
    text_buffer text;
    text += "a";
    text += std::string(10'000, 'b');
    EXPECT_EQ(text.view(), "a" + std::string(10'000, 'b'));
}

}  // namespace

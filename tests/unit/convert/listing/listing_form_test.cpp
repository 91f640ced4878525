#include "convert/listing/listing_form.h"

#include <gtest/gtest.h>

#include <set>

#include "unit/convert/listing_text.h"

namespace {

TEST(ListingForm, SeparatorsAreRandomAndReplaceNothingInNames) {
    std::set<std::string> seen;
    std::set<char> letters;
    for (int i = 0; i < 400; ++i) {
        const std::string separator = convert::make_separator();
        EXPECT_TRUE(convert::is_separator(separator)) << separator;
        EXPECT_EQ(separator.find_first_of("|, \t\n\"'"), std::string::npos) << separator;
        EXPECT_EQ(separator.rfind('@'), 0u) << separator;
        seen.insert(separator);
        letters.insert(separator.begin() + 1, separator.end());
    }
    EXPECT_EQ(seen.size(), 400u);
    EXPECT_EQ(letters.size(), 62u);
}

TEST(ListingForm, OnlyTokensAreSeparators) {
    EXPECT_TRUE(convert::is_separator("@0123456789a"));
    for (const char* text : {"", ",", "|", "tab", "@0123456789", "@0123456789ab", "a0123456789a",
                             "@01234 6789a", "@0123456789,", "@@123456789a"}) {
        EXPECT_FALSE(convert::is_separator(text)) << text;
    }
}

TEST(ListingForm, WordsAndHeaderAreThoseOfAReadableListing) {
    std::string words;
    for (const std::string& word : convert::listing_words("@0123456789a"))
        words += (words.empty() ? "" : " ") + word;
    EXPECT_EQ(words, listing_text::words + listing_text::separator);
    EXPECT_EQ(convert::listing_header(listing_text::separator, false), listing_text::header());
    EXPECT_EQ(convert::listing_header(listing_text::separator, true), listing_text::header(true));
}

TEST(ListingForm, FindsTheSeparatorOfTheCommandLine) {
    EXPECT_EQ(convert::find_separator(listing_text::head()), listing_text::separator);
    for (const std::string& head : {std::string(), listing_text::words, listing_text::words + ",",
                                    std::string("-csv -alldates -csv_separator @0123456789a")}) {
        EXPECT_EQ(convert::find_separator(head), "") << head;
    }
}

}  // namespace

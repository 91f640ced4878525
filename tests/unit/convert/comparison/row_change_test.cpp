#include "convert/comparison/row_change.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "unit/convert/formats/format_text.h"

namespace {

using convert::listing_row;
using convert::row_change;
using convert::row_times;

TEST(RowChange, HasABitForEachTime) {
    const auto time = format_text::at("2021-01-01", "00:00:00.0000001");
    std::size_t bit = 0;
    for (const auto source :
         {&listing_row::standard, &listing_row::name, &listing_row::short_name}) {
        for (const auto which : {&row_times::created, &row_times::modified, &row_times::changed,
                                 &row_times::accessed}) {
            listing_row before, after;
            after.*source.*which = time;
            EXPECT_EQ(convert::changed_times(before, after), 1u << bit)
                << convert::time_names.at(bit);
            EXPECT_EQ(convert::changed_times(after, before), 1u << bit);
            EXPECT_EQ(convert::changed_times(after, after), 0u);
            before.*source.*which = format_text::at("2021-01-01", "00:00:00.0000002");
            EXPECT_EQ(convert::changed_times(before, after), 1u << bit);
            ++bit;
        }
    }
    EXPECT_EQ(bit, convert::time_names.size());
    EXPECT_EQ(convert::time_names[6], "fn_changed");
}

TEST(RowChange, KindsAreThoseOfTheNames) {
    const listing_row row;
    const auto names = [](const row_change& change) {
        std::string text;
        const auto kinds = kinds_of(change);
        for (std::size_t i = 0; i < kinds.size(); ++i)
            text += kinds.at(i) ? std::string(convert::change_names.at(i)) + " " : "";
        return text;
    };
    EXPECT_EQ(names({nullptr, &row}), "created ");
    EXPECT_EQ(names({&row, nullptr}), "deleted ");
    EXPECT_EQ(names({&row, &row, true, false, false, 0}), "renamed ");
    EXPECT_EQ(names({&row, &row, false, true, false, 0}), "moved ");
    EXPECT_EQ(names({&row, &row, false, false, true, 0x800}), "resized times ");
    EXPECT_EQ(names({&row, &row}), "");
    EXPECT_FALSE(row_change({&row, &row}).any());
    EXPECT_TRUE(row_change({&row, nullptr}).any());
    EXPECT_TRUE(row_change({&row, &row, false, false, false, 1}).any());
}

}  // namespace

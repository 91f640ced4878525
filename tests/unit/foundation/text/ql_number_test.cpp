#include "foundation/text/ql_number.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <locale>
#include <optional>
#include <string>

namespace {

constexpr std::uint64_t max_u64 = 0xFFFFFFFFFFFFFFFF;

template <typename Number>
using reader = bool (*)(const std::string&, Number&);

// Returns the number that the parser reads from `text`, or nullopt if it rejects the text.
template <typename Number>
std::optional<Number> read(reader<Number> parse, const std::string& text) {
    Number value = 77;
    if (parse(text, value)) return value;
    return std::nullopt;
}

template <typename Number>
struct number_case {
    std::string text;
    std::optional<Number> value;
};

template <typename Number, std::size_t N>
void expect_numbers(reader<Number> parse, const number_case<Number> (&cases)[N]) {
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.text));
        EXPECT_EQ(read(parse, c.text), c.value);
    }
}

TEST(ParseNumber, ReadsHexadecimalAfterTheFirstXAnywhere) {
    const number_case<std::uint64_t> cases[] = {
        {"0x10", 16},
        {"x10", 16},
        {"abcx10", 16},
        {"0X1F", 31},
        {"0x", 0},
        {"0xzz", 0},
        {"x", 0},
        {"0x1g2", 1},
        {"1x2x3", 2},
        {"o7x10", 16},
        {"  0x10\r\n", 16},
        {"0x0x10", 16},
        {"0x100000000", 0x100000000},
        {"0xffffffffffffffff", max_u64},
        {"0x1ffffffffffffffff", max_u64},
        {"x-1", max_u64},
        {"x +5", 5},
    };
    expect_numbers(ql::parse_number, cases);
}

TEST(ParseNumber, OtherwiseReadsOctalAfterTheFirstO) {
    const number_case<std::uint64_t> cases[] = {
        {"o17", 15}, {"12o7", 7}, {"0O10", 8}, {"foo", 0},
        {"o", 0},    {"o8", 0},   {"o189", 1}, {"o7o5", 7},
    };
    expect_numbers(ql::parse_number, cases);
}

TEST(ParseNumber, OtherwiseReadsDecimal) {
    const number_case<std::uint64_t> cases[] = {
        {"0", 0},
        {"12", 12},
        {"012", 12},
        {"+5", 5},
        {"-1", max_u64},
        {"-", 0},
        {"+", 0},
        {"12abc", 12},
        {"\t42 ", 42},
        {"18446744073709551615", max_u64},
        {"18446744073709551616", max_u64},
        {"4294967296", 0x100000000},
    };
    expect_numbers(ql::parse_number, cases);
}

TEST(ParseNumber, RejectsAnythingElseAndLeavesTheOutputUnchanged) {
    for (const char* text : {"", " ", "\r\n\t", "zz", "abc", ".5", "'a'"}) {
        SCOPED_TRACE(text);
        std::uint64_t value = 77;
        EXPECT_FALSE(ql::parse_number(text, value));
        EXPECT_EQ(value, 77u);
    }
}

TEST(ParseU32, ReadsEachForm) {
    const number_case<std::uint32_t> cases[] = {
        {"0x10", 16},       {"0X1f", 31},     {"zx10", 16},
        {"x10", 16},        {"X1F", 31},      {"o17", 15},
        {"O17", 15},        {"12", 12},       {"+12", 12},
        {"-1", 0xFFFFFFFF}, {"x", 0},         {"o", 0},
        {"0x", 0},          {"12abc", 12},    {"'a'", 97},
        {"'A'", 97},        {"'1'", 49},      {" 12 ", 12},
        {"0x10 ", 16},      {"'\xE9'", 0xE9}, {"0x1ffffffff", 0xFFFFFFFF},
        {"4294967297", 1},
    };
    expect_numbers(ql::parse_u32, cases);
}

TEST(ParseU32, ReadsOctalOnlyAfterALeadingO) {
    const number_case<std::uint32_t> cases[] = {{"12o7", 12}, {"0o17", 0}, {"foo", std::nullopt}};
    expect_numbers(ql::parse_u32, cases);
}

TEST(ParseU32, ReadsTheDigitsFromTheUntrimmedText) {
    const number_case<std::uint32_t> cases[] = {
        {" 0x10", 0},  // the form is that of "0x10", the digits are those of "x10"
        {" x10", 0},   // "x10" again
        {"  o17", 0},  // " o17"
        {" 12", 12},
    };
    expect_numbers(ql::parse_u32, cases);
}

TEST(ParseU32, ClearsTheOutputIfItRejectsTheText) {
    for (const char* text : {"", " ", "zz", "foo", "''", "'ab'", "'a", "a'b", "'ab", "ab'"}) {
        SCOPED_TRACE(text);
        std::uint32_t value = 77;
        EXPECT_FALSE(ql::parse_u32(text, value));
        EXPECT_EQ(value, 0u);
    }
}

TEST(ParseCount, ReadsLikeParseNumberTruncatedTo32Bits) {
    const number_case<std::uint32_t> cases[] = {
        {"3", 3},
        {"-1", 0xFFFFFFFF},
        {"0xffffffff", 0xFFFFFFFF},
        {"x10", 16},
        {"abcx10", 16},
        {"12o7", 7},
        {"foo", 0},
        {"0x100000002", 2},
        {" 5 ", 5},
        {"4294967297", 1},
        {"-2147483648", 0x80000000},
        {"+", 0},
        {"9223372036854775808", 0xFFFFFFFF},  // the largest signed number, truncated
        {"-9223372036854775809", 0},
    };
    expect_numbers(ql::parse_count, cases);
}

TEST(ParseCount, LeavesTheOutputUnchangedIfItRejectsTheText) {
    for (const char* text : {"", "zz", "'a'"}) {
        SCOPED_TRACE(text);
        std::uint32_t value = 77;
        EXPECT_FALSE(ql::parse_count(text, value));
        EXPECT_EQ(value, 77u);
    }
}

TEST(ParseU32Any, FindsItsMarkersAnywhere) {
    const number_case<std::uint32_t> cases[] = {
        {"0x10", 16},       {"abcX10", 16},     {"12o7", 7},          {"o12x34", 0x34},
        {"x12o34", 0x12},   {"12", 12},         {"-1", 0xFFFFFFFF},   {" +7", 7},
        {"0x100000003", 3}, {"", std::nullopt}, {"zz", std::nullopt},
    };
    expect_numbers(ql::parse_u32_any, cases);
    std::uint32_t value = 77;
    EXPECT_FALSE(ql::parse_u32_any("zz", value));
    EXPECT_EQ(value, 77u);
}

TEST(ParseU64, ReadsEachForm) {
    const number_case<std::uint64_t> cases[] = {
        {"0", 0},
        {"12", 12},
        {"   12", 12},
        {"12 ", 12},
        {"0x10", 16},
        {"0XfF", 255},
        {"0x5", 5},
        {"x10", 16},
        {"o17", 15},
        {"O17", 15},
        {"x 12", 0x12},  // "x" is not a digit, so the blank after it is removed
        {"0x 1f", 0x1F},
        {"- 1", max_u64},
        {"12:5", 12},
        {"12abc", 12},
        {"0x", 0},  // two characters: decimal, which ends at the "x"
        {"-1", max_u64},
        {"18446744073709551615", max_u64},
        {"0xffffffffffffffff", max_u64},
        {"o1777777777777777777777", max_u64},
    };
    expect_numbers(ql::parse_u64, cases);
}

TEST(ParseU64, RejectsOverlongAndMalformedTexts) {
    const std::string texts[] = {
        "",
        " ",
        "zz",
        "x",
        "o",
        "o9",
        "xg",
        "1 2",                               // a blank after a digit
        "0 1",                               //
        "0x1 0",                             //
        "9 1",                               //
        "xa 1",                              //
        "xf 1",                              //
        "18446744073709551616",              // does not fit
        "000000000000000000001",             // 21 characters
        "0x00000000000000001",               // 17 digits
        "x10000000000000000",                // does not fit
        "o00000000000000000000001",          // 24 characters
        "00000000000000000000000000000001",  // 32 characters
        "x0000000000000000000000000000001",  //
    };
    for (const auto& text : texts) {
        SCOPED_TRACE(text);
        std::uint64_t value = 77;
        EXPECT_FALSE(ql::parse_u64(text, value));
        EXPECT_EQ(value, 77u);
    }
}

// Makes streams group digits by commas, during its lifetime, unless they are imbued with a locale.
class grouped_digits {
public:
    grouped_digits() : m_old(std::locale::global(std::locale(std::locale(), new by_commas))) {}
    ~grouped_digits() { std::locale::global(m_old); }
    grouped_digits(const grouped_digits&) = delete;
    grouped_digits& operator=(const grouped_digits&) = delete;

private:
    struct by_commas : std::numpunct<char> {
        char do_thousands_sep() const override { return ','; }
        std::string do_grouping() const override { return "\3"; }
    };
    std::locale m_old;
};

TEST(ParseU64, EndsAtACommaInAnyLocale) {
    const grouped_digits here;
    EXPECT_EQ(read(ql::parse_u64, "1,234"), 1u);
}

TEST(ParseU64, AcceptsTheLongestTextsThatFit) {
    const number_case<std::uint64_t> cases[] = {
        {"00000000000000000001", 1},             // 20 characters
        {"0x0000000000000001", 1},               // 16 digits
        {"x000000000000000000000000000001", 1},  // 31 characters
        {"o0000000000000000000001", 1},          // 23 characters
    };
    expect_numbers(ql::parse_u64, cases);
}

}  // namespace

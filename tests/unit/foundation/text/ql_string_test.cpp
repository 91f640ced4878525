#include "foundation/text/ql_string.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cstdint>
#include <cwchar>
#include <string>
#include <string_view>
#include <vector>

#include "support/byte_image.h"

namespace {

using namespace std::string_literals;

// Returns the on-disk bytes of the units.
std::vector<std::uint8_t> on_disk(const std::vector<std::uint16_t>& units) {
    std::vector<std::uint8_t> bytes;
    for (const auto unit : units) {
        bytes.push_back(static_cast<std::uint8_t>(unit & 0xFF));
        bytes.push_back(static_cast<std::uint8_t>(unit >> 8));
    }
    return bytes;
}

std::wstring wide_of(const std::vector<std::uint32_t>& elements) {
    std::wstring text;
    for (const auto e : elements)
        text.push_back(static_cast<wchar_t>(e));
    return text;
}

struct taken {
    std::uint32_t bytes;
    std::wstring text;
    bool operator==(const taken&) const = default;
};

taken widened(const std::vector<std::uint8_t>& disk, std::int64_t byte_length) {
    taken result{0, L"old"};
    result.bytes = ql::utf16_to_wide(disk, byte_length, result.text);
    return result;
}

taken widened(const std::vector<std::uint16_t>& units) {
    const auto disk = on_disk(units);
    return widened(disk, static_cast<std::int64_t>(disk.size()));
}

TEST(ToUtf8, WritesOneToFourBytesPerCodePoint) {
    const struct {
        std::uint32_t code;
        std::string utf8;
    } cases[] = {
        {0x00, "\0"s},
        {0x41, "A"},
        {0x7F, "\x7F"},
        {0x80, "\xC2\x80"},
        {0xE9, "\xC3\xA9"},
        {0x7FF, "\xDF\xBF"},
        {0x800, "\xE0\xA0\x80"},
        {0x20AC, "\xE2\x82\xAC"},
        {0xFFFF, "\xEF\xBF\xBF"},
        {0x10000, "\xF0\x90\x80\x80"},
        {0x1F600, "\xF0\x9F\x98\x80"},
        {0x10FFFF, "\xF4\x8F\xBF\xBF"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.code);
        EXPECT_EQ(ql::to_utf8(wide_of({c.code})), c.utf8);
        EXPECT_EQ(ql::to_utf8(wide_of({'a', c.code, 'z'})), "a" + c.utf8 + "z");
        EXPECT_EQ(ql::to_wide(c.utf8), wide_of({c.code}));
    }
    EXPECT_EQ(ql::to_utf8(L""), "");
}

TEST(ToUtf8, WritesSurrogatesAsThreeBytesEach) {
    EXPECT_EQ(ql::to_utf8(wide_of({0xD800})), "\xED\xA0\x80");
    EXPECT_EQ(ql::to_utf8(wide_of({0xDBFF, 0xDC00})), "\xED\xAF\xBF\xED\xB0\x80");
    EXPECT_EQ(ql::to_utf8(wide_of({0xDFFF})), "\xED\xBF\xBF");
}

TEST(ToUtf8, EndsAtAnElementBeyondUnicode) {
    EXPECT_EQ(ql::to_utf8(wide_of({'a', 0xE9, 0x110000, 'b'})), "a\xC3\xA9");
    EXPECT_EQ(ql::to_utf8(wide_of({'a', 0x80000000, 'b'})), "a");
    EXPECT_EQ(ql::to_utf8(wide_of({'a', 0xFFFFFFFF, 'b'})), "a");
    EXPECT_EQ(ql::to_utf8(wide_of({0x110000})), "");
}

TEST(AppendUtf8, KeepsTheExistingText) {
    std::string text = "\xFFold";
    ql::append_utf8(text, L"");
    EXPECT_EQ(text, "\xFFold");
    ql::append_utf8(text, wide_of({'n', 0xE9, 'w'}));
    EXPECT_EQ(text, "\xFFoldn\xC3\xA9w");
}

TEST(ToWide, AcceptsOverlongFormsSurrogatesAndFourByteFormsBeyondUnicode) {
    EXPECT_EQ(ql::to_wide("\xE0\x81\xA1"), L"a");
    EXPECT_EQ(ql::to_wide("\xC1\xA1"), L"a");
    EXPECT_EQ(ql::to_wide("\xF0\x80\x81\xA1"), L"a");
    EXPECT_EQ(ql::to_wide("\xC0\x80"), wide_of({0}));
    EXPECT_EQ(ql::to_wide("\xED\xA0\x80"), wide_of({0xD800}));
    EXPECT_EQ(ql::to_wide("\xED\xB0\x80"), wide_of({0xDC00}));
    EXPECT_EQ(ql::to_wide("\xF7\xBF\xBF\xBF"), wide_of({0x1FFFFF}));
}

TEST(ToWide, IsEmptyAfterOneBadByteAnywhere) {
    const std::string bad[] = {
        "\x80",                  // starts with a continuation byte
        "\xBF",                  //
        "\xF8\x88\x80\x80\x80",  // a lead byte of five
        "\xFC\x84\x80\x80\x80\x80",
        "\xFE",
        "\xFF",
        "\xC3",           // truncated
        "\xE2\x82",       //
        "\xF0\x9F\x98",   //
        "\xC3(",          // continuation byte missing
        "\xE2(\x82",      //
        "\xE2\x82(",      //
        "\xF0\x9F(\x80",  //
        "\xC3\xC3\xA9",   // a lead byte in its position
    };
    for (const auto& text : bad) {
        SCOPED_TRACE(testing::PrintToString(text));
        EXPECT_EQ(ql::to_wide(text), L"");
        EXPECT_EQ(ql::to_wide("good" + text), L"");
        EXPECT_EQ(ql::to_wide("good" + text + "good"), L"");
    }
    EXPECT_EQ(ql::to_wide(""), L"");
}

TEST(ToWide, EveryPrefixOfAValidTextIsWholeOrEmpty) {
    const std::string text = "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80";
    const std::wstring whole = wide_of({'a', 0xE9, 0x20AC, 0x1F600});
    const std::size_t ends[] = {1, 3, 6, 10};
    for (std::size_t length = 0; length <= text.size(); ++length) {
        SCOPED_TRACE(length);
        std::size_t elements = 0;
        for (std::size_t i = 0; i < std::size(ends); ++i)
            if (ends[i] == length) elements = i + 1;
        // The bytes after the prefix would complete the truncated sequence.
        EXPECT_EQ(ql::to_wide(std::string_view(text).substr(0, length)), whole.substr(0, elements));
    }
}

TEST(Utf16ToWide, JoinsASurrogatePair) {
    EXPECT_EQ(widened({'a', 0xD83D, 0xDE00, 'b'}), (taken{8, wide_of({'a', 0x1F600, 'b'})}));
    EXPECT_EQ(widened({0xD800, 0xDC00}), (taken{4, wide_of({0x10000})}));
    EXPECT_EQ(widened({0xDBFF, 0xDFFF}), (taken{4, wide_of({0x10FFFF})}));
    EXPECT_EQ(ql::to_utf8(widened({0xD83D, 0xDE00}).text), "\xF0\x9F\x98\x80");
}

TEST(Utf16ToWide, LoneHighSurrogateTurnsTheWholeTextIntoUnits) {
    const std::vector<std::uint16_t> texts[] = {
        {0xD83D, 0xDE00, 'a', 0xD800, 'b'},  // in the middle
        {0xD83D, 0xDE00, 0xD800},            // at the limit
        {0xD800, 0xD83D, 0xDE00},            // before another high one
        {0xD83D, 0xDE00, 0xD800, 0xE000},    // before a unit above the surrogates
    };
    for (const auto& units : texts) {
        SCOPED_TRACE(testing::PrintToString(units));
        const std::vector<std::uint32_t> elements(units.begin(), units.end());
        EXPECT_EQ(widened(units),
                  (taken{static_cast<std::uint32_t>(units.size() * 2), wide_of(elements)}));
    }
    EXPECT_EQ(ql::to_utf8(widened({'a', 0xD800, 'b'}).text),
              "a\xED\xA0\x80"
              "b");
    EXPECT_EQ(ql::to_utf8(widened({0xD83D, 0xDE00, 0xD800}).text),
              "\xED\xA0\xBD\xED\xB8\x80\xED\xA0\x80");
}

TEST(Utf16ToWide, HighSurrogateBeforeTheZeroUnitIsALoneOne) {
    EXPECT_EQ(widened({0xD83D, 0xDE00, 0xD800, 0, 0xDC00}),
              (taken{6, wide_of({0xD83D, 0xDE00, 0xD800})}));
}

TEST(Utf16ToWide, PairTruncatedByTheLimitIsALoneHighSurrogate) {
    const auto disk = on_disk({'a', 0xD83D, 0xDE00});
    EXPECT_EQ(widened(disk, 4), (taken{4, wide_of({'a', 0xD83D})}));
}

TEST(Utf16ToWide, LoneLowSurrogateChangesNothingElse) {
    EXPECT_EQ(widened({0xDE00, 0xD83D, 0xDE00, 'z'}), (taken{8, wide_of({0xDE00, 0x1F600, 'z'})}));
}

TEST(Utf16ToWide, StopsAtTheLimitOrAtTheFirstZeroUnit) {
    const auto disk = on_disk({'a', 'b', 0, 'c'});
    EXPECT_EQ(widened(disk, 8), (taken{4, L"ab"}));
    EXPECT_EQ(widened(disk, 4), (taken{4, L"ab"}));
    EXPECT_EQ(widened(disk, 3), (taken{2, L"a"}));
    EXPECT_EQ(widened(disk, 2), (taken{2, L"a"}));
    EXPECT_EQ(widened(disk, 1), (taken{0, L""}));
    EXPECT_EQ(widened(disk, 0), (taken{0, L""}));
    EXPECT_EQ(widened(disk, -2), (taken{0, L""}));
    EXPECT_EQ(widened({}, 8), (taken{0, L""}));
    EXPECT_EQ(widened(on_disk({0, 'a'}), 4), (taken{0, L""}));
    EXPECT_EQ(std::wcslen(widened(disk, 2).text.c_str()), 1u);  // has its own terminator
}

TEST(Utf16ToWide, ReadsAllOfANameOf255Units) {
    const std::vector<std::uint16_t> units(255, 0x4E00);
    EXPECT_EQ(widened(units), (taken{510, std::wstring(255, L'\x4E00')}));
}

TEST(Utf16ToWide, UnknownLengthIsAtMost500Units) {
    const auto disk = on_disk(std::vector<std::uint16_t>(501, 'x'));
    EXPECT_EQ(widened(disk, -1), (taken{1000, std::wstring(500, L'x')}));
    EXPECT_EQ(widened(on_disk({'a', 0, 'b'}), -1), (taken{2, L"a"}));
}

TEST(Utf16ToWide, UnitsPastTheBufferAreZero) {
    const std::vector<std::uint8_t> disk = {'a', 0, 0x34, 0x12, 'c'};
    EXPECT_EQ(widened(disk, 100), (taken{6, wide_of({'a', 0x1234, 'c'})}));
    EXPECT_EQ(widened(disk, -1), (taken{6, wide_of({'a', 0x1234, 'c'})}));
    EXPECT_EQ(widened(disk, std::int64_t{1} << 40), (taken{6, wide_of({'a', 0x1234, 'c'})}));
    for (std::size_t length = 0; length <= disk.size(); ++length) {
        SCOPED_TRACE(length);
        const std::vector<std::uint8_t> cut(disk.begin(), disk.begin() + static_cast<long>(length));
        EXPECT_EQ(widened(cut, 6).bytes, (length + 1) / 2 * 2);
    }
}

TEST(Utf16ToUtf8, CountsTheTerminatorIfThereIsSpace) {
    const auto disk = on_disk({'a', 0xE9, 0, 'b'});
    const struct {
        const char* name;
        std::int64_t byte_length;
        bool count_terminator;
        std::uint32_t bytes;
    } cases[] = {
        {"space after the text", 8, true, 6},
        {"exactly the terminator", 6, true, 6},
        {"no space", 4, true, 4},
        {"unknown length", -1, true, 6},
        {"not requested", 8, false, 4},
        {"not requested, unknown length", -1, false, 4},
        {"no length", 0, true, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        std::string text = "old";
        EXPECT_EQ(ql::utf16_to_utf8(disk, c.byte_length, text, c.count_terminator), c.bytes);
        EXPECT_EQ(text, c.byte_length == 0 ? "" : "a\xC3\xA9");
    }
    std::string text = "old";
    EXPECT_EQ(ql::utf16_to_utf8({}, 8, text, true), 0u);
    EXPECT_EQ(text, "");
}

TEST(Utf16ToUtf8, WritesFourBytesForAPairAndSixForABrokenOne) {
    std::string text;
    EXPECT_EQ(ql::utf16_to_utf8(on_disk({0xD83D, 0xDE00}), 4, text, false), 4u);
    EXPECT_EQ(text, "\xF0\x9F\x98\x80");
    EXPECT_EQ(ql::utf16_to_utf8(on_disk({0xD83D, 0xDE00, 0xD801}), 6, text, false), 6u);
    EXPECT_EQ(text, "\xED\xA0\xBD\xED\xB8\x80\xED\xA0\x81");
}

TEST(BytesToWide, WidensEachByteWithoutSignExtension) {
    std::wstring wide = L"old";
    ql::bytes_to_wide("a\xC3\xFF\0z"s, wide);
    EXPECT_EQ(wide, wide_of({'a', 0xC3, 0xFF, 0, 'z'}));
    ql::bytes_to_wide("", wide);
    EXPECT_EQ(wide, L"");
}

TEST(FormatGuid, FirstThreeFieldsAreLittleEndian) {
    std::uint8_t bytes[16];
    for (std::uint8_t i = 0; i < 16; ++i)
        bytes[i] = i;
    std::string text = "old";
    ql::format_guid(text, bytes);
    EXPECT_EQ(text, "03020100-0504-0706-0809-0a0b0c0d0e0f");

    const std::uint8_t high[16] = {0xFF, 0xFE, 0xFD, 0xFC, 0xFB, 0xFA, 0xF9, 0xF8,
                                   0xF7, 0xF6, 0xF5, 0xF4, 0xF3, 0xF2, 0xF1, 0xF0};
    ql::format_guid(text, high);
    EXPECT_EQ(text, "fcfdfeff-fafb-f8f9-f7f6-f5f4f3f2f1f0");

    ql::format_guid(text, nullptr);
    EXPECT_EQ(text, "");
}

TEST(XmlEscape, LeavesAllButThreePrintableBytesUnchanged) {
    for (unsigned byte = 0; byte < 256; ++byte) {
        SCOPED_TRACE(byte);
        const char c = static_cast<char>(byte);
        constexpr char digits[] = "0123456789abcdef";
        std::string expected(1, c);
        if (c == '<')
            expected = "&lt;";
        else if (c == '>')
            expected = "&gt;";
        else if (c == '&')
            expected = "&amp;";
        else if ((byte < 0x20 || byte > 0x7E) && byte != 13 && byte != 10)
            expected = {'%', digits[byte / 16], digits[byte % 16]};
        std::string out = "old";
        ql::xml_escape(out, std::string(1, c));
        EXPECT_EQ(out, expected);
    }
}

TEST(XmlEscape, EscapesEachByteOfANonAsciiLetter) {
    std::string out;
    ql::xml_escape(out, "\xC3\xA9");
    EXPECT_EQ(out, "%c3%a9");
    ql::xml_escape(out, "\t\x7F\r\n\"'%");
    EXPECT_EQ(out, "%09%7f\r\n\"'%");
    ql::xml_escape(out, "");
    EXPECT_EQ(out, "");
}

TEST(XmlEscape, EscapesTheAmpersandOfAnEscapedTextAgain) {
    std::string text = "a&b";
    ql::xml_escape(text, text);
    EXPECT_EQ(text, "a&amp;b");
    ql::xml_escape(text, text);
    EXPECT_EQ(text, "a&amp;amp;b");
}

TEST(ReplaceChar, ReplacesEachOccurrence) {
    std::string text = "a/b/A";
    ql::replace_char(text, '/', '\\');
    EXPECT_EQ(text, "a\\b\\A");
    ql::replace_char(text, 'a', 'x');
    EXPECT_EQ(text, "x\\b\\A");
    ql::replace_char(text, 'q', 'x');
    EXPECT_EQ(text, "x\\b\\A");
    std::wstring wide = L"a/b/";
    ql::replace_char(wide, L'/', L'\\');
    EXPECT_EQ(wide, L"a\\b\\");
    wide = L"aA";
    ql::replace_char(wide, L'a', L'x');
    EXPECT_EQ(wide, L"xA");
}

TEST(ReplaceChar, ReplacesBothCasesOnRequest) {
    for (const char from : {'a', 'A'}) {
        std::string text = "aAbB";
        ql::replace_char(text, from, '-', true);
        EXPECT_EQ(text, "--bB");
    }
    std::wstring wide = L"aAbB";
    ql::replace_char(wide, L'B', L'-', true);
    EXPECT_EQ(wide, L"aA--");
}

TEST(ReplaceChar, DoesNothingIfBothAreEqual) {
    std::string text = "aA";
    ql::replace_char(text, 'a', 'a', true);
    EXPECT_EQ(text, "aA");
}

TEST(RemoveChar, ReturnsTheNumberRemoved) {
    std::string text = " a b ";
    EXPECT_EQ(ql::remove_char(text, ' '), 3u);
    EXPECT_EQ(text, "ab");
    EXPECT_EQ(ql::remove_char(text, ' '), 0u);
    std::wstring wide = L"xaxx";
    EXPECT_EQ(ql::remove_char(wide, L'x'), 3u);
    EXPECT_EQ(wide, L"a");
}

TEST(Folding, ChangesAsciiLettersOnly) {
    std::string every;
    for (unsigned byte = 0; byte < 256; ++byte)
        every.push_back(static_cast<char>(byte));
    std::string low = every, high = every;
    ql::lower(low);
    ql::upper(high);
    for (unsigned byte = 0; byte < 256; ++byte) {
        SCOPED_TRACE(byte);
        const bool is_upper = byte >= 'A' && byte <= 'Z';
        const bool is_lower = byte >= 'a' && byte <= 'z';
        EXPECT_EQ(static_cast<std::uint8_t>(low[byte]), is_upper ? byte + 32 : byte);
        EXPECT_EQ(static_cast<std::uint8_t>(high[byte]), is_lower ? byte - 32 : byte);
    }
    std::wstring wide = wide_of({'A', 'z', 0xC9, 0x130, 0x410, 0x1F600});
    ql::lower_wide(wide);
    EXPECT_EQ(wide, wide_of({'a', 'z', 0xC9, 0x130, 0x410, 0x1F600}));
}

TEST(Folding, LowerStartsAtTheGivenCharacter) {
    const struct {
        std::size_t from;
        const char* lowered;
    } cases[] = {{0, "abc"}, {1, "Abc"}, {2, "ABc"}, {3, "ABC"}, {4, "ABC"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.from);
        std::string text = "ABC";
        ql::lower(text, c.from);
        EXPECT_EQ(text, c.lowered);
    }
    std::string empty;
    ql::lower(empty, 1);
    EXPECT_EQ(empty, "");
}

class InUtf8Locale : public testing::Test {
protected:
    void SetUp() override {
        if (std::setlocale(LC_ALL, "C.UTF-8") == nullptr) GTEST_SKIP() << "no locale C.UTF-8 here";
    }
    void TearDown() override { std::setlocale(LC_ALL, "C"); }
};

TEST_F(InUtf8Locale, FoldingAndComparingStayAscii) {
    std::wstring wide = wide_of({'A', 0xC9});
    ql::lower_wide(wide);
    EXPECT_EQ(wide, wide_of({'a', 0xC9}));
    EXPECT_NE(ql::compare_wide(wide_of({0xC9}).c_str(), wide_of({0xE9}).c_str(), true), 0);
    std::string narrow = "A\xC3\x89";
    ql::lower(narrow);
    EXPECT_EQ(narrow, "a\xC3\x89");
}

TEST(EqualNocase, LeavesBothArgumentsInLowerCase) {
    std::string a = "-IMAGE", b = "-Image";
    EXPECT_TRUE(ql::equal_nocase(a, b));
    EXPECT_EQ(a, "-image");
    EXPECT_EQ(b, "-image");

    std::string longer = "-IMAGES";
    EXPECT_FALSE(ql::equal_nocase(a, longer));
    EXPECT_EQ(longer, "-images");

    std::string other = "-IMAGF";
    EXPECT_FALSE(ql::equal_nocase(a, other));
    EXPECT_EQ(other, "-imagf");

    std::string empty, nothing;
    EXPECT_TRUE(ql::equal_nocase(empty, nothing));
}

TEST(CompareWide, NullSortsFirst) {
    EXPECT_EQ(ql::compare_wide(nullptr, nullptr, false), 0);
    EXPECT_LT(ql::compare_wide(nullptr, L"", false), 0);
    EXPECT_GT(ql::compare_wide(L"", nullptr, false), 0);
    EXPECT_LT(ql::compare_wide(nullptr, L"a", true), 0);
}

TEST(CompareWide, OrdersByCodePointAndFoldsAsciiOnDemand) {
    EXPECT_EQ(ql::compare_wide(L"", L"", false), 0);
    EXPECT_EQ(ql::compare_wide(L"ab", L"ab", false), 0);
    EXPECT_LT(ql::compare_wide(L"ab", L"abc", false), 0);
    EXPECT_GT(ql::compare_wide(L"b", L"abc", false), 0);
    EXPECT_LT(ql::compare_wide(L"B", L"a", false), 0);
    EXPECT_GT(ql::compare_wide(L"B", L"a", true), 0);
    EXPECT_EQ(ql::compare_wide(L"aBc", L"AbC", true), 0);
    EXPECT_LT(ql::compare_wide(L"_", L"A", true), 0);
    EXPECT_LT(ql::compare_wide(wide_of({0xFFFF}).c_str(), wide_of({0x10000}).c_str(), false), 0);
}

TEST(Trim, StripsBlanksTabsAndLineEndsFromBothEnds) {
    const struct {
        std::string text, left;
    } cases[] = {
        {"a", "a"}, {" \t\r\na b\n\r\t ", "a b"}, {" ", ""},   {"\r\n\t ", ""},
        {"", ""},   {"\va\v", "\va\v"},           {"a ", "a"}, {" a", "a"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.text));
        std::string text = c.text;
        EXPECT_EQ(ql::trim(text), !c.left.empty());
        EXPECT_EQ(text, c.left);
        std::wstring wide = ql::to_wide(c.text);
        EXPECT_EQ(ql::trim(wide), !c.left.empty());
        EXPECT_EQ(wide, ql::to_wide(c.left));
    }
}

TEST(TrimWide, MakesOnePassPerCharacter) {
    const struct {
        const char* name;
        std::wstring text, left;
        bool result;
    } cases[] = {
        {"nothing to strip", L"a b", L"a b", true},
        {"blanks, then tabs", L" \t a \t ", L" a ", true},
        {"a blank after a leading tab is kept", L"\t a", L" a", true},
        {"a blank before a trailing tab is kept", L"a \t", L"a ", true},
        {"CR before LF is kept", L"a\r\n", L"a\r", true},
        {"LF before CR is removed", L"a\n\r", L"a", true},
        {"all of one kind are removed", L"a\n\n\r\r", L"a", true},
        {"leading line ends are kept", L"\r\na", L"\r\na", true},
        {"only line ends", L"\n\r", L"", true},
        {"a tab before a line end is kept", L"a\t\n", L"a\t", true},
        {"dots are kept", L"a..", L"a..", true},
        {"only blanks", L"   ", L"", false},
        {"only tabs", L"\t\t", L"", false},
        {"tabs in blanks", L" \t ", L"", false},
        {"empty", L"", L"", false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        std::wstring text = c.text;
        EXPECT_EQ(ql::trim_wide(text), c.result);
        EXPECT_EQ(text, c.left);
    }
}

TEST(StripTrailing, RemovesZeroBytesAtTheEndOnly) {
    std::string text = "\0a\0b\0\0"s;
    ql::strip_trailing_nuls(text);
    EXPECT_EQ(text, "\0a\0b"s);
    text = "\0\0"s;
    ql::strip_trailing_nuls(text);
    EXPECT_EQ(text, "");
    ql::strip_trailing_nuls(text);
    EXPECT_EQ(text, "");
}

TEST(StripTrailing, RemovesEverySlashAndBackslash) {
    std::wstring text = L"\\a/b\\/\\\\";
    ql::strip_trailing_separators(text);
    EXPECT_EQ(text, L"\\a/b");
    text = L"/\\/";
    ql::strip_trailing_separators(text);
    EXPECT_EQ(text, L"");
    ql::strip_trailing_separators(text);
    EXPECT_EQ(text, L"");
}

TEST(ReplaceAll, ReplacesEveryOccurrence) {
    const struct {
        std::string text, find, with, result;
    } cases[] = {
        {"a,b,c", ",", "; ", "a; b; c"}, {"aaaa", "aa", "a", "aa"}, {"abc", "x", "y", "abc"},
        {"abab", "ab", "", ""},          {"abc", "abc", "x", "x"},  {"a", "a", "aa", "aa"},
        {"ab", "abc", "x", "ab"},        {"", "a", "b", ""},        {"abc", "", "x", ""},
        {"xay", "a", "a", "xay"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text + " " + c.find);
        std::string out = "old";
        EXPECT_EQ(&ql::replace_all(out, c.text, c.find, c.with), &out);
        EXPECT_EQ(out, c.result);
    }
    std::string text = "a-b";
    ql::replace_all(text, text, "-", text);
    EXPECT_EQ(text, "aa-bb");
}

TEST(XmlText, IsTextThatEscapingDoesNotChange) {
    for (int byte = 0; byte < 256; ++byte) {
        SCOPED_TRACE(byte);
        const std::string text = std::string("a") + static_cast<char>(byte) + "b";
        std::string escaped;
        ql::xml_escape(escaped, text);
        EXPECT_EQ(ql::is_xml_text(text), escaped == text);
    }
    EXPECT_TRUE(ql::is_xml_text(""));
}

}  // namespace

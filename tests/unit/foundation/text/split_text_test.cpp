#include "foundation/text/split_text.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using words = std::vector<std::string>;

TEST(SplitList, SplitsTrimsAndDropsEmptyPieces) {
    const struct {
        const char* name;
        const char* text;
        bool trim;
        bool keep_empty;
        words pieces;
        bool result;
    } cases[] = {
        {"empty text", "", true, false, {}, false},
        {"one piece", "abc", true, false, {"abc"}, true},
        {"two pieces", "a|b", true, false, {"a", "b"}, true},
        {"trimmed", " a \t|\r\n b", true, false, {"a", "b"}, true},
        {"not trimmed", " a | b", false, false, {" a ", " b"}, true},
        {"empty dropped", "|a||b|", true, false, {"a", "b"}, true},
        {"blank piece dropped when trimmed", "a| |b", true, false, {"a", "b"}, true},
        {"blank piece kept untrimmed", "a| |b", false, false, {"a", " ", "b"}, true},
        {"empty kept", "|a||b|", true, true, {"", "a", "", "b", ""}, true},
        {"only a delimiter", "|", true, false, {}, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        words out = {"old"};
        EXPECT_EQ(split_list(c.text, '|', out, c.trim, c.keep_empty, false), c.result);
        EXPECT_EQ(out, c.pieces);
    }
}

TEST(SplitList, AppendsOnRequest) {
    words out = {"old"};
    EXPECT_TRUE(split_list("a,b", ',', out, true, false, true));
    EXPECT_EQ(out, (words{"old", "a", "b"}));
    EXPECT_FALSE(split_list("", ',', out, true, false, true));
    EXPECT_EQ(out.size(), 3u);
}

TEST(SplitAny, SplitsAtEachDelimiter) {
    const struct {
        const char* name;
        const wchar_t* text;
        std::vector<std::wstring> pieces;
        bool result;
    } cases[] = {
        {"empty text", L"", {}, false},
        {"one", L"a.vmdk", {L"a.vmdk"}, true},
        {"all three", L"a|b,c;d", {L"a", L"b", L"c", L"d"}, true},
        {"trimmed", L" a.vmdk | b c.vmdk\t", {L"a.vmdk", L"b c.vmdk"}, true},
        {"mixed white space is trimmed", L"\t \r\na\n \t", {L"a"}, true},
        {"delimiters only", L"|,;", {}, true},
        {"white space only", L" \t ", {}, true},
        {"non-ASCII", L"\u00e4;\U0001F600", {L"\u00e4", L"\U0001F600"}, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        std::vector<std::wstring> out = {L"old"};
        EXPECT_EQ(split_any(c.text, out, true, false, L"|,;"), c.result);
        EXPECT_EQ(out, c.pieces);
    }
}

TEST(SplitAny, KeepsEmptyPiecesOnRequest) {
    std::vector<std::wstring> out;
    EXPECT_TRUE(split_any(L"a;; b", out, false, true, L";"));
    EXPECT_EQ(out, (std::vector<std::wstring>{L"a", L"", L" b"}));
}

}  // namespace

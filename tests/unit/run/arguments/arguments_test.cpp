#include "run/arguments/arguments.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using words = std::vector<std::string>;

TEST(CollectArgs, NullEntryBecomesEmptyString) {
    const char* argv[] = {"quorvel", nullptr, "-csv"};
    words args = {"old"};
    collect_args(args, 3, argv);
    EXPECT_EQ(args, (words{"quorvel", "", "-csv"}));
}

TEST(CollectArgs, NoEntriesMakeAnEmptyVector) {
    words args = {"old"};
    collect_args(args, 0, nullptr);
    EXPECT_TRUE(args.empty());
}

TEST(HasOption, RemovesOnlyTheFirstMatch) {
    words args = {"q", "-csv", "a", "-CSV"};
    EXPECT_TRUE(has_option("-csv", args));
    EXPECT_EQ(args, (words{"q", "a", "-CSV"}));
    EXPECT_TRUE(has_option("-csv", args));
    EXPECT_FALSE(has_option("-csv", args));
    EXPECT_EQ(args, (words{"q", "a"}));
}

TEST(HasOption, MatchesWholeArgumentsRegardlessOfCase) {
    const struct {
        const char* word;
        bool hit;
    } cases[] = {{"-image", true},   {"-IMAGE", true}, {"-iMaGe", true},   {"-imag", false},
                 {"-imagex", false}, {"image", false}, {" -image", false}, {"", false}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.word);
        words args = {"q", c.word};
        EXPECT_EQ(has_option("-Image", args), c.hit);
        EXPECT_EQ(args.size(), c.hit ? 1u : 2u);
    }
}

TEST(HasOption, FoldsAsciiLettersOnly) {
    words args = {"q", "-\xC3\x84"};  // capital A umlaut
    EXPECT_FALSE(has_option("-\xC3\xA4", args));
    EXPECT_TRUE(has_option("-\xC3\x84", args));
}

TEST(HasOption, KeepsTheOptionOnRequest) {
    words args = {"q", "-csv"};
    EXPECT_TRUE(has_option("-csv", args, true));
    EXPECT_EQ(args, (words{"q", "-csv"}));
}

TEST(HasOption, SearchesTheProgramPathToo) {
    words args = {"-csv", "x"};
    EXPECT_TRUE(has_option("-csv", args));
    EXPECT_EQ(args, (words{"x"}));
}

TEST(OptionValue, AcceptsAnyNextArgument) {
    words args = {"q", "-Filter", "-CSV", "dir"};
    std::string value;
    EXPECT_TRUE(option_value("-filter", value, args));
    EXPECT_EQ(value, "-CSV");
    EXPECT_EQ(args, (words{"q", "dir"}));
}

TEST(OptionValue, ValueMayBeTheLastArgument) {
    words args = {"q", "-IMAGE", "Disk.DD"};
    std::string value;
    EXPECT_TRUE(peek_option_value("-image", value, args, 0));
    EXPECT_EQ(value, "Disk.DD");
    value.clear();
    EXPECT_TRUE(option_value("-image", value, args));
    EXPECT_EQ(value, "Disk.DD");
    EXPECT_EQ(args, (words{"q"}));
}

TEST(OptionValue, SearchesTheProgramPathToo) {
    words args = {"-image", "disk.dd", "x"};
    std::string value;
    EXPECT_TRUE(option_value("-image", value, args));
    EXPECT_EQ(value, "disk.dd");
    EXPECT_EQ(args, (words{"x"}));
}

TEST(OptionValue, OptionAsLastArgumentIsIgnoredAndKept) {
    words args = {"q", "dir", "-offset"};
    std::string value = "untouched";
    EXPECT_FALSE(option_value("-offset", value, args));
    EXPECT_EQ(value, "untouched");
    EXPECT_EQ(args, (words{"q", "dir", "-offset"}));
}

TEST(OptionValue, FirstOfTwoOptionsIsUsed) {
    words args = {"q", "-out", "-out", "x"};
    std::string value;
    EXPECT_TRUE(option_value("-out", value, args));
    EXPECT_EQ(value, "-out");
    EXPECT_EQ(args, (words{"q", "x"}));
    EXPECT_FALSE(option_value("-out", value, args));
}

TEST(PeekOption, SearchesFromTheIndexAndRemovesNothing) {
    const words args = {"-pipe", "a", "-Pipe"};
    EXPECT_TRUE(peek_option("-pipe", args, 0));
    EXPECT_TRUE(peek_option("-pipe", args, 2));
    EXPECT_FALSE(peek_option("-pipe", args, 3));
    EXPECT_FALSE(peek_option("-pipe", args, 99));
    EXPECT_FALSE(peek_option("-pipe", {"-pipe", "a"}, 1));
}

TEST(PeekOptionValue, ReturnsTheNextArgument) {
    const words args = {"-f", "zero", "-F", "one", "-f"};
    std::string value;
    EXPECT_TRUE(peek_option_value("-f", value, args, 1));
    EXPECT_EQ(value, "one");
    EXPECT_TRUE(peek_option_value("-f", value, args, 0));
    EXPECT_EQ(value, "zero");
    EXPECT_FALSE(peek_option_value("-f", value, args, 4));
    EXPECT_EQ(value, "zero");
}

TEST(RemoveArg, IgnoresAnIndexPastTheEnd) {
    words args = {"a", "b"};
    remove_arg(2, args);
    EXPECT_EQ(args, (words{"a", "b"}));
    remove_arg(0, args);
    EXPECT_EQ(args, (words{"b"}));
}

TEST(JoinArgs, QuotesOnlyArgumentsWithABlank) {
    const struct {
        const char* name;
        words args;
        const char* text;
    } cases[] = {
        {"nothing", {}, ""},
        {"one", {"q"}, "q"},
        {"plain", {"q", "-csv", "\\docs"}, "q -csv \\docs"},
        {"blank", {"q", "a b", " "}, "q 'a b' ' '"},
        {"a tab is not a blank", {"q", "a\tb"}, "q a\tb"},
        {"an empty argument leaves two blanks", {"q", "", "x"}, "q  x"},
        {"inner quotes are kept", {"it's me"}, "'it's me'"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        std::string text = "old";
        join_args(text, c.args, '\'');
        EXPECT_EQ(text, c.text);
    }
}

TEST(JoinArgs, UsesTheGivenQuote) {
    std::string text;
    join_args(text, {"a b", "c"}, '"');
    EXPECT_EQ(text, "\"a b\" c");
}

}  // namespace

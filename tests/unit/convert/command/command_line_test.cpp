#include "convert/command/command_line.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

// The result of parsing, and what was printed.
struct outcome {
    std::optional<convert::command_line> line;
    int status = -1;
    std::string standard_output, standard_error;
};

outcome parse(std::vector<const char*> words) {
    words.insert(words.begin(), "quorvel-convert");
    outcome result;
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    result.line =
        convert::parse_command_line(static_cast<int>(words.size()), words.data(), result.status);
    result.standard_output = testing::internal::GetCapturedStdout();
    result.standard_error = testing::internal::GetCapturedStderr();
    return result;
}

TEST(ConvertCommandLine, ReadsEachOption) {
    const outcome run =
        parse({"--to", "csv", "--output", "o.csv", "--force", "--summary", "--input", "listing"});
    ASSERT_TRUE(run.line.has_value()) << run.standard_error;
    ASSERT_NE(run.line->wanted, nullptr);
    EXPECT_STREQ(run.line->wanted->name, "csv");
    EXPECT_EQ(run.line->output, "o.csv");
    EXPECT_EQ(run.line->input, "listing");
    EXPECT_TRUE(run.line->force);
    EXPECT_TRUE(run.line->summary);
    EXPECT_FALSE(run.line->print_command);
    EXPECT_THAT(run.line->user_words, IsEmpty());
    EXPECT_EQ(run.standard_output + run.standard_error, "");
}

TEST(ConvertCommandLine, PassesOnEveryWordAfterTheSeparator) {
    const outcome run =
        parse({"--to", "body", "--", "-image", "a b", "--force", "--", "", "--output"});
    ASSERT_TRUE(run.line.has_value()) << run.standard_error;
    EXPECT_THAT(run.line->user_words,
                ElementsAre("-image", "a b", "--force", "--", "", "--output"));
    EXPECT_STREQ(run.line->wanted->name, "body");
    EXPECT_FALSE(run.line->force);
    EXPECT_FALSE(run.line->summary);
    EXPECT_EQ(run.line->output, "");
    EXPECT_EQ(run.line->input, "");
}

TEST(ConvertCommandLine, PrintingTheCommandNeedsNoFormat) {
    const outcome run = parse({"--print-command", "--", "-image", "x"});
    ASSERT_TRUE(run.line.has_value()) << run.standard_error;
    EXPECT_TRUE(run.line->print_command);
    EXPECT_EQ(run.line->wanted, nullptr);
    EXPECT_THAT(run.line->user_words, ElementsAre("-image", "x"));
}

TEST(ConvertCommandLine, ReadsTwoListingsToCompare) {
    const outcome table = parse({"--diff", "old", "new", "--output", "o"});
    ASSERT_TRUE(table.line.has_value()) << table.standard_error;
    EXPECT_TRUE(table.line->compares());
    EXPECT_EQ(table.line->old_listing, "old");
    EXPECT_EQ(table.line->new_listing, "new");
    EXPECT_EQ(table.line->output, "o");
    EXPECT_EQ(table.line->wanted, nullptr);
    const outcome jsonl = parse({"--to", "jsonl", "--diff", "old", "new"});
    ASSERT_TRUE(jsonl.line.has_value()) << jsonl.standard_error;
    EXPECT_STREQ(jsonl.line->wanted->name, "jsonl");
}

TEST(ConvertCommandLine, HelpAndVersionGoToStandardOutput) {
    const outcome help = parse({"--help"});
    EXPECT_FALSE(help.line.has_value());
    EXPECT_EQ(help.status, convert::status_done);
    for (const char* option : {"--to", "--output", "--input", "--force", "--summary",
                               "--print-command", "--diff", "--version"})
        EXPECT_THAT(help.standard_output, HasSubstr(option));
    for (const convert::format& known : convert::formats())
        EXPECT_THAT(help.standard_output, HasSubstr(known.name));
    EXPECT_EQ(help.standard_error, "");

    const outcome version = parse({"--version"});
    EXPECT_FALSE(version.line.has_value());
    EXPECT_EQ(version.status, convert::status_done);
    EXPECT_THAT(version.standard_output, StartsWith("quorvel-convert "));
    EXPECT_EQ(version.standard_error, "");
}

TEST(ConvertCommandLine, WrongUseIsReportedOnStandardError) {
    const struct {
        const char* name;
        std::vector<const char*> words;
        const char* named;  // in the message
    } cases[] = {
        {"no format", {"--input", "x"}, "--to"},
        {"unknown format", {"--to", "csv2", "--input", "x"}, "csv2"},
        {"unknown option", {"--to", "csv", "--input", "x", "--wrong"}, "--wrong"},
        {"option without its value", {"--input", "x", "--to"}, "--to"},
        {"nothing to list", {"--to", "csv"}, "--input"},
        {"no word after the separator", {"--to", "csv", "--"}, "--input"},
        {"both sources", {"--to", "csv", "--input", "x", "--", "-image", "y"}, "--input"},
        {"an empty second source", {"--to", "csv", "--input", "x", "--"}, "--input"},
        {"a command for a listing", {"--print-command", "--input", "x"}, "--print-command"},
        {"a database on standard output", {"--to", "sqlite", "--input", "x"}, "--output"},
        {"one listing to compare", {"--diff", "x"}, "--diff"},
        {"an empty name to compare", {"--diff", "x", ""}, "two names"},
        {"a comparison of a listing", {"--diff", "x", "y", "--input", "z"}, "--input"},
        {"a comparison of an image", {"--diff", "x", "y", "--"}, "options for quorvel"},
        {"a comparison to print", {"--diff", "x", "y", "--print-command"}, "--print-command"},
        {"a comparison as CSV", {"--to", "csv", "--diff", "x", "y"}, "jsonl"},
        {"a refused option", {"--to", "csv", "--", "-image", "x", "-XML"}, "-XML"},
        {"a refused option to print", {"--print-command", "--", "-base16"}, "-base16"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const outcome run = parse(c.words);
        EXPECT_FALSE(run.line.has_value());
        EXPECT_EQ(run.status, convert::status_wrong_use);
        EXPECT_THAT(run.standard_error, HasSubstr(c.named));
        EXPECT_EQ(run.standard_output, "");
    }
}

TEST(ConvertCommandLine, NoArgumentsAreWrongUse) {
    int status = -1;
    testing::internal::CaptureStderr();
    EXPECT_FALSE(convert::parse_command_line(0, nullptr, status).has_value());
    EXPECT_NE(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(status, convert::status_wrong_use);
}

}  // namespace

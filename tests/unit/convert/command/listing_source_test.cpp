#include "convert/command/listing_source.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>

#include "unit/convert/fake_programs.h"

namespace {

using convert::command_line;
using convert::listing_source;
using fake_programs::search_path;
using fake_programs::write_script;
using testing::EndsWith;
using testing::HasSubstr;

std::string read_all(listing_source& source) {
    std::string text;
    std::array<char, 64> buffer{};
    for (;;) {
        const auto count = source.bytes().read(buffer);
        EXPECT_TRUE(count.has_value());
        if (!count || *count == 0) return text;
        text.append(buffer.data(), *count);
    }
}

command_line run_of(const std::vector<std::string>& user_words) {
    command_line line;
    line.user_words = user_words;
    return line;
}

TEST(ListingSource, ReadsAFile) {
    const support::temp_dir dir;
    const std::string content = std::string(100, 'x') + std::string(1, '\0') + "end";
    command_line line;
    line.input = dir.write("listing", content);
    listing_source source;
    ASSERT_EQ(source.open(line), "");
    EXPECT_EQ(source.name(), line.input);
    EXPECT_EQ(read_all(source), content);
    EXPECT_EQ(source.finish(), "");
}

TEST(ListingSource, ReportsAFileThatIsMissing) {
    const support::temp_dir dir;
    command_line line;
    line.input = dir.file("none");
    listing_source source;
    EXPECT_THAT(source.open(line), HasSubstr(line.input + ": No such file or directory"));
}

TEST(ListingSource, RunsQuorvelWithTheOptionsOfTheUserLast) {
    const support::temp_dir dir;
    write_script(dir, "quorvel", "printf '%s\\n' \"$@\"");
    const search_path path(dir.path());
    listing_source source;
    ASSERT_EQ(source.open(run_of({"-image", "a b", "*"})), "");
    const std::string words = read_all(source);
    EXPECT_THAT(words, EndsWith("\n-image\na b\n*\n"));
    EXPECT_THAT(words, HasSubstr("-csv_separator\n@"));
    EXPECT_EQ(source.finish(), "");
}

TEST(ListingSource, FinishSaysOnceHowQuorvelFailed) {
    const support::temp_dir dir;
    write_script(dir, "quorvel", "echo half; exit 3");
    const search_path path(dir.path());
    listing_source source;
    ASSERT_EQ(source.open(run_of({"-image", "x"})), "");
    EXPECT_EQ(read_all(source), "half\n");
    EXPECT_EQ(source.finish(), "quorvel ended with status 3");
    EXPECT_EQ(source.finish(), "");
}

TEST(ListingSource, ReportsThatQuorvelIsMissing) {
    const support::temp_dir dir;
    const search_path path(dir.path());
    listing_source source;
    EXPECT_THAT(source.open(run_of({"-image", "x"})), HasSubstr("quorvel"));
    EXPECT_EQ(source.finish(), "");
}

}  // namespace

#include "convert/command/conversion.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "unit/convert/command_run.h"
#include "unit/convert/fake_programs.h"
#include "unit/convert/listing_text.h"

namespace {

using command_run::outcome;
using convert::command_line;
using fake_programs::search_path;
using fake_programs::write_script;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

const std::string start = listing_text::head() + listing_text::header();

const convert::format* csv() {
    for (const convert::format& known : convert::formats()) {
        if (std::string(known.name) == "csv") return &known;
    }
    return nullptr;
}

outcome run(const command_line& line) { return command_run::run(convert::convert_listing, line); }

// A folder with a listing, and the command line that converts it.
struct job {
    explicit job(const std::string& listing) {
        line.wanted = csv();
        line.input = dir.write("listing", listing);
        line.output = dir.file("out.csv");
    }
    std::vector<std::string> files() const { return support::files_in(dir.path()); }

    support::temp_dir dir;
    command_line line;
};

TEST(Conversion, WritesAListing) {
    job one(start + listing_text::row());
    one.line.summary = true;
    const outcome done = run(one.line);
    EXPECT_EQ(done.status, convert::status_done);
    EXPECT_EQ(done.standard_output, "");
    EXPECT_EQ(done.standard_error,
              "quorvel-convert: rows: 1, directories: 0, deleted: 0, set back: 0\n");
    EXPECT_THAT(support::read_file(one.line.output), HasSubstr("\r\nfile,\\a.txt,,,4096,32,64,2,"));
    EXPECT_THAT(one.files(), ElementsAre("listing", "out.csv"));
}

TEST(Conversion, AMalformedRowIsReportedAndLeftOut) {
    const job one(start + listing_text::row({.path = "\\1"}) +
                  listing_text::row({.path = "\\2", .entry = "x"}) +
                  listing_text::row({.path = "\\3"}));
    const outcome done = run(one.line);
    EXPECT_EQ(done.status, convert::status_failed);
    EXPECT_THAT(done.standard_error, StartsWith("quorvel-convert: row 2, "));
    const std::string written = support::read_file(one.line.output);
    EXPECT_THAT(written, HasSubstr("file,\\1,"));
    EXPECT_THAT(written, testing::Not(HasSubstr("\\2")));
    EXPECT_THAT(written, HasSubstr("file,\\3,"));
}

TEST(Conversion, AFailureLeavesNoOutput) {
    const std::string row = listing_text::row();
    const struct {
        const char* name;
        std::string listing;
    } cases[] = {
        {"empty", ""},
        {"no listing", "some text\n"},
        {"ends within its head", listing_text::head()},
        {"no rows", start},
        {"ends within its only row", start + row.substr(0, row.size() / 2)},
        {"ends within its second row", start + row + row.substr(0, row.size() / 2)},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const job one(c.listing);
        const outcome done = run(one.line);
        EXPECT_EQ(done.status, convert::status_failed);
        EXPECT_THAT(done.standard_error, StartsWith("quorvel-convert: "));
        EXPECT_THAT(one.files(), ElementsAre("listing"));
    }
}

TEST(Conversion, AFailureOfQuorvelLeavesNoOutput) {
    for (const char* last : {"exit 7", "kill -9 $$"}) {
        SCOPED_TRACE(last);
        job one(start + listing_text::row());
        write_script(one.dir, "quorvel", "/bin/cat " + one.line.input + "\n" + last);
        const search_path path(one.dir.path());
        one.line.user_words = {"-image", "x"};
        one.line.input.clear();
        const outcome done = run(one.line);
        EXPECT_EQ(done.status, convert::status_failed);
        EXPECT_THAT(done.standard_error, StartsWith("quorvel-convert: quorvel ended "));
        EXPECT_THAT(one.files(), ElementsAre("listing", "quorvel"));
    }
}

TEST(Conversion, AnExistingOutputIsWrongUse) {
    job one(start + listing_text::row());
    one.dir.write("out.csv", "old");
    EXPECT_EQ(run(one.line).status, convert::status_wrong_use);
    EXPECT_EQ(support::read_file(one.line.output), "old");
    one.line.force = true;
    EXPECT_EQ(run(one.line).status, convert::status_done);
    EXPECT_THAT(support::read_file(one.line.output), StartsWith("type,path,"));
}

TEST(Conversion, PrintsTheCommand) {
    command_line line;
    line.print_command = true;
    line.user_words = {"-image", "a b"};
    const outcome done = run(line);
    EXPECT_EQ(done.status, convert::status_done);
    EXPECT_THAT(done.standard_output,
                testing::MatchesRegex("quorvel -csv .* -csv_separator @[0-9A-Za-z]+ "
                                      "-image 'a b'\n"));
    EXPECT_EQ(done.standard_error, "");
}

}  // namespace

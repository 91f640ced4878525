#include "convert/command/comparison_run.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/temp_dir.h"
#include "unit/convert/command_run.h"
#include "unit/convert/listing_text.h"

namespace {

using command_run::outcome;
using convert::command_line;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

const std::string start = listing_text::head() + listing_text::header();

outcome run(const command_line& line) { return command_run::run(convert::compare_listings, line); }

// A folder with two listings, and the command line that compares them.
struct job {
    job(const std::string& before, const std::string& after) {
        line.old_listing = dir.write("old", before);
        line.new_listing = dir.write("new", after);
        line.output = dir.file("changes");
        line.summary = true;
    }
    std::vector<std::string> files() const { return support::files_in(dir.path()); }

    support::temp_dir dir;
    command_line line;
};

TEST(ComparisonRun, WritesATable) {
    const job one(start + listing_text::row(),
                  start + listing_text::row({.path = "\\b.txt", .size = "8192"}));
    const outcome done = run(one.line);
    EXPECT_EQ(done.status, convert::status_done);
    EXPECT_EQ(done.standard_error,
              "quorvel-convert: created: 0, deleted: 0, renamed: 1, moved: 0, resized: 1, "
              "times: 0\n");
    EXPECT_EQ(support::read_file(one.line.output),
              "change           type      entry sequence      old bytes      new bytes SI   FN   "
              "path\n"
              "renamed,resized  file         64        2           4096           8192 .... .... "
              "\\a.txt -> \\b.txt\n");
}

TEST(ComparisonRun, EqualListingsHaveNoChanges) {
    job one(start + listing_text::row(), start + listing_text::row());
    for (const convert::format& known : convert::formats()) {
        if (std::string(known.name) == "jsonl") one.line.wanted = &known;
    }
    const outcome done = run(one.line);
    EXPECT_EQ(done.status, convert::status_done);
    EXPECT_THAT(done.standard_error, HasSubstr("created: 0, deleted: 0, renamed: 0, "));
    EXPECT_EQ(support::read_file(one.line.output), "");
}

TEST(ComparisonRun, AMalformedRowIsReportedAndLeftOut) {
    const job one(start + listing_text::row(),
                  start + listing_text::row() + listing_text::row({.entry = "x"}) +
                      listing_text::row({.path = "\\new", .entry = "65"}));
    const outcome done = run(one.line);
    EXPECT_EQ(done.status, convert::status_failed);
    EXPECT_THAT(done.standard_error,
                StartsWith("quorvel-convert: " + one.line.new_listing + ": row 2, at byte "));
    EXPECT_THAT(support::read_file(one.line.output), HasSubstr("\ncreated          file "));
}

TEST(ComparisonRun, AFailureLeavesNoOutput) {
    const std::string row = listing_text::row();
    const struct {
        const char* name;
        std::string listing;
    } cases[] = {
        {"empty", ""},
        {"no listing", "some text\n"},
        {"without rows", listing_text::head() + "no items\n\n"},
        {"header only", start},
        {"ends within a row", start + row + row.substr(0, row.size() / 2)},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        for (const bool old_is_wrong : {false, true}) {
            const job one(old_is_wrong ? c.listing : start + row,
                          old_is_wrong ? start + row : c.listing);
            const outcome done = run(one.line);
            EXPECT_EQ(done.status, convert::status_failed);
            EXPECT_THAT(done.standard_error,
                        HasSubstr(old_is_wrong ? one.line.old_listing : one.line.new_listing));
            EXPECT_THAT(one.files(), ElementsAre("new", "old"));
        }
    }
}

TEST(ComparisonRun, AMissingListingIsAnError) {
    job one(start + listing_text::row(), start + listing_text::row());
    one.line.new_listing = one.dir.file("none");
    const outcome done = run(one.line);
    EXPECT_EQ(done.status, convert::status_failed);
    EXPECT_THAT(done.standard_error, StartsWith("quorvel-convert: cannot open "));
    EXPECT_THAT(one.files(), ElementsAre("new", "old"));
}

TEST(ComparisonRun, AnOutputThatCannotBeCreated) {
    job one(start + listing_text::row(), start + listing_text::row());
    one.line.output = one.dir.file("none/changes");
    const outcome done = run(one.line);
    EXPECT_EQ(done.status, convert::status_failed);
    EXPECT_THAT(done.standard_error, HasSubstr("none/changes"));
}

}  // namespace

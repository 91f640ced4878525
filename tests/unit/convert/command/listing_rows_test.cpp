#include "convert/command/listing_rows.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/temp_dir.h"
#include "unit/convert/listing_text.h"

namespace {

using convert::listing_rows;
using convert::row_counts;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

using outcome = listing_rows::outcome;

const std::string start = listing_text::head() + listing_text::header();

// A listing in a file, and what is read of it.
class reading {
public:
    explicit reading(const std::string& listing) {
        testing::internal::CaptureStderr();
        EXPECT_EQ(source.open_file(dir.write("listing", listing)), "");
    }
    ~reading() { static_cast<void>(testing::internal::GetCapturedStderr()); }
    reading(const reading&) = delete;
    reading& operator=(const reading&) = delete;

    // Returns what was printed since the last call.
    static std::string messages() {
        std::string text = testing::internal::GetCapturedStderr();
        testing::internal::CaptureStderr();
        return text;
    }

    support::temp_dir dir;
    convert::listing_source source;
    row_counts counts;
    std::vector<std::string> paths;
    listing_rows::visitor keep_path = [this](const convert::listing_row& row) {
        paths.push_back(row.path);
        return true;
    };
};

TEST(ListingRows, PassesEachRow) {
    reading one(start + listing_text::row({.path = "\\a"}) + listing_text::row({.path = "\\b"}));
    listing_rows rows(one.source);
    ASSERT_TRUE(rows.read_head());
    EXPECT_EQ(rows.head(), listing_text::head());
    EXPECT_EQ(rows.visit(one.keep_path, one.counts), outcome::end);
    EXPECT_THAT(one.paths, ElementsAre("\\a", "\\b"));
    EXPECT_EQ(one.counts.rows, 2u);
    EXPECT_TRUE(rows.finish(one.counts));
    EXPECT_EQ(reading::messages(), "");
}

TEST(ListingRows, SaysWhyThereAreNoRows) {
    const struct {
        std::string listing;
        const char* reason;
    } cases[] = {
        {"", " is not a readable listing; this command writes one: quorvel -csv "},
        {listing_text::head() + "no items\n\n", " contains no rows"},
        {listing_text::head() + "type" + listing_text::separator, " ends within its head"},
    };
    for (const auto& c : cases) {
        reading one(c.listing);
        listing_rows rows(one.source);
        EXPECT_FALSE(rows.read_head());
        EXPECT_THAT(reading::messages(), HasSubstr(c.reason));
    }
}

TEST(ListingRows, ReportsMalformedRowsWithThePrefix) {
    reading one(start + listing_text::row({.entry = "x"}) + listing_text::row({.path = "\\b"}));
    listing_rows rows(one.source, "new: ");
    ASSERT_TRUE(rows.read_head());
    EXPECT_EQ(rows.visit(one.keep_path, one.counts), outcome::end);
    EXPECT_THAT(one.paths, ElementsAre("\\b"));
    EXPECT_EQ(one.counts.malformed, 1u);
    EXPECT_THAT(reading::messages(), StartsWith("quorvel-convert: new: row 1, at byte "));
}

TEST(ListingRows, ATruncatedListingFails) {
    reading one(start + listing_text::row() + "file" + listing_text::separator);
    listing_rows rows(one.source);
    ASSERT_TRUE(rows.read_head());
    EXPECT_EQ(rows.visit(one.keep_path, one.counts), outcome::failed);
    EXPECT_THAT(reading::messages(), HasSubstr("the listing ends within the row"));
}

TEST(ListingRows, EndsWithItsVisitor) {
    reading one(start + listing_text::row() + listing_text::row());
    listing_rows rows(one.source);
    ASSERT_TRUE(rows.read_head());
    const auto refuse = [](const convert::listing_row&) { return false; };
    EXPECT_EQ(rows.visit(refuse, one.counts), outcome::refused);
    EXPECT_EQ(one.counts.rows, 1u);
}

TEST(ListingRows, AListingWithoutGoodRowsFails) {
    reading one(start);
    listing_rows rows(one.source);
    ASSERT_TRUE(rows.read_head());
    EXPECT_EQ(rows.visit(one.keep_path, one.counts), outcome::end);
    EXPECT_FALSE(rows.finish(one.counts));
    EXPECT_THAT(reading::messages(), HasSubstr("contains no rows"));
}

}  // namespace

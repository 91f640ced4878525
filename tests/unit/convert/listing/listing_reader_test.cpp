#include "convert/listing/listing_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>

#include "unit/convert/listing_text.h"

namespace {

using convert::listing_reader;
using convert::listing_row;
using head_kind = listing_reader::head_kind;
using item = listing_reader::item;
using listing_text::row_fields;

// Returns at most `step` bytes of a text at a time, and then fails if told to.
class text_source : public convert::byte_source {
public:
    text_source(std::string text, std::size_t step, bool fails = false)
        : m_text(std::move(text)), m_step(step), m_fails(fails) {}

    std::optional<std::size_t> read(std::span<char> out) override {
        const std::size_t count = std::min({out.size(), m_step, m_text.size() - m_at});
        if (count == 0 && m_fails) {
            errno = EIO;
            return std::nullopt;
        }
        std::copy_n(m_text.data() + m_at, count, out.data());
        m_at += count;
        return count;
    }

private:
    std::string m_text;
    std::size_t m_step;
    bool m_fails;
    std::size_t m_at = 0;
};

std::string named_row(const std::string& name) {
    row_fields fields;
    fields.path = "\\" + name;
    return listing_text::row(fields);
}

// Reads everything: a line for each row with its name, and for each problem.
std::string read_all(const std::string& text, std::size_t step = SIZE_MAX) {
    text_source source(text, step);
    listing_reader reader(source);
    if (reader.read_head() != head_kind::rows) return "no rows";
    std::string result;
    listing_row row;
    for (item what = reader.next(row); what != item::end; what = reader.next(row)) {
        if (what == item::row)
            result += row.path.substr(1) + ";";
        else
            result +=
                std::to_string(reader.problem().number) + ": " + reader.problem().reason + ";";
        if (what == item::unreadable || what == item::truncated) break;
    }
    return result;
}

const std::string start = listing_text::head() + listing_text::header();

TEST(ListingReader, ReadsRowsWhateverThePiecesOfTheSource) {
    const std::string text = start + named_row("a") + "no items\n\n" + named_row("b\nfile") +
                             named_row("") + "no items\n\n";
    for (const std::size_t step : {1ul, 2ul, 7ul, 1000ul, SIZE_MAX})
        EXPECT_EQ(read_all(text, step), "a;b\nfile;;") << step;
}

TEST(ListingReader, KeepsTheHead) {
    text_source source(start + named_row("a"), SIZE_MAX);
    listing_reader reader(source);
    EXPECT_EQ(reader.read_head(), head_kind::rows);
    EXPECT_EQ(reader.head(), listing_text::head());
}

TEST(ListingReader, AMalformedRowHasANumberAndAPosition) {
    row_fields wrong;
    wrong.flags = "x";
    const std::string before = start + named_row("a");
    const std::string bad = listing_text::row(wrong);
    for (const std::size_t step : {1ul, 5ul, SIZE_MAX}) {
        text_source source(before + bad + named_row("c"), step);
        listing_reader reader(source);
        ASSERT_EQ(reader.read_head(), head_kind::rows);
        listing_row row;
        EXPECT_EQ(reader.next(row), item::row);
        EXPECT_EQ(reader.next(row), item::malformed);
        EXPECT_EQ(reader.problem().number, 2u);
        EXPECT_EQ(reader.problem().offset, before.size() + bad.find("x" + listing_text::separator));
        EXPECT_EQ(reader.next(row), item::row);
        EXPECT_EQ(row.path, "\\c");
        EXPECT_EQ(reader.next(row), item::end);
        EXPECT_EQ(reader.next(row), item::end);
    }
}

TEST(ListingReader, ContinuesAtTheNextRowAfterOtherText) {
    const std::string unknown = "2: the row has an unknown type;";
    EXPECT_EQ(read_all(start + named_row("a") + "junk\nfile\n" + named_row("b"), 3),
              "a;" + unknown + "b;");
    EXPECT_EQ(read_all(start + named_row("a") + "junk"), "a;" + unknown);
    EXPECT_EQ(read_all(start + named_row("a") + "junk\n"), "a;" + unknown);
    EXPECT_EQ(read_all(start + named_row("a") + "junk\nfi"),
              "a;" + unknown + "3: the listing ends within the row;");
}

// A row whose end is missing is not joined with the next one.
TEST(ListingReader, ARowInTheMiddleThatIsCutIsMalformed) {
    const std::string row = named_row("cut");
    for (std::size_t length = 1; length < row.size() - 1; ++length) {
        const std::string read =
            read_all(start + row.substr(0, length) + "\n" + named_row("b") + named_row("c"));
        EXPECT_THAT(read, testing::StartsWith("1: ")) << length;
        EXPECT_THAT(read, testing::EndsWith(";b;c;")) << length;
    }
}

TEST(ListingReader, ACutListingIsTruncated) {
    const std::string text = start + named_row("a") + named_row("b");
    const std::size_t second = start.size() + named_row("a").size();
    for (std::size_t length = second + 1; length < text.size(); ++length) {
        EXPECT_EQ(read_all(text.substr(0, length)), "a;2: the listing ends within the row;")
            << length;
    }
}

TEST(ListingReader, ReportsAFailureOfTheSource) {
    text_source source(start + named_row("a") + "fi", 100, true);
    listing_reader reader(source);
    ASSERT_EQ(reader.read_head(), head_kind::rows);
    listing_row row;
    EXPECT_EQ(reader.next(row), item::row);
    EXPECT_EQ(reader.next(row), item::unreadable);
    EXPECT_EQ(reader.next(row), item::unreadable);
    text_source none("", 1, true);
    EXPECT_EQ(listing_reader(none).read_head(), head_kind::unreadable);
}

head_kind head_of(const std::string& text) {
    text_source source(text, 11);
    return listing_reader(source).read_head();
}

TEST(ListingReader, RecognisesListingsWithoutRows) {
    EXPECT_EQ(head_of(listing_text::head()), head_kind::empty);
    EXPECT_EQ(head_of(listing_text::head() + "no items\n\n"), head_kind::empty);
    EXPECT_EQ(head_of(listing_text::head() + "no items\n\nno items\n\n"), head_kind::empty);
    EXPECT_EQ(head_of(start), head_kind::rows);
    EXPECT_EQ(head_of(listing_text::head() + "no items\n\n" + listing_text::header(true)),
              head_kind::rows);
}

TEST(ListingReader, EveryCutHeadIsTruncatedOrUnknown) {
    const std::size_t with_separator = listing_text::head("").find('@') + 12;
    for (std::size_t length = 0; length < start.size(); ++length) {
        const head_kind expected = length < with_separator                 ? head_kind::unknown
                                   : length == listing_text::head().size() ? head_kind::empty
                                                                           : head_kind::truncated;
        EXPECT_EQ(head_of(start.substr(0, length)), expected) << length;
    }
}

TEST(ListingReader, RefusesOtherListings) {
    std::string other_words = start;
    other_words.replace(other_words.find("-base10"), 7, "-base16");
    std::string other_columns = start;
    other_columns.replace(other_columns.find("ctime (fn)"), 10, "path");
    for (const std::string& text :
         {std::string(), std::string("name,size\n"), std::string("quorvel ver: 1.45\n"),
          other_words, other_columns, "x" + start}) {
        EXPECT_EQ(head_of(text), head_kind::unknown) << text;
    }
}

}  // namespace

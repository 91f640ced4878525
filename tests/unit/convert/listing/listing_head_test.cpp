#include "convert/listing/listing_head.h"

#include <gtest/gtest.h>

#include "unit/convert/listing_text.h"

namespace {

using convert::listing_head;
using convert::parse_listing_head;

TEST(ListingHead, ReadsEachPart) {
    const listing_head head = parse_listing_head(
        listing_text::head("-image 'my disk.dd' -offset 0x100000 -level 99 -objid"));
    EXPECT_EQ(head.version, "1.45");
    EXPECT_EQ(head.time, "2026-01-02 03:04:05 [UTC]");
    EXPECT_EQ(head.host, "lab");
    EXPECT_EQ(head.system, "Linux;1;2;64");
    EXPECT_EQ(head.command_line, "quorvel " + listing_text::words + listing_text::separator +
                                     " -image 'my disk.dd' -offset 0x100000 -level 99 -objid");
    EXPECT_EQ(head.source, "my disk.dd");
    EXPECT_EQ(head.offset, "0x100000");
    EXPECT_TRUE(head.with_object_ids);
}

TEST(ListingHead, FindsTheSource) {
    const struct {
        const char* name;
        const char* words;
        std::string source, offset;
    } cases[] = {
        {"plain", "-image disk.dd", "disk.dd", ""},
        {"last", "-level 3 -image disk.dd", "disk.dd", ""},
        {"other case", "-Image a -OFFSET 512", "a", "512"},
        {"blanks", "-image 'a  b' -offset 1", "a  b", "1"},
        {"apostrophe without blank", "-image 'a -offset 1", "'a", "1"},
        {"apostrophe within", "-image 'it's a disk' -offset 1", "it's a disk", "1"},
        {"empty in apostrophes", "-image ''", "", ""},
        {"only an apostrophe", "-image '", "'", ""},
        {"line end", "-image a\nb -offset 1", "a\nb", "1"},
        {"quote", "-image a\"\n\nb -offset 1", "a\"\n\nb", "1"},
        {"chain", "-vmdk 'a.vmdk | b.vmdk'", "a.vmdk | b.vmdk", ""},
        {"both", "-vmdk b -image a", "a", ""},
        {"first of two", "-image a -image b", "a", ""},
        {"without its value", "-image", "", ""},
        {"neither", "c: -level 1", "", ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const listing_head head = parse_listing_head(listing_text::head(c.words));
        EXPECT_EQ(head.source, c.source);
        EXPECT_EQ(head.offset, c.offset);
        EXPECT_FALSE(head.with_object_ids);
    }
}

TEST(ListingHead, WhatIsMissingIsEmpty) {
    for (const char* text :
         {"", "\"", "\"command line: ", "quorvel ver: ", "run time: x", "\n\n"}) {
        SCOPED_TRACE(text);
        const listing_head head = parse_listing_head(text);
        EXPECT_EQ(head.version + head.time + head.host + head.system, "");
        EXPECT_EQ(head.command_line + head.source + head.offset, "");
    }
}

// Every prefix of a head is read without fault, and finds nothing that is not in the whole.
TEST(ListingHead, ReadsATruncatedHead) {
    const std::string whole = listing_text::head("-image 'a b' -offset 'c d'");
    for (std::size_t length = 0; length <= whole.size(); ++length) {
        const listing_head head = parse_listing_head(whole.substr(0, length));
        EXPECT_TRUE(head.host.empty() || head.host == "lab") << length;
        EXPECT_TRUE(head.offset.empty() || head.offset == "c d") << length;
    }
}

}  // namespace

#include "ntfs/index/index_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "support/directory_index.h"
#include "support/ntfs_image.h"
#include "unit/ntfs/index/index_contents.h"

namespace {

using namespace index_contents;

using support::file_reference;
using support::index_entry;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr std::size_t node_header_size = 16;

// Returns a node: its header, then `content`. `index_length` includes the header.
support::bytes node(const support::bytes& content) {
    support::bytes bytes(node_header_size);
    put(bytes, 0, node_header_size, 4);
    put(bytes, 4, node_header_size + content.size(), 4);
    bytes.insert(bytes.end(), content.begin(), content.end());
    return bytes;
}

entry_set collected(const support::bytes& bytes, bool include_slack = false, bool expected = true) {
    std::vector<std::uint64_t> children;
    EXPECT_EQ(collect_entries(children, bytes, include_slack), expected);
    return {children.begin(), children.end()};
}

TEST(IndexNode, EntriesUpToTheLastOneAreCollected) {
    EXPECT_THAT(
        collected(node(with_end({entry_of_file(70), entry_of_file(64), entry_of_file(66)}))),
        ElementsAre(64, 66, 70));
}

TEST(IndexNode, EntryNumberHasNoSequenceNumber) {
    index_entry other = entry_of_file(70, u"LONGNA~1");
    other.reference = file_reference(70, 0xFFFF);
    EXPECT_THAT(collected(node(with_end({entry_of_file(70), other}))), ElementsAre(70));
}

TEST(IndexNode, NumberOfAnEntryHas48Bits) {
    EXPECT_THAT(collected(node(with_end({{.reference = 0xFFFF'FEDC'BA98'7654,
                                          .key = support::file_name_value(5, u"x")}}))),
                ElementsAre(0xFEDCBA987654));
}

TEST(IndexNode, EntryZeroWithASequenceNumberIsCollected) {
    EXPECT_THAT(collected(node(with_end({{.reference = file_reference(0, 1),
                                          .key = support::file_name_value(5, u"$MFT")}}))),
                ElementsAre(0));
}

TEST(IndexNode, SubNodesOfEntriesAreNotNeeded) {
    index_entry with_sub_node = entry_of_file(70);
    with_sub_node.sub_node = 3;
    EXPECT_THAT(collected(node(with_end({with_sub_node, entry_of_file(71)}))), ElementsAre(70, 71));
}

TEST(IndexNode, FlagsAreComparedAsAWhole) {
    const struct {
        std::uint16_t flags;
        bool taken;
    } cases[] = {{0, true}, {1, true},    {2, false},   {3, false},
                 {4, true}, {0x12, true}, {0x102, true}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.flags);
        index_entry entry = entry_of_file(70);
        entry.flags = c.flags;
        EXPECT_THAT(collected(node(with_end({entry, entry_of_file(71)}))), SizeIs(c.taken ? 2 : 0));
    }
}

TEST(IndexNode, EmptyReferenceEndsTheWalk) {
    index_entry empty = entry_of_file(0);
    empty.reference = 0;
    EXPECT_THAT(collected(node(with_end({entry_of_file(70), empty, entry_of_file(71)}))),
                ElementsAre(70));
    EXPECT_THAT(collected(node(with_end({entry_of_file(70), empty, entry_of_file(71)})), true),
                ElementsAre(70, 71));
}

TEST(IndexNode, LengthIsOneTo4096) {
    const support::bytes valid = node(with_end({entry_of_file(70)}));
    const struct {
        std::uint32_t length;
        bool result;
        std::size_t found;
    } cases[] = {
        {0, false, 0}, {4095, true, 1}, {4096, true, 0}, {4097, false, 0}, {0xFFFFFFFF, false, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.length);
        support::bytes bytes = valid;
        put(bytes, 4, c.length, 4);
        EXPECT_THAT(collected(bytes, false, c.result), SizeIs(c.found));
    }
    EXPECT_THAT(collected({}, false, false), IsEmpty());
}

TEST(IndexNode, EntriesOffsetIsFromTheNodeHeader) {
    support::bytes bytes = node(with_end({entry_of_file(70), entry_of_file(71)}));
    const std::size_t first_size = ql::le16(bytes, 16 + 8);
    put(bytes, 0, 16 + first_size, 4);
    EXPECT_THAT(collected(bytes), ElementsAre(71));
    put(bytes, 0, 0xFFFFFFFF, 4);
    EXPECT_THAT(collected(bytes), IsEmpty());
}

TEST(IndexNode, SizesAboveTheIndexLengthEndTheWalk) {
    const support::bytes valid = node(with_end({entry_of_file(70), entry_of_file(71)}));
    const std::size_t second = 16 + ql::le16(valid, 16 + 8);
    const auto length = static_cast<std::uint16_t>(valid.size());
    const struct {
        const char* name;
        std::size_t field;
        std::uint16_t value;
        std::size_t found;
    } cases[] = {
        {"entry size at the length", 8, length, 2},
        {"entry size above it", 8, static_cast<std::uint16_t>(length + 1), 1},
        {"entry size below the key's", 8, 40, 1},
        {"key size above the length", 10, static_cast<std::uint16_t>(length + 1), 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        support::bytes bytes = valid;
        put(bytes, second + c.field, c.value, 2);
        EXPECT_THAT(collected(bytes), SizeIs(c.found));
    }
}

TEST(IndexNode, EntrySmallerThanItsKeyIsCollectedWithSlack) {
    support::bytes bytes = node(with_end({entry_of_file(70), entry_of_file(71)}));
    put(bytes, 16 + 10, ql::le16(bytes, 16 + 8) + 1u, 2);
    EXPECT_THAT(collected(bytes), IsEmpty());
    EXPECT_THAT(collected(bytes, true), ElementsAre(70, 71));
}

TEST(IndexNode, NextEntryHasOneTo768Bytes) {
    const struct {
        std::uint16_t size;
        std::size_t found;
    } cases[] = {{0, 1}, {768, 2}, {769, 1}, {0xFFFF, 1}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.size);
        support::bytes bytes = node(with_end({entry_of_file(70), entry_of_file(71)}));
        bytes.resize(2000);
        put(bytes, 4, 2000, 4);
        put(bytes, 16 + ql::le16(bytes, 16 + 8) + 8u, c.size, 2);
        EXPECT_THAT(collected(bytes), SizeIs(c.found));
    }
}

TEST(IndexNode, FirstEntryMayHaveAnySize) {
    for (const std::uint16_t size : {std::uint16_t{769}, std::uint16_t{1500}}) {
        SCOPED_TRACE(size);
        support::bytes bytes = node(entry_of_file(70).build());
        bytes.resize(2000);
        put(bytes, 4, 2000, 4);
        put(bytes, 16 + 8, size, 2);
        const support::bytes second = with_end({entry_of_file(71)});
        std::copy(second.begin(), second.end(), bytes.begin() + 16 + size);
        EXPECT_THAT(collected(bytes), SizeIs(2));
    }
    // An entry of size 0 with a key of size 0 is collected, and ends the walk.
    support::bytes bytes = node(with_end({entry_of_file(70), entry_of_file(71)}));
    put(bytes, 16 + 8, 0, 4);
    EXPECT_THAT(collected(bytes), ElementsAre(70));
}

TEST(IndexNode, WalkEndsAtTheEndOfTheLength) {
    support::bytes bytes =
        node(with_end({entry_of_file(70), entry_of_file(71), entry_of_file(72)}));
    const std::uint32_t size = ql::le16(bytes, 16 + 8);
    // The length includes the header, but only the sizes of the entries are subtracted from it.
    put(bytes, 4, 2 * size, 4);
    EXPECT_THAT(collected(bytes), ElementsAre(70, 71));
    put(bytes, 4, 2 * size + 1, 4);
    EXPECT_THAT(collected(bytes), ElementsAre(70, 71, 72));
    put(bytes, 4, 2 * size - 1, 4);
    EXPECT_THAT(collected(bytes), ElementsAre(70, 71));
}

TEST(IndexNode, EveryPrefixHasNoAdditionalEntries) {
    const support::bytes whole = node(with_end({entry_of_file(70), entry_of_file(71)}));
    for (std::size_t size = 0; size <= whole.size(); ++size) {
        SCOPED_TRACE(size);
        const support::bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
        std::vector<std::uint64_t> children;
        collect_entries(children, cut, false);
        for (const std::uint64_t child : children)
            EXPECT_LE(child, 71u);
        EXPECT_LE(children.size(), 2u);
    }
}

TEST(IndexNode, EntriesAreAppended) {
    std::vector<std::uint64_t> children = {5, 100};
    EXPECT_TRUE(collect_entries(
        children, node(with_end({entry_of_file(70), entry_of_file(64), entry_of_file(70)})),
        false));
    EXPECT_THAT(children, ElementsAre(5, 100, 70, 64, 70));
}

}  // namespace

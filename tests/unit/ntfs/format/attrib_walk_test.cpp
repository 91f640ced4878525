#include "ntfs/format/attrib_walk.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "ntfs/format/file_record.h"
#include "support/byte_image.h"

namespace {

struct attribute_header {
    std::uint32_t type;
    std::uint32_t length;
};

// Returns a record of 256 bytes with headers from offset 56 on, each `length` bytes after the one
// before it.
std::vector<std::uint8_t> record_of(const std::vector<attribute_header>& headers) {
    support::byte_image record(256);
    record.put(20, 56, 2);
    std::size_t at = 56;
    for (const attribute_header& header : headers) {
        record.put(at, header.type, 4).put(at + 4, header.length, 4);
        at += header.length;
    }
    return record.bytes();
}

// Returns how many attributes a walk visits.
template <class Rule>
std::size_t visits(const std::vector<std::uint8_t>& record, Rule rule) {
    std::size_t count = 0;
    for_each_attrib(first_attrib(record), rule, [&count](const record_attrib&) { ++count; });
    return count;
}

TEST(AttribWalk, EachRuleEndsAtItsOwnAttribute) {
    constexpr std::uint32_t limit = 32;
    constexpr std::uint32_t end = 0xFFFFFFFF;
    const struct {
        const char* name;
        std::vector<attribute_header> headers;
        std::size_t after_empty;
        std::size_t at_empty;
        std::size_t after_longer;
        std::size_t at_longer;
        std::size_t at_record_size;
        std::size_t at_budget;  // of 64 bytes
    } cases[] = {
        {"end marker", {{0x10, 24}, {0x30, 24}, {end, 16}}, 2, 2, 2, 2, 2, 2},
        {"end marker first", {{end, 24}, {0x30, 24}, {end, 0}}, 0, 0, 0, 0, 2, 0},
        {"length 0", {{0x10, 24}, {0x30, 0}}, 2, 1, 2, 1, 2, 2},
        {"length of the limit", {{0x10, 24}, {0x30, 32}, {end, 0}}, 2, 2, 2, 2, 1, 2},
        {"length above the limit",
         {{0x10, 24}, {0x30, 33}, {0x80, 24}, {end, 0}},
         3,
         3,
         2,
         1,
         1,
         2},
        {"length of the budget", {{0x10, 24}, {0x30, 40}, {0x80, 8}}, 4, 3, 2, 1, 1, 2},
        {"length above the budget", {{0x10, 24}, {0x30, 41}, {end, 0}}, 2, 2, 2, 1, 1, 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const std::vector<std::uint8_t> record = record_of(c.headers);
        EXPECT_EQ(visits(record, ends_after_empty{}), c.after_empty);
        EXPECT_EQ(visits(record, ends_at_empty{}), c.at_empty);
        EXPECT_EQ(visits(record, ends_after_longer{limit}), c.after_longer);
        EXPECT_EQ(visits(record, ends_at_longer{limit}), c.at_longer);
        EXPECT_EQ(visits(record, ends_at_record_size{limit}), c.at_record_size);
        EXPECT_EQ(visits(record, ends_at_budget{64}), c.at_budget);
    }
}

TEST(AttribWalk, SeekStopsAtTheAttributeOrAtTheEndOfTheWalk) {
    const std::vector<std::uint8_t> record =
        record_of({{0x10, 24}, {0x30, 24}, {0x80, 24}, {0xFFFFFFFF, 0}});
    const auto type_is = [](std::uint32_t type) {
        return [type](const record_attrib& attribute) { return attribute.type() == type; };
    };
    record_attrib attribute = first_attrib(record);
    EXPECT_TRUE(seek_attrib(attribute, ends_at_empty{}, type_is(0x30)));
    EXPECT_EQ(attribute.at, 56u + 24u);
    EXPECT_FALSE(seek_attrib(attribute, ends_at_empty{}, type_is(0x10))) << "never moves back";
    EXPECT_EQ(attribute.at, 56u + 72u);
}

TEST(FileReference, SeparatesTheEntryFromTheSequenceNumber) {
    constexpr file_reference reference{0xABCD123456789ABC};
    EXPECT_EQ(reference.entry(), 0x123456789ABCu);
    EXPECT_EQ(reference.sequence(), 0xABCD);
    EXPECT_EQ(file_reference::of(0x123456789ABC, 0xABCD).raw, 0xABCD123456789ABCu);
    EXPECT_EQ(file_reference::of(0xFFFF000000000005, 1).raw, 0x0001000000000005u)
        << "an entry number has 48 bits";
    EXPECT_TRUE(file_reference{1}.is_set());
    EXPECT_FALSE(file_reference{}.is_set());
}

}  // namespace

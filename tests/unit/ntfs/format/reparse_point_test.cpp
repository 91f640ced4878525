#include "ntfs/format/reparse_point.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "foundation/text/ql_string.h"
#include "support/record_builder.h"

namespace {

using support::mount_point_tag;
using support::record_builder;
using support::reparse_value;
using support::symbolic_link_tag;

// A $REPARSE_POINT attribute, alone in a record.
struct reparse_in_record {
    explicit reparse_in_record(const record_builder& builder)
        : bytes(builder.build_before_fixup()),
          attribute{bytes, builder.attribute_offset(support::type::reparse_point)} {}

    std::vector<std::uint8_t> bytes;
    record_attrib attribute;

    reparse_point point() const {
        const auto value = attribute.value_to_record_end();
        return {value, value.size()};
    }
    std::uint64_t left() const { return bytes.size() - attribute.at; }
};

reparse_in_record with_value(const support::bytes& value) {
    record_builder builder(64);
    builder.resident(support::type::reparse_point, u"", value);
    return reparse_in_record(builder);
}

TEST(ReparsePoint, JunctionNamesBeginInThePathBuffer) {
    const auto link =
        with_value(reparse_value(mount_point_tag, u"\\??\\C:\\docs", {.print = u"C:\\docs"}));
    const reparse_names names = locate_reparse_names(link.point());
    EXPECT_EQ(names.substitute_at, 16u);
    EXPECT_EQ(names.print_at, 16u + 11 * 2 + 2);
    EXPECT_EQ(reparse_print_name(link.point()), L"C:\\docs");
    EXPECT_EQ(reparse_target(link.point()), L"C:\\docs");
}

TEST(ReparsePoint, FlagsOfAnAbsoluteSymbolicLinkAreSkipped) {
    const auto link =
        with_value(reparse_value(symbolic_link_tag, u"\\??\\C:\\docs", {.print = u"C:\\docs"}));
    const reparse_names names = locate_reparse_names(link.point());
    EXPECT_EQ(names.substitute_at, 20u);
    EXPECT_EQ(names.print_at, 20u + 11 * 2 + 2);
    EXPECT_EQ(reparse_print_name(link.point()), L"C:\\docs");
}

TEST(ReparsePoint, RelativeSymbolicLinkIsReadFourBytesEarly) {
    // 16 flags 1, 20 "b.txt", 30 "a.txt": the print name is read from offset 26.
    const auto link = with_value(reparse_value(
        symbolic_link_tag, u"b.txt", {.print = u"a.txt", .relative = true, .terminated = false}));
    EXPECT_EQ(locate_reparse_names(link.point()).substitute_at, 16u);
    EXPECT_EQ(reparse_target(link.point()), L"xta.t");
}

TEST(ReparsePoint, TerminatorBeforeARelativePrintNameTruncatesIt) {
    // 16 flags 1, 20 "b.txt", zero, 32 "a.txt", read from offset 28, the last unit of "b.txt".
    const auto link = with_value(
        reparse_value(symbolic_link_tag, u"b.txt", {.print = u"a.txt", .relative = true}));
    EXPECT_EQ(reparse_target(link.point()), L"t");
}

TEST(ReparsePoint, PrintNameBeforeTheSubstituteNameStartsAtTheFlags) {
    const auto absolute = with_value(
        reparse_value(symbolic_link_tag, u"\\??\\C:\\x", {.print = u"C:\\x", .print_first = true}));
    EXPECT_EQ(reparse_print_name(absolute.point()), L"");

    const auto relative = with_value(reparse_value(
        symbolic_link_tag, u"x\\y", {.print = u"x\\y", .relative = true, .print_first = true}));
    EXPECT_EQ(reparse_print_name(relative.point()), L"\x01");
}

TEST(ReparsePoint, SubstituteNameIsTheTargetWithoutAPrintName) {
    const auto link = with_value(reparse_value(mount_point_tag, u"\\??\\C:\\docs"));
    EXPECT_EQ(reparse_print_name(link.point()), L"");
    EXPECT_EQ(reparse_target(link.point()), L"\\??\\C:\\docs");
}

TEST(ReparsePoint, TargetEndsAtAZeroUnit) {
    const auto link =
        with_value(reparse_value(mount_point_tag, u"x", {.print = std::u16string(u"ab\0cd", 5)}));
    EXPECT_EQ(reparse_target(link.point()), L"ab");
}

TEST(ReparsePoint, SearchForANameEndsAtTheEndOfTheRecord) {
    const std::vector<std::uint8_t> zeros(64);
    const reparse_point point{zeros, zeros.size()};
    const reparse_names names = locate_reparse_names(point);
    EXPECT_EQ(names.substitute_at, 64u);
    EXPECT_EQ(names.print_at, 64u);
    EXPECT_EQ(reparse_target(point), L"");

    const std::vector<std::uint8_t> odd(63);
    EXPECT_EQ(locate_reparse_names({odd, odd.size()}).substitute_at, 64u);
    EXPECT_EQ(locate_reparse_names({{}, 0}).substitute_at, 16u);
}

// If the source ends inside a record, the rest of the record is zero.
TEST(ReparsePoint, SearchForANameContinuesPastTheBytesThatWereRead) {
    const std::vector<std::uint8_t> zeros(64);
    for (const std::size_t size : {65u, 66u, 1000u, 1001u}) {
        const reparse_names names = locate_reparse_names({zeros, size});
        EXPECT_EQ(names.substitute_at, (size + 1) / 2 * 2);
        EXPECT_EQ(names.print_at, names.substitute_at);
    }
    EXPECT_EQ(locate_reparse_names({zeros, 0xFFFFFFFF}).substitute_at, 0x100000000u);
    EXPECT_EQ(locate_reparse_names({zeros, 20}).substitute_at, 20u);
}

TEST(ReparsePoint, ZeroWordsBeforeBothNamesAreSkippedTogether) {
    support::bytes value = reparse_value(mount_point_tag, u"", {.print = u"", .terminated = false});
    value.resize(16 + 6);
    for (const char c : {'s', 'p'}) {
        value.push_back(static_cast<std::uint8_t>(c));
        value.push_back(0);
    }
    value[10] = 2;  // substitute name: offset 0, one unit
    value[12] = 2;  // print name: offset 2, one unit
    value[14] = 2;
    const auto link = with_value(value);
    EXPECT_EQ(locate_reparse_names(link.point()).substitute_at, 22u);
    EXPECT_EQ(reparse_target(link.point()), L"p");
}

TEST(ReparsePoint, TargetNeedsAValueAndNamesInsideItsData) {
    const support::bytes valid = reparse_value(mount_point_tag, u"sub", {.print = u"prn"});
    // Data: 8 bytes of name words, "sub" and a zero at 0, "prn" and a zero at 8: 24 bytes.
    const struct {
        const char* name;
        std::size_t at;  // in the attribute; the value starts at 24
        std::uint64_t value;
        std::size_t width;
        bool expected;
    } cases[] = {
        {"unchanged", 28, 24, 2, true},
        {"no value offset", 20, 0, 2, false},
        {"value of 16 bytes", 16, 16, 4, false},
        {"value of 17 bytes", 16, 17, 4, true},
        {"no data length", 28, 0, 2, false},
        {"data length at the print name's end", 28, 14, 2, false},
        {"data length after the print name", 28, 15, 2, true},
        {"substitute name reaches the data length", 34, 24, 2, false},
        {"substitute name just inside", 34, 23, 2, true},
        {"substitute offset reaches the data length", 32, 18, 2, false},
        {"print name reaches the data length", 38, 16, 2, false},
        {"print name just inside", 38, 15, 2, true},
        {"only a print name", 34, 0, 2, true},
        {"only a substitute name", 38, 0, 2, true},
        {"data length up to the record's end", 28, 1024 - 56 - 24, 2, false},
        {"data length up to a byte before it", 28, 1024 - 56 - 24 - 1, 2, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        record_builder builder(64);
        builder.resident(support::type::reparse_point, u"", valid).edit(c.at, c.value, c.width);
        const reparse_in_record link(builder);
        ASSERT_EQ(link.attribute.at, 56u);
        EXPECT_EQ(has_reparse_target(link.attribute, link.left()), c.expected);
    }
}

TEST(ReparsePoint, TargetNeedsOneName) {
    const auto link = with_value(reparse_value(mount_point_tag, u"", {.print = u""}));
    ASSERT_GE(link.attribute.value_length(), 17u);
    EXPECT_FALSE(has_reparse_target(link.attribute, link.left()));
}

TEST(ReparsePoint, EveryPrefixOfARecordIsReadSafely) {
    record_builder builder(64);
    builder.reparse(symbolic_link_tag, u"\\??\\C:\\docs\\deep", {.print = u"C:\\docs\\deep"});
    const reparse_in_record whole(builder);
    const std::size_t path_buffer_at = whole.attribute.at + whole.attribute.value_offset() + 16;
    for (std::size_t size = 0; size <= whole.bytes.size(); ++size) {
        SCOPED_TRACE(size);
        const std::vector<std::uint8_t> cut(
            whole.bytes.begin(), whole.bytes.begin() + static_cast<std::ptrdiff_t>(size));
        const record_attrib attribute{cut, whole.attribute.at};
        static_cast<void>(has_reparse_target(attribute, whole.left()));
        const auto value = attribute.value_to_record_end();
        const std::wstring target = reparse_target({value, value.size()});
        EXPECT_LE(target.size(), std::wstring(L"\\??\\C:\\docs\\deep").size());
        if (size < path_buffer_at) continue;  // the offsets of the names are missing
        EXPECT_TRUE(std::wstring_view(L"C:\\docs\\deep").starts_with(target))
            << ql::to_utf8(target);
    }
}

}  // namespace

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "ntfs/attributes/name_entry_list.h"
#include "ntfs/volume/ntfs.h"
#include "support/ntfs_image.h"
#include "support/record_builder.h"
#include "unit/ntfs/attributes/names_of_entry.h"
#include "unit/ntfs/open_volume.h"

namespace {

using namespace entry_names;

using support::file_reference;
using support::record_builder;
using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::wstring> names_of_entry(open_volume& volume, std::uint64_t inode) {
    name_entry_map map;
    volume.ntfs.get_file_names(map, inode, volume.record(inode));
    return names_of(map);
}

// Returns a resident attribute of `length` bytes, including its header.
void add_filler(record_builder& builder, std::size_t length) {
    builder.resident(support::type::ea, u"", support::bytes(length - 24, 0xEE));
}

TEST(FileNames, KeyIsParentNameAndNumber) {
    EXPECT_EQ(name_key(5, L"a.txt", 64), "00000005_a.txt_00000040");
    EXPECT_EQ(name_key(0x123456789, L"", 0xABCDEF0123), "123456789__abcdef0123");
    EXPECT_EQ(name_key(0, L"\u00e9", 0), "00000000_\xc3\xa9_00000000");
    EXPECT_EQ(name_key(0xFFFFFFFF, L"x", 0x10000000), "ffffffff_x_10000000");
}

TEST(FileNames, EntryHasTheFieldsOfTheAttribute) {
    record_builder builder(64);
    builder.standard_information().file_name(40, u"r\u00e9sum\u00e9.txt",
                                             {.parent_sequence = std::uint16_t{9}, .real = 77});
    const support::bytes record = builder.build_before_fixup();
    CNtfs ntfs(nullptr, 0, 33);
    name_entry_map map;
    ASSERT_TRUE(ntfs.get_file_names(map, 64, record));
    ASSERT_EQ(map.size(), 1u);
    const auto& [key, entry] = *map.begin();
    EXPECT_EQ(key, "00000028_r\xc3\xa9sum\xc3\xa9.txt_00000040");
    EXPECT_EQ(entry.key, key);
    EXPECT_EQ(entry.name, L"r\u00e9sum\u00e9.txt");
    EXPECT_EQ(entry.parent_ref, file_reference(40, 9));
    EXPECT_EQ(entry.is_dos_name, 0);
    EXPECT_EQ(entry.record_number, 64u);
    const auto at = static_cast<std::ptrdiff_t>(builder.attribute_offset(support::type::file_name));
    EXPECT_TRUE(
        std::equal(entry.attrib_head.begin(), entry.attrib_head.end(), record.begin() + at));
    EXPECT_TRUE(std::equal(entry.file_name_body.begin(), entry.file_name_body.end(),
                           record.begin() + at + 24));
    EXPECT_EQ(ql::le64(entry.file_name_body, 48), 77u);
}

TEST(FileNames, NumberInTheKeyIsTheOneInTheRecord) {
    record_builder builder(64);
    builder.file_name(5, u"a").own_number(0x1234);
    CNtfs ntfs(nullptr, 0, 33);
    name_entry_map map;
    ASSERT_TRUE(ntfs.get_file_names(map, 64, builder.build_before_fixup()));
    EXPECT_EQ(map.begin()->first, "00000005_a_00001234");
    EXPECT_EQ(map.begin()->second.record_number, 0x1234u);
}

TEST(FileNames, DosNameIsSkippedUnlessAllNamespacesAreRequested) {
    record_builder builder(64);
    builder.file_name(5, u"Long name.txt", {.space = support::win32})
        .file_name(5, u"LONGNA~1.TXT", {.space = support::dos});
    const support::bytes record = builder.build_before_fixup();
    EXPECT_THAT(names_in(record), ElementsAre(L"Long name.txt"));
    EXPECT_THAT(names_in(record, true), ElementsAre(L"LONGNA~1.TXT", L"Long name.txt"));
}

TEST(FileNames, EvenNamespacesExceptZeroAreDosNames) {
    const struct {
        std::uint8_t name_space;
        bool listed;
        std::uint8_t is_dos_name;
    } cases[] = {{0, true, 0},  {1, true, 0}, {2, false, 1}, {3, true, 0},
                 {4, false, 0}, {5, true, 0}, {6, false, 0}, {255, true, 0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(int{c.name_space});
        record_builder builder(64);
        builder.file_name(5, u"n", {.space = static_cast<support::name_space>(c.name_space)});
        const support::bytes record = builder.build_before_fixup();
        EXPECT_EQ(names_in(record).size(), c.listed ? 1u : 0u);

        CNtfs ntfs(nullptr, 0, 33);
        name_entry_map map;
        ASSERT_TRUE(ntfs.get_file_names(map, 64, record, true));
        EXPECT_EQ(map.begin()->second.is_dos_name, c.is_dos_name);
    }
}

TEST(FileNames, DosNameAloneIsNotAName) {
    record_builder builder(64);
    builder.file_name(5, u"SHORT", {.space = support::dos});
    EXPECT_THAT(names_in(builder.build_before_fixup()), IsEmpty());
}

TEST(FileNames, HardLinksAreSortedByParent) {
    record_builder builder(64);
    builder.file_name(0x30, u"a").file_name(0x05, u"z").file_name(0x30, u"A");
    EXPECT_THAT(names_in(builder.build_before_fixup()), ElementsAre(L"z", L"A", L"a"));
}

TEST(FileNames, FilterComparesTheParentWithoutItsSequence) {
    record_builder builder(64);
    builder.file_name(40, u"here", {.parent_sequence = std::uint16_t{3}})
        .file_name(41, u"there")
        .file_name(40, u"here too", {.parent_sequence = std::uint16_t{0xFFFF}});
    const support::bytes record = builder.build_before_fixup();
    // In the keys, "_" follows the name, and a blank sorts before "_".
    EXPECT_THAT(names_in(record, false, 40), ElementsAre(L"here too", L"here"));
    EXPECT_THAT(names_in(record, false, 41), ElementsAre(L"there"));
    EXPECT_THAT(names_in(record, false, 42), IsEmpty());
    EXPECT_THAT(names_in(record, false, file_reference(40, 3)), IsEmpty());
}

TEST(FileNames, FirstOfTwoEqualNamesIsKept) {
    record_builder builder(64);
    builder.file_name(5, u"twice", {.real = 1}).file_name(5, u"twice", {.real = 2});
    CNtfs ntfs(nullptr, 0, 33);
    name_entry_map map;
    ASSERT_TRUE(ntfs.get_file_names(map, 64, builder.build_before_fixup()));
    ASSERT_EQ(map.size(), 1u);
    EXPECT_EQ(ql::le64(map.begin()->second.file_name_body, 48), 1u);
}

TEST(FileNames, NameWithoutUnitsOrWithoutValueIsSkipped) {
    record_builder empty_name(64);
    empty_name.file_name(5, u"").file_name(5, u"b");
    EXPECT_THAT(names_in(empty_name.build_before_fixup()), ElementsAre(L"b"));

    record_builder no_value(64);
    no_value.file_name(5, u"a").edit(16, 0, 4).file_name(5, u"b");
    EXPECT_THAT(names_in(no_value.build_before_fixup()), ElementsAre(L"b"));
}

TEST(FileNames, NonResidentFlagIsIgnored) {
    record_builder builder(64);
    builder.file_name(5, u"a").edit(8, 1, 1);
    EXPECT_THAT(names_in(builder.build_before_fixup()), ElementsAre(L"a"));
}

TEST(FileNames, NameIsTruncatedAtTheEndOfTheRecord) {
    record_builder builder(64);
    builder.file_name(5, u"abcdef");
    const std::size_t name_at = builder.attribute_offset(support::type::file_name) + 24 + 66;
    support::bytes record = builder.build_before_fixup();
    record[name_at - 2] = 255;  // units
    record.resize(name_at + 6);
    EXPECT_THAT(names_in(record), ElementsAre(L"abc"));
    record.resize(name_at + 5);  // without the high byte of the last unit
    EXPECT_THAT(names_in(record), ElementsAre(L"abc"));
    record.resize(name_at + 4);
    EXPECT_THAT(names_in(record), ElementsAre(L"ab"));
}

TEST(FileNames, WalkEndsAtAnAttributeOfMoreThan1024Bytes) {
    const struct {
        const char* name;
        std::size_t in_front;  // bytes of the attribute before the first name
        std::size_t between;   // bytes of the attribute between the two names
        std::vector<std::wstring> expected;
    } cases[] = {
        {"small attributes", 32, 32, {L"one", L"two"}},
        {"1024 before the names", 1024, 32, {L"one", L"two"}},
        {"1032 before the names", 1032, 32, {}},
        {"1016 after a name", 32, 1016, {L"one", L"two"}},
        {"1024 after a name", 32, 1024, {L"one"}},
        {"1032 after a name", 32, 1032, {L"one"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        record_builder builder(64, 4096);
        builder.keep_order();
        add_filler(builder, c.in_front);
        builder.file_name(5, u"one");
        add_filler(builder, c.between);
        builder.file_name(5, u"two");
        EXPECT_EQ(names_in(builder.build_before_fixup()), c.expected);
    }
}

TEST(FileNames, LaterAttributeAfterANameEndsTheWalkOnlyAbove1024Bytes) {
    for (const std::size_t length : {1024u, 1032u}) {
        SCOPED_TRACE(length);
        record_builder builder(64, 4096);
        builder.keep_order().file_name(5, u"one");
        add_filler(builder, 32);
        add_filler(builder, length);
        builder.file_name(5, u"two");
        EXPECT_EQ(names_in(builder.build_before_fixup()).size(), length == 1024 ? 2u : 1u);
    }
}

TEST(FileNames, NameAttributeOfLengthZeroIsTakenAndEndsTheWalk) {
    record_builder builder(64);
    builder.file_name(5, u"one").edit(4, 0, 4).file_name(5, u"two");
    EXPECT_THAT(names_in(builder.build_before_fixup()), ElementsAre(L"one"));
}

TEST(FileNames, EndMarkerEndsTheWalk) {
    record_builder builder(64);
    builder.keep_order().file_name(5, u"one");
    builder.raw_attribute({0xFF, 0xFF, 0xFF, 0xFF, 8, 0, 0, 0});
    builder.file_name(5, u"two");
    EXPECT_THAT(names_in(builder.build_before_fixup()), ElementsAre(L"one"));
}

TEST(FileNames, EveryPrefixOfARecordHasNoAdditionalNames) {
    record_builder builder(64);
    builder.standard_information()
        .file_name(5, u"first.txt")
        .file_name(40, u"second.txt")
        .data("x");
    const support::bytes whole = builder.build_before_fixup();
    std::size_t most = 0;
    for (std::size_t size = 0; size <= whole.size(); ++size) {
        SCOPED_TRACE(size);
        const support::bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
        const std::size_t count = names_in(cut).size();
        EXPECT_GE(count, most);
        most = std::max(most, count);
    }
    EXPECT_EQ(most, 2u);
}

// --- names in extension records ---

// Entry 64 has "base name" and an attribute list; entry 65 is its extension.
struct extended_entry {
    support::ntfs_image image;

    extended_entry() {
        image.entry(65).base(image.entry(64).reference()).file_name(5, u"far name").id(7);
        image.entry(65).data("x").id(8);
    }

    void list(const std::vector<support::list_entry>& entries) {
        image.entry(64).standard_information().attribute_list(entries).file_name(5, u"base name");
    }
};

TEST(FileNames, ExtensionRecordAddsItsNames) {
    extended_entry entry;
    entry.list({{.type = support::type::file_name, .record = file_reference(65, 1), .id = 7}});
    open_volume volume(entry.image);
    ASSERT_TRUE(volume.opened);
    EXPECT_THAT(names_of_entry(volume, 64), ElementsAre(L"base name", L"far name"));
}

TEST(FileNames, ListIsFoundAfterALargeAttribute) {
    support::ntfs_image image({.record = 4096});
    image.entry(65).base(image.entry(64).reference()).file_name(5, u"far name").id(7);
    image.entry(64)
        .keep_order()
        .standard_information()
        .file_name(5, u"base name")
        .data(support::bytes(2000, 0x55))
        .attribute_list(
            {{.type = support::type::file_name, .record = file_reference(65, 1), .id = 7}});
    open_volume volume(image);
    ASSERT_TRUE(volume.opened);
    EXPECT_THAT(names_of_entry(volume, 64), ElementsAre(L"base name", L"far name"));
}

TEST(FileNames, AnyListedAttributeOfAnExtensionAddsItsNames) {
    extended_entry entry;
    entry.list({{.type = support::type::data, .record = file_reference(65, 1), .id = 8}});
    open_volume volume(entry.image);
    EXPECT_THAT(names_of_entry(volume, 64), ElementsAre(L"base name", L"far name"));
}

TEST(FileNames, ListedAttributeMustBeInTheExtensionByTypeAndId) {
    const struct {
        const char* name;
        std::uint32_t type;
        std::uint16_t id;
    } cases[] = {{"other id", support::type::data, 9}, {"other type", support::type::ea, 8}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        extended_entry entry;
        entry.list({{.type = c.type, .record = file_reference(65, 1), .id = c.id}});
        open_volume volume(entry.image);
        EXPECT_THAT(names_of_entry(volume, 64), ElementsAre(L"base name"));
    }
}

TEST(FileNames, SequenceNumberInTheListIsNotCompared) {
    extended_entry entry;
    entry.list({{.type = support::type::data, .record = file_reference(65, 0x7777), .id = 8}});
    open_volume volume(entry.image);
    EXPECT_THAT(names_of_entry(volume, 64), ElementsAre(L"base name", L"far name"));
}

TEST(FileNames, UnusableExtensionsAreSkipped) {
    for (const char* keyword : {"BAAD", "INDX", "XXXX"}) {
        SCOPED_TRACE(keyword);
        extended_entry entry;
        entry.list({{.type = support::type::data, .record = 0x10000000, .id = 8},
                    {.type = support::type::data, .record = file_reference(65, 1), .id = 8}});
        entry.image.entry(65).keyword(keyword);
        open_volume volume(entry.image);
        EXPECT_THAT(names_of_entry(volume, 64), ElementsAre(L"base name"));
    }
}

TEST(FileNames, EntryAfterAnUnusableExtensionIsUsed) {
    extended_entry entry;
    entry.list({{.type = support::type::data, .record = 0x10000000, .id = 8},
                {.type = support::type::data, .record = file_reference(65, 1), .id = 8}});
    open_volume volume(entry.image);
    EXPECT_THAT(names_of_entry(volume, 64), ElementsAre(L"base name", L"far name"));
}

TEST(FileNames, ExtensionWithoutAttributesIsSkipped) {
    extended_entry entry;
    entry.list({{.type = support::type::data, .record = file_reference(65, 1), .id = 8}});
    entry.image.entry(65).put_before_fixup(20, 0, 2);
    open_volume volume(entry.image);
    EXPECT_THAT(names_of_entry(volume, 64), ElementsAre(L"base name"));
}

TEST(FileNames, SearchInAnExtensionEndsAtAnAttributeOfTheRecordSize) {
    extended_entry entry;
    entry.list({{.type = support::type::data, .record = file_reference(65, 1), .id = 8}});
    // The name before the data has the length of a record, so the data is not reached.
    entry.image.entry(65).put_before_fixup(56 + 4, 1024, 4);
    open_volume volume(entry.image);
    EXPECT_THAT(names_of_entry(volume, 64), ElementsAre(L"base name"));
}

TEST(FileNames, SearchInAnExtensionEndsAtAnAttributeOfLengthZero) {
    extended_entry entry;
    entry.list({{.type = support::type::data, .record = file_reference(65, 1), .id = 8}});
    record_builder& extension = entry.image.entry(65);
    const std::size_t name_at = extension.attribute_offset(support::type::file_name);
    extension.put_before_fixup(name_at + 4, 0, 4);  // the listed $DATA is after it
    open_volume volume(entry.image);
    EXPECT_THAT(names_of_entry(volume, 64), ElementsAre(L"base name"));
}

TEST(FileNames, EachExtensionOfAListAddsItsNamesOnce) {
    extended_entry entry;
    entry.image.entry(66).base(entry.image.entry(64).reference()).file_name(5, u"third").id(3);
    entry.list({{.type = support::type::file_name, .record = file_reference(65, 1), .id = 7},
                {.type = support::type::data, .record = file_reference(65, 1), .id = 8},
                {.type = support::type::file_name, .record = file_reference(66, 1), .id = 3},
                {.type = support::type::file_name, .record = file_reference(65, 1), .id = 7}});
    open_volume volume(entry.image);
    EXPECT_THAT(names_of_entry(volume, 64), ElementsAre(L"base name", L"far name", L"third"));
}

TEST(FileNames, ListInClustersNeedsAVolume) {
    record_builder builder(64);
    builder.attribute_list_runs({{8, 1}}, {.real = 32}).file_name(5, u"base name");
    EXPECT_THAT(names_in(builder.build_before_fixup()), ElementsAre(L"base name"));
}

TEST(FileNames, ListEndsAtAnEntryOfLengthZeroOrAtItsSize) {
    const support::list_entry base_entry{
        .type = support::type::file_name, .record = file_reference(64, 1), .id = 2};
    const support::list_entry far{
        .type = support::type::data, .record = file_reference(65, 1), .id = 8};
    extended_entry zero_length;
    zero_length.list({base_entry, {.length = std::uint16_t{0}}, far});
    open_volume first(zero_length.image);
    EXPECT_THAT(names_of_entry(first, 64), ElementsAre(L"base name"));

    extended_entry cut;
    cut.list({base_entry, far});
    cut.image.entry(64).put_before_fixup(
        cut.image.entry(64).attribute_offset(support::type::attribute_list) + 16, 32, 4);
    open_volume second(cut.image);
    EXPECT_THAT(names_of_entry(second, 64), ElementsAre(L"base name"));

    extended_entry one_byte_more;
    one_byte_more.list({base_entry, far});
    one_byte_more.image.entry(64).put_before_fixup(
        one_byte_more.image.entry(64).attribute_offset(support::type::attribute_list) + 16, 32 + 26,
        4);
    open_volume third(one_byte_more.image);
    EXPECT_THAT(names_of_entry(third, 64), ElementsAre(L"base name", L"far name"));
}

TEST(FileNames, NonResidentListIsReadThroughItsRuns) {
    extended_entry entry;
    const support::bytes list = support::attribute_list_value(
        {{.type = support::type::data, .record = file_reference(65, 1), .id = 8}});
    const support::cluster_runs runs = entry.image.store(list);
    entry.image.entry(64).attribute_list_runs(runs, {.real = list.size()});
    entry.image.entry(64).file_name(5, u"base name");
    open_volume volume(entry.image);
    EXPECT_THAT(names_of_entry(volume, 64), ElementsAre(L"base name", L"far name"));
}

TEST(FileNames, NonResidentListEndsAtItsRealSize) {
    extended_entry entry;
    const support::bytes list = support::attribute_list_value(
        {{.type = support::type::file_name, .record = file_reference(64, 1), .id = 2},
         {.type = support::type::data, .record = file_reference(65, 1), .id = 8}});
    const support::cluster_runs runs = entry.image.store(list);
    entry.image.entry(64).attribute_list_runs(runs, {.real = 32});
    entry.image.entry(64).file_name(5, u"base name");
    open_volume volume(entry.image);
    EXPECT_THAT(names_of_entry(volume, 64), ElementsAre(L"base name"));
}

TEST(FileNames, ListLargerThanTheSourceIsSkipped) {
    extended_entry entry;
    entry.image.entry(64).nonresident(support::type::attribute_list, u"",
                                      support::run_list().add(8, 0xFFFFFFFF).terminated(), {{8, 1}},
                                      {.real = 4096});
    entry.image.entry(64).file_name(5, u"base name");
    open_volume volume(entry.image);
    EXPECT_THAT(names_of_entry(volume, 64), ElementsAre(L"base name"));
}

TEST(FileNames, ExtensionRecordsOf512BytesAreSkipped) {
    support::ntfs_image image({.cluster = 512, .record = 512});
    image.entry(65).base(image.entry(64).reference()).file_name(5, u"far").id(7);
    image.entry(64)
        .attribute_list(
            {{.type = support::type::file_name, .record = file_reference(65, 1), .id = 7}})
        .file_name(5, u"near");
    open_volume volume(image);
    ASSERT_TRUE(volume.opened);
    EXPECT_THAT(names_of_entry(volume, 64), ElementsAre(L"near"));
}

}  // namespace

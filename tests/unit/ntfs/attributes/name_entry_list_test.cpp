#include "ntfs/attributes/name_entry_list.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "ntfs/volume/ntfs.h"
#include "support/record_builder.h"
#include "unit/ntfs/attributes/names_of_entry.h"

namespace {

using namespace entry_names;

using support::record_builder;
using testing::ElementsAre;

std::vector<std::wstring> names_in_list(const name_entry_list& list) {
    std::vector<std::wstring> names;
    for (std::size_t i = 0; i < list.size(); ++i)
        names.push_back(list[i].name);
    return names;
}

TEST(NameEntryList, ListHasTheNamesInTheOrderOfTheMap) {
    record_builder builder(64);
    for (const char16_t* name : {u"delta", u"alpha", u"charlie", u"alpha", u"bravo"})
        builder.file_name(5, name);
    const support::bytes record = builder.build_before_fixup();
    CNtfs ntfs(nullptr, 0, 33);
    name_entry_list list;
    EXPECT_TRUE(ntfs.get_file_names(list, 64, record, {.all_namespaces = true}));
    EXPECT_THAT(names_in_list(list), ElementsAre(L"alpha", L"bravo", L"charlie", L"delta"));
    EXPECT_EQ(names_in_list(list), names_in(record, true));
}

TEST(NameEntryList, ListKeepsNoDataOfThePreviousEntry) {
    record_builder long_record(64);
    long_record.file_name(5, u"a long name of a file", {.space = support::win32, .real = 77})
        .file_name(5, u"ALONGN~1", {.space = support::dos});
    CNtfs ntfs(nullptr, 0, 33);
    name_entry_list list;
    EXPECT_TRUE(
        ntfs.get_file_names(list, 64, long_record.build_before_fixup(), {.all_namespaces = true}));
    ASSERT_EQ(list.size(), 2u);

    // A name at the end of a record, whose value is truncated.
    record_builder short_record(65);
    short_record.file_name(6, u"b");
    support::bytes record = short_record.build_before_fixup();
    record.resize(56 + 24 + 68);
    EXPECT_TRUE(ntfs.get_file_names(list, 65, record, {.all_namespaces = true}));
    ASSERT_EQ(list.size(), 1u);
    EXPECT_EQ(list[0].name, L"b");
    EXPECT_EQ(list[0].parent_entry(), 6u);
    EXPECT_EQ(list[0].is_dos_name, 0);
    EXPECT_EQ(list[0].record_number, 65u);
    EXPECT_FALSE(ntfs.get_file_names(list, 65, {}, {.all_namespaces = true}));
    EXPECT_TRUE(list.empty());
}

// Returns the $FILE_NAME attributes of a record.
std::vector<record_attrib> attributes_in(const support::bytes& record) {
    std::vector<record_attrib> found;
    for (record_attrib name = first_attrib(record); name.type() == attrib_type::file_name;
         name.at += name.length()) {
        found.push_back(name);
    }
    return found;
}

TEST(NameEntryList, NamesAreSortedByKeyInAnyOrderOfTheAttributes) {
    record_builder builder(64);
    builder.file_name(64, u"a").file_name(5, u"b").file_name(5, u"B").file_name(5, u"a");
    const support::bytes record = builder.build_before_fixup();
    std::vector<record_attrib> attributes = attributes_in(record);
    ASSERT_EQ(attributes.size(), 4u);
    std::vector<std::size_t> order = {0, 1, 2, 3};
    do {
        name_entry_list list;
        for (const std::size_t i : order)
            list.add(attributes[i]);
        EXPECT_THAT(names_in_list(list), ElementsAre(L"B", L"a", L"b", L"a"));
        EXPECT_EQ(list[3].parent_ref, support::file_reference(64, 1));
    } while (std::next_permutation(order.begin(), order.end()));
}

TEST(NameEntryList, FirstOfTwoNamesWithTheSameKeyIsKept) {
    record_builder builder(64);
    builder.file_name(5, u"a", {.space = support::posix}).file_name(5, u"b");
    builder.file_name(5, u"a", {.space = support::dos});
    const support::bytes record = builder.build_before_fixup();
    name_entry_list list;
    for (const record_attrib& attribute : attributes_in(record))
        list.add(attribute);
    EXPECT_THAT(names_in_list(list), ElementsAre(L"a", L"b"));
    EXPECT_EQ(list[0].is_dos_name, 0);
}

TEST(NameEntryList, IsEmptyAfterClear) {
    record_builder builder(64);
    const support::bytes record =
        builder.file_name(5, u"a").file_name(5, u"b").build_before_fixup();
    name_entry_list list;
    EXPECT_TRUE(list.empty());
    list.add(attributes_in(record)[1]);
    EXPECT_FALSE(list.empty());
    list.clear();
    EXPECT_TRUE(list.empty());
    EXPECT_EQ(list.size(), 0u);
    list.add(attributes_in(record)[0]);
    EXPECT_THAT(names_in_list(list), ElementsAre(L"a"));
}

TEST(NameEntryList, MovesItsNamesWithTheirKeys) {
    record_builder builder(64);
    const support::bytes record =
        builder.file_name(5, u"b").file_name(5, u"a").build_before_fixup();
    for (const std::size_t count : {1u, 2u}) {
        SCOPED_TRACE(count);
        name_entry_list list;
        for (std::size_t i = 0; i < count; ++i)
            list.add(attributes_in(record)[i]);
        name_entry_map names;
        names["old"];
        list.move_to(names);
        EXPECT_TRUE(list.empty());
        EXPECT_EQ(names.size(), count);
        EXPECT_EQ(names.at("00000005_b_00000040").name, L"b");
        for (const auto& [key, entry] : names)
            EXPECT_EQ(entry.key, key);
    }
}

}  // namespace

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

TEST(FileNames, ListHasTheNamesInTheOrderOfTheMap) {
    record_builder builder(64);
    for (const char16_t* name : {u"delta", u"alpha", u"charlie", u"alpha", u"bravo"})
        builder.file_name(5, name);
    const support::bytes record = builder.build_before_fixup();
    CNtfs ntfs(nullptr, 0, 33);
    name_entry_list list;
    EXPECT_TRUE(ntfs.get_file_names(list, 64, record, true, no_parent_filter));
    EXPECT_THAT(names_in_list(list), ElementsAre(L"alpha", L"bravo", L"charlie", L"delta"));
    EXPECT_EQ(names_in_list(list), names_in(record, true));
}

TEST(FileNames, ListKeepsNoDataOfThePreviousEntry) {
    record_builder long_record(64);
    long_record.file_name(5, u"a long name of a file", {.space = support::win32, .real = 77})
        .file_name(5, u"ALONGN~1", {.space = support::dos});
    CNtfs ntfs(nullptr, 0, 33);
    name_entry_list list;
    EXPECT_TRUE(
        ntfs.get_file_names(list, 64, long_record.build_before_fixup(), true, no_parent_filter));
    ASSERT_EQ(list.size(), 2u);

    // A name at the end of a record, whose value is truncated.
    record_builder short_record(65);
    short_record.file_name(6, u"b");
    support::bytes record = short_record.build_before_fixup();
    record.resize(56 + 24 + 68);
    EXPECT_TRUE(ntfs.get_file_names(list, 65, record, true, no_parent_filter));
    ASSERT_EQ(list.size(), 1u);
    EXPECT_EQ(list[0].name, L"b");
    EXPECT_EQ(entry_of(list[0].parent_ref), 6u);
    EXPECT_EQ(list[0].is_dos_name, 0);
    EXPECT_EQ(list[0].record_number, 65u);
    EXPECT_FALSE(ntfs.get_file_names(list, 65, {}, true, no_parent_filter));
    EXPECT_TRUE(list.empty());
}

}  // namespace

// Tests the options of a pass, its results and the functions for single attributes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "ntfs/attributes/attrib_pass.h"
#include "ntfs/volume/ntfs.h"
#include "support/ntfs_image.h"
#include "support/record_builder.h"
#include "unit/ntfs/open_volume.h"

namespace {

using support::record_builder;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr std::uint32_t record_size = 1024;

constexpr std::uint64_t key_of(std::uint16_t id, std::uint32_t type) {
    return std::uint64_t{id} << 48 | type;
}

// Returns a volume whose entry 64 has an attribute of each kind, with these ids:
//
//   1 0x10   2 0x30   3 0x40, 64 bytes   4 0x80, resident   5 0x80 "s", two runs   6 0xA0
support::ntfs_image entry_of_all_kinds() {
    support::ntfs_image image;
    record_builder& entry = image.entry(64);
    entry.standard_information().id(1).file_name(5, u"name").id(2);
    entry.object_id(support::pattern(64)).id(3).data("content").id(4);
    entry.stream_runs(u"s", {{300, 2}, {200, 3}}).id(5);
    entry.nonresident(support::type::index_allocation, u"$I30", {{400, 1}}).id(6);
    return image;
}

std::vector<std::uint64_t> keys_of(const attrib_pass& pass) {
    std::vector<std::uint64_t> keys;
    for (const auto& [key, kept] : pass.attributes())
        keys.push_back(key);
    return keys;
}

std::vector<std::wstring> names_of(const attrib_pass& pass) {
    std::vector<std::wstring> names;
    pass.file_names().for_each([&](const kept_name& name) { names.push_back(name.name); });
    return names;
}

TEST(AttribPass, KeepsEverythingByDefault) {
    open_volume volume(entry_of_all_kinds());
    attrib_pass pass(volume.ntfs, {});
    ASSERT_TRUE(pass.run(64, record_size));
    EXPECT_THAT(pass.std_infos(), SizeIs(1));
    EXPECT_TRUE(pass.std_infos().contains(1));
    EXPECT_THAT(names_of(pass), ElementsAre(L"name"));
    EXPECT_THAT(keys_of(pass),
                ElementsAre(key_of(3, 0x40), key_of(4, 0x80), key_of(5, 0x80), key_of(6, 0xA0)));
    EXPECT_EQ(pass.attributes().at(key_of(3, 0x40)).value, support::pattern(64));
    EXPECT_EQ(pass.attributes().at(key_of(4, 0x80)).value,
              support::as_bytes(std::string_view("content")));
    EXPECT_EQ(pass.attributes().at(key_of(5, 0x80)).name, L"s");
    EXPECT_THAT(pass.attributes().at(key_of(5, 0x80)).runs, SizeIs(2));
    EXPECT_TRUE(pass.seen_unnamed_data());
}

TEST(AttribPass, HeadIsTheStartOfTheAttribute) {
    open_volume volume(entry_of_all_kinds());
    attrib_pass pass(volume.ntfs, {});
    ASSERT_TRUE(pass.run(64, record_size));
    for (const auto& [key, kept] : pass.attributes()) {
        SCOPED_TRACE(key);
        EXPECT_EQ(kept.header().type(), key & 0xFFFFFFFF);
        EXPECT_EQ(kept.header().id(), key >> 48);
        EXPECT_EQ(kept.header().length() % 8, 0u);
    }
    // A resident attribute of 24 + 7 bytes, padded to 32; the other bytes are of the next one.
    const kept_attrib& data = pass.attributes().at(key_of(4, 0x80));
    EXPECT_EQ(data.header().length(), 32u);
    EXPECT_TRUE(std::all_of(data.head.begin() + 32, data.head.end(),
                            [](std::uint8_t byte) { return byte == 0; }));
}

TEST(AttribPass, WithoutValuesOnlyTheObjectIdIsCopied) {
    open_volume volume(entry_of_all_kinds());
    attrib_pass pass(volume.ntfs, {.with_values = false});
    ASSERT_TRUE(pass.run(64, record_size));
    support::bytes id = support::pattern(64);
    id.resize(16);
    EXPECT_EQ(pass.attributes().at(key_of(3, 0x40)).value, id);
    EXPECT_THAT(pass.attributes().at(key_of(4, 0x80)).value, IsEmpty());
    EXPECT_THAT(pass.attributes().at(key_of(5, 0x80)).runs, SizeIs(2));
}

TEST(AttribPass, WithoutRunsNoListIsDecoded) {
    open_volume volume(entry_of_all_kinds());
    attrib_pass pass(volume.ntfs, {.with_runs = false});
    ASSERT_TRUE(pass.run(64, record_size));
    for (const auto& [key, kept] : pass.attributes())
        EXPECT_THAT(kept.runs, IsEmpty()) << key;
    EXPECT_THAT(pass.attributes().at(key_of(4, 0x80)).value, SizeIs(7));
}

TEST(AttribPass, WithoutNamesNeitherNamesNorTimesAreKept) {
    open_volume volume(entry_of_all_kinds());
    attrib_pass pass(volume.ntfs, {.with_names = false});
    ASSERT_TRUE(pass.run(64, record_size));
    EXPECT_THAT(pass.std_infos(), IsEmpty());
    EXPECT_THAT(names_of(pass), IsEmpty());
    EXPECT_THAT(keys_of(pass), SizeIs(4));
}

TEST(AttribPass, OnlyListedTypesAreKeptOnRequest) {
    const auto keys = [](bool only_listed) {
        support::ntfs_image image;
        std::uint16_t id = 1;
        for (const std::uint32_t type :
             {0x40u, 0x50u, 0x60u, 0x70u, 0x80u, 0x90u, 0xA0u, 0xB0u, 0xD0u, 0xE0u, 0x100u, 0x200u})
            image.entry(64).resident(type, u"", support::pattern(16)).id(id++);
        open_volume volume(image);
        attrib_pass pass(volume.ntfs, {.only_listed = only_listed});
        EXPECT_TRUE(pass.run(64, record_size));
        return keys_of(pass);
    };
    EXPECT_THAT(keys(true), ElementsAre(key_of(1, 0x40), key_of(5, 0x80), key_of(7, 0xA0)));
    EXPECT_THAT(keys(false), SizeIs(12));
}

TEST(AttribPass, EachNewKeyIsReportedOnceWithItsAttribute) {
    support::ntfs_image image;
    image.entry(64).stream_runs(u"s", {{300, 2}}).id(5);
    image.entry(64).stream_runs(u"s", {{200, 3}}, {.start_vcn = 2}).id(5).data("abc").id(6);
    open_volume volume(image);
    std::vector<std::uint64_t> keys;
    attrib_pass pass(volume.ntfs, {.on_insert = [&](std::uint64_t key, const kept_attrib& kept,
                                                    const record_attrib& attribute) {
                         keys.push_back(key);
                         EXPECT_EQ(attribute_key(attribute), key);
                         EXPECT_EQ(kept.type, attribute.type());
                         EXPECT_EQ(attribute.record.data(), pass.base_record().data());
                     }});
    ASSERT_TRUE(pass.run(64, record_size));
    std::sort(keys.begin(), keys.end());
    EXPECT_THAT(keys, ElementsAre(key_of(5, 0x80), key_of(6, 0x80)));
}

TEST(AttribPass, RunReplacesTheResultsOfAnEarlierRun) {
    support::ntfs_image image = entry_of_all_kinds();
    image.entry(65).stream(u"t", "abc").id(9);
    image.entry(66).keyword("BAAD").data("x");
    open_volume volume(image);
    attrib_pass pass(volume.ntfs, {});
    ASSERT_TRUE(pass.run(64, record_size));
    ASSERT_TRUE(pass.run(65, record_size));
    EXPECT_THAT(pass.std_infos(), IsEmpty());
    EXPECT_THAT(names_of(pass), IsEmpty());
    EXPECT_THAT(keys_of(pass), ElementsAre(key_of(9, 0x80)));
    EXPECT_FALSE(pass.seen_unnamed_data());
    EXPECT_FALSE(pass.run(66, record_size));
    EXPECT_THAT(keys_of(pass), IsEmpty());
    ASSERT_TRUE(pass.run(64, record_size));
    EXPECT_THAT(keys_of(pass), SizeIs(4));
}

TEST(AttribPass, NamesAreInTheOrderOfTheirKeys) {
    support::ntfs_image image;
    record_builder& entry = image.entry(64);
    entry.file_name(64, u"a").id(1).file_name(5, u"z").id(2).file_name(5, u"B").id(3);
    entry.file_name(5, u"z").id(4);
    open_volume volume(image);
    attrib_pass pass(volume.ntfs, {});
    ASSERT_TRUE(pass.run(64, record_size));
    EXPECT_THAT(names_of(pass), ElementsAre(L"B", L"z", L"a"));
    std::vector<std::uint16_t> ids;
    pass.file_names().for_each([&](const kept_name& name) { ids.push_back(name.attrib_id); });
    EXPECT_THAT(ids, ElementsAre(3, 2, 1)) << "the first of two with one key";
}

// Records of 128 KiB, whose attributes extend over the records after them.
TEST(AttribPass, OnlyLargeRecordsAreFreed) {
    for (const std::uint32_t value_size : {100u, 70000u}) {
        SCOPED_TRACE(value_size);
        support::ntfs_image image({.clusters = 512});
        image.entry(64).data("x").id(1).edit(4, 24 + value_size, 4).edit(16, value_size, 4);
        open_volume volume(image);
        attrib_pass pass(volume.ntfs, {});
        ASSERT_TRUE(pass.run(64, 0x20000));
        const bool is_large = value_size > 0x10000;
        EXPECT_GE(pass.base_record().size(), value_size);
        pass.free_large_records();
        EXPECT_EQ(pass.base_record().empty(), is_large);
        EXPECT_THAT(pass.attributes().at(key_of(1, 0x80)).value, SizeIs(value_size));
    }
}

// --- single attributes ---

// Returns the attribute of `type` in a record.
record_attrib attribute_in(const support::bytes& record, std::uint32_t type) {
    record_attrib attribute;
    EXPECT_TRUE(find_attrib(record, type, attribute, 0xFFFFFFFF));
    return attribute;
}

TEST(AttributeKey, IsTheIdThenTheType) {
    const struct {
        std::uint32_t type;
        std::uint64_t key;
    } cases[] = {
        {0x10, 0x1234000000000010},  {0x80, 0x1234000000000080},   {0xF0, 0x12340000000000F0},
        {0x100, 0x1234000000000100}, {0x110, 0x12340000FFFFFFFF},  {0x88, 0x12340000FFFFFFFF},
        {0x08, 0x12340000FFFFFFFF},  {0x1000, 0x12340000FFFFFFFF},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.type);
        record_builder builder(64);
        const support::bytes record =
            builder.resident(c.type, u"", {1}).id(0x1234).build_before_fixup();
        EXPECT_EQ(attribute_key(attribute_in(record, c.type)), c.key);
    }
}

TEST(AttributeName, IsEmptyIfItsUnitsExtendPastTheRecord) {
    record_builder builder(64);
    const support::bytes record = builder.stream(u"abc", "x").build_before_fixup();
    const record_attrib attribute = attribute_in(record, 0x80);
    EXPECT_EQ(attribute_name(attribute, 24 + 6), L"abc");
    EXPECT_EQ(attribute_name(attribute, 24 + 3), L"abc") << "units, not bytes";
    EXPECT_EQ(attribute_name(attribute, 24 + 2), L"");
    EXPECT_EQ(attribute_name(attribute, 0), L"");
}

TEST(VolumeNameValue, IsTheResidentValue) {
    const support::bytes name = support::as_bytes(std::u16string_view(u"r\u00e9seau"));
    record_builder builder(3);
    const support::bytes record =
        builder.resident(support::type::volume_name, u"", name).build_before_fixup();
    EXPECT_EQ(volume_name_value(attribute_in(record, 0x60)), "r\xc3\xa9seau");
    record_builder other(3);
    const support::bytes nonresident =
        other.nonresident(support::type::volume_name, u"", support::cluster_runs{{300, 1}})
            .build_before_fixup();
    EXPECT_EQ(volume_name_value(attribute_in(nonresident, 0x60)), "");
}

TEST(ReadFileName, EndsWithTheRecord) {
    record_builder builder(64);
    support::bytes record = builder.file_name(5, u"abcd").build_before_fixup();
    std::wstring name = L"previous";
    read_file_name(attribute_in(record, 0x30), name);
    EXPECT_EQ(name, L"abcd");
    // The value follows the header of 24 bytes; the name is at 66.
    record.resize(attribute_in(record, 0x30).at + 24 + 66 + 4);
    read_file_name(attribute_in(record, 0x30), name);
    EXPECT_EQ(name, L"ab");
}

}  // namespace

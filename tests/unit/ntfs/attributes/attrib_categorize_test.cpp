#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>

#include "ntfs/attributes/attrib_store.h"
#include "support/ntfs_image.h"
#include "support/run_list.h"
#include "unit/ntfs/attributes/categorized_entry.h"
#include "unit/ntfs/open_volume.h"

namespace {

using namespace entry_passes;

using support::file_reference;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;

TEST(AttribCategorize, RecordHeaderIsCopied) {
    support::ntfs_image image;
    image.entry(64)
        .standard_information()
        .sequence(0x1234)
        .base(file_reference(70, 9))
        .file_name(5, u"a");
    open_volume volume(image);
    const pass_result pass = categorized(volume, 64);
    ASSERT_TRUE(pass.result);
    EXPECT_EQ(pass.store.inode, 64u);
    EXPECT_EQ(pass.store.sequence, 0x1234);
    EXPECT_TRUE(pass.store.has_base);
    EXPECT_EQ(pass.store.base_ref, file_reference(70, 9));
    EXPECT_EQ(pass.store.record_bytes, image.entry(64).build_before_fixup());
    EXPECT_TRUE(std::equal(pass.store.header.begin(), pass.store.header.end(),
                           pass.store.record_bytes.begin()));
    EXPECT_EQ(pass.trace, "");
}

TEST(AttribCategorize, RecordWithoutABaseReferenceHasNoBase) {
    const pass_result pass = categorized_entry([](auto& entry) { entry.data("x"); });
    EXPECT_FALSE(pass.store.has_base);
    EXPECT_EQ(pass.store.base_ref, 0u);
}

TEST(AttribCategorize, StandardInformationKeepsItsFirst72Bytes) {
    const support::file_times times{.created = 1, .modified = 2, .mft_changed = 3, .accessed = 4};
    const pass_result pass = categorized_entry([&](auto& entry) {
        entry.standard_information({.times = times, .attributes = 0x21, .length = 80}).id(6);
    });
    ASSERT_THAT(pass.store.std_infos, SizeIs(1));
    const auto& [id, item] = *pass.store.std_infos.begin();
    EXPECT_EQ(id, 6);
    EXPECT_EQ(ql::le64(item.value, 0), 1u);
    EXPECT_EQ(ql::le64(item.value, 8), 2u);
    EXPECT_EQ(ql::le64(item.value, 16), 3u);
    EXPECT_EQ(ql::le64(item.value, 24), 4u);
    EXPECT_EQ(ql::le32(item.value, 32), 0x21u);
    EXPECT_FALSE(item.time_warning);
    EXPECT_EQ(item.warning, "");
    EXPECT_THAT(pass.store.attributes, IsEmpty());
}

TEST(AttribCategorize, ShortStandardInformationIsFilledWithZeros) {
    const pass_result pass = categorized_entry([](auto& entry) {
        entry.standard_information({.attributes = 0xFFFFFFFF, .length = 34});
        entry.data(support::bytes(64, 0xAA));
    });
    ASSERT_THAT(pass.store.std_infos, SizeIs(1));
    const auto& value = pass.store.std_infos.begin()->second.value;
    EXPECT_EQ(ql::le32(value, 32), 0xFFFFu);
    for (std::size_t i = 34; i < value.size(); ++i)
        EXPECT_EQ(value[i], 0) << i;
}

TEST(AttribCategorize, ZeroTimestampInStandardInformationIsMarkedNull) {
    for (std::size_t stamp = 0; stamp < 4; ++stamp) {
        SCOPED_TRACE(stamp);
        const pass_result pass = categorized_entry(
            [stamp](auto& entry) { entry.standard_information().edit(24 + stamp * 8, 0, 8); });
        ASSERT_THAT(pass.store.std_infos, SizeIs(1));
        EXPECT_TRUE(pass.store.std_infos.begin()->second.time_warning);
        EXPECT_EQ(pass.store.std_infos.begin()->second.warning, "null");
    }
}

TEST(AttribCategorize, FirstStandardInformationOfAnIdIsKept) {
    const pass_result pass = categorized_entry([](auto& entry) {
        entry.standard_information({.attributes = 1}).id(3);
        entry.standard_information({.attributes = 2}).id(3);
        entry.standard_information({.attributes = 4}).id(2);
    });
    ASSERT_THAT(pass.store.std_infos, SizeIs(2));
    EXPECT_EQ(ql::le32(pass.store.std_infos.at(2).value, 32), 4u);
    EXPECT_EQ(ql::le32(pass.store.std_infos.at(3).value, 32), 1u);
}

TEST(AttribCategorize, FileNamesAreKeptByKey) {
    const pass_result pass = categorized_entry([](auto& entry) {
        entry.file_name(5, u"Long name", {.space = support::win32}).id(2);
        entry.file_name(5, u"LONGNA~1", {.space = support::dos}).id(3);
        entry.own_number(0x9999);
    });
    ASSERT_THAT(pass.store.file_names, SizeIs(2));
    // The key has the number of the entry, not the one that the record states.
    const auto& dos = pass.store.file_names.at("00000005_LONGNA~1_00000040");
    const auto& win32 = pass.store.file_names.at("00000005_Long name_00000040");
    EXPECT_TRUE(dos.is_dos_name);
    EXPECT_EQ(dos.attrib_id, 3);
    EXPECT_EQ(dos.inode, 64u);
    EXPECT_EQ(dos.name, L"LONGNA~1");
    EXPECT_FALSE(win32.is_dos_name);
    EXPECT_EQ(win32.attrib_id, 2);
    EXPECT_FALSE(win32.time_warning);
    EXPECT_EQ(win32.warning, "");
    EXPECT_EQ(ql::le64(win32.value, 0), file_reference(5, 5));
    EXPECT_EQ(win32.value[64], 9);
}

TEST(AttribCategorize, SingleFileNameHasAKey) {
    const pass_result pass = categorized_entry([](auto& entry) { entry.file_name(5, u"one"); });
    ASSERT_THAT(pass.store.file_names, SizeIs(1));
    EXPECT_EQ(pass.store.file_names.begin()->first, "00000005_one_00000040");
}

TEST(AttribCategorize, ZeroTimestampInAFileNameIsMarkedNull) {
    for (std::size_t stamp = 0; stamp < 4; ++stamp) {
        SCOPED_TRACE(stamp);
        const pass_result pass = categorized_entry(
            [stamp](auto& entry) { entry.file_name(5, u"a").edit(24 + 8 + stamp * 8, 0, 8); });
        ASSERT_THAT(pass.store.file_names, SizeIs(1));
        EXPECT_TRUE(pass.store.file_names.begin()->second.time_warning);
        EXPECT_EQ(pass.store.file_names.begin()->second.warning, "null");
    }
}

TEST(AttribCategorize, FileNameWithoutUnitsIsKept) {
    const pass_result pass = categorized_entry([](auto& entry) { entry.file_name(5, u""); });
    ASSERT_THAT(pass.store.file_names, SizeIs(1));
    EXPECT_EQ(pass.store.file_names.begin()->first, "00000005__00000040");
}

TEST(AttribCategorize, FirstOfTwoEqualFileNamesIsKept) {
    const pass_result pass = categorized_entry([](auto& entry) {
        entry.file_name(5, u"a", {.real = 1}).file_name(5, u"a", {.real = 2});
        entry.file_name(5, u"a", {.real = 3});
    });
    ASSERT_THAT(pass.store.file_names, SizeIs(1));
    EXPECT_EQ(ql::le64(pass.store.file_names.begin()->second.value, 48), 1u);
}

TEST(AttribCategorize, ObjectIdNeeds16Bytes) {
    for (const std::size_t size : {15u, 16u}) {
        SCOPED_TRACE(size);
        const pass_result pass = categorized_entry([size](auto& entry) {
            entry.resident(support::type::object_id, u"", support::bytes(size, 1));
        });
        EXPECT_THAT(pass.store.attributes, SizeIs(size == 16 ? 1 : 0));
    }
}

TEST(AttribCategorize, EachTypeHasItsLabel) {
    const pass_result pass = categorized_entry([](auto& entry) {
        const support::bytes value(32, 1);
        entry.keep_order();
        for (const std::uint32_t type : {0x40u, 0x50u, 0x60u, 0x70u, 0x80u, 0x90u, 0xA0u, 0xB0u,
                                         0xD0u, 0xE0u, 0xF0u, 0x100u, 0x48u, 0x110u, 0u}) {
            entry.resident(type, u"", value);
        }
    });
    EXPECT_THAT(
        labels_of(pass.store),
        ElementsAre(Pair(key_of(0, 0x40), "obj id"), Pair(key_of(1, 0x50), "security descr"),
                    Pair(key_of(2, 0x60), "vol name"), Pair(key_of(3, 0x70), "vol info"),
                    Pair(key_of(4, 0x80), "unnamed data"), Pair(key_of(5, 0x90), "indx root"),
                    Pair(key_of(6, 0xA0), "indx alloc"), Pair(key_of(7, 0xB0), "bitmap"),
                    Pair(key_of(8, 0xD0), "extended attribs info"),
                    Pair(key_of(9, 0xE0), "extended attribs"),
                    Pair(key_of(10, 0xF0), "property set"),
                    Pair(key_of(11, 0x100), "logged stream"), Pair(key_of(12, 0xFFFFFFFF), "unk"),
                    Pair(key_of(13, 0xFFFFFFFF), "unk"), Pair(key_of(14, 0xFFFFFFFF), "unk")));
}

TEST(AttribCategorize, AttributesAreSortedByIdThenType) {
    const pass_result pass = categorized_entry([](auto& entry) {
        entry.data("x").id(0x8000);
        entry.resident(support::type::bitmap, u"", {1}).id(1);
        entry.resident(support::type::ea, u"", {1}).id(0);
        entry.resident(support::type::bitmap, u"", {1}).id(0);
    });
    EXPECT_THAT(
        labels_of(pass.store),
        ElementsAre(Pair(key_of(0, 0xB0), "bitmap"), Pair(key_of(0, 0xE0), "extended attribs"),
                    Pair(key_of(1, 0xB0), "bitmap"), Pair(key_of(0x8000, 0x80), "unnamed data")));
}

TEST(AttribCategorize, WholeAttributeAndItsValueAreCopied) {
    support::ntfs_image image;
    image.entry(64).stream(u"zone", "content").id(4);
    const support::bytes record = image.entry(64).build_before_fixup();
    const std::size_t at = image.entry(64).attribute_offset(support::type::data, u"zone");
    const std::size_t length = ql::le32(record, at + 4);
    open_volume volume(image);
    const pass_result pass = categorized(volume, 64);
    const NTFS_ATTRIB_ITEM& item = pass.store.attributes.at(key_of(4, 0x80));
    EXPECT_EQ(item.attrib_name, L"zone");
    EXPECT_EQ(item.label, "ads");
    EXPECT_TRUE(item.is_ads);
    EXPECT_TRUE(item.is_data);
    EXPECT_EQ(item.raw, support::bytes(record.begin() + static_cast<std::ptrdiff_t>(at),
                                       record.begin() + static_cast<std::ptrdiff_t>(at + length)));
    EXPECT_EQ(item.resident_value, support::as_bytes("content"));
    EXPECT_THAT(item.runs, IsEmpty());

    EXPECT_THAT(categorized(volume, 64, false).store.attributes.at(key_of(4, 0x80)).resident_value,
                IsEmpty());
}

TEST(AttribCategorize, UnnamedDataIsNotAnAlternateStream) {
    const pass_result pass = categorized_entry([](auto& entry) { entry.data("x").id(1); });
    const NTFS_ATTRIB_ITEM& item = pass.store.attributes.at(key_of(1, 0x80));
    EXPECT_TRUE(item.is_data);
    EXPECT_FALSE(item.is_ads);
    EXPECT_TRUE(pass.store.seen_unnamed_data);
}

TEST(AttribCategorize, NamedStreamIsNotUnnamedData) {
    const pass_result pass = categorized_entry([](auto& entry) { entry.stream(u"s", "x"); });
    EXPECT_FALSE(pass.store.seen_unnamed_data);
}

TEST(AttribCategorize, ObjectIdIsFormattedAsGuid) {
    const pass_result pass = categorized_entry([](auto& entry) {
        support::bytes id;
        for (std::uint8_t i = 0; i < 16; ++i)
            id.push_back(i);
        entry.object_id(id).id(1);
    });
    EXPECT_EQ(pass.store.attributes.at(key_of(1, 0x40)).value_text,
              "03020100-0504-0706-0809-0a0b0c0d0e0f");
}

TEST(AttribCategorize, VolumeNameIsTheAttributesNameOrItsValue) {
    const support::bytes value = support::as_bytes(u"Disk \u00e9");
    const pass_result unnamed = categorized_entry(
        [&](auto& entry) { entry.resident(support::type::volume_name, u"", value).id(1); });
    EXPECT_EQ(unnamed.store.attributes.at(key_of(1, 0x60)).value_text, "Disk \xc3\xa9");

    const pass_result named = categorized_entry(
        [&](auto& entry) { entry.resident(support::type::volume_name, u"own", value).id(1); });
    EXPECT_EQ(named.store.attributes.at(key_of(1, 0x60)).value_text, "own");

    const pass_result far = categorized_entry([&](auto& entry) {
        entry.nonresident(support::type::volume_name, u"", support::cluster_runs{{8, 1}}).id(1);
    });
    EXPECT_EQ(far.store.attributes.at(key_of(1, 0x60)).value_text, "");
}

TEST(AttribCategorize, VolumeVersionNamesTheSystem) {
    const struct {
        std::uint8_t major;
        std::uint8_t minor;
        const char* text;
    } cases[] = {
        {1, 2, "ver: 1:2 (WinNT)"},
        {3, 0, "ver: 3:0 (Win2k)"},
        {3, 1, "ver: 3:1 (WinXP)"},
        {3, 2, "ver: 3:2 (Windows)"},
        {1, 1, "ver: 1:1(Unk version)"},
        {2, 0, "ver: 2:0(Unk version)"},
        {255, 255, "ver: 255:255(Unk version)"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        const pass_result pass = categorized_entry([&](auto& entry) {
            support::bytes value(12);
            value[8] = c.major;
            value[9] = c.minor;
            entry.resident(support::type::volume_information, u"", value).id(1);
        });
        EXPECT_EQ(pass.store.attributes.at(key_of(1, 0x70)).value_text, c.text);
    }
}

TEST(AttribCategorize, TextOfAReparsePointIsItsTarget) {
    const pass_result pass = categorized_entry([](auto& entry) {
        entry.reparse(support::mount_point_tag, u"\\??\\C:\\d\u00e9", {.print = u"C:\\d\u00e9"})
            .id(1);
    });
    const NTFS_ATTRIB_ITEM& item = pass.store.attributes.at(key_of(1, 0xC0));
    EXPECT_EQ(item.label, "reparse point");
    EXPECT_EQ(item.value_text, "C:\\d\xc3\xa9");
}

}  // namespace

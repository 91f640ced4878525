#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "ntfs/attributes/attrib_store.h"
#include "ntfs/attributes/entry_context.h"
#include "ntfs/volume/ntfs.h"
#include "support/ntfs_image.h"
#include "support/run_list.h"
#include "unit/ntfs/open_volume.h"

namespace {

using support::file_reference;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;

constexpr std::uint64_t key_of(std::uint16_t id, std::uint32_t type) {
    return std::uint64_t{id} << 48 | type;
}

// The result of one pass over an entry, with its trace.
struct pass_result {
    bool result = false;
    NTFS_ENTRY_STORE store;
    std::string trace;
};

pass_result categorized(open_volume& volume, std::uint64_t inode, bool keep_values = true) {
    support::temp_dir dir;
    const std::string file = dir.file("trace");
    pass_result out;
    mft_entries_ctx ctx;
    ctx.diags_on = 1;
    ctx.diags_stream = std::make_unique<std::ofstream>(file);
    out.result = volume.ntfs.categorize_entry(out.store, ctx, inode, keep_values);
    ctx.diags_stream.reset();
    out.trace = support::read_file(file);
    return out;
}

std::vector<std::pair<std::uint64_t, std::string>> labels_of(const NTFS_ENTRY_STORE& store) {
    std::vector<std::pair<std::uint64_t, std::string>> labels;
    for (const auto& [key, item] : store.attributes)
        labels.emplace_back(key, item.label);
    return labels;
}

std::vector<std::tuple<std::uint64_t, std::uint64_t, std::uint32_t>> runs_of(
    const data_run_list& runs) {
    std::vector<std::tuple<std::uint64_t, std::uint64_t, std::uint32_t>> out;
    for (const data_run& run : runs)
        out.emplace_back(run.lcn, run.vcn, run.num_clusters);
    return out;
}

using run_tuple = std::tuple<std::uint64_t, std::uint64_t, std::uint32_t>;

// Categorises an entry 64 with the attributes that `fill` adds.
template <class Fill>
pass_result categorized_entry(Fill fill, bool keep_values = true) {
    support::ntfs_image image;
    fill(image.entry(64));
    open_volume volume(image);
    EXPECT_TRUE(volume.opened);
    return categorized(volume, 64, keep_values);
}

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

TEST(AttribCategorize, AttributeWithoutARequiredValueIsIgnored) {
    const struct {
        const char* name;
        std::uint32_t type;
        std::size_t at;
        std::size_t width;
    } cases[] = {
        {"0x10 without a length", 0x10, 16, 4}, {"0x10 without an offset", 0x10, 20, 2},
        {"0x30 without a length", 0x30, 16, 4}, {"0x30 without an offset", 0x30, 20, 2},
        {"0x40 without a length", 0x40, 16, 4}, {"0x40 without an offset", 0x40, 20, 2},
        {"0x70 without a length", 0x70, 16, 4}, {"0x70 without an offset", 0x70, 20, 2},
        {"0xC0 without a length", 0xC0, 16, 4}, {"0xC0 without an offset", 0xC0, 20, 2},
    };
    const support::bytes value =
        support::reparse_value(support::mount_point_tag, u"some target", {.print = u"some target"});
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const auto kept = [](const NTFS_ENTRY_STORE& store) {
            return store.std_infos.size() + store.file_names.size() + store.attributes.size();
        };
        EXPECT_EQ(kept(categorized_entry([&](auto& entry) {
                           entry.resident(c.type, u"", value).data("behind");
                       }).store),
                  2u);
        EXPECT_EQ(kept(categorized_entry([&](auto& entry) {
                           entry.resident(c.type, u"", value).edit(c.at, 0, c.width).data("behind");
                       }).store),
                  1u);
    }
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

TEST(AttribCategorize, ValueIsClippedToTheRecord) {
    const pass_result pass =
        categorized_entry([](auto& entry) { entry.data("abcd").id(1).edit(16, 0xFFFFFFFF, 4); });
    // The first attribute is at 56, and its value follows its 24-byte header.
    EXPECT_THAT(pass.store.attributes.at(key_of(1, 0x80)).resident_value, SizeIs(1024 - 56 - 24));
}

TEST(AttribCategorize, NameIsBoundedByItsUnitsNotItsBytes) {
    support::ntfs_image image;
    image.entry(64).stream(u"ab", "x").id(1);
    // The attribute starts at 56, 968 bytes before the end of the record.
    const struct {
        const char* name;
        std::uint16_t offset;
        std::uint8_t units;
        std::wstring expected;
    } cases[] = {
        {"inside", 24, 2, L"ab"},
        {"no offset", 0, 2, L""},
        {"no length", 24, 0, L""},
        {"units up to the end", 968 - 4, 4, L"\x3131\x3232"},
        {"one unit too many", 968 - 4, 5, L""},
    };
    image.entry(64).put_before_fixup(1020, 0x32323131, 4);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        image.entry(64).put_before_fixup(56 + 10, c.offset, 2);
        image.entry(64).put_before_fixup(56 + 9, c.units, 1);
        open_volume volume(image);
        const pass_result pass = categorized(volume, 64);
        ASSERT_TRUE(pass.result);
        EXPECT_EQ(pass.store.attributes.at(key_of(1, 0x80)).attrib_name, c.expected);
    }
}

TEST(AttribCategorize, NameThatStartsWithAZeroUnitIsIgnored) {
    const pass_result pass = categorized_entry([](auto& entry) {
        entry.stream({u"\0b", 2}, "x").id(1).data_runs({{100, 4}}).id(2);
    });
    EXPECT_TRUE(pass.store.seen_unnamed_data);
    ASSERT_THAT(labels_of(pass.store), ElementsAre(Pair(key_of(1, 0x80), "unnamed data")));
    EXPECT_EQ(pass.store.attributes.at(key_of(1, 0x80)).attrib_name, L"");
    EXPECT_FALSE(pass.store.attributes.at(key_of(1, 0x80)).is_ads);
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

TEST(AttribCategorize, RunsOfANonResidentAttributeAreDecoded) {
    const pass_result pass = categorized_entry([](auto& entry) {
        entry.data_runs({{100, 2}, {support::hole, 3}, {90, 1}}).id(1);
    });
    const NTFS_ATTRIB_ITEM& item = pass.store.attributes.at(key_of(1, 0x80));
    EXPECT_THAT(runs_of(item.runs),
                ElementsAre(run_tuple{100, 0, 2}, run_tuple{0, 2, 3}, run_tuple{90, 5, 1}));
    EXPECT_EQ(item.runs[1].sparse, 1);
    EXPECT_THAT(item.resident_value, IsEmpty());
}

// --- end of the walk over the base record ---

TEST(AttribCategorize, WalkEndsAtTheEndMarkerOrABadLength) {
    const struct {
        const char* name;
        support::bytes in_the_middle;
    } cases[] = {
        {"end marker", {0xFF, 0xFF, 0xFF, 0xFF, 0x10, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
        {"length 0", {0xD0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
        {"length above the record", {0xD0, 0, 0, 0, 0x01, 0x04, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
        {"length past the end", {0xD0, 0, 0, 0, 0xD0, 0x03, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const pass_result pass = categorized_entry([&](auto& entry) {
            entry.keep_order().data("in front").id(1);
            entry.raw_attribute(c.in_the_middle);
            entry.stream(u"behind", "x");
        });
        EXPECT_TRUE(pass.result);
        EXPECT_THAT(labels_of(pass.store), ElementsAre(Pair(key_of(1, 0x80), "unnamed data")));
    }
}

TEST(AttribCategorize, AttributeMayEndWithTheRecord) {
    support::ntfs_image image;
    image.entry(64).data("x").id(1).edit(4, 1024 - 56, 4);
    open_volume volume(image);
    const pass_result pass = categorized(volume, 64);
    EXPECT_THAT(pass.store.attributes, SizeIs(1));
    EXPECT_THAT(pass.store.attributes.at(key_of(1, 0x80)).raw, SizeIs(1024 - 56));
}

TEST(AttribCategorize, RecordWithoutAFirstAttributeHasNone) {
    support::ntfs_image image;
    image.entry(64).data("x").put_before_fixup(20, 0, 2);
    open_volume volume(image);
    const pass_result pass = categorized(volume, 64);
    EXPECT_TRUE(pass.result);
    EXPECT_THAT(pass.store.attributes, IsEmpty());
    EXPECT_THAT(pass.store.record_bytes, SizeIs(1024));

    // With an update sequence count of 0, the header could be read as an attribute of 48 bytes.
    image.put(image.record_pos(64) + 6, 0, 2);
    open_volume uncounted(image);
    EXPECT_THAT(categorized(uncounted, 64).store.attributes, IsEmpty());
}

TEST(AttribCategorize, ListThatExtendsPastItsRecordIsNotExpanded) {
    support::ntfs_image image;
    image.entry(65).base(file_reference(64, 1)).stream(u"s", "x").id(1);
    image.entry(64)
        .attribute_list({{.type = 0x80, .record = file_reference(65, 1), .id = 1}})
        .edit(4, 1020, 4);
    open_volume volume(image);
    const pass_result pass = categorized(volume, 64);
    EXPECT_TRUE(pass.result);
    EXPECT_THAT(pass.store.attributes, IsEmpty());
}

// --- accepted and rejected records ---

TEST(AttribCategorize, BadRecordIsRejectedAndTraced) {
    support::ntfs_image image;
    image.entry(64).keyword("BAAD").data("x");
    open_volume volume(image);
    pass_result pass = categorized(volume, 64);
    EXPECT_FALSE(pass.result);
    EXPECT_THAT(pass.store.attributes, IsEmpty());
    EXPECT_EQ(pass.trace, "->err: fixup_mft type: BAAD\n->err: recd bad 40\n");
}

TEST(AttribCategorize, InvalidRecordIsRejectedAndTraced) {
    const struct {
        const char* name;
        std::size_t at;
        std::uint64_t value;
        std::size_t width;
    } cases[] = {
        {"other keyword", 0, 0x58585858, 4},
        {"array at 42", 4, 42, 2},
        {"ten words in the array", 6, 10, 2},
        {"first attribute at 73", 20, 73, 2},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        support::ntfs_image image;
        image.entry(64).data("x");
        image.put(image.record_pos(64) + c.at, c.value, c.width);
        open_volume volume(image);
        const pass_result pass = categorized(volume, 64);
        EXPECT_FALSE(pass.result);
        EXPECT_EQ(pass.trace, "->err: mftfixup 40\n");
    }
}

TEST(AttribCategorize, EntryPastTheTableIsRejectedAndTraced) {
    support::ntfs_image image;
    open_volume volume(image);
    EXPECT_EQ(categorized(volume, 0xABCDEF012345).trace, "->err: mftfixup abcdef012345\n");
}

TEST(AttribCategorize, UnreadableEntryIsTraced) {
    support::ntfs_image image;
    image.entry(64).data("x");
    const std::uint64_t end = image.build().size();
    image.entry(0).data_runs({{4, 16}, {end / 4096 + 1, 4}}, {.real = 80 * 1024});
    open_volume volume(image);
    ASSERT_TRUE(volume.opened);
    const pass_result pass = categorized(volume, 70);  // in the second run, past the image
    EXPECT_FALSE(pass.result);
    EXPECT_EQ(pass.trace, "->err: mftfixup 46\n");
}

TEST(AttribCategorize, RecordSizeAboveTheSourceReadsWhatIsThere) {
    open_volume volume(support::ntfs_image{});
    ASSERT_TRUE(volume.opened);
    const pass_result usual = categorized(volume, 5);
    volume.ntfs.m_mft_record_size = 0x80000000;
    const pass_result pass = categorized(volume, 5);
    EXPECT_TRUE(pass.result);
    EXPECT_EQ(pass.trace, "");
    EXPECT_EQ(labels_of(pass.store), labels_of(usual.store));
    EXPECT_EQ(pass.store.file_names.size(), usual.store.file_names.size());
}

TEST(AttribCategorize, IndexRecordWithItsOwnArrayOffsetIsAccepted) {
    support::ntfs_image image;
    // A FILE record with this array offset would not be valid.
    image.entry(64).usa_offset(64).first_attribute(80).keyword("INDX").data("x").id(1);
    open_volume volume(image);
    const pass_result pass = categorized(volume, 64);
    EXPECT_TRUE(pass.result);
    EXPECT_EQ(pass.store.record_bytes, image.entry(64).build_before_fixup());
    EXPECT_THAT(pass.store.attributes, SizeIs(1));
}

TEST(AttribCategorize, VolumeThatIsNotOpenHasNoEntries) {
    CNtfs ntfs(nullptr, 0, 33);
    NTFS_ENTRY_STORE store;
    store.inode = 7;
    mft_entries_ctx ctx;
    EXPECT_FALSE(ntfs.categorize_entry(store, ctx, 5, true));
    EXPECT_EQ(store.inode, 0u);
}

TEST(AttribCategorize, TruncatedRecordIsFilledWithZeros) {
    support::ntfs_image image;
    image.entry(64).data("in front").id(1);
    image.entry(64).stream(u"far", support::bytes(600, 0x77)).id(2);
    image.truncate(image.record_pos(64) + 512);
    open_volume volume(image);
    ASSERT_TRUE(volume.opened);
    const pass_result pass = categorized(volume, 64);
    ASSERT_TRUE(pass.result);
    EXPECT_THAT(pass.store.record_bytes, SizeIs(1024));
    const auto& value = pass.store.attributes.at(key_of(2, 0x80)).resident_value;
    EXPECT_THAT(value, SizeIs(600));
    EXPECT_EQ(value.back(), 0);
}

TEST(AttribCategorize, WrongCheckValueIsIgnored) {
    support::ntfs_image image;
    image.entry(64).data(support::bytes(600, 0x41)).id(1);
    image.put(image.record_pos(64) + 510, 0xDEAD, 2);
    open_volume volume(image);
    const pass_result pass = categorized(volume, 64);
    EXPECT_EQ(pass.store.attributes.at(key_of(1, 0x80)).resident_value, support::bytes(600, 0x41));
}

TEST(AttribCategorize, RecordSizeIsSetOnFirstUse) {
    support::ntfs_image image;
    image.entry(64).data("x");
    open_volume volume(image);
    mft_entries_ctx ctx;
    NTFS_ENTRY_STORE store;
    ASSERT_TRUE(volume.ntfs.categorize_entry(store, ctx, 64, true));
    EXPECT_EQ(ctx.record_size, 1024u);
    EXPECT_EQ(ctx.bytes_per_sector, 512);
    EXPECT_EQ(ctx.ntfs, &volume.ntfs);
    ctx.record_size = 512;
    ASSERT_TRUE(volume.ntfs.categorize_entry(store, ctx, 64, true));
    EXPECT_THAT(store.record_bytes, SizeIs(512));
}

// --- attributes with the same key ---

TEST(AttribCategorize, SecondValueOfAKeyIsDropped) {
    const pass_result pass = categorized_entry([](auto& entry) {
        entry.data("first").id(1);
        entry.data("second").id(1);
    });
    ASSERT_THAT(pass.store.attributes, SizeIs(1));
    EXPECT_EQ(pass.store.attributes.at(key_of(1, 0x80)).resident_value, support::as_bytes("first"));
}

TEST(AttribCategorize, UnnamedValuesWithDifferentIdsAreKeptSeparate) {
    const pass_result pass = categorized_entry([](auto& entry) {
        entry.data("first").id(1);
        entry.data("second").id(2);
    });
    EXPECT_THAT(pass.store.attributes, SizeIs(2));
}

TEST(AttribCategorize, RunsWithTheSameKeyAndNameAreJoined) {
    const pass_result pass = categorized_entry([](auto& entry) {
        entry.stream_runs(u"s", {{100, 4}}).id(1);
        entry.stream_runs(u"s", {{200, 2}}, {.start_vcn = 10}).id(1);
    });
    ASSERT_THAT(pass.store.attributes, SizeIs(1));
    EXPECT_THAT(runs_of(pass.store.attributes.at(key_of(1, 0x80)).runs),
                ElementsAre(run_tuple{100, 0, 4}, run_tuple{200, 4, 2}));
}

TEST(AttribCategorize, DifferentNameUnderAUsedKeyIsDropped) {
    const pass_result pass = categorized_entry([](auto& entry) {
        entry.stream_runs(u"one", {{100, 4}}).id(1);
        entry.stream_runs(u"two", {{200, 2}}, {.start_vcn = 4}).id(1);
    });
    ASSERT_THAT(pass.store.attributes, SizeIs(1));
    const NTFS_ATTRIB_ITEM& item = pass.store.attributes.at(key_of(1, 0x80));
    EXPECT_EQ(item.attrib_name, L"one");
    EXPECT_THAT(runs_of(item.runs), ElementsAre(run_tuple{100, 0, 4}));
}

TEST(AttribCategorize, EmptyValueUnderAUsedKeyRenumbersTheRuns) {
    const pass_result pass = categorized_entry([](auto& entry) {
        entry.stream_runs(u"s", {{100, 4}}, {.start_vcn = 7}).id(1);
        entry.stream(u"s", "").id(1);
    });
    ASSERT_THAT(pass.store.attributes, SizeIs(1));
    EXPECT_THAT(runs_of(pass.store.attributes.at(key_of(1, 0x80)).runs),
                ElementsAre(run_tuple{100, 0, 4}));
}

TEST(AttribCategorize, ValueIsJoinedLikeRunsWhenValuesAreNotKept) {
    const auto fill = [](auto& entry) {
        entry.stream_runs(u"s", {{100, 4}}, {.start_vcn = 7}).id(1);
        entry.stream(u"s", "value").id(1);
    };
    EXPECT_THAT(runs_of(categorized_entry(fill).store.attributes.at(key_of(1, 0x80)).runs),
                ElementsAre(run_tuple{100, 7, 4}));
    EXPECT_THAT(runs_of(categorized_entry(fill, false).store.attributes.at(key_of(1, 0x80)).runs),
                ElementsAre(run_tuple{100, 0, 4}));
}

TEST(AttribCategorize, UnnamedDataPartsWithDifferentIdsAreJoined) {
    const pass_result pass = categorized_entry([](auto& entry) {
        entry.data_runs({{100, 4}}).id(1);
        entry.data_runs({{200, 2}}, {.start_vcn = 4}).id(2);
        entry.data_runs({{300, 1}}, {.start_vcn = 6}).id(9);
    });
    ASSERT_THAT(pass.store.attributes, SizeIs(1));
    EXPECT_THAT(runs_of(pass.store.attributes.at(key_of(1, 0x80)).runs),
                ElementsAre(run_tuple{100, 0, 4}, run_tuple{200, 4, 2}, run_tuple{300, 6, 1}));
}

TEST(AttribCategorize, UnnamedDataPartJoinsTheFirstItemInKeyOrder) {
    // The resident attribute has the lower id, so the part is joined to it.
    const pass_result pass = categorized_entry([](auto& entry) {
        entry.keep_order().data("value").id(1);
        entry.data_runs({{100, 4}}).id(5);
    });
    ASSERT_THAT(pass.store.attributes, SizeIs(1));
    EXPECT_THAT(runs_of(pass.store.attributes.at(key_of(1, 0x80)).runs),
                ElementsAre(run_tuple{100, 0, 4}));
}

TEST(AttribCategorize, UnnamedDataPartIsNotJoinedToAStreamWithALowerId) {
    const pass_result pass = categorized_entry([](auto& entry) {
        entry.keep_order().stream_runs(u"s", {{50, 3}}).id(1);
        entry.data_runs({{100, 4}}).id(5);
        entry.data_runs({{200, 2}}, {.start_vcn = 4}).id(9);
    });
    ASSERT_THAT(pass.store.attributes, SizeIs(2));
    EXPECT_THAT(runs_of(pass.store.attributes.at(key_of(1, 0x80)).runs),
                ElementsAre(run_tuple{50, 0, 3}));
    EXPECT_THAT(runs_of(pass.store.attributes.at(key_of(5, 0x80)).runs),
                ElementsAre(run_tuple{100, 0, 4}, run_tuple{200, 4, 2}));
}

TEST(AttribCategorize, StreamsWithDifferentIdsAreKeptSeparate) {
    const pass_result pass = categorized_entry([](auto& entry) {
        entry.stream_runs(u"s", {{100, 4}}).id(1);
        entry.stream_runs(u"s", {{200, 2}}, {.start_vcn = 4}).id(2);
    });
    EXPECT_THAT(pass.store.attributes, SizeIs(2));
}

TEST(AttribCategorize, UnnamedDataWithTheIdOfAStreamIsDropped) {
    const pass_result pass = categorized_entry([](auto& entry) {
        entry.keep_order();
        entry.data_runs({{50, 1}}).id(0);
        entry.stream_runs(u"s", {{100, 4}}).id(1);
        entry.data_runs({{200, 2}}, {.start_vcn = 1}).id(1);
    });
    EXPECT_THAT(runs_of(pass.store.attributes.at(key_of(0, 0x80)).runs),
                ElementsAre(run_tuple{50, 0, 1}));
    EXPECT_THAT(runs_of(pass.store.attributes.at(key_of(1, 0x80)).runs),
                ElementsAre(run_tuple{100, 0, 4}));
}

TEST(AttribCategorize, UnnamedDataPartIsKeptIfThePreviousOneWasDropped) {
    // The unnamed value has the id of a stream and is dropped, so the part is not joined to it.
    const pass_result pass = categorized_entry([](support::record_builder& entry) {
        entry.keep_order();
        entry.stream(u"zone", "x").id(3);
        entry.data("value").id(3);
        entry.data_runs({{100, 2}}).id(4);
    });
    EXPECT_TRUE(pass.store.seen_unnamed_data);
    EXPECT_THAT(labels_of(pass.store),
                ElementsAre(Pair(key_of(3, 0x80), "ads"), Pair(key_of(4, 0x80), "unnamed data")));
    EXPECT_THAT(runs_of(pass.store.attributes.at(key_of(4, 0x80)).runs),
                ElementsAre(run_tuple{100, 0, 2}));
}

TEST(AttribCategorize, PartWithAnAlreadyStoredVcnIsDropped) {
    const pass_result pass = categorized_entry([](auto& entry) {
        entry.data_runs({{100, 4}}).id(1);
        entry.data_runs({{200, 2}}).id(2);
    });
    EXPECT_THAT(runs_of(pass.store.attributes.at(key_of(1, 0x80)).runs),
                ElementsAre(run_tuple{100, 0, 4}));
}

// --- extension records ---

TEST(AttribCategorize, ListedAttributesOfExtensionsAreTaken) {
    support::ntfs_image image;
    image.entry(65).base(file_reference(64, 1)).data_runs({{100, 4}}).id(3);
    image.entry(66).base(file_reference(64, 1)).data_runs({{200, 2}}, {.start_vcn = 4}).id(0);
    image.entry(66).stream(u"not listed", "x").id(1);
    image.entry(64).standard_information().attribute_list(
        {{.type = 0x10, .record = file_reference(64, 1), .id = 0},
         {.type = 0x80, .record = file_reference(65, 1), .id = 3},
         {.type = 0x80, .record = file_reference(66, 1), .id = 0}});
    open_volume volume(image);
    const pass_result pass = categorized(volume, 64);
    ASSERT_TRUE(pass.result);
    EXPECT_THAT(labels_of(pass.store), ElementsAre(Pair(key_of(3, 0x80), "unnamed data")));
    EXPECT_THAT(runs_of(pass.store.attributes.at(key_of(3, 0x80)).runs),
                ElementsAre(run_tuple{100, 0, 4}, run_tuple{200, 4, 2}));
    EXPECT_EQ(pass.trace,
              "->primary entry 64 pointing to ref entry 65\n"
              "->primary entry 64 pointing to ref entry 66\n");
}

TEST(AttribCategorize, KeysOfNamesInExtensionsHaveTheBaseEntry) {
    support::ntfs_image image;
    image.entry(65).base(file_reference(64, 1)).file_name(5, u"far").id(3);
    image.entry(64).attribute_list({{.type = 0x30, .record = file_reference(65, 1), .id = 3}});
    open_volume volume(image);
    const pass_result pass = categorized(volume, 64);
    ASSERT_THAT(pass.store.file_names, SizeIs(1));
    EXPECT_EQ(pass.store.file_names.begin()->first, "00000005_far_00000040");
}

TEST(AttribCategorize, AllMatchesOfAListEntryAreTaken) {
    support::ntfs_image image;
    image.entry(65).base(file_reference(64, 1)).standard_information({.attributes = 1}).id(3);
    image.entry(65).file_name(5, u"a").id(4);
    image.entry(65).file_name(5, u"b").id(4);
    image.entry(64).attribute_list({{.type = 0x30, .record = file_reference(65, 0x4444), .id = 4}});
    open_volume volume(image);
    const pass_result pass = categorized(volume, 64);
    EXPECT_THAT(pass.store.file_names, SizeIs(2));
    EXPECT_THAT(pass.store.std_infos, IsEmpty());
}

TEST(AttribCategorize, FirstOfTwoStreamsWithTheSameIdIsKept) {
    support::ntfs_image image;
    image.entry(65).base(file_reference(64, 1)).stream(u"111", "one").id(0);
    image.entry(66).base(file_reference(64, 1)).stream(u"333", "three").id(0);
    image.entry(64).attribute_list({{.type = 0x80, .record = file_reference(65, 1), .id = 0},
                                    {.type = 0x80, .record = file_reference(66, 1), .id = 0}});
    open_volume volume(image);
    const pass_result pass = categorized(volume, 64);
    ASSERT_THAT(pass.store.attributes, SizeIs(1));
    EXPECT_EQ(pass.store.attributes.at(key_of(0, 0x80)).attrib_name, L"111");
}

TEST(AttribCategorize, NamedStreamWithTheIdOfUnnamedDataIsNotJoined) {
    support::ntfs_image image;
    image.entry(65).base(file_reference(64, 1)).data_runs({{100, 4}}).id(0);
    image.entry(66)
        .base(file_reference(64, 1))
        .stream_runs(u"s", {{200, 2}}, {.start_vcn = 4})
        .id(0);
    image.entry(64).attribute_list({{.type = 0x80, .record = file_reference(65, 1), .id = 0},
                                    {.type = 0x80, .record = file_reference(66, 1), .id = 0}});
    open_volume volume(image);
    const pass_result pass = categorized(volume, 64);
    ASSERT_THAT(pass.store.attributes, SizeIs(1));
    const NTFS_ATTRIB_ITEM& item = pass.store.attributes.at(key_of(0, 0x80));
    EXPECT_EQ(item.label, "unnamed data");
    EXPECT_THAT(runs_of(item.runs), ElementsAre(run_tuple{100, 0, 4}));
}

TEST(AttribCategorize, UnusableExtensionIsSkipped) {
    const struct {
        const char* name;
        std::size_t at;
        std::uint64_t value;
        std::size_t width;
        const char* trace;
    } cases[] = {
        {"BAAD", 0, 0x44414142, 4, "->err: fixup_mft type: BAAD\n"},
        {"INDX", 0, 0x58444E49, 4, ""},
        {"foreign", 0, 0, 4, ""},
        {"no first attribute", 20, 0, 2, ""},
        {"sequence array at 42", 4, 42, 2, ""},
        {"first attribute of a record's length", 56 + 4, 1024, 4, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        support::ntfs_image image;
        image.entry(65).base(file_reference(64, 1)).data("x").id(0);
        image.entry(66).base(file_reference(64, 1)).stream(u"s", "x").id(7);
        image.entry(64).attribute_list({{.type = 0x80, .record = file_reference(65, 1), .id = 0},
                                        {.type = 0x80, .record = file_reference(66, 1), .id = 7}});
        image.put(image.record_pos(65) + c.at, c.value, c.width);
        open_volume volume(image);
        const pass_result pass = categorized(volume, 64);
        EXPECT_TRUE(pass.result);
        EXPECT_THAT(labels_of(pass.store), ElementsAre(Pair(key_of(7, 0x80), "ads")));
        EXPECT_EQ(pass.trace, std::string("->primary entry 64 pointing to ref entry 65\n") +
                                  c.trace + "->primary entry 64 pointing to ref entry 66\n");
    }
}

TEST(AttribCategorize, ListEntryOfAMissingRecordIsIgnored) {
    support::ntfs_image image;
    image.entry(64).data("x").id(1).attribute_list(
        {{.type = 0x80, .record = file_reference(0x123456789ABC, 1), .id = 0}});
    open_volume volume(image);
    const pass_result pass = categorized(volume, 64);
    EXPECT_TRUE(pass.result);
    EXPECT_THAT(pass.store.attributes, SizeIs(1));
    EXPECT_EQ(pass.trace, "->primary entry 64 pointing to ref entry 20015998343868\n");
}

TEST(AttribCategorize, WalkOfAnExtensionEndsAtItsEndMarkerAndAtLengthZero) {
    for (const std::uint32_t type : {0xFFFFFFFFu, 0xD0u}) {
        SCOPED_TRACE(type);
        support::ntfs_image image;
        auto& extension = image.entry(65);
        extension.keep_order().base(file_reference(64, 1)).stream(u"in front", "x").id(3);
        support::bytes raw(16);
        for (std::size_t i = 0; i < 4; ++i)
            raw[i] = static_cast<std::uint8_t>(type >> (i * 8));
        if (type == 0xFFFFFFFF) raw[4] = 16;
        extension.raw_attribute(raw).stream(u"behind", "x").id(4);
        image.entry(64).attribute_list({{.type = 0x80, .record = file_reference(65, 1), .id = 3},
                                        {.type = 0x80, .record = file_reference(65, 1), .id = 4}});
        open_volume volume(image);
        EXPECT_THAT(labels_of(categorized(volume, 64).store),
                    ElementsAre(Pair(key_of(3, 0x80), "ads")));
    }
}

TEST(AttribCategorize, WalkOfAnExtensionEndsWithItsRecord) {
    support::ntfs_image image;
    auto& extension = image.entry(65);
    extension.base(file_reference(64, 1)).stream(u"long", "x").id(3).edit(4, 1024 - 56, 4);
    image.entry(64).attribute_list({{.type = 0x80, .record = file_reference(65, 1), .id = 3},
                                    {.type = 0x80, .record = file_reference(65, 1), .id = 4}});
    open_volume volume(image);
    const pass_result pass = categorized(volume, 64);
    ASSERT_THAT(labels_of(pass.store), ElementsAre(Pair(key_of(3, 0x80), "ads")));
    EXPECT_THAT(pass.store.attributes.at(key_of(3, 0x80)).raw, SizeIs(1024 - 56));
}

TEST(AttribCategorize, AttributePastTheEndOfAnExtensionEndsItsWalk) {
    support::ntfs_image image;
    auto& extension = image.entry(65);
    extension.keep_order().base(file_reference(64, 1)).stream(u"in front", "x").id(3);
    extension.stream(u"too long", "x").id(4).edit(4, 1020, 4);
    image.entry(64).attribute_list({{.type = 0x80, .record = file_reference(65, 1), .id = 3},
                                    {.type = 0x80, .record = file_reference(65, 1), .id = 4}});
    open_volume volume(image);
    EXPECT_THAT(labels_of(categorized(volume, 64).store),
                ElementsAre(Pair(key_of(3, 0x80), "ads")));
}

TEST(AttribCategorize, ListOfAnExtensionIsNotExpanded) {
    support::ntfs_image image;
    image.entry(66).base(file_reference(64, 1)).data("x").id(0);
    image.entry(65)
        .base(file_reference(64, 1))
        .attribute_list({{.type = 0x80, .record = file_reference(66, 1), .id = 0}})
        .id(2);
    image.entry(64).attribute_list({{.type = 0x20, .record = file_reference(65, 1), .id = 2}});
    open_volume volume(image);
    EXPECT_THAT(categorized(volume, 64).store.attributes, IsEmpty());
}

TEST(AttribCategorize, AllListsBeforeDamageAreExpanded) {
    support::ntfs_image image;
    image.entry(65).base(file_reference(64, 1)).stream(u"one", "x").id(1);
    image.entry(66).base(file_reference(64, 1)).stream(u"two", "x").id(2);
    image.entry(64)
        .keep_order()
        .attribute_list({{.type = 0x80, .record = file_reference(65, 1), .id = 1}})
        .attribute_list({{.type = 0x80, .record = file_reference(66, 1), .id = 2}})
        .raw_attribute({0xD0, 0, 0, 0, 0xE0, 0x03, 0, 0})
        .data("behind the damage");
    open_volume volume(image);
    EXPECT_THAT(labels_of(categorized(volume, 64).store),
                ElementsAre(Pair(key_of(1, 0x80), "ads"), Pair(key_of(2, 0x80), "ads")));
}

TEST(AttribCategorize, ListWithoutValueIsIgnored) {
    for (const std::size_t at : {16u, 20u}) {
        SCOPED_TRACE(at);
        support::ntfs_image image;
        image.entry(65).base(file_reference(64, 1)).data("x").id(1);
        image.entry(64)
            .attribute_list({{.type = 0x80, .record = file_reference(65, 1), .id = 1}})
            .edit(at, 0, at == 16 ? 4 : 2);
        open_volume volume(image);
        const pass_result pass = categorized(volume, 64);
        EXPECT_TRUE(pass.result);
        EXPECT_THAT(pass.store.attributes, IsEmpty());
        EXPECT_EQ(pass.trace, "");
    }
}

TEST(AttribCategorize, ListInClustersIsExpanded) {
    support::ntfs_image image({.cluster = 512});
    std::vector<support::list_entry> entries;
    for (std::uint16_t i = 0; i < 40; ++i) {  // 32 bytes each: three clusters
        entries.push_back({.type = 0x80, .record = file_reference(65, 1), .id = i});
        if (i % 8 == 7) image.entry(65).stream(std::u16string(1, char16_t(u'a' + i)), "x").id(i);
    }
    image.entry(65).base(file_reference(64, 1));
    const support::bytes list = support::attribute_list_value(entries);
    const support::cluster_runs runs = image.store(list, 3);
    image.entry(64).attribute_list_runs(runs, {.real = list.size()});
    open_volume volume(image);
    const pass_result pass = categorized(volume, 64);
    EXPECT_THAT(labels_of(pass.store),
                ElementsAre(Pair(key_of(7, 0x80), "ads"), Pair(key_of(15, 0x80), "ads"),
                            Pair(key_of(23, 0x80), "ads"), Pair(key_of(31, 0x80), "ads"),
                            Pair(key_of(39, 0x80), "ads")));
}

TEST(AttribCategorize, OneByteOfAnEntryInClustersIsEnough) {
    for (const std::uint64_t real : {32u, 33u}) {
        SCOPED_TRACE(real);
        support::ntfs_image image;
        image.entry(65).base(file_reference(64, 1)).stream(u"s", "x").id(1);
        const support::bytes list = support::attribute_list_value(
            {{.type = 0x10, .record = file_reference(64, 1), .id = 0},
             {.type = 0x80, .record = file_reference(65, 1), .id = 1}});
        image.entry(64).attribute_list_runs(image.store(list), {.real = real});
        open_volume volume(image);
        EXPECT_THAT(categorized(volume, 64).store.attributes, SizeIs(real - 32));
    }
}

TEST(AttribCategorize, UnreadableClusterOfAListEndsItsRunWithoutAGap) {
    support::ntfs_image image;
    image.entry(65).base(file_reference(64, 1)).stream(u"s", "x").id(1);
    const support::bytes list =
        support::attribute_list_value({{.type = 0x80, .record = file_reference(65, 1), .id = 1}});
    const support::cluster_runs runs = image.store(list);
    // The first run is past the image, so the only readable cluster is the start of the list.
    image.entry(64).attribute_list_runs({{100000, 2}, runs[0]}, {.real = 32});
    open_volume volume(image);
    EXPECT_THAT(labels_of(categorized(volume, 64).store),
                ElementsAre(Pair(key_of(1, 0x80), "ads")));
}

TEST(AttribCategorize, HoleInAListIsReadAtTheStartOfTheVolume) {
    // As a list, the first cluster has one entry, whose length is the "TF" of the boot sector's
    // signature, and then the entry that is stored at that offset.
    constexpr std::uint64_t first_length = 0x4654;
    support::ntfs_image image({.cluster = 65536});
    image.entry(65).base(file_reference(64, 1)).stream(u"s", "x").id(1);
    image.put_bytes(first_length, support::attribute_list_value(
                                      {{.type = 0x80, .record = file_reference(65, 1), .id = 1}}));
    image.entry(64).attribute_list_runs({{support::hole, 1}}, {.real = first_length + 32});
    open_volume volume(image);
    ASSERT_TRUE(volume.opened);
    EXPECT_THAT(labels_of(categorized(volume, 64).store),
                ElementsAre(Pair(key_of(1, 0x80), "ads")));
}

TEST(AttribCategorize, TruncatedListLowersTheClusterSize) {
    support::ntfs_image image;
    image.entry(65).base(file_reference(64, 1)).stream(u"s", "x").id(1);
    image.entry(64).standard_information();
    const std::uint64_t lcn = image.alloc(1);
    image.write_clusters(lcn, support::attribute_list_value(
                                  {{.type = 0x80, .record = file_reference(65, 1), .id = 1}}));
    image.entry(64).attribute_list_runs({{lcn, 1}}, {.real = 32});
    image.truncate(lcn * 4096 + 512);
    open_volume volume(image);
    ASSERT_TRUE(volume.opened);
    // From here, the reader uses clusters of 512 bytes and no longer finds a record.
    EXPECT_THAT(categorized(volume, 64).store.attributes, IsEmpty());
    EXPECT_EQ(volume.ntfs.cluster_size(), 512u);
    EXPECT_FALSE(categorized(volume, 64).result);
}

TEST(AttribCategorize, FirstEntryIsReadThroughTheRunsOfTheTable) {
    support::ntfs_image image({.mirror_lcn = 40});
    image.put(48, 40, 8);                  // the boot sector points to the mirror
    image.put(40 * 4096 + 16, 0x4321, 2);  // the mirror has another sequence number
    open_volume volume(image);
    ASSERT_TRUE(volume.opened);
    ASSERT_EQ(file_record{volume.ntfs.m_mft_record}.sequence_number(), 0x4321);
    const pass_result pass = categorized(volume, 0);
    ASSERT_TRUE(pass.result);
    EXPECT_EQ(pass.store.inode, 0u);
    EXPECT_EQ(pass.store.sequence, 1);
    EXPECT_EQ(pass.store.file_names.begin()->second.name, L"$MFT");
}

TEST(AttribCategorize, NoDamagedByteOfAnExtendedEntryIsFatal) {
    support::ntfs_image image;
    image.entry(65).base(file_reference(64, 1)).data_runs({{100, 4}}).id(3);
    image.entry(65).file_name(5, u"far").id(4);
    image.entry(64)
        .standard_information()
        .attribute_list({{.type = 0x80, .record = file_reference(65, 1), .id = 3},
                         {.type = 0x30, .record = file_reference(65, 1), .id = 4}})
        .file_name(5, u"near")
        .reparse(support::symbolic_link_tag, u"\\??\\C:\\x", {.print = u"C:\\x"})
        .stream(u"s", "content");
    open_volume volume(image);
    const support::byte_image valid = image.build();
    const std::uint64_t pos = image.record_pos(64);
    std::fstream file(volume.path, std::ios::in | std::ios::out | std::ios::binary);
    for (std::size_t at = 0; at < 600; ++at) {
        SCOPED_TRACE(at);
        for (const char damage : {'\xFF', '\x00', '\x80'}) {
            file.seekp(static_cast<std::streamoff>(pos + at)).put(damage).flush();
            NTFS_ENTRY_STORE store;
            mft_entries_ctx ctx;
            static_cast<void>(volume.ntfs.categorize_entry(store, ctx, 64, true));
            EXPECT_LE(store.attributes.size(), 10u);
        }
        file.seekp(static_cast<std::streamoff>(pos + at))
            .put(static_cast<char>(valid.get(pos + at, 1)))
            .flush();
    }
}

}  // namespace

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "ntfs/volume/ntfs.h"
#include "support/byte_image.h"
#include "support/ntfs_image.h"
#include "support/sds.h"
#include "unit/ntfs/image_volume.h"

namespace {

using byte_list = std::vector<std::uint8_t>;
using support::ntfs_image;

constexpr const char* administrators = "S-1-5-32-544";
constexpr const char* system_sid = "S-1-5-18";
constexpr const char* kim = "S-1-5-21-1-2-3-1001";

byte_list descriptor(const char* owner, const char* group = system_sid) {
    support::security_descriptor made;
    made.owner = support::sid(owner);
    made.group = support::sid(group);
    return made.build();
}

// Sets the security id of $Bitmap, as on volumes that Windows formatted.
void set_bitmap_security(ntfs_image& image, std::uint32_t id) {
    image.entry(6)
        .remove(support::type::standard_information)
        .standard_information({.security_id = id});
}

// A volume with two descriptors, 0x100 and 0x101.
ntfs_image secured_volume() {
    ntfs_image image;
    image.security().add(0x100, descriptor(administrators));
    image.security().add(0x101, descriptor(kim));
    set_bitmap_security(image, 0x101);
    return image;
}

// Returns the ids in the table after the volume was opened.
std::vector<std::uint32_t> ids_after_open(const ntfs_image& image) {
    image_volume volume(image.build());
    EXPECT_TRUE(volume.validate()) << "the volume opens without the table";
    std::vector<std::uint32_t> ids;
    for (const auto& [id, item] : volume.ntfs.m_security_table)
        ids.push_back(id);
    EXPECT_EQ(volume.ntfs.load_security_table(), !ids.empty());
    return ids;
}

// A volume whose $SDS is exactly `stream`.
std::vector<std::uint32_t> ids_of_stream(const byte_list& stream) {
    ntfs_image image;
    set_bitmap_security(image, 0x100);
    image.entry(9).stream_runs(u"$SDS", image.store(stream), {.real = stream.size()});
    return ids_after_open(image);
}

// Returns an entry of $SDS with an owner. Its header states the position `at` and `size` bytes.
byte_list sds_entry(std::uint32_t id, std::uint64_t at, std::uint32_t size) {
    support::byte_image entry(size);
    entry.put(4, id, 4).put(8, at, 8).put(16, size, 4);
    entry.put_bytes(20, descriptor(administrators));
    return entry.resize(size).bytes();
}
const std::uint32_t whole_entry =
    20 + static_cast<std::uint32_t>(descriptor(administrators).size());

using id_list = std::vector<std::uint32_t>;

TEST(SecurityTable, IsLoadedWhenTheVolumeIsOpened) {
    ntfs_image image = secured_volume();
    image_volume volume(image.build());
    EXPECT_FALSE(volume.ntfs.load_security_table()) << "not validated";
    ASSERT_TRUE(volume.validate());
    ASSERT_EQ(volume.ntfs.m_security_table.size(), 2u);
    const NTFS_SECURITY_ITEM* item = volume.ntfs.security_item(0x101);
    ASSERT_NE(item, nullptr);
    EXPECT_EQ(item->id, 0x101u);
    EXPECT_EQ(item->owner_text, kim);
    EXPECT_EQ(item->group_text, system_sid);
    EXPECT_EQ(item->sds_offset, image.security().entries()[1].offset);
    EXPECT_EQ(volume.ntfs.security_item(0x102), nullptr);
    EXPECT_TRUE(volume.ntfs.load_security_table());
}

TEST(SecurityTable, ParsedRecordHasTheOwner) {
    image_volume volume(secured_volume().build());
    ASSERT_TRUE(volume.validate());
    const auto security_text_of = [&](std::uint32_t id) {
        ntfs_image image;
        const byte_list record =
            image.entry(30).standard_information({.security_id = id}).build_before_fixup();
        NTFS_INODE_INFO info;
        volume.ntfs.parse_inode(record, info, 30, false);
        return info.security_text;
    };
    EXPECT_EQ(security_text_of(0x100), administrators);
    EXPECT_EQ(security_text_of(0x101), kim);
    EXPECT_EQ(security_text_of(0x102), "");
    EXPECT_EQ(security_text_of(0), "");
}

TEST(SecurityTable, SecurityIdIsReadPastAShortValue) {
    // The attribute ends with a value of 48 bytes. The length of the next attribute is at the
    // offset of the id.
    ntfs_image image;
    image.security().add(0x100, descriptor(administrators));
    set_bitmap_security(image, 0x100);
    image_volume volume(image.build());
    ASSERT_TRUE(volume.validate());
    support::record_builder record(30);
    record.keep_order().standard_information({.length = 48}).data(byte_list(0x100 - 24));
    ASSERT_EQ(ql::le32(record.build_before_fixup(), 56 + 24 + 52), 0x100u);
    NTFS_INODE_INFO info;
    EXPECT_TRUE(volume.ntfs.parse_inode(record.build_before_fixup(), info, 30, false));
    EXPECT_EQ(info.security_text, administrators);
}

TEST(SecurityTable, IsNotLoadedForASecurityIdOfZero) {
    ntfs_image image = secured_volume();
    set_bitmap_security(image, 0);
    image_volume volume(image.build());
    ASSERT_TRUE(volume.validate());
    EXPECT_TRUE(volume.ntfs.m_security_table.empty());
    EXPECT_TRUE(volume.ntfs.load_security_table()) << "the volume has a table";
    EXPECT_EQ(volume.ntfs.m_security_table.size(), 2u);
}

TEST(SecurityTable, IsNotLoadedWhileTheSizeOfTheMftIsZero) {
    image_volume volume(secured_volume().build());
    ASSERT_TRUE(volume.validate());
    volume.ntfs.m_security_table.clear();
    volume.ntfs.m_mft_info.data_size = 0;
    const byte_list record =
        ntfs_image().entry(30).standard_information({.security_id = 0x100}).build_before_fixup();
    NTFS_INODE_INFO info;
    EXPECT_TRUE(volume.ntfs.parse_inode(record, info, 30, false));
    EXPECT_TRUE(volume.ntfs.m_security_table.empty());
    EXPECT_EQ(info.security_text, "");
}

TEST(SecurityTable, IsReadOnce) {
    image_volume volume(secured_volume().build());
    ASSERT_TRUE(volume.validate());
    volume.ntfs.m_disk->ok = false;
    EXPECT_TRUE(volume.ntfs.load_security_table());
    volume.ntfs.m_Validated = false;
    EXPECT_TRUE(volume.ntfs.load_security_table()) << "entries that are already loaded are kept";
    volume.ntfs.m_security_table.clear();
    EXPECT_FALSE(volume.ntfs.load_security_table());
}

TEST(SecurityTable, EmptyTableIsReadAgain) {
    ntfs_image image = secured_volume();
    image_volume volume(image.build());
    ASSERT_TRUE(volume.validate());
    volume.ntfs.m_security_table.clear();
    EXPECT_TRUE(volume.ntfs.load_security_table());
    EXPECT_EQ(volume.ntfs.m_security_table.size(), 2u);
}

TEST(SecurityTable, VolumeWithoutDescriptorsOpens) {
    ntfs_image no_stream;
    set_bitmap_security(no_stream, 0x100);
    EXPECT_EQ(ids_after_open(no_stream), id_list{});

    ntfs_image no_record = secured_volume();
    EXPECT_EQ(ids_after_open(no_record.put(no_record.record_pos(9), 0, 4)), id_list{});

    for (const char16_t* name : {u"$SDX", u"$SDS2", u"$sds", u""}) {
        ntfs_image other_name;
        set_bitmap_security(other_name, 0x100);
        other_name.entry(9).stream(name, sds_entry(0x100, 0, whole_entry));
        EXPECT_EQ(ids_after_open(other_name), id_list{});
    }
}

TEST(SecurityTable, StreamWithoutBytesFails) {
    ntfs_image image;
    set_bitmap_security(image, 0x100);
    image.entry(9).stream(u"$SDS", "");
    EXPECT_EQ(ids_after_open(image), id_list{});
}

TEST(SecurityTable, IsNotLoadedForAVolumeThatIsNotValidated) {
    image_volume volume(secured_volume().build());
    ASSERT_TRUE(volume.validate());
    volume.ntfs.m_security_table.clear();
    volume.ntfs.m_Validated = false;
    ntfs_image image;
    const byte_list record =
        image.entry(30).standard_information({.security_id = 0x100}).build_before_fixup();
    NTFS_INODE_INFO info;
    volume.ntfs.parse_inode(record, info, 30, false);
    EXPECT_EQ(info.security_text, "");
    EXPECT_FALSE(volume.ntfs.load_security_table());
    EXPECT_TRUE(volume.ntfs.m_security_table.empty());
}

TEST(SecurityTable, ResidentStreamIsRead) {
    ntfs_image image;
    set_bitmap_security(image, 0x100);
    image.entry(9).stream(u"$SDS", sds_entry(0x100, 0, whole_entry));
    EXPECT_EQ(ids_after_open(image), id_list{0x100});
}

TEST(SecurityTable, FirstEntryOfAnIdIsKept) {
    ntfs_image image;
    image.security().add(0x100, descriptor(administrators));
    image.security().add(0x100, descriptor(kim));
    set_bitmap_security(image, 0x100);
    image_volume volume(image.build());
    ASSERT_TRUE(volume.validate());
    EXPECT_EQ(volume.ntfs.security_item(0x100)->owner_text, administrators);
}

TEST(SecurityTable, MirrorBlocksChangeNothing) {
    ntfs_image image = secured_volume();
    ASSERT_GT(image.security().build().size(), 0x40000u) << "the stream has a mirror";
    EXPECT_EQ(ids_after_open(image), (id_list{0x100, 0x101}));

    image.security().skip_to(0x80000);
    image.security().add(0x200, descriptor(kim));
    EXPECT_EQ(ids_after_open(image), (id_list{0x100, 0x101, 0x200}));
}

TEST(SecurityTable, MirrorDoesNotReplaceALostEntry) {
    // The copy states the position of the first entry, so it is not valid at its own position.
    ntfs_image image = secured_volume();
    image.security().put(8, 0xFFFF, 8);
    EXPECT_EQ(ids_after_open(image), id_list{0x101});
}

TEST(SecurityTable, EntriesAreFoundAfterGapsAndDamage) {
    const std::uint32_t second_at = (whole_entry + 15) / 16 * 16;
    const auto stream_with = [&](std::uint64_t gap, std::uint64_t stored_at) {
        support::byte_image stream;
        stream.put_bytes(0, sds_entry(0x100, 0, whole_entry));
        stream.put_bytes(second_at + gap, sds_entry(0x101, stored_at, whole_entry));
        return stream.bytes();
    };
    EXPECT_EQ(ids_of_stream(stream_with(0, second_at)), (id_list{0x100, 0x101}));
    EXPECT_EQ(ids_of_stream(stream_with(16, second_at + 16)), (id_list{0x100, 0x101}));
    EXPECT_EQ(ids_of_stream(stream_with(4096, second_at + 4096)), (id_list{0x100, 0x101}));
    EXPECT_EQ(ids_of_stream(stream_with(8, second_at + 8)), id_list{0x100})
        << "not on a multiple of 16";
    EXPECT_EQ(ids_of_stream(stream_with(16, second_at)), id_list{0x100})
        << "another position in its header";
}

TEST(SecurityTable, SizeOfAnEntryHasItsLimits) {
    const struct {
        const char* name;
        std::uint32_t size;
        id_list ids;
    } cases[] = {
        {"unchanged", whole_entry, {0x100}},
        {"40", 40, {}},
        {"41", 41, {0x100}},
        {"0", 0, {}},
        {"all of the stream", 4096, {0x100}},
        {"more than the stream", 4097, {}},
        {"4 GiB", 0xFFFFFFFF, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const byte_list stream = support::byte_image(sds_entry(0x100, 0, whole_entry))
                                     .put(16, c.size, 4)
                                     .resize(4096)
                                     .bytes();
        EXPECT_EQ(ids_of_stream(stream), c.ids);
    }
}

TEST(SecurityTable, OwnerOfAnEntryMayExtendPastItsSize) {
    // The SID of the owner has 28 bytes and starts at 40.
    const byte_list stream = support::byte_image()
                                 .put(4, 0x100, 4)
                                 .put(16, 41, 4)
                                 .put_bytes(20, descriptor(kim))
                                 .resize(4096)
                                 .bytes();
    ntfs_image image;
    set_bitmap_security(image, 0x100);
    image.entry(9).stream_runs(u"$SDS", image.store(stream), {.real = stream.size()});
    image_volume volume(image.build());
    ASSERT_TRUE(volume.validate());
    ASSERT_EQ(volume.ntfs.m_security_table.size(), 1u);
    EXPECT_EQ(volume.ntfs.security_item(0x100)->owner_text, kim);
    EXPECT_EQ(volume.ntfs.security_item(0x100)->group_text, system_sid);
}

TEST(SecurityTable, OnlyDataIsAStream) {
    ntfs_image image;
    set_bitmap_security(image, 0x100);
    image.entry(9).resident(support::type::ea, u"$SDS", sds_entry(0x101, 0, whole_entry),
                            {.id = 0});
    image.entry(9).stream(u"$SDS", sds_entry(0x100, 0, whole_entry));
    image.entry(9).id(7);
    EXPECT_EQ(ids_after_open(image), id_list{0x100});
}

TEST(SecurityTable, FirstStreamOfTheNameIsRead) {
    ntfs_image image;
    set_bitmap_security(image, 0x100);
    image.entry(9).stream(u"$SDS", sds_entry(0x100, 0, whole_entry));
    image.entry(9).stream(u"$SDS", sds_entry(0x101, 0, whole_entry));
    EXPECT_EQ(ids_after_open(image), id_list{0x100});

    // A stream without data is used as well.
    ntfs_image empty_first;
    set_bitmap_security(empty_first, 0x100);
    empty_first.entry(9).stream(u"$SDS", byte_list(64));
    empty_first.entry(9).stream(u"$SDS", sds_entry(0x101, 0, whole_entry));
    EXPECT_EQ(ids_after_open(empty_first), id_list{});
}

TEST(SecurityTable, EntryThatCannotBeParsedIsSkippedByItsSize) {
    support::byte_image stream;
    ASSERT_LE(whole_entry, 80u);
    stream.put_bytes(0, sds_entry(0x100, 0, 128));
    stream.put_bytes(48, sds_entry(0x101, 48, whole_entry));  // inside the first one
    stream.put_bytes(128, sds_entry(0x102, 128, whole_entry));
    EXPECT_EQ(ids_of_stream(stream.bytes()), (id_list{0x100, 0x102}));
    stream.put(24, 0, 8);  // without owner and group
    EXPECT_EQ(ids_of_stream(stream.bytes()), id_list{0x102});
}

TEST(SecurityTable, StepsFollowTheRoundedSize) {
    for (const std::uint32_t size : {whole_entry + 1, whole_entry + 16, whole_entry + 100}) {
        SCOPED_TRACE(size);
        const std::uint32_t next = (size + 15) / 16 * 16;
        support::byte_image stream;
        stream.put_bytes(0, sds_entry(0x100, 0, size));
        stream.put_bytes(next, sds_entry(0x101, next, whole_entry));
        EXPECT_EQ(ids_of_stream(stream.bytes()), (id_list{0x100, 0x101}));
    }
}

TEST(SecurityTable, NoEntryStartsInTheLastSixteenBytesOfAnother) {
    // The first entry ends after the first of the 16 bytes that start at 80.
    support::byte_image stream;
    stream.put_bytes(80, sds_entry(0x101, 80, whole_entry));
    stream.put_bytes(0, sds_entry(0x100, 0, 81));
    EXPECT_EQ(ids_of_stream(stream.bytes()), id_list{0x100});
}

TEST(SecurityTable, LaterEntryMustEndInTheStream) {
    const std::uint32_t second_at = (whole_entry + 15) / 16 * 16;
    for (const std::uint32_t size : {whole_entry, whole_entry + 1}) {
        SCOPED_TRACE(size);
        support::byte_image stream;
        stream.put_bytes(0, sds_entry(0x100, 0, whole_entry));
        stream.put_bytes(second_at, sds_entry(0x101, second_at, size));
        stream.resize(second_at + whole_entry);
        EXPECT_EQ(ids_of_stream(stream.bytes()),
                  size == whole_entry ? (id_list{0x100, 0x101}) : id_list{0x100});
    }
}

TEST(SecurityTable, CompressedStreamIsLoaded) {
    ntfs_image image = secured_volume();
    byte_list stream = image.security().build();
    stream.resize(4096);  // the units of zeros before the mirror would end a compressed stream
    image.compressed_stream(image.entry(9), u"$SDS", stream);
    EXPECT_EQ(ids_after_open(image), (id_list{0x100, 0x101}));
}

TEST(SecurityTable, LargeHolesAreSkippedQuickly) {
    const std::uint64_t far = 32u << 20;
    ntfs_image image{{.clusters = 2 * far / 4096}};
    set_bitmap_security(image, 0x100);
    const support::cluster_runs runs{
        {image.store(sds_entry(0x100, 0, whole_entry))[0].lcn, 1},
        {support::hole, far / 4096 - 1},
        {image.store(sds_entry(0x101, far, whole_entry))[0].lcn, 1},
    };
    image.entry(9).stream_runs(u"$SDS", runs);
    EXPECT_EQ(ids_after_open(image), (id_list{0x100, 0x101}));
}

TEST(SecurityTable, StreamWithAHoleFarAboveTheSourceIsLoaded) {
    ntfs_image image;
    set_bitmap_security(image, 0x100);
    const std::uint64_t entry_lcn = image.store(sds_entry(0x100, 0, whole_entry))[0].lcn;
    image.entry(9).stream_runs(u"$SDS", {{entry_lcn, 1}, {support::hole, 0xFFFFFFFF}});
    EXPECT_EQ(ids_after_open(image), id_list{0x100});
}

// The position in the header of the entry is 17 TB.
TEST(SecurityTable, EntryAfterAHoleFarAboveTheSourceIsLoaded) {
    constexpr std::uint64_t hole_clusters = 0xFFFFFFFF;
    ntfs_image image;
    set_bitmap_security(image, 0x100);
    const support::cluster_runs runs{
        {image.store(sds_entry(0x100, 0, whole_entry))[0].lcn, 1},
        {support::hole, hole_clusters},
        {image.store(sds_entry(0x101, (1 + hole_clusters) * 4096, whole_entry))[0].lcn, 1},
    };
    image.entry(9).stream_runs(u"$SDS", runs);
    EXPECT_EQ(ids_after_open(image), (id_list{0x100, 0x101}));
}

TEST(SecurityTable, UnreadableClustersEndTheStream) {
    ntfs_image image;
    set_bitmap_security(image, 0x100);
    const std::uint64_t entry_lcn = image.store(sds_entry(0x100, 0, whole_entry))[0].lcn;
    image.entry(9).stream_runs(u"$SDS", {{entry_lcn, 1}, {1 << 30, 4}, {entry_lcn, 1}});
    EXPECT_EQ(ids_after_open(image), id_list{0x100});

    ntfs_image nothing;
    set_bitmap_security(nothing, 0x100);
    nothing.entry(9).stream_runs(u"$SDS", {{1 << 30, 4}});
    EXPECT_EQ(ids_after_open(nothing), id_list{});
}

TEST(SecurityTable, AccessListsAreIgnored) {
    support::security_descriptor made;
    made.owner = support::sid(kim);
    made.dacl = support::acl({support::ace(0, 0, 0x1F01FF, support::sid(administrators))});
    ntfs_image image;
    image.security().add(0x100, made.build());
    set_bitmap_security(image, 0x100);
    image_volume volume(image.build());
    ASSERT_TRUE(volume.validate());
    const NTFS_SECURITY_ITEM* item = volume.ntfs.security_item(0x100);
    ASSERT_NE(item, nullptr);
    EXPECT_EQ(item->owner_text, kim);
    EXPECT_EQ(item->group_text, "");
    EXPECT_TRUE(item->dacl_lines.empty());
    EXPECT_TRUE(item->sacl_lines.empty());
}

}  // namespace

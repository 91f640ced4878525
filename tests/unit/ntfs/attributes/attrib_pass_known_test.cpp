// Tests passes over an entry whose base record has been read before.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "ntfs/attributes/attrib_pass.h"
#include "ntfs/records/record_reader.h"
#include "ntfs/volume/ntfs.h"
#include "support/ntfs_image.h"
#include "unit/ntfs/open_volume.h"

namespace {

using support::file_reference;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint32_t record_size = 1024;

// A record that has been read, with its buffer.
struct known_record {
    std::vector<std::uint8_t> bytes;
    whole_record whole;

    known_record(open_volume& volume, std::uint64_t inode) {
        EXPECT_TRUE(volume.ntfs.read_record(inode, bytes, whole));
        EXPECT_EQ(whole.length, record_size);
    }
};

// Returns the names of the attributes that a pass has kept.
std::vector<std::wstring> names_of(const attrib_pass& pass) {
    std::vector<std::wstring> names;
    for (const auto& [key, kept] : pass.attributes())
        names.push_back(kept.name);
    return names;
}

// A volume with the stream "a" in entry 64 and "b" in entry 65.
support::ntfs_image two_entries() {
    support::ntfs_image image;
    image.entry(64).stream(u"a", "1");
    image.entry(65).stream(u"b", "2");
    return image;
}

TEST(AttribPassKnown, KnownRecordIsNotReadAgain) {
    open_volume volume(two_entries());
    const known_record known(volume, 64);
    attrib_pass pass(volume.ntfs, {});
    volume.ntfs.m_disk->ok = false;  // every read fails
    EXPECT_FALSE(pass.run(64, record_size));
    EXPECT_THAT(pass.base_record(), IsEmpty());
    ASSERT_TRUE(pass.run(64, record_size, &known.whole));
    EXPECT_THAT(names_of(pass), ElementsAre(L"a"));
    EXPECT_EQ(pass.base_record().data(), known.bytes.data());
    EXPECT_EQ(pass.inode(), 64u);
    EXPECT_EQ(pass.record_size(), record_size);
}

TEST(AttribPassKnown, AnotherRecordIsIgnored) {
    open_volume volume(two_entries());
    const known_record known(volume, 65);
    attrib_pass pass(volume.ntfs, {});
    ASSERT_TRUE(pass.run(64, record_size, &known.whole));
    EXPECT_THAT(names_of(pass), ElementsAre(L"a"));
    const whole_record none;
    ASSERT_TRUE(pass.run(64, record_size, &none));
    EXPECT_THAT(names_of(pass), ElementsAre(L"a"));
}

TEST(AttribPassKnown, RecordOfAnotherPositionOrLengthIsIgnored) {
    open_volume volume(two_entries());
    const known_record at_64(volume, 64);
    const known_record at_65(volume, 65);
    const struct {
        const char* name;
        std::uint64_t position;
        std::uint32_t length;
        const wchar_t* stream;
    } cases[] = {
        {"the same", at_64.whole.position, record_size, L"b"},
        {"another position", at_64.whole.position + 1, record_size, L"a"},
        {"a larger record", at_64.whole.position, record_size + 1, L"a"},
        {"a smaller record", at_64.whole.position, record_size - 1, L"a"},
        {"no record", at_64.whole.position, 0, L"a"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        // The content is that of entry 65, which shows whether it is used.
        const whole_record known{
            .position = c.position, .length = c.length, .content = at_65.whole.content};
        attrib_pass pass(volume.ntfs, {});
        ASSERT_TRUE(pass.run(64, record_size, &known));
        EXPECT_THAT(names_of(pass), ElementsAre(c.stream));
    }
}

TEST(AttribPassKnown, RecordSizeOfThePassIsCompared) {
    open_volume volume(two_entries());
    const known_record known(volume, 64);
    attrib_pass pass(volume.ntfs, {});
    volume.ntfs.m_disk->ok = false;
    EXPECT_FALSE(pass.run(64, 2 * record_size, &known.whole));
    EXPECT_FALSE(pass.run(64, record_size / 2, &known.whole));
}

// Entry 64 has one attribute of its own and lists one of entry 65.
TEST(AttribPassKnown, ExtensionRecordsAreStillRead) {
    support::ntfs_image image;
    image.entry(65).base(file_reference(64, 1)).stream(u"far", "x").id(3);
    image.entry(64)
        .attribute_list({{.type = 0x80, .record = file_reference(65, 1), .id = 3}})
        .stream(u"near", "y")
        .id(2);
    open_volume volume(image);
    const known_record known(volume, 64);
    attrib_pass pass(volume.ntfs, {});
    ASSERT_TRUE(pass.run(64, record_size, &known.whole));
    EXPECT_THAT(names_of(pass), ElementsAre(L"near", L"far"));
    volume.ntfs.m_disk->ok = false;
    ASSERT_TRUE(pass.run(64, record_size, &known.whole));
    EXPECT_THAT(names_of(pass), ElementsAre(L"near"));
}

TEST(AttribPassKnown, RunsWithAndWithoutAKnownRecordAlternate) {
    open_volume volume(two_entries());
    const known_record known(volume, 64);
    attrib_pass pass(volume.ntfs, {});
    for (int round = 0; round < 2; ++round) {
        ASSERT_TRUE(pass.run(64, record_size, &known.whole));
        EXPECT_THAT(names_of(pass), ElementsAre(L"a"));
        EXPECT_EQ(pass.base_record().data(), known.bytes.data());
        ASSERT_TRUE(pass.run(65, record_size));
        EXPECT_THAT(names_of(pass), ElementsAre(L"b"));
        EXPECT_FALSE(pass.run(70000, record_size));
        EXPECT_THAT(names_of(pass), IsEmpty());
    }
}

TEST(AttribPassKnown, RecordThatWasReadIsKeptWithTheResults) {
    open_volume volume(two_entries());
    const known_record known(volume, 64);
    attrib_pass pass(volume.ntfs, {});
    ASSERT_TRUE(pass.run(65, record_size));
    ASSERT_TRUE(pass.run(64, record_size, &known.whole));
    pass.free_large_records();
    EXPECT_EQ(pass.base_record().data(), known.bytes.data()) << "records of 1 KiB are not large";
}

}  // namespace

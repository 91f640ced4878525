// Damaged volumes: the damage costs a row or a path, never the run.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <sstream>

#include "e2e/report_head.h"
#include "support/ntfs_image.h"
#include "support/temp_dir.h"

namespace {

constexpr std::uint64_t root = 5;

// \dir (40) with the files a to e (64 to 68).
class Damage : public testing::Test {
protected:
    Damage() {
        volume.directory(root, u"dir", 40);
        for (std::uint64_t i = 0; i < 5; ++i) {
            volume.file(40, std::u16string(1, static_cast<char16_t>(u'a' + i)), 64 + i).data("x");
        }
    }

    std::string list(const std::string& path = "\\dir",
                     const std::vector<std::string>& options = {}) {
        std::vector<std::string> arguments = {path, "-image", volume.save(dir.file("damaged.dd")),
                                              "-filepath_only"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        return e2e::list_bare(arguments);
    }

    // Returns the paths of \dir with these files.
    static std::string files(const std::string& letters) {
        std::string text = "\\dir\\\n";
        for (const char letter : letters)
            text += std::string("\\dir\\") + letter + "\n";
        return text;
    }

    support::temp_dir dir;
    support::ntfs_image volume;
};

TEST_F(Damage, UndamagedVolume) { EXPECT_EQ(list(), files("abcde")); }

TEST_F(Damage, RecordWithAnotherKeywordLosesItsRow) {
    for (const char* keyword : {"BAAD", "XXXX", "file"}) {
        volume.entry(66).keyword(keyword);
        EXPECT_EQ(list(), files("abde"));
    }
}

TEST_F(Damage, RecordOfZerosLosesItsRow) {
    volume.put_bytes(volume.record_pos(66), support::bytes(1024));
    EXPECT_EQ(list(), files("abde"));
}

TEST_F(Damage, RecordWithAWrongCheckValueIsListed) {
    volume.put(volume.record_pos(66) + 510, 0xdead, 2);
    volume.put(volume.record_pos(66) + 1022, 0xbeef, 2);
    EXPECT_EQ(list(), files("abcde"));
}

TEST_F(Damage, RecordOfAnOlderFormatLosesItsRow) {
    volume.entry(66).usa_offset(42);
    EXPECT_EQ(list(), files("abde"));
}

TEST_F(Damage, AttributeLongerThanTheRecordLosesTheNextOnes) {
    // If $STANDARD_INFORMATION is too long, no name can be reached. If $FILE_NAME is too long, the
    // name is found, but not the attributes after it.
    const std::size_t info = volume.entry(66).attribute_offset(support::type::standard_information);
    volume.entry(66).put_before_fixup(info + 4, 0x10000, 4);
    const std::size_t name = volume.entry(67).attribute_offset(support::type::file_name);
    volume.entry(67).put_before_fixup(name + 4, 0x10000, 4);
    EXPECT_EQ(list(), files("abde"));
}

TEST_F(Damage, AttributeOfLengthZeroEndsTheRecord) {
    const std::size_t info = volume.entry(66).attribute_offset(support::type::standard_information);
    volume.entry(66).put_before_fixup(info + 4, 0, 4);
    EXPECT_EQ(list(), files("abde"));
}

TEST_F(Damage, NamePastTheEndOfTheRecordIsTruncated) {
    const std::size_t name = volume.entry(66).attribute_offset(support::type::file_name);
    // The value starts in the last bytes of the record: its parent is 0, and it has no name.
    volume.entry(66).put_before_fixup(name + 20, 1016, 2);
    EXPECT_EQ(list(), files("abde"));
}

TEST_F(Damage, NameLengthBeyondTheNameExtendsItToAZeroUnit) {
    const std::size_t name = volume.entry(66).attribute_offset(support::type::file_name);
    volume.entry(66).put_before_fixup(name + 24 + 64, 255, 1);
    EXPECT_EQ(list(), files("abcde"));  // zero bytes follow the one letter
}

TEST_F(Damage, IndexOfAnotherKindLosesTheChildren) {
    volume.index(40).put_in_root(0, 0x80, 4);
    EXPECT_EQ(list(), files(""));  // the directory itself is found by the index of the root
}

TEST_F(Damage, IndexEntryOfAWrongSizeLosesTheNextEntries) {
    // Entries have 16 + 66 + 2 bytes, rounded up to 8: 88. The third one is at 32 + 2 * 88.
    volume.index(40).put_in_root(32 + 2 * 88 + 8, 769, 2);
    EXPECT_EQ(list(), files("ab"));
}

TEST_F(Damage, IndexBlockWithoutItsKeywordLosesItsChildren) {
    volume.index(40).in_blocks();
    for (std::uint64_t i = 0; i < 60; ++i) {
        const std::string name = "n" + std::to_string(100 + i);
        volume.file(40, std::u16string(name.begin(), name.end()), 100 + i);
    }
    volume.index(40).put_in_block(1, 0, 0x58, 1);
    const std::string valid_blocks = list();
    EXPECT_NE(valid_blocks.find("\\dir\\a\n"), std::string::npos);
    EXPECT_EQ(valid_blocks.find("\\dir\\n159\n"), std::string::npos);
}

TEST_F(Damage, StaleIndexEntriesAreHiddenByTheirRecords) {
    volume.index(40).add(5000, support::file_name_value(40, u"beyond $MFT"));
    volume.index(40).add(63, support::file_name_value(40, u"never used"));
    volume.index(40).add(root, support::file_name_value(40, u"not below this"));
    EXPECT_EQ(list(), files("abcde"));
}

TEST_F(Damage, TruncatedImageLosesTheRecordsPastItsEnd) {
    // Record 66 is the first that is missing completely; the second half of 65 is missing.
    volume.truncate(volume.record_pos(65) + 512);
    EXPECT_EQ(list(), files("ab"));
    volume.truncate(volume.record_pos(65));
    EXPECT_EQ(list(), files("a"));
}

TEST_F(Damage, TruncatedRecordContainsNothingOfThePreviousOne) {
    // Both records have the same layout, and the name of the second is in its missing half.
    for (const std::uint64_t number : {64u, 65u}) {
        volume.entry(number)
            .clear()
            .keep_order()
            .standard_information()
            .stream(u"pad", std::string(400, 'p'))
            .file_name(40, number == 64 ? u"a" : u"b");
        ASSERT_GT(volume.entry(number).attribute_offset(support::type::file_name), 512u);
    }
    volume.truncate(volume.record_pos(65) + 512);
    EXPECT_EQ(list(), "\\dir\\\n\\dir\\a\n\\dir\\a:pad\n");
}

TEST_F(Damage, LostSubdirectoryAffectsOnlyItsOwnListing) {
    volume.directory(40, u"lost", 41);
    volume.file(41, u"below", 80);
    volume.index(41).put_in_root(0, 0x80, 4);
    volume.directory(40, u"whole", 42);
    volume.file(42, u"kept", 81);
    EXPECT_EQ(list("\\dir", {"-level", "9"}),
              files("abcde") + "\\dir\\lost\\\n\\dir\\whole\\\n\\dir\\whole\\kept\n");
}

// Damaging any single byte of one file's record leaves the rest of the listing complete.
TEST_F(Damage, NoByteOfARecordAffectsItsNeighbours) {
    const std::uint64_t record = volume.record_pos(66);
    support::byte_image image = volume.build();
    const std::string path = dir.file("byte.dd");
    const std::set<std::string> others = {"\\dir\\a", "\\dir\\b", "\\dir\\d", "\\dir\\e"};
    for (std::uint64_t at = 0; at < 360; at += 3) {
        for (const std::uint64_t value : {0x00u, 0x7Fu, 0xFFu}) {
            const std::uint64_t valid = image.get(record + at, 1);
            image.put(record + at, value, 1).save(path);
            image.put(record + at, valid, 1);
            SCOPED_TRACE(std::to_string(at) + " " + std::to_string(value));
            std::istringstream text(
                e2e::list_bare({"\\dir", "-image", path, "-filepath_only", "-indx"}));
            std::set<std::string> rest;
            for (std::string line; std::getline(text, line);) {
                if (others.count(line) != 0) rest.insert(line);
            }
            EXPECT_EQ(rest, others);
        }
    }
}

// The program survives truncation of the image at any size.
TEST_F(Damage, ImageTruncatedAnywhereEndsTheRunNormally) {
    support::byte_image image = volume.build();
    const std::string path = dir.file("cut.dd");
    for (std::uint64_t size = volume.record_pos(70); size > 0;
         size -= std::min<std::uint64_t>(size, 1531)) {
        image.resize(size).save(path);
        const support::program_result run =
            support::run_built_program(QUORVEL_PROGRAM, {"\\dir", "-image", path, "-level", "3"});
        SCOPED_TRACE(size);
        EXPECT_TRUE(run.status == 0 || run.status == 255) << run.status;
        if (size <= 512) {
            EXPECT_EQ(run.status, 255);
        }
    }
}

}  // namespace

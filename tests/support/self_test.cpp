// Tests of the builders. The expected bytes are computed from the formats.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>

#include "support/byte_image.h"
#include "support/directory_index.h"
#include "support/filetime.h"
#include "support/lznt1_compressor.h"
#include "support/partition_image.h"
#include "support/record_builder.h"
#include "support/run_list.h"
#include "support/run_program.h"
#include "support/sds.h"
#include "support/temp_dir.h"
#include "support/vmdk_image.h"

namespace support {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;

std::uint64_t le(const bytes& in, std::size_t at, std::size_t width) {
    return byte_image(in).get(at, width);
}

TEST(ByteImage, WritesLittleEndianAndGrows) {
    byte_image image;
    image.put(2, 0x04030201, 4).put_big_endian(6, 0x0102, 2).put_utf16(8, u"a\u1234");
    EXPECT_THAT(image.bytes(), ElementsAre(0, 0, 1, 2, 3, 4, 1, 2, 'a', 0, 0x34, 0x12));
    EXPECT_EQ(image.get(2, 4), 0x04030201u);
}

TEST(ByteImage, BytesPastTheEndReadAsZeros) {
    const byte_image image(bytes{1, 2});
    EXPECT_EQ(image.get(1, 4), 2u);
    EXPECT_THAT(image.get_bytes(1, 3), ElementsAre(2, 0, 0));
}

TEST(ByteImage, TruncatedBytesAreZeroAfterGrowing) {
    byte_image image(bytes{1, 2, 3, 4});
    image.resize(2).resize(4);
    EXPECT_THAT(image.bytes(), ElementsAre(1, 2, 0, 0));
}

TEST(ByteImage, SavesAndLoadsAcrossPages) {
    const temp_dir dir;
    byte_image image(300000);
    image.put(65534, 0x0807060504030201, 8).put(299999, 9, 1);
    const byte_image loaded = byte_image::load(image.save(dir.file("image")));
    EXPECT_EQ(loaded.size(), 300000u);
    EXPECT_EQ(loaded.bytes(), image.bytes());
}

TEST(ByteImage, PutImageOverwritesExistingBytes) {
    byte_image image(200000);
    image.fill(0, 200000, 0xFF);
    byte_image other(150000);
    other.put(70000, 7, 1);
    image.put_image(10, other);
    EXPECT_EQ(image.get(9, 1), 0xFFu);
    EXPECT_EQ(image.get(10, 1), 0u);
    EXPECT_EQ(image.get(70010, 1), 7u);
    EXPECT_EQ(image.get(150009, 1), 0u);
    EXPECT_EQ(image.get(150010, 1), 0xFFu);
}

TEST(FileTime, CountsFrom1601) {
    EXPECT_EQ(filetime(1601, 1, 1), 0u);
    // There are 369 years with 89 leap days before 1970.
    EXPECT_EQ(filetime(1970, 1, 1), (369ull * 365 + 89) * 86400 * 10000000);
    EXPECT_EQ(filetime(2000, 3, 1) - filetime(2000, 2, 28), 2ull * 86400 * 10000000);
    EXPECT_EQ(filetime(1900, 3, 1) - filetime(1900, 2, 28), 1ull * 86400 * 10000000);
    EXPECT_EQ(filetime(1601, 1, 1, 1, 2, 3, 4), 37230000004u);
}

TEST(RunList, EncodesEachRunInItsShortestForm) {
    const cluster_runs runs = {{0x5634, 0x18}, {hole, 0x80}, {0x5600, 1}};
    // 0x80 clusters need a second byte, because other readers treat a one-byte length as negative.
    // 0x5600 is 0x34 clusters before the run that precedes the hole.
    EXPECT_THAT(run_list(runs).terminated(),
                ElementsAre(0x21, 0x18, 0x34, 0x56, 0x02, 0x80, 0x00, 0x11, 0x01, 0xCC, 0x00));
    EXPECT_EQ(clusters_in(runs), 0x99u);
}

TEST(RunList, WritesFieldsOfAnyWidth) {
    EXPECT_THAT(run_list().add_fields(3, 2, -2, 3).unterminated(),
                ElementsAre(0x32, 0x03, 0x00, 0xFE, 0xFF, 0xFF));
    EXPECT_EQ(run_list().add_fields(1, 15, -1, 15).unterminated().size(), 31u);
}

TEST(RecordBuilder, WritesHeaderAttributesAndFixups) {
    const bytes record = record_builder(64).sequence(7).data("abc").build();
    ASSERT_EQ(record.size(), 1024u);
    EXPECT_EQ(le(record, 0, 4), 0x454C4946u);  // "FILE"
    EXPECT_EQ(le(record, 4, 2), 48u);
    EXPECT_EQ(le(record, 6, 2), 3u);
    EXPECT_EQ(le(record, 16, 2), 7u);
    EXPECT_EQ(le(record, 20, 2), 56u);
    EXPECT_EQ(le(record, 22, 2), 1u);
    EXPECT_EQ(le(record, 24, 4), 56u + 32 + 8);  // 24 of header, 3 of content, rounded up to 8
    EXPECT_EQ(le(record, 28, 4), 1024u);
    EXPECT_EQ(le(record, 44, 4), 64u);
    EXPECT_EQ(le(record, 48, 2), 1u);
    EXPECT_EQ(le(record, 510, 2), 1u);
    EXPECT_EQ(le(record, 1022, 2), 1u);
    EXPECT_EQ(le(record, 56, 4), 0x80u);
    EXPECT_EQ(le(record, 60, 4), 32u);
    EXPECT_EQ(le(record, 72, 4), 3u);
    EXPECT_EQ(le(record, 76, 2), 24u);
    EXPECT_EQ(le(record, 80, 3), 0x636261u);
    EXPECT_EQ(le(record, 88, 4), 0xFFFFFFFFu);
}

TEST(RecordBuilder, StoresTheWordsThatFixupsReplace) {
    const record_builder builder = record_builder(64).put_before_fixup(510, 0xBEEF, 2);
    EXPECT_EQ(le(builder.build(), 50, 2), 0xBEEFu);
    EXPECT_EQ(le(builder.build(), 510, 2), 1u);
    EXPECT_EQ(le(builder.build_before_fixup(), 510, 2), 0xBEEFu);
    EXPECT_EQ(le(record_builder(64).put(510, 0xDEAD, 2).build(), 510, 2), 0xDEADu);
}

TEST(RecordBuilder, AttributesOfLargeRecordsStartLater) {
    const bytes record = record_builder(64, 4096).data("").build();
    EXPECT_EQ(le(record, 6, 2), 9u);
    EXPECT_EQ(le(record, 20, 2), 72u);  // 48 and nine words, rounded up to 8
}

TEST(RecordBuilder, LaysAttributesOutByTypeAndNumbersThemInCallOrder) {
    const record_builder builder = record_builder(64).data("x").standard_information();
    EXPECT_EQ(builder.attribute_offset(type::standard_information), 56u);
    EXPECT_EQ(builder.attribute_offset(type::data), 56u + 24 + 72);
    EXPECT_EQ(le(builder.build(), 56 + 14, 2), 1u);
    const record_builder as_called =
        record_builder(64).data("x").standard_information().keep_order();
    EXPECT_EQ(as_called.attribute_offset(type::data), 56u);
}

TEST(RecordBuilder, DescribesRunsInTheNonResidentHeader) {
    const bytes record = record_builder(64)
                             .stream_runs(u"s", {{16, 2}, {hole, 2}}, {.real = 9000, .unit = 4})
                             .build();
    const std::size_t at = 56;
    EXPECT_EQ(le(record, at + 8, 1), 1u);
    EXPECT_EQ(le(record, at + 9, 1), 1u);
    EXPECT_EQ(le(record, at + 10, 2), 72u);
    EXPECT_EQ(le(record, at + 24, 8), 3u);
    EXPECT_EQ(le(record, at + 32, 2), 80u);
    EXPECT_EQ(le(record, at + 34, 1), 4u);
    EXPECT_EQ(le(record, at + 40, 8), 4u * 4096);
    EXPECT_EQ(le(record, at + 48, 8), 9000u);
    EXPECT_EQ(le(record, at + 56, 8), 9000u);
    EXPECT_EQ(le(record, at + 64, 8), 2u * 4096);
    EXPECT_EQ(le(record, at + 72, 2), u's');
    EXPECT_EQ(le(record, at + 80, 3), 0x100211u);
}

TEST(RecordBuilder, RejectsAttributesThatDoNotFit) {
    EXPECT_THROW((void)record_builder(64).data(pattern(2000)).build(), std::length_error);
    EXPECT_THROW((void)record_builder(64).attribute_offset(type::data), std::out_of_range);
}

TEST(AttributeValues, HaveTheirFieldsAtTheRightOffsets) {
    const bytes name = file_name_value(5, u"ab", {.space = dos, .real = 77});
    EXPECT_EQ(name.size(), 70u);
    EXPECT_EQ(le(name, 0, 8), 0x0005000000000005u);
    EXPECT_EQ(le(name, 48, 8), 77u);
    EXPECT_EQ(le(name, 64, 2), 0x0202u);
    EXPECT_EQ(le(name, 66, 4), 0x00620061u);

    const bytes list =
        attribute_list_value({{.type = 0x80, .name = u"x", .record = 70, .id = 3}, {.type = 0x90}});
    EXPECT_EQ(list.size(), 64u);
    EXPECT_EQ(le(list, 4, 2), 32u);
    EXPECT_EQ(le(list, 16, 8), 70u);
    EXPECT_EQ(le(list, 24, 4), 0x00780003u);
    EXPECT_EQ(le(list, 32, 4), 0x90u);

    const bytes link = reparse_value(symbolic_link_tag, u"abc", {.print = u"d", .relative = true});
    EXPECT_EQ(le(link, 0, 4), 0xA000000Cu);
    EXPECT_EQ(le(link, 4, 2), 8u + 4 + 6 + 2 + 2 + 2);
    EXPECT_EQ(le(link, 8, 8), 0x0002000800060000u);
    EXPECT_EQ(le(link, 16, 4), 1u);
    EXPECT_EQ(le(link, 20, 2), u'a');
}

TEST(DirectoryIndex, EntriesAndBlocksHaveTheirSizes) {
    const bytes entry = index_entry{.reference = 9, .key = file_name_value(5, u"a")}.build();
    EXPECT_EQ(entry.size(), 88u);  // 16 and 68, rounded up to 8
    EXPECT_EQ(le(entry, 8, 2), 88u);
    EXPECT_EQ(le(entry, 10, 2), 68u);
    const bytes block = index_block(index_end_entry(7), {.vcn = 3});
    EXPECT_EQ(le(block, 0, 4), 0x58444E49u);  // "INDX"
    EXPECT_EQ(le(block, 4, 4), 0x00090028u);
    EXPECT_EQ(le(block, 16, 8), 3u);
    EXPECT_EQ(le(block, 24, 4), 40u);  // the array ends at 58, entries start at 64
    EXPECT_EQ(le(block, 28, 4), 64u);
    EXPECT_EQ(le(block, 64 + 12, 2), 3u);
    EXPECT_EQ(le(block, 64 + 16, 8), 7u);
    EXPECT_EQ(le(block, 4094, 2), 1u);
}

TEST(Lznt1Compressor, WritesLiteralsAndMatches) {
    // 12 equal bytes: a literal, then a token of displacement 1 (0) and length 11 (8).
    EXPECT_THAT(lznt1_compress(bytes(12, 'a')), ElementsAre(0x03, 0xB0, 0x02, 'a', 0x08, 0x00));
    EXPECT_THAT(lznt1_stored(bytes{1, 2}), ElementsAre(0x01, 0x30, 1, 2));
    EXPECT_THAT(lznt1_literals(bytes{1, 2}), ElementsAre(0x02, 0xB0, 0x00, 1, 2));
    EXPECT_EQ(le(lznt1_compress(pattern(4096)), 0, 2), 0x3FFFu);
}

TEST(Security, EncodesSidsAclsAndEntries) {
    EXPECT_THAT(sid("S-1-5-32-544"),
                ElementsAre(1, 2, 0, 0, 0, 0, 0, 5, 32, 0, 0, 0, 0x20, 2, 0, 0));
    const bytes list = acl({ace(1, 2, 0x03, sid(5, {18}))});
    EXPECT_EQ(list.size(), 8u + 8 + 12);
    EXPECT_EQ(le(list, 2, 4), 0x0001001Cu);
    EXPECT_EQ(le(list, 8, 4), 0x00140201u);

    sds_stream stream;
    const bytes descriptor = security_descriptor{.owner = sid(5, {18})}.build();
    EXPECT_EQ(descriptor.size(), 32u);
    EXPECT_EQ(le(descriptor, 4, 4), 20u);
    EXPECT_EQ(le(descriptor, 8, 4), 0u);
    EXPECT_EQ(stream.add(256, descriptor), 0u);
    EXPECT_EQ(stream.add(257, descriptor), 64u);  // 20 and 32, rounded up to 16
    const bytes content = stream.build();
    EXPECT_EQ(content.size(), 0x40000u + 64 + 52);
    EXPECT_EQ(le(content, 64 + 8, 8), 64u);
    EXPECT_EQ(le(content, 0x40000 + 64 + 8, 8), 64u);
}

TEST(PartitionImage, PutsTablesAtTheExpectedOffsets) {
    byte_image disk(1 << 20);
    put_boot_record(disk, 0, {{}, {.type = 5, .first = 100, .count = 50}});
    EXPECT_EQ(disk.get(446 + 16 + 4, 1), 5u);
    EXPECT_EQ(disk.get(446 + 16 + 8, 8), 0x0000003200000064u);
    EXPECT_EQ(disk.get(510, 2), 0xAA55u);
    put_extended_chain(
        disk, 100,
        {{.record = 100, .first = 101, .count = 3}, {.record = 110, .first = 112, .count = 4}});
    EXPECT_EQ(disk.get(100 * 512 + 446 + 8, 4), 1u);
    EXPECT_EQ(disk.get(100 * 512 + 446 + 16 + 4, 1), 5u);
    EXPECT_EQ(disk.get(100 * 512 + 446 + 16 + 8, 4), 10u);
    EXPECT_EQ(disk.get(110 * 512 + 446 + 8, 4), 2u);
    EXPECT_EQ(disk.get(110 * 512 + 446 + 16 + 4, 1), 0u);
}

TEST(PartitionImage, PutsGuidTables) {
    EXPECT_EQ(crc32(as_bytes("123456789")), 0xCBF43926u);
    EXPECT_THAT(parse_guid("00112233-4455-6677-8899-AABBCCDDEEFF"),
                ElementsAreArray({0x33, 0x22, 0x11, 0x00, 0x55, 0x44, 0x77, 0x66, 0x88, 0x99, 0xAA,
                                  0xBB, 0xCC, 0xDD, 0xEE, 0xFF}));
    byte_image disk(1 << 22);
    put_gpt(disk, {{.first = 6, .last = 9, .name = u"n"}}, {.sector = 4096});
    EXPECT_EQ(disk.get(446 + 4, 1), 0xEEu);
    EXPECT_EQ(disk.get(4096 + 24, 8), 1u);
    EXPECT_EQ(disk.get(4096 + 72, 8), 2u);
    EXPECT_EQ(disk.get(4096 + 80, 8), 128ull << 32 | 128);
    EXPECT_EQ(disk.get(8192 + 32, 8), 6u);
    EXPECT_EQ(disk.get(8192 + 40, 8), 9u);
    EXPECT_EQ(disk.get(8192 + 56, 2), u'n');
}

TEST(VmdkImage, StoresGrainsAfterTheirTables) {
    byte_image disk(3 * 65536);
    disk.put(65536, 7, 1);
    const vmdk_image image = vmdk_image().content(disk);
    const byte_image file = image.build();
    EXPECT_EQ(file.get(0, 4), 0x564D444Bu);
    EXPECT_EQ(file.get(12, 8), 384u);
    EXPECT_EQ(file.get(56, 8), image.directory_sector());
    const std::uint64_t table = file.get(image.directory_sector() * 512, 4);
    EXPECT_EQ(table, image.table_sector(0));
    EXPECT_EQ(file.get(table * 512, 4), 0u);
    EXPECT_EQ(file.get(table * 512 + 4, 4), image.grain_sector(1));
    EXPECT_EQ(file.get(image.grain_sector(1) * 512, 1), 7u);
    EXPECT_EQ(image.grain_sector(0), 0u);
    EXPECT_EQ(file.size(), (image.grain_sector(1) + 128) * 512);
}

TEST(VmdkImage, ChainsNameTheirParents) {
    const temp_dir dir;
    const vmdk_image base({.capacity = 256}), delta({.capacity = 256});
    const auto paths = save_vmdk_chain(dir.path(), "disk", {base, delta});
    ASSERT_EQ(paths.size(), 2u);
    EXPECT_THAT(read_file(paths[0]), testing::HasSubstr("CID=10000000\nparentCID=ffffffff\n"));
    EXPECT_THAT(read_file(paths[1]), testing::HasSubstr("CID=10000001\nparentCID=10000000\n"));
    EXPECT_THAT(read_file(paths[1]), testing::HasSubstr("parentFileNameHint=\"disk.vmdk\"\n"));
}

TEST(RunProgram, CollectsBothOutputsAndTheStatusSeparately) {
    const auto result =
        run_program("/bin/sh", {"-c", "echo \"$0 $1\"; echo bad >&2; exit 3", "a b", "c"});
    EXPECT_EQ(result.status, 3);
    EXPECT_EQ(result.standard_output, "a b c\n");
    EXPECT_EQ(result.standard_error, "bad\n");
}

TEST(RunProgram, SetsDirectoryEnvironmentAndInput) {
    const temp_dir dir;
    const auto result = run_program(
        "/bin/sh", {"-c", "pwd -P; echo \"$WORD\"; cat"},
        {.working_directory = "/usr", .environment = {{"WORD", "x y"}}, .standard_input = "typed"});
    EXPECT_EQ(result.standard_output, "/usr\nx y\ntyped");
    EXPECT_EQ(run_program("/bin/sh", {"-c", "kill -9 $$"}).status, -9);
    EXPECT_THROW((void)run_program(dir.file("none"), {}), std::runtime_error);
}

TEST(RunProgram, StartsProgramsOfTheBuildThroughTheRunner) {
    const char* given = ::getenv(runner_variable);
    const std::string before = given != nullptr ? given : "";
    const std::vector<std::string> line = {"-c", "echo \"$0 $WORD\"", "a b"};

    ::unsetenv(runner_variable);
    EXPECT_EQ(built_program("/bin/sh"), (std::vector<std::string>{"/bin/sh"}));
    EXPECT_EQ(run_built_program("/bin/sh", line).standard_output, "a b \n");
    ::setenv(runner_variable, "env  WORD=run", 1);
    EXPECT_EQ(built_program("/bin/sh"),
              (std::vector<std::string>{find_program("env"), "WORD=run", "/bin/sh"}));
    EXPECT_EQ(run_built_program("/bin/sh", line).standard_output, "a b run\n");
    EXPECT_THROW((void)run_built_program("/bin/sh", line, {.argument_zero = "x"}),
                 std::runtime_error);

    if (given == nullptr)
        ::unsetenv(runner_variable);
    else
        ::setenv(runner_variable, before.c_str(), 1);
}

TEST(TempDir, IsDeletedWithItsFiles) {
    std::string path;
    {
        const temp_dir dir;
        path = dir.write("a", "content");
        EXPECT_EQ(read_file(path), "content");
    }
    EXPECT_FALSE(file_exists(path));
}

}  // namespace
}  // namespace support

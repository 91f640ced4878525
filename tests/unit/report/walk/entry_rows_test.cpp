#include "report/walk/entry_rows.h"

#include "run/filters/path_filters.h"
#include "unit/report/listed_volume.h"
#include "unit/report/walk/rows_of_entry.h"

namespace {

using listing::add;
using listing::EntryRows;
using listing::root;
using support::bytes;
using support::file_times;

TEST_F(EntryRows, FieldsOfAFile) {
    opts.alldates = 1;
    volume
        .file(root, u"Report.TXT", 64,
              {.times = {.created = 11, .modified = 12, .mft_changed = 13, .accessed = 14}},
              {.times = {.created = 1, .modified = 2, .mft_changed = 3, .accessed = 4},
               .attributes = 0x80000021})
        .sequence(9)
        .data("abc");
    const std::vector<dir_entry> made = rows(64);
    ASSERT_EQ(made.size(), 1u);
    const dir_entry& row = made[0];
    EXPECT_EQ(row.parent_path.text(), L"\\Dir");
    EXPECT_EQ(row.type, 1u);
    EXPECT_EQ(row.size, 3u);
    EXPECT_EQ(row.link_target, "");
    EXPECT_EQ(row.mft_entry, 64u);
    EXPECT_EQ(row.seq_num, 9u);
    EXPECT_EQ(row.flags, 1u);
    EXPECT_EQ(row.parent_entry, 5u);
    EXPECT_EQ(row.name, "Report.TXT");
    EXPECT_EQ(row.full_path, "\\dir\\report.txt");
    EXPECT_EQ(row.si_created, 1u);
    EXPECT_EQ(row.si_modified, 2u);
    EXPECT_EQ(row.si_mft_changed, 3u);
    EXPECT_EQ(row.si_accessed, 4u);
    EXPECT_EQ(row.attributes, 0x80000021u);
    EXPECT_FALSE(has_object_id(row));
    ASSERT_EQ(row.fn_list.size(), 1u);
    const fn_entry& name = row.fn_list[0];
    EXPECT_EQ(name.parent_ref, 5ull | 5ull << 48);
    EXPECT_EQ(name.created, 11u);
    EXPECT_EQ(name.modified, 12u);
    EXPECT_EQ(name.mft_changed, 13u);
    EXPECT_EQ(name.accessed, 14u);
    EXPECT_EQ(name.name, "Report.TXT");
    EXPECT_EQ(name.is_short, 0);
    EXPECT_EQ(name.time_null, 0);
    EXPECT_EQ(name.comment(), "");
}

TEST_F(EntryRows, DirectoryKeyIsThePathAloneUnlessTheNameIsAppended) {
    volume.directory(root, u"Sub", 64);
    std::vector<dir_entry> made = rows(64, root, true);
    EXPECT_EQ(text_of(made), "16 Sub \\dir\\sub 0\n");
    EXPECT_EQ(made[0].flags, 3u);
    EXPECT_EQ(text_of(rows(64, root, false)), "16 Sub \\dir 0\n");
}

TEST_F(EntryRows, FileKeyAlwaysHasTheName) {
    volume.file(root, u"F", 64).data("");
    EXPECT_EQ(text_of(rows(64, root, false)), "1 F \\dir\\f 0\n");
}

TEST_F(EntryRows, SizeIsTheAllocatedSizeOfANonResidentAttribute) {
    volume.file(root, u"a", 64)
        .data_runs({{900, 3}}, {.allocated = 12288, .real = 9000, .initialized = 8000});
    volume.file(root, u"b", 65)
        .data_runs({{910, 1}, {support::hole, 15}},
                   {.allocated = 65536, .real = 60000, .compressed = 4096, .unit = 4, .flags = 1});
    volume.file(root, u"c", 66)
        .data_runs({{support::hole, 2}}, {.allocated = 0x123456789ABCDEF0, .flags = 0x8000});
    EXPECT_EQ(text_rows(64), "1 a \\dir\\a 12288\n");
    EXPECT_EQ(text_rows(65), "1 b \\dir\\b 65536\n");
    EXPECT_EQ(text_rows(66), "1 c \\dir\\c 1311768467463790320\n");
}

TEST_F(EntryRows, SizeIsTheStatedLengthOfAResidentValue) {
    volume.file(root, u"a", 64).data("abc").edit(16, 0xFFFFFFFF, 4);
    volume.file(root, u"b", 65).stream(u"s", "abc").edit(16, 0x80000000, 4);
    EXPECT_EQ(text_rows(64), "1 a \\dir\\a 4294967295\n");
    EXPECT_EQ(text_rows(65), "1 b \\dir\\b 0\n4096 b:s \\dir\\b:s 2147483648\n");
}

TEST_F(EntryRows, NamedStreamsGetRowsOfTheirOwn) {
    volume.file(root, u"F.txt", 64)
        .data("abc")
        .stream(u"B", "12")
        .stream(u"a", "1234")
        .stream_runs(u"C", {{900, 2}});
    EXPECT_EQ(text_rows(64),
              "1 F.txt \\dir\\f.txt 3\n"
              "4096 F.txt:a \\dir\\f.txt:a 4\n"
              "4096 F.txt:B \\dir\\f.txt:b 2\n"
              "4096 F.txt:C \\dir\\f.txt:c 8192\n");
}

TEST_F(EntryRows, FileWithOnlyANamedStreamHasABaseRowOfSizeZero) {
    volume.file(root, u"f", 64).stream(u"zone", "12");
    EXPECT_EQ(text_rows(64), "1 f \\dir\\f 0\n4096 f:zone \\dir\\f:zone 2\n");
}

TEST_F(EntryRows, FileWithoutDataHasABaseRowOfSizeZero) {
    volume.file(root, u"f", 64);
    EXPECT_EQ(text_rows(64), "1 f \\dir\\f 0\n");
}

TEST_F(EntryRows, DirectoryWithAnUnnamedStreamHasASecondRow) {
    volume.directory(root, u"Sub", 64).data("12345").stream(u"zone", "12");
    EXPECT_EQ(text_rows(64),
              "16 Sub \\dir\\sub 0\n"
              "16 Sub<dir data entry> \\dir\\sub 5\n"
              "4096 Sub:zone \\dir\\sub:zone 2\n");
}

TEST_F(EntryRows, IndexStreamsAreShownOnlyOnRequest) {
    volume.directory(root, u"Sub", 64);
    volume.index(64).in_blocks();
    volume.file(64, u"x", 65);
    EXPECT_EQ(text_rows(64), "16 Sub \\dir\\sub 0\n");
    show_indx = true;
    EXPECT_EQ(text_rows(64),
              "16 Sub \\dir\\sub 0\n"
              "256 Sub:$I30 \\dir\\sub:$i30 4096\n");
}

TEST_F(EntryRows, IndexStreamOfTheRootHasOnlyItsOwnName) {
    volume.index(root).in_blocks();
    volume.file(root, u"x", 64);
    volume.entry(root).stream(u"zone", "1");
    show_indx = true;
    EXPECT_EQ(text_of(rows(root, root, false)),
              "16 . \\dir 0\n"
              "256 $I30 \\dir:$i30 4096\n"
              "4096 .:zone \\dir:zone 1\n");
}

TEST_F(EntryRows, NamelessIndexAllocationIsSkipped) {
    volume.file(root, u"f", 64)
        .data("1")
        .nonresident(support::type::index_allocation, u"", {{900, 1}});
    show_indx = true;
    EXPECT_EQ(text_rows(64), "1 f \\dir\\f 1\n");
}

TEST_F(EntryRows, OtherAttributesHaveNoRow) {
    volume.file(root, u"f", 64)
        .data("1")
        .resident(support::type::logged_utility_stream, u"$TXF_DATA", bytes(8))
        .resident(support::type::ea, u"named", bytes(8))
        .resident(support::type::bitmap, u"$I30", bytes(8));
    show_indx = true;
    EXPECT_EQ(text_rows(64), "1 f \\dir\\f 1\n");
}

bytes id_bytes(std::uint8_t first) {
    bytes id;
    for (std::uint8_t i = 0; i < 16; ++i)
        id.push_back(static_cast<std::uint8_t>(first + i));
    return id;
}
std::array<std::uint8_t, 16> id_array(std::uint8_t first) {
    std::array<std::uint8_t, 16> id{};
    for (std::uint8_t i = 0; i < 16; ++i)
        id[i] = static_cast<std::uint8_t>(first + i);
    return id;
}

TEST_F(EntryRows, ObjectIdIsOnlyInTheUnnamedRows) {
    volume.file(root, u"f", 64).object_id(id_bytes(1)).data("1").stream(u"zone", "1");
    volume.directory(root, u"d", 65).object_id(id_bytes(2)).data("1").stream(u"zone", "1");
    std::vector<dir_entry> made = rows(64);
    ASSERT_EQ(made.size(), 2u);
    EXPECT_EQ(made[0].object_id, id_array(1));
    EXPECT_FALSE(has_object_id(made[1]));
    made = rows(65);
    ASSERT_EQ(made.size(), 3u);
    EXPECT_EQ(made[0].object_id, id_array(2));
    EXPECT_EQ(made[1].object_id, id_array(2));
    EXPECT_FALSE(has_object_id(made[2]));
}

TEST_F(EntryRows, BaseRowOfAFileWithoutDataHasTheObjectId) {
    volume.file(root, u"f", 64).object_id(id_bytes(1));
    EXPECT_EQ(rows(64).at(0).object_id, id_array(1));
}

TEST_F(EntryRows, LaterObjectIdReplacesTheFirst) {
    volume.file(root, u"f", 64).object_id(id_bytes(1)).object_id(id_bytes(2)).data("1");
    EXPECT_EQ(rows(64).at(0).object_id, id_array(2));
}

TEST_F(EntryRows, ObjectIdAfterAReparsePointIsFound) {
    volume.directory(root, u"j", 64)
        .reparse(support::mount_point_tag, u"\\??\\C:\\x")
        .object_id(id_bytes(3));
    EXPECT_EQ(rows(64).at(0).object_id, id_array(3));
}

TEST_F(EntryRows, FirstBytesOfALongObjectIdAreTheLengthOfItsValue) {
    bytes value = id_bytes(1);
    value.resize(64);
    volume.file(root, u"f", 64).object_id(value).data("1");
    std::array<std::uint8_t, 16> expected{};
    expected[0] = 64;
    EXPECT_EQ(rows(64).at(0).object_id, expected);
}

TEST_F(EntryRows, LinksHaveAnEmptyTarget) {
    volume.directory(root, u"j", 64).reparse(support::mount_point_tag, u"\\??\\C:\\x");
    volume.file(root, u"s", 65).reparse(support::symbolic_link_tag, u"x", {.relative = true});
    EXPECT_EQ(rows(64).at(0).link_target, "");
    EXPECT_EQ(rows(65).at(0).link_target, "");
}

TEST_F(EntryRows, Win32NameIsShownAndBothNamesAreKept) {
    opts.alldates = 1;
    const file_times long_times{.created = 21, .modified = 22, .mft_changed = 23, .accessed = 24};
    const file_times short_times{.created = 31, .modified = 32, .mft_changed = 33, .accessed = 34};
    // The DOS name is first in key order.
    volume.file(root, u"LONGNA~1.TXT", 64, {.space = support::dos, .times = short_times}).data("");
    volume.link(64, root, u"a long name.txt", {.space = support::win32, .times = long_times});
    const std::vector<dir_entry> made = rows(64);
    ASSERT_EQ(made.size(), 1u);
    EXPECT_EQ(made[0].name, "a long name.txt");
    ASSERT_EQ(made[0].fn_list.size(), 2u);
    EXPECT_EQ(made[0].fn_list[0].name, "LONGNA~1.TXT");
    EXPECT_EQ(made[0].fn_list[0].is_short, 1);
    EXPECT_EQ(made[0].fn_list[0].created, 31u);
    EXPECT_EQ(made[0].fn_list[1].name, "a long name.txt");
    EXPECT_EQ(made[0].fn_list[1].is_short, 0);
    EXPECT_EQ(made[0].fn_list[1].accessed, 24u);
}

TEST_F(EntryRows, SingleDosNameIsShownAndTwoAreNot) {
    volume.file(root, u"ONLY", 64, {.space = support::dos}).data("");
    volume.file(root, u"ONE", 65, {.space = support::dos}).data("");
    volume.link(65, root, u"TWO", {.space = support::dos});
    EXPECT_EQ(text_rows(64), "1 ONLY \\dir\\only 0\n");
    EXPECT_EQ(text_rows(65), "1  \\dir\\ 0\n");
}

TEST_F(EntryRows, FirstOfSeveralHardLinksIsShown) {
    opts.alldates = 1;
    volume.file(root, u"b", 64).data("");
    volume.link(64, root, u"a");
    EXPECT_EQ(text_rows(64), "1 a \\dir\\a 0\n");
    EXPECT_EQ(rows(64).at(0).fn_list.size(), 2u);
}

TEST_F(EntryRows, OnlyNamesUnderTheParentAreUsed) {
    opts.alldates = 1;
    volume.directory(root, u"other", 40);
    volume.file(root, u"here", 64).data("");
    volume.link(64, 40, u"there");
    EXPECT_EQ(text_of(rows(64, root)), "1 here \\dir\\here 0\n");
    EXPECT_EQ(rows(64, root).at(0).fn_list.size(), 1u);
    EXPECT_EQ(text_of(rows(64, 40)), "1 there \\dir\\there 0\n");
    EXPECT_EQ(text_of(rows(64, 41)), "");
}

TEST_F(EntryRows, NamesAreKeptOnlyForReportsWithAllDates) {
    volume.file(root, u"b", 64).data("").stream(u"s", "1");
    volume.link(64, root, u"a");
    for (const dir_entry& row : rows(64))
        EXPECT_EQ(row.fn_list.size(), 0u);
    opts.alldates = 1;
    const std::vector<dir_entry> made = rows(64);
    ASSERT_EQ(made.size(), 2u);
    for (const dir_entry& row : made)
        EXPECT_EQ(row.fn_list.size(), 2u);
}

TEST_F(EntryRows, SequenceNumberOfTheParentIsIgnored) {
    volume.file(root, u"f", 64, {.parent_sequence = 77}).data("");
    EXPECT_EQ(text_rows(64), "1 f \\dir\\f 0\n");
}

TEST_F(EntryRows, NameOfAnUnknownNamespaceHasNoTimestamps) {
    opts.alldates = 1;
    volume.file(root, u"f", 64, {.space = static_cast<support::name_space>(5)}).data("");
    volume.file(root, u"g", 65, {.space = static_cast<support::name_space>(4)}).data("");
    const std::vector<dir_entry> made = rows(64);
    ASSERT_EQ(made.size(), 1u);
    EXPECT_EQ(made[0].name, "f");
    ASSERT_EQ(made[0].fn_list.size(), 1u);
    EXPECT_EQ(made[0].fn_list[0].name, "f");
    EXPECT_EQ(made[0].fn_list[0].parent_ref, 0u);
    EXPECT_EQ(made[0].fn_list[0].created, 0u);
    EXPECT_EQ(made[0].fn_list[0].accessed, 0u);
    EXPECT_EQ(made[0].fn_list[0].time_null, 0);
    EXPECT_NE(rows(65).at(0).fn_list.at(0).created, 0u);
}

TEST_F(EntryRows, ZeroTimestampOfANameIsNoted) {
    opts.alldates = 1;
    for (int zero = 0; zero < 4; ++zero) {
        SCOPED_TRACE(zero);
        const std::uint64_t number = 64 + static_cast<std::uint64_t>(zero);
        const file_times times{.created = zero == 0 ? 0u : 1u,
                               .modified = zero == 1 ? 0u : 1u,
                               .mft_changed = zero == 2 ? 0u : 1u,
                               .accessed = zero == 3 ? 0u : 1u};
        volume.file(root, u"f" + std::u16string(1, static_cast<char16_t>(u'0' + zero)), number,
                    {.times = times});
        const fn_entry name = rows(number).at(0).fn_list.at(0);
        EXPECT_EQ(name.time_null, 1);
        EXPECT_EQ(name.comment(), "fn:time null");
    }
}

TEST_F(EntryRows, EntryWithoutStandardInformationHasNoRow) {
    volume.file(root, u"f", 64).data("1").remove(support::type::standard_information);
    EXPECT_EQ(text_rows(64), "");
}

TEST_F(EntryRows, ShortStandardInformationIsReadToTheEndOfTheRecord) {
    // The value has 8 bytes: all timestamps but the first are read from the next attribute.
    volume.entry(64).standard_information({.length = 8}).file_name(root, u"f");
    const support::record_builder& record = volume.entry(64);
    const std::size_t at = record.attribute_offset(support::type::standard_information);
    const bytes content = record.build_before_fixup();
    const auto u64_at = [&content](std::size_t offset) {
        std::uint64_t value = 0;
        for (std::size_t i = 8; i-- > 0;)
            value = value << 8 | content[offset + i];
        return value;
    };
    const dir_entry row = rows(64).at(0);
    EXPECT_EQ(row.si_created, file_times{}.created);
    EXPECT_EQ(row.si_modified, u64_at(at + 24 + 8));
    EXPECT_EQ(row.si_modified & 0xFFFFFFFFu, 0x30u);  // the header of $FILE_NAME
    EXPECT_EQ(row.si_accessed, u64_at(at + 24 + 24));
}

TEST_F(EntryRows, EntryThatIsNotInUseIsListedWithItsFlags) {
    volume.file(root, u"gone", 64).data("1").flags(0);
    EXPECT_EQ(text_rows(64), "1 gone \\dir\\gone 1\n");
    EXPECT_EQ(rows(64).at(0).flags, 0u);
}

TEST_F(EntryRows, EntryWhoseAttributesCannotBeReadHasNoRow) {
    volume.file(root, u"f", 64).data("1");
    volume.entry(65).keyword("XXXX");
    EXPECT_EQ(text_of(rows(65, root, true, 64)), "");
}

TEST_F(EntryRows, FiltersApplyToFilesAndTheirStreamsButNotToDirectories) {
    volume.file(root, u"keep.EXE", 64).data("1").stream(u"s", "1");
    volume.file(root, u"drop.txt", 65).data("1").stream(u"s.exe", "1");
    volume.directory(root, u"sub", 66).stream(u"s", "1");
    ASSERT_TRUE(parse_filter_list(opts.filters, "*.exe"));
    EXPECT_EQ(text_rows(64), "1 keep.EXE \\dir\\keep.exe 1\n4096 keep.EXE:s \\dir\\keep.exe:s 1\n");
    EXPECT_EQ(text_rows(65), "");
    EXPECT_EQ(text_rows(66), "16 sub \\dir\\sub 0\n4096 sub:s \\dir\\sub:s 1\n");
}

TEST_F(EntryRows, DateWindowExcludesAllFilesButNoDirectories) {
    volume.file(root, u"f", 64).data("1");
    volume.directory(root, u"sub", 66).stream(u"s", "1");
    opts.time_to_on = 1;
    opts.time_to = ~0ull;
    EXPECT_EQ(text_rows(64), "");
    EXPECT_EQ(text_rows(66), "16 sub \\dir\\sub 0\n4096 sub:s \\dir\\sub:s 1\n");
}

TEST_F(EntryRows, StreamNamesOfAnyKind) {
    volume.file(root, u"f", 64).stream(u"\U0001F600", "1").stream(u"\xD800x", "12");
    const std::vector<dir_entry> made = rows(64);
    ASSERT_EQ(made.size(), 3u);
    EXPECT_EQ(made[1].name, "f:\xed\xa0\x80x");
    EXPECT_EQ(made[2].name, "f:\xf0\x9f\x98\x80");
}

TEST_F(EntryRows, RowsContainNothingOfEarlierRows) {
    opts.alldates = 1;
    volume
        .file(root, u"long name.txt", 64,
              {.space = support::win32, .times = {.created = 11, .modified = 0}})
        .data("abc")
        .stream(u"zone", "12345")
        .object_id(support::pattern(16));
    volume.link(64, root, u"LONGNA~1.TXT", {.space = support::dos});
    volume.file(root, u"b", 65);
    const std::unique_ptr<CNtfs> ntfs = open();
    entry_rows maker(*ntfs, opts);
    const auto rows_of = [&](std::uint64_t entry) {
        dir_entry_set entries;
        add(maker, *ntfs, entry, shared_path(L"\\Dir"), entries);
        const std::vector<dir_entry> made(entries.begin(), entries.end());
        maker.recycle(entries);
        EXPECT_TRUE(entries.empty());
        return made;
    };
    const std::string first = text_of(rows_of(64));
    EXPECT_EQ(first,
              "1 long name.txt \\dir\\long name.txt 3\n"
              "4096 long name.txt:zone \\dir\\long name.txt:zone 5\n");

    const std::vector<dir_entry> second = rows_of(65);
    ASSERT_EQ(text_of(second), "1 b \\dir\\b 0\n");
    EXPECT_FALSE(has_object_id(second[0]));
    ASSERT_EQ(second[0].fn_list.size(), 1u);
    EXPECT_EQ(second[0].fn_list[0].name, "b");
    EXPECT_EQ(second[0].fn_list[0].is_short, 0);
    const std::vector<dir_entry> fresh = rows(65);
    EXPECT_EQ(second[0].fn_list[0].time_null, fresh[0].fn_list[0].time_null);
    EXPECT_EQ(second[0].fn_list[0].comment(), fresh[0].fn_list[0].comment());

    EXPECT_EQ(text_of(rows_of(64)), first);
}

TEST_F(EntryRows, NamesContainNothingOfEarlierNames) {
    opts.alldates = 1;
    volume.file(root, u"a", 64, {.times = {.modified = 0}});
    volume.file(root, u"b", 65);
    volume.file(root, u"c", 66, {.space = static_cast<support::name_space>(5)});
    volume.file(root, u"ONE", 67, {.space = support::dos});
    volume.link(67, root, u"TWO", {.space = support::dos});
    const std::unique_ptr<CNtfs> ntfs = open();
    entry_rows maker(*ntfs, opts);
    std::vector<dir_entry> made;
    for (const std::uint64_t entry : {64u, 65u, 66u, 67u}) {
        dir_entry_set entries;
        add(maker, *ntfs, entry, shared_path(L""), entries);
        ASSERT_EQ(entries.size(), 1u);
        made.push_back(*entries.begin());
    }
    EXPECT_EQ(made[0].fn_list.at(0).time_null, 1);
    EXPECT_EQ(made[1].fn_list.at(0).time_null, 0);
    EXPECT_EQ(made[1].fn_list.at(0).comment(), "");
    const fn_entry& unknown = made[2].fn_list.at(0);
    for (const std::uint64_t field : {unknown.parent_ref, unknown.created, unknown.modified,
                                      unknown.mft_changed, unknown.accessed})
        EXPECT_EQ(field, 0u);
    EXPECT_EQ(made[3].name, "");
    EXPECT_EQ(made[3].full_path, "\\");
}

TEST_F(EntryRows, RowsWithEqualKeysKeepTheirOrder) {
    volume.file(root, u"same", 64).data("1");
    volume.file(root, u"SAME", 65).data("22");
    volume.file(root, u"zzz", 66).data("333");
    volume.file(root, u"Same", 67).data("4444");
    const std::unique_ptr<CNtfs> ntfs = open();
    entry_rows maker(*ntfs, opts);
    dir_entry_set entries;
    for (const std::uint64_t entry : {64u, 65u, 66u, 67u}) {
        add(maker, *ntfs, entry, shared_path(L""), entries);
    }
    EXPECT_EQ(text_of({entries.begin(), entries.end()}),
              "1 same \\same 1\n1 SAME \\same 2\n1 Same \\same 4\n1 zzz \\zzz 3\n");
}

}  // namespace

#include "report/walk/enumerator.h"

#include <pthread.h>

#include "run/filters/path_filters.h"
#include "unit/report/listed_volume.h"
#include "unit/report/walk/reported_volume.h"

namespace {

using namespace listing;

TEST_F(Enumerator, DirectoryIsFirstThenItsChildrenRegardlessOfCase) {
    volume.directory(root, u"dir", 40);
    volume.file(40, u"b", 64).data("");
    volume.file(40, u"A", 65).data("");
    volume.file(40, u"C", 66).data("");
    volume.directory(40, u"aa", 67);
    EXPECT_EQ(report(L"\\dir", 40), "\\dir\\\n\\dir\\A\n\\dir\\aa\\\n\\dir\\b\n\\dir\\C\n");
    EXPECT_TRUE(result);
}

TEST_F(Enumerator, ChildrenOfTheRootSortAfterItsOwnRow) {
    volume.file(root, u"!", 64).data("");
    volume.directory(root, u"dir", 40);
    EXPECT_EQ(report(L"\\", root), "\\\n\\!\n\\dir\\\n");
}

TEST_F(Enumerator, EmptyDirectoryHasItsOwnRow) {
    volume.directory(root, u"dir", 40);
    EXPECT_EQ(report(L"\\dir", 40), "\\dir\\\n");
}

TEST_F(Enumerator, DirectoryWithoutAnIndexHasItsOwnRow) {
    volume.file(root, u"dir", 40).flags(3);
    EXPECT_EQ(report(L"\\dir", 40), "\\dir\\\n");
    EXPECT_TRUE(result);
}

TEST_F(Enumerator, RecordsFartherApartThanTheVolumeStatesCannotBeRead) {
    volume.put(volume.record_pos(0) + 28, 2048, 4);  // allocated bytes; 1024 in the boot sector
    EXPECT_EQ(report(L"\\", root), "");
    EXPECT_FALSE(result);
}

TEST_F(Enumerator, IndexIsFollowedWithoutTheDirectoryBit) {
    volume.directory(root, u"dir", 40).flags(1);
    volume.file(40, u"child", 64).data("");
    EXPECT_EQ(report(L"\\dir", 40), ".\\child\n.\\dir\n");
}

TEST_F(Enumerator, EqualKeysKeepTheOrderOfTheEntries) {
    volume.file(root, u"a", 66).data("");
    volume.file(root, u"A", 64).data("");
    EXPECT_EQ(report(L"\\", root), "\\\n\\A\n\\a\n");
}

TEST_F(Enumerator, DirectoryListedInItselfIsNotRepeated) {
    volume.directory(root, u"dir", 40);
    volume.link(40, 40, u"self");
    EXPECT_EQ(report(L"\\dir", 40), "\\dir\\\n");
}

TEST_F(Enumerator, ChildThatCannotBeReadIsOmitted) {
    volume.file(root, u"a", 64).data("");
    volume.file(root, u"b", 65).data("").keyword("BAAD");
    volume.file(root, u"c", 66).data("");
    volume.index(root).add(70000, support::file_name_value(root, u"beyond the table"));
    EXPECT_EQ(report(L"\\", root), "\\\n\\a\n\\c\n");
}

TEST_F(Enumerator, NamePastTheEndOfTheIndexIsNotListed) {
    volume.directory(root, u"dir", 40);
    volume.file(40, u"child", 64).data("");
    volume.entry(65).standard_information().file_name(40, u"gone").data("");
    volume.index(40).add_stale({.reference = 65, .key = support::file_name_value(40, u"gone")});
    EXPECT_EQ(report(L"\\dir", 40), "\\dir\\\n\\dir\\child\n");
}

TEST_F(Enumerator, ChildWithoutANameUnderThisDirectoryIsOmitted) {
    volume.directory(root, u"dir", 40);
    volume.file(40, u"moved", 64).data("");
    volume.index(root).add(64, support::file_name_value(root, u"stale"));
    EXPECT_EQ(report(L"\\", root), "\\\n\\dir\\\n");
}

TEST_F(Enumerator, FileIsListedUnderItsDirectory) {
    volume.directory(root, u"dir", 40);
    volume.file(40, u"f.txt", 64).data("").stream(u"zone", "1");
    EXPECT_EQ(report(L"\\dir\\F.TXT", 64), "\\dir\\f.txt\n:zone\n");
    EXPECT_EQ(opts.directory, L"\\dir");
}

TEST_F(Enumerator, FileInTheRootIsListedUnderADot) {
    volume.file(root, u"notepad.exe", 64).data("");
    EXPECT_EQ(report(L"\\notepad.exe", 64), ".\\notepad.exe\n");
}

TEST_F(Enumerator, HardLinkIsListedUnderItsFirstNameAndParent) {
    volume.directory(root, u"a", 40);
    volume.directory(root, u"b", 41);
    volume.file(41, u"x", 64).data("");
    volume.link(64, 40, u"z");
    volume.link(64, 40, u"y");
    EXPECT_EQ(report(L"\\b\\x", 64), "\\b\\y\n");
}

TEST_F(Enumerator, DosNameDoesNotDetermineTheFirstParent) {
    volume.directory(root, u"a", 40);
    volume.directory(root, u"b", 41);
    volume.file(41, u"long name", 64).data("");
    volume.link(64, 40, u"LONGNA~1", {.space = support::dos});
    EXPECT_EQ(report(L"\\b\\long name", 64), "\\b\\long name\n");
}

TEST_F(Enumerator, EntryWithOnlyADosNameIsListedOnlyAsAChild) {
    volume.file(root, u"ONLY", 64, {.space = support::dos}).data("");
    EXPECT_EQ(report(L"\\only", 64), "no items\n\n");
    EXPECT_FALSE(result);
    EXPECT_EQ(report(L"\\", root), "\\\n\\ONLY\n");
}

TEST_F(Enumerator, StreamOfAFileIsListedAlone) {
    volume.directory(root, u"dir", 40);
    volume.file(40, u"f.txt", 64).data("").stream(u"one", "1").stream(u"Two", "1");
    EXPECT_EQ(report(L"\\dir\\f.txt:tWO", 64), ":Two\n");
    EXPECT_EQ(opts.directory, L"\\dir");
    EXPECT_EQ(opts.entries.size(), 1u);
}

TEST_F(Enumerator, StreamFollowsTheLastColonAndTheFirstMatchIsUsed) {
    volume.directory(root, u"dir", 40);
    volume.file(40, u"f.txt", 64).data("").stream(u"x:one", "1").stream(u"one", "12");
    opts.filepath_only = 0;
    text_header_pending = false;
    const std::string fields = "2021-03-05 06:07:08.234          64    1            ";
    EXPECT_EQ(report(L"\\dir\\f.txt:one", 64), fields + "2   ads  :one\n");
    volume.file(40, u"g.txt", 65).data("").stream(u"x:one", "1");
    EXPECT_EQ(report(L"\\dir\\g.txt:one", 65),
              "2021-03-05 06:07:08.234          65    1            1   ads  :one\n");
}

TEST_F(Enumerator, MissingStreamListsAllRows) {
    volume.directory(root, u"dir", 40);
    volume.file(40, u"f.txt", 64).data("").stream(u"one", "1");
    EXPECT_EQ(report(L"\\dir\\f.txt:none", 64), "\\dir\\f.txt\n:one\n");
}

TEST_F(Enumerator, StreamOfADirectoryRemovesOneLetterOfItsName) {
    volume.directory(root, u"dir", 40).stream(u"zone", "1");
    volume.file(40, u"child", 64);
    opts.filepath_only = 0;
    text_header_pending = false;
    const std::string fields = "2021-03-05 06:07:08.234          40    1            1   ads  ";
    EXPECT_EQ(report(L"\\dir:zone", 40), fields + "\\di:zone\n");
    EXPECT_EQ(opts.directory, L"\\di");
}

TEST_F(Enumerator, XmlShowsTheStreamOfADirectoryOnlyInItsFrame) {
    volume.directory(root, u"dir", 40).stream(u"zone", "1");
    opts.filepath_only = 0;
    opts.xml = 1;
    const std::string text = report(L"\\dir:zone", 40);
    EXPECT_NE(text.find(" starting_path=\"\\dir:zone\" date="), std::string::npos) << text;
    EXPECT_NE(text.find("\n<data_entry><directory>\\di\\</directory>\n"), std::string::npos)
        << text;
}

TEST_F(Enumerator, StreamOfADirectoryIsRemovedAtTheLastColon) {
    volume.directory(root, u"dir", 40).stream(u"zone", "1");
    report(L"c:\\dir:zone", 40);
    EXPECT_EQ(opts.directory, L"c:\\di");
}

// The last colon is then that of the drive, and nothing before it is left.
TEST_F(Enumerator, StreamOfAFileAfterADriveLetterRemovesTheWholeDirectory) {
    volume.directory(root, u"dir", 40);
    volume.file(40, u"f.txt", 64).data("").stream(u"one", "1");
    EXPECT_EQ(report(L"c:\\dir\\f.txt:one", 64), ":one\n");
    EXPECT_EQ(opts.directory, L"");
    opts.filepath_only = 0;
    opts.xml = 1;
    const std::string text = report(L"c:\\dir\\f.txt:one", 64);
    EXPECT_NE(text.find(" starting_path=\"c:\\dir\" date="), std::string::npos) << text;
    EXPECT_NE(text.find("<directory>\\</directory>\n<filename>f.txt:one</filename>"),
              std::string::npos)
        << text;
}

TEST_F(Enumerator, StreamOfAFileAfterALeadingColonKeepsTheDirectory) {
    volume.file(root, u"f.txt", 64).data("").stream(u"one", "1");
    EXPECT_EQ(report(L":\\f.txt:one", 64), ":one\n");
    EXPECT_EQ(opts.directory, L":");
}

TEST_F(Enumerator, MissingStreamOfADirectoryListsItsRowsWithoutChildren) {
    volume.directory(root, u"dir", 40);
    volume.file(40, u"child", 64);
    EXPECT_EQ(report(L"\\dir:none", 40), "\\dir:none\\\n");
    EXPECT_EQ(opts.directory, L"\\dir:none");
}

TEST_F(Enumerator, ColonNearTheStartOrAtTheEndIsNotAStream) {
    volume.directory(root, u"d", 40);
    volume.file(40, u"child", 64);
    for (const wchar_t* path : {L"\\d:x", L"\\di:x", L"c:\\d", L"c:/x", L"\\dir1:"}) {
        SCOPED_TRACE(ql::to_utf8(path));
        const std::string shown = ql::to_utf8(path) + "\\";
        EXPECT_EQ(report(path, 40), shown + "\n" + shown + "child\n");
        EXPECT_EQ(opts.show_indx, 0);
    }
    EXPECT_EQ(report(L"\\dir:x", 40), "\\dir:x\\\n");  // position 4 is a stream
}

TEST_F(Enumerator, RequestedStreamEnablesIndexStreamsForTheNextPaths) {
    volume.directory(root, u"dir", 40);
    volume.index(40).in_blocks();
    volume.file(40, u"f", 64).stream(u"zone", "1");
    EXPECT_EQ(report(L"\\dir", 40), "\\dir\\\n\\dir\\f\n\\dir\\f:zone\n");
    EXPECT_EQ(report(L"\\dir:$i30", 40), "\n");  // the line of an index stream is empty
    EXPECT_EQ(opts.show_indx, 1);
    EXPECT_EQ(report(L"\\dir", 40), "\\dir\\\n\n\\dir\\f\n\\dir\\f:zone\n");
}

TEST_F(Enumerator, UnreadableEntryPrintsNothing) {
    volume.file(root, u"f", 64).keyword("XXXX");
    EXPECT_EQ(report(L"\\f", 64), "");
    EXPECT_FALSE(result);
}

TEST_F(Enumerator, RecordsAboveTheSourceAreListed) {
    volume.file(root, u"f", 64).data("");
    const std::unique_ptr<CNtfs> ntfs = open();
    opts.directory = L"\\f";
    opts.dir_entry_num = 64;
    ntfs->m_mft_record_size = 0x80000000;
    EXPECT_TRUE(report_directory(opts, *ntfs));
    EXPECT_EQ(written(), ".\\f\n");
}

TEST_F(Enumerator, ListingWithoutAnOutputPrintsNothing) {
    volume.file(root, u"f", 64).data("");
    opts.out = nullptr;
    for (const std::uint8_t xml : {std::uint8_t{0}, std::uint8_t{1}}) {
        opts.xml = xml;
        EXPECT_EQ(report(L"\\f", 64), "");
        EXPECT_TRUE(result);
    }
}

TEST_F(Enumerator, EntryWithoutANameHasNoItems) {
    volume.directory(root, u"dir", 40).remove(support::type::file_name);
    volume.file(40, u"child", 64);
    EXPECT_EQ(report(L"\\dir", 40), "no items\n\n");
    EXPECT_FALSE(result);
}

TEST_F(Enumerator, EntryWithoutStandardInformationHasNoItems) {
    volume.file(root, u"f", 64).remove(support::type::standard_information);
    EXPECT_EQ(report(L"\\f", 64), "no items\n\n");
    EXPECT_TRUE(result);
}

TEST_F(Enumerator, NoItemsIsPrintedOnlyToAnOutput) {
    volume.file(root, u"f", 64).remove(support::type::standard_information);
    opts.out = nullptr;
    EXPECT_EQ(report(L"\\f", 64), "");
    EXPECT_TRUE(result);
}

TEST_F(Enumerator, NoItemsHasNoXmlFrame) {
    volume.file(root, u"f", 64).remove(support::type::standard_information);
    opts.filepath_only = 0;
    opts.xml = 1;
    EXPECT_EQ(report(L"\\f", 64), "no items\n\n");
}

TEST_F(Enumerator, FilteredFileHasNoItems) {
    volume.file(root, u"f.txt", 64).data("");
    ASSERT_TRUE(parse_filter_list(opts.filters, "*.exe"));
    EXPECT_EQ(report(L"\\f.txt", 64), "no items\n\n");
}

}  // namespace

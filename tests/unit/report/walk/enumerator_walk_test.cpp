// Tests the walk over subdirectories.
#include <pthread.h>

#include <algorithm>
#include <functional>

#include "report/walk/enumerator.h"
#include "run/filters/path_filters.h"
#include "storage/disk/raw_disk.h"
#include "unit/report/listed_volume.h"
#include "unit/report/walk/reported_volume.h"

namespace {

using namespace listing;

class Walk : public Enumerator {
protected:
    // \a (40): \a\1 (64), \a\sub (41): \a\sub\2 (65), \a\sub\deep (42): 3 (66);
    // \b (43): 4 (67); and \z (68) in the root.
    Walk() {
        volume.directory(root, u"a", 40);
        volume.file(40, u"1", 64).data("");
        volume.directory(40, u"sub", 41);
        volume.file(41, u"2", 65).data("");
        volume.directory(41, u"deep", 42);
        volume.file(42, u"3", 66).data("");
        volume.directory(root, u"b", 43);
        volume.file(43, u"4", 67).data("");
        volume.file(root, u"z", 68).data("");
    }
};

TEST_F(Walk, SingleLevelListsSubdirectoriesAsRows) {
    EXPECT_EQ(report(L"\\", root), "\\\n\\a\\\n\\b\\\n\\z\n");
    EXPECT_EQ(opts.last_level, 1);
}

TEST_F(Walk, SubdirectoriesFollowTheWholeListingDepthFirst) {
    opts.levels = 2;
    EXPECT_EQ(report(L"\\", root),
              "\\\n\\z\n"
              "\\a\\\n\\a\\1\n\\a\\sub\\\n"
              "\\b\\\n\\b\\4\n");
    opts.levels = 3;
    EXPECT_EQ(report(L"\\", root),
              "\\\n\\z\n"
              "\\a\\\n\\a\\1\n"
              "\\a\\sub\\\n\\a\\sub\\2\n\\a\\sub\\deep\\\n"
              "\\b\\\n\\b\\4\n");
    for (const std::uint32_t levels : {4u, 5u, 100u, 0xFFFFFFFFu}) {
        opts.levels = levels;
        EXPECT_EQ(report(L"\\", root),
                  "\\\n\\z\n"
                  "\\a\\\n\\a\\1\n"
                  "\\a\\sub\\\n\\a\\sub\\2\n"
                  "\\a\\sub\\deep\\\n\\a\\sub\\deep\\3\n"
                  "\\b\\\n\\b\\4\n");
    }
}

TEST_F(Walk, SubdirectoriesWithEqualKeysKeepTheOrderOfTheEntries) {
    volume.directory(root, u"SUB", 82);
    volume.file(82, u"in 82", 92).data("");
    volume.directory(root, u"sub", 80);
    volume.file(80, u"in 80", 90).data("");
    volume.directory(root, u"Sub", 81).stream(u"zone", "1");
    volume.file(81, u"in 81", 91).data("");
    volume.directory(root, u"su", 83);
    opts.levels = 2;
    EXPECT_EQ(report(L"\\", root),
              "\\\n\\z\n"
              "\\a\\\n\\a\\1\n\\a\\sub\\\n"
              "\\b\\\n\\b\\4\n"
              "\\su\\\n"
              "\\sub\\\n\\sub\\in 80\n"
              "\\Sub\\\n\\Sub:zone\n\\Sub\\in 81\n"
              "\\SUB\\\n\\SUB\\in 82\n");
}

TEST_F(Walk, SubdirectoriesOutsideAsciiAreWalkedUnderTheirNames) {
    volume.directory(root, u"\U0001F600", 80);
    volume.file(80, u"\u00e9", 90).data("");
    volume.directory(root, u"\ue000", 81);
    volume.file(81, std::u16string{0xD800}, 91).data("");
    opts.levels = 2;
    EXPECT_EQ(report(L"\\", root),
              "\\\n\\z\n"
              "\\a\\\n\\a\\1\n\\a\\sub\\\n"
              "\\b\\\n\\b\\4\n"
              "\\\xee\x80\x80\\\n\\\xee\x80\x80\\\xed\xa0\x80\n"
              "\\\xf0\x9f\x98\x80\\\n\\\xf0\x9f\x98\x80\\\xc3\xa9\n");
}

TEST_F(Walk, ZeroLevelsPrintNoRows) {
    opts.levels = 0;
    EXPECT_EQ(report(L"\\", root), "");
    EXPECT_TRUE(result);
}

TEST_F(Walk, StreamsOfASubdirectoryAreInItsOwnListing) {
    volume.entry(40).stream(u"zone", "1");
    EXPECT_EQ(report(L"\\", root), "\\\n\\a\\\n\\a:zone\n\\b\\\n\\z\n");
    opts.levels = 2;
    EXPECT_EQ(report(L"\\", root),
              "\\\n\\z\n"
              "\\a\\\n\\a:zone\n\\a\\1\n\\a\\sub\\\n"
              "\\b\\\n\\b\\4\n");
}

// In a path listing the row of an index is an empty line.
TEST_F(Walk, RequestedIndexOfASubdirectoryIsInItsOwnListing) {
    volume.index(43).in_blocks();
    opts.levels = 2;
    const std::string others = "\\\n\\z\n\\a\\\n\\a\\1\n\\a\\sub\\\n";
    EXPECT_EQ(report(L"\\", root), others + "\\b\\\n\\b\\4\n");
    opts.show_indx = 1;
    EXPECT_EQ(report(L"\\", root), others + "\\b\\\n\n\\b\\4\n");
}

TEST_F(Walk, DirectoryWithAnUnnamedStreamIsWalkedTwice) {
    volume.entry(43).data("12345");
    opts.levels = 2;
    EXPECT_EQ(report(L"\\", root),
              "\\\n\\z\n"
              "\\a\\\n\\a\\1\n\\a\\sub\\\n"
              "\\b\\\n\\b\\\n\\b\\4\n"
              "\\b<dir data entry>\\\n\\b<dir data entry>\\\n\\b<dir data entry>\\4\n");
}

TEST_F(Walk, SubdirectoryWithTwoNamesHasARowForEachName) {
    volume.link(43, 40, u"b again");
    opts.levels = 2;
    EXPECT_EQ(report(L"\\", root),
              "\\\n\\z\n"
              "\\a\\\n\\a\\1\n\\a\\b again\\\n\\a\\sub\\\n"
              "\\b\\\n\\b\\\n\\b\\4\n");
    opts.levels = 1;
    EXPECT_EQ(report(L"\\b", 43), "\\b\\\n\\b\\4\n");  // as the requested directory it has one row
}

TEST_F(Walk, DosNameOfASubdirectoryAddsNoRow) {
    volume.link(43, root, u"B~1", {.space = support::dos});
    opts.levels = 2;
    EXPECT_EQ(report(L"\\", root),
              "\\\n\\z\n"
              "\\a\\\n\\a\\1\n\\a\\sub\\\n"
              "\\b\\\n\\b\\4\n");
}

// Each name yields the rows of the whole entry, under its first name.
TEST_F(Walk, SubdirectoryWithTwoNamesInOneDirectoryHasItsRowsTwice) {
    volume.entry(43).stream(u"zone", "1");
    volume.link(43, root, u"bb");
    EXPECT_EQ(report(L"\\", root), "\\\n\\a\\\n\\b\\\n\\b:zone\n\\z\n");
    opts.levels = 2;
    EXPECT_EQ(report(L"\\", root),
              "\\\n\\z\n"
              "\\a\\\n\\a\\1\n\\a\\sub\\\n"
              "\\b\\\n\\b\\\n\\b:zone\n\\b:zone\n\\b\\4\n");
}

TEST_F(Walk, SubdirectoryWithOnlyADosNameHasNoRowAboveItsChildren) {
    volume.directory(root, u"ONLY", 44, {.space = support::dos});
    volume.file(44, u"child", 69).data("");
    EXPECT_EQ(report(L"\\", root), "\\\n\\a\\\n\\b\\\n\\ONLY\\\n\\z\n");
    opts.levels = 2;
    EXPECT_EQ(report(L"\\", root),
              "\\\n\\z\n"
              "\\a\\\n\\a\\1\n\\a\\sub\\\n"
              "\\b\\\n\\b\\4\n"
              "\\ONLY\\child\n");
}

TEST_F(Walk, OnlyTheDirectoryBitMakesASubdirectory) {
    opts.levels = 2;
    for (const unsigned flags : {0x0002u, 0x000Bu, 0xFFFFu, 0xFFFEu}) {
        SCOPED_TRACE(flags);
        volume.entry(43).flags(static_cast<std::uint16_t>(flags));
        EXPECT_EQ(report(L"\\", root),
                  "\\\n\\z\n"
                  "\\a\\\n\\a\\1\n\\a\\sub\\\n"
                  "\\b\\\n\\b\\4\n");
    }
}

TEST_F(Walk, DirectoryFilterOfTheRootMatchesOnlyItsOwnFiles) {
    ASSERT_TRUE(parse_filter_list(opts.filters, "/"));
    opts.levels = 3;
    EXPECT_EQ(report(L"\\", root),
              "\\\n\\z\n"
              "\\a\\\n\\a\\sub\\\n\\a\\sub\\deep\\\n"
              "\\b\\\n");
    EXPECT_EQ(report(L"\\z", 68), "no items\n\n");  // as the requested entry it is ".\z"
}

TEST_F(Walk, TreeWithALoopIsWalkedDownToTheLevelLimit) {
    volume.link(40, 41, u"loop");  // \a\sub\loop is \a
    opts.levels = 5;
    EXPECT_EQ(report(L"\\a", 40),
              "\\a\\\n\\a\\1\n"
              "\\a\\sub\\\n\\a\\sub\\2\n"
              "\\a\\sub\\deep\\\n\\a\\sub\\deep\\3\n"
              "\\a\\sub\\loop\\\n\\a\\sub\\loop\\\n\\a\\sub\\loop\\1\n"
              "\\a\\sub\\loop\\sub\\\n\\a\\sub\\loop\\sub\\2\n"
              "\\a\\sub\\loop\\sub\\deep\\\n\\a\\sub\\loop\\sub\\deep\\3\n"
              "\\a\\sub\\loop\\sub\\loop\\\n\\a\\sub\\loop\\sub\\loop\\\n"
              "\\a\\sub\\loop\\sub\\loop\\1\n\\a\\sub\\loop\\sub\\loop\\sub\\\n");
}

TEST_F(Walk, SubdirectoryThatCannotBeListedAffectsNothingElse) {
    // The record of \a can be read as a child; only its index is damaged.
    volume.index(40).put_in_root(0, 0x77, 4);
    opts.levels = 3;
    EXPECT_EQ(report(L"\\", root), "\\\n\\z\n\\a\\\n\\b\\\n\\b\\4\n");
}

TEST_F(Walk, WriterIsChosenInOrder) {
    const struct {
        const char* name;
        void (*set)(quorvel_opts&);
        const char* start;
    } cases[] = {
        {"text", [](quorvel_opts&) {}, "  last modified [UTC]  "},
        {"csv", [](quorvel_opts& o) { o.csv = o.list_csvl2t = o.list_bodyfile = 1; },
         "type | filename"},
        {"csvl2t", [](quorvel_opts& o) { o.list_csvl2t = o.filepath_only = 1; }, ""},
        {"bodyfile", [](quorvel_opts& o) { o.list_bodyfile = o.filepath_only = 1; }, ""},
        {"paths", [](quorvel_opts& o) { o.filepath_only = 1; }, "\\\n\\a\\\n"},
        {"csvgen", [](quorvel_opts& o) { o.list_csvgen = 1; }, "  last modified [UTC]  "},
        {"multiline", [](quorvel_opts& o) { o.list_multiline = 1; }, "  last modified [UTC]  "},
        {"none", [](quorvel_opts& o) { o.no_listing = 1; }, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        text_header_pending = csv_header_pending = true;
        opts.csv = opts.xml = opts.list_csvl2t = opts.list_bodyfile = opts.filepath_only = 0;
        opts.list_csvgen = opts.list_multiline = 0;
        opts.levels = 2;
        c.set(opts);
        const std::string text = report(L"\\", root);
        const std::string start = c.start;
        if (start.empty()) {
            EXPECT_EQ(text, "");
        } else if (opts.filepath_only != 0) {
            EXPECT_EQ(text.substr(0, 5), "\\\n\\z\n");
        } else {
            EXPECT_EQ(text.substr(0, start.size()), start);
        }
    }
}

TEST_F(Walk, XmlFollowsCsvAndRowlessFormsAndPrecedesBarePaths) {
    opts.xml = 1;
    opts.filepath_only = 1;
    EXPECT_NE(report(L"\\b", 43).find(">\n<data_entry><directory>\\b\\</directory>\n"),
              std::string::npos);
    EXPECT_EQ(opts.header_pending, 1);
    for (std::uint8_t quorvel_opts::*form :
         {&quorvel_opts::list_csvl2t, &quorvel_opts::list_bodyfile}) {
        opts.*form = 1;
        const std::string frame = report(L"\\b", 43);
        EXPECT_EQ(frame.find("<data_entry>"), std::string::npos) << frame;
        EXPECT_TRUE(frame.ends_with("\">\n</logdata>\n")) << frame;
        opts.*form = 0;
    }
    opts.csv = 1;
    const std::string csv = report(L"\\b", 43);
    EXPECT_NE(csv.find("\">\ntype | filename | "), std::string::npos) << csv;
    EXPECT_NE(csv.find("\nfile | \\b\\4 | "), std::string::npos) << csv;
    EXPECT_EQ(csv.find("<data_entry>"), std::string::npos) << csv;
}

TEST_F(Walk, BarePathsClearThePendingHeader) {
    EXPECT_EQ(opts.header_pending, 1);
    report(L"\\", root);
    EXPECT_EQ(opts.header_pending, 0);
    EXPECT_TRUE(text_header_pending);
}

TEST_F(Walk, XmlFrameEnclosesTheWholeWalk) {
    opts.filepath_only = 0;
    opts.xml = 1;
    opts.levels = 2;
    const std::string text = report(L"\\b", 43);
    const std::string start =
        "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n\n<logdata  starting_path=\"\\b\" date=\"";
    EXPECT_EQ(text.substr(0, start.size()), start);
    EXPECT_EQ(text.find("<?xml"), text.rfind("<?xml"));
    EXPECT_EQ(text.substr(text.size() - 11), "</logdata>\n");
    opts.levels = 0;
    const std::string frame = report(L"\\b", 43);
    EXPECT_EQ(frame.find("<data_entry>"), std::string::npos);
    EXPECT_EQ(frame.substr(frame.size() - 13), ">\n</logdata>\n");
}

TEST_F(Walk, WalkWithoutEntriesChangesNothing) {
    const std::unique_ptr<CNtfs> ntfs = open();
    opts.last_level = 7;
    walk_directory(opts, *ntfs, L"\\", root, 3);
    EXPECT_EQ(written(), "");
    EXPECT_EQ(opts.last_level, 7);
}

TEST_F(Walk, ReadingADirectoryNeedsAValidVolume) {
    CNtfs closed(nullptr, 0, 0);
    dir_entry_set entries;
    EXPECT_FALSE(read_directory_entries(closed, L"\\", root, entries, false, opts));
    EXPECT_TRUE(entries.empty());
}

TEST_F(Walk, ReadingADirectoryValidatesTheVolumeFirst) {
    const std::string path = dir.file("volume.dd");
    volume.save(path);
    CNtfs fresh(std::make_unique<CRawDisk>(std::wstring(path.begin(), path.end()), false, false, 0),
                0, source_kind::file);
    dir_entry_set entries;
    EXPECT_TRUE(read_directory_entries(fresh, L"", root, entries, false, opts));
    EXPECT_EQ(entries.size(), 4u);  // the root, \a, \b and \z
}

TEST_F(Walk, ReturnsWhetherThereWasARecordOrAnIndex) {
    volume.directory(root, u"lost", 50).keyword("XXXX");
    volume.file(root, u"file", 51);
    const std::unique_ptr<CNtfs> ntfs = open();
    dir_entry_set entries;
    EXPECT_FALSE(read_directory_entries(*ntfs, L"\\lost", 50, entries, false, opts));
    EXPECT_TRUE(entries.empty());
    EXPECT_TRUE(read_directory_entries(*ntfs, L"\\file", 51, entries, false, opts));
    EXPECT_EQ(entries.size(), 1u);
}

TEST_F(Walk, ReadingANamelessDirectoryAddsItsChildren) {
    volume.directory(root, u"nameless", 50).remove(support::type::file_name);
    volume.file(50, u"child", 51);
    const std::unique_ptr<CNtfs> ntfs = open();
    dir_entry_set entries;
    EXPECT_TRUE(read_directory_entries(*ntfs, L"\\nameless", 50, entries, false, opts));
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries.begin()->full_path, "\\nameless\\child");
}

// Runs `work` on a thread with a stack of `size` bytes.
void run_on_small_stack(std::size_t size, std::function<void()> work) {
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, size), 0);
    pthread_t thread;
    const auto start = [](void* argument) -> void* {
        (*static_cast<std::function<void()>*>(argument))();
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, &attributes, start, &work), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
}

TEST_F(Walk, DepthIsNotLimitedByTheCallStack) {
    volume.directory(43, u"x", 80);
    volume.link(43, 80, u"y");  // \b\x\y is \b
    opts.levels = 2000;
    std::string text;
    run_on_small_stack(512 * 1024, [&] { text = report(L"\\b", 43); });
    // The 2000 listings alternate: \b, then x, then y ... x at the end. The first, \b, has its row
    // and "4". x has its row. y, which is \b with a name in two directories, has two rows and "4".
    // In the last listing the y below is a row.
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 2 + 1000 * 1 + 999 * 3 + 1);
}

}  // namespace

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <string>
#include <vector>

#include "ntfs/volume/ntfs.h"
#include "support/ntfs_image.h"
#include "unit/ntfs/open_volume.h"
#include "unit/ntfs/saved_volume.h"

namespace {

using namespace saved;

using support::file_reference;
using support::ntfs_image;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(InodeToPath, FileAndDirectoryHaveTheirPathFromTheRoot) {
    const saved_volume volume(sample());
    EXPECT_THAT(volume.paths(67), ElementsAre(L"\\top.txt"));
    EXPECT_THAT(volume.paths(66), ElementsAre(L"\\docs\\deep\\a.txt"));
    EXPECT_THAT(volume.paths(65), ElementsAre(L"\\docs\\deep"));
    EXPECT_THAT(volume.paths(64), ElementsAre(L"\\docs"));
}

TEST(InodeToPath, HardLinksAreSortedByParentEntry) {
    ntfs_image image = sample();
    image.link(66, 68, u"z.txt").link(66, 5, u"y.txt").link(66, 64, u"x.txt");
    const saved_volume volume(image);
    EXPECT_THAT(volume.paths(66), ElementsAre(L"\\y.txt", L"\\docs\\x.txt", L"\\docs\\deep\\a.txt",
                                              L"\\other\\z.txt"));
}

TEST(InodeToPath, Win32AndDosNameHaveOnePath) {
    ntfs_image image = sample();
    image.file(64, u"Long name.txt", 70, {.space = support::win32});
    image.link(70, 64, u"LONGNA~1.TXT", {.space = support::dos});
    const saved_volume volume(image);
    EXPECT_THAT(volume.paths(70), ElementsAre(L"\\docs\\Long name.txt"));
}

TEST(InodeToPath, DirectoryWithTwoNamesDoublesThePathsBelowIt) {
    ntfs_image image = sample();
    image.link(64, 5, u"papers").link(65, 64, u"deeper");
    const saved_volume volume(image);
    EXPECT_THAT(volume.paths(66),
                ElementsAre(L"\\docs\\deep\\a.txt", L"\\papers\\deep\\a.txt",
                            L"\\docs\\deeper\\a.txt", L"\\papers\\deeper\\a.txt"));
}

TEST(InodeToPath, EntryWithoutNameOrRecordHasNoPath) {
    ntfs_image image = sample();
    image.entry(70).standard_information();
    image.file(5, u"SHORT", 71, {.space = support::dos});
    image.file(5, u"torn", 72).keyword("BAAD");
    const saved_volume volume(image);
    EXPECT_THAT(volume.paths(70, false), IsEmpty());
    EXPECT_THAT(volume.paths(71, false), IsEmpty());
    EXPECT_THAT(volume.paths(72, false), IsEmpty());
    EXPECT_THAT(volume.paths(0x1000000, false), IsEmpty());
}

TEST(InodeToPath, OrphanHasNoPathThroughItsLostParent) {
    ntfs_image image = sample();
    image.entry(70).standard_information().file_name(0x100000, u"lost");
    image.entry(71).standard_information().file_name(0x100000, u"lost").file_name(64, u"kept");
    const saved_volume volume(image);
    EXPECT_THAT(volume.paths(70), IsEmpty());
    EXPECT_THAT(volume.paths(71), ElementsAre(L"\\docs\\kept"));
}

TEST(InodeToPath, DeletedAndReusedParentsAreUsed) {
    ntfs_image image = sample();
    image.entry(64).flags(2);
    image.entry(70).flags(0).standard_information().file_name(
        64, u"a", {.parent_sequence = std::uint16_t{0x7777}});
    image.entry(71).standard_information().file_name(67, u"below a file");
    const saved_volume volume(image);
    EXPECT_THAT(volume.paths(70), ElementsAre(L"\\docs\\a"));
    EXPECT_THAT(volume.paths(71), ElementsAre(L"\\top.txt\\below a file"));
}

TEST(InodeToPath, EntryNamedLikeItsParentLosesItsOwnSegment) {
    ntfs_image image;
    image.directory(5, u"same", 64);
    image.file(64, u"same", 65);
    image.file(64, u"Same", 66);
    image.directory(64, u"deep", 67);
    image.directory(67, u"deep", 68);
    image.file(68, u"file", 69);
    image.file(67, u"same", 70);
    const saved_volume volume(image);
    EXPECT_THAT(volume.paths(65), ElementsAre(L"\\same"));
    EXPECT_THAT(volume.paths(66), ElementsAre(L"\\same\\Same"));
    EXPECT_THAT(volume.paths(68), ElementsAre(L"\\same\\deep"));
    EXPECT_THAT(volume.paths(69), ElementsAre(L"\\same\\deep\\deep\\file"));
    EXPECT_THAT(volume.paths(70), ElementsAre(L"\\same\\deep\\same")) << "unlike its grandparent";
}

TEST(InodeToPath, DotSegmentsAreSkipped) {
    ntfs_image image;
    image.directory(5, u".", 64);
    image.file(64, u"a", 65);
    image.file(65, u".", 66);
    const saved_volume volume(image);
    EXPECT_THAT(volume.paths(64), ElementsAre(L"\\"));
    EXPECT_THAT(volume.paths(65), ElementsAre(L"\\a"));
    EXPECT_THAT(volume.paths(66), ElementsAre(L"\\a"));
}

TEST(InodeToPath, NamesInExtensionRecordsHavePaths) {
    ntfs_image image = sample();
    image.entry(71).base(file_reference(70, 1)).file_name(64, u"far").id(3);
    image.entry(70).standard_information().attribute_list(
        {{.type = support::type::file_name, .record = file_reference(71, 1), .id = 3}});
    const saved_volume volume(image);
    EXPECT_THAT(volume.paths(70), ElementsAre(L"\\docs\\far"));
}

TEST(InodeToPath, PartialSegmentsOfTheCallerAreAppended) {
    open_volume volume(sample());
    std::vector<std::wstring> paths;
    EXPECT_TRUE(volume.ntfs.get_paths_of_inode(64, {L"file", L"dir"}, paths));
    EXPECT_TRUE(volume.ntfs.get_paths_of_inode(64, {L"docs"}, paths));
    EXPECT_THAT(paths, ElementsAre(L"docs\\dir\\file\\", L"docs\\"));
}

TEST(InodeToPath, RecordsAboveTheStatedSizeAreRead) {
    open_volume volume(sample());
    ASSERT_TRUE(volume.opened);
    volume.ntfs.m_mft_record_size = 512;
    std::vector<std::wstring> paths;
    EXPECT_TRUE(volume.ntfs.get_paths_of_inode(66, {}, paths));
    EXPECT_THAT(paths, ElementsAre(L"docs\\deep\\a.txt\\"));
    EXPECT_TRUE(volume.ntfs.is_directory(65));
}

TEST(InodeToPathDeathTest, CycleOfParentsOverflowsTheStack) {
    ntfs_image image;
    image.entry(64).standard_information().file_name(65, u"a");
    image.entry(65).standard_information().file_name(64, u"b");
    open_volume volume(image);
    ASSERT_TRUE(volume.opened);
    const auto follow = [&volume] {
        const rlimit no_core{0, 0};
        const rlimit usual_stack{8u << 20, RLIM_INFINITY};
        ::setrlimit(RLIMIT_CORE, &no_core);
        ::setrlimit(RLIMIT_STACK, &usual_stack);
        std::vector<std::wstring> paths;
        volume.ntfs.get_paths_of_inode(64, {}, paths);
    };
    EXPECT_DEATH(follow(), "");
}

}  // namespace

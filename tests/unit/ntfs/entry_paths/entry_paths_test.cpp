#include "ntfs/entry_paths/entry_paths.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "foundation/text/ql_string.h"
#include "support/ntfs_image.h"
#include "unit/ntfs/saved_volume.h"

namespace {

using namespace saved;

using support::ntfs_image;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(EntryPaths, RootHasOnePath) {
    const saved_volume volume(sample());
    EXPECT_THAT(volume.paths(5), ElementsAre(L"\\"));
    EXPECT_THAT(volume.paths(5, true, L"c:\\"), ElementsAre(L"c:\\"));
}

TEST(EntryPaths, PrefixIsPrependedUnchanged) {
    const saved_volume volume(sample());
    EXPECT_THAT(volume.paths(66, true, L"c:\\"), ElementsAre(L"c:\\docs\\deep\\a.txt"));
    EXPECT_THAT(volume.paths(67, true, L"\\docs"), ElementsAre(L"\\docstop.txt"));
}

TEST(EntryPaths, PathsAreAppended) {
    const saved_volume volume(sample());
    std::vector<std::wstring> paths = {L"first"};
    EXPECT_TRUE(paths_for_entry(volume.source(), 67, L"", paths));
    EXPECT_THAT(paths, ElementsAre(L"first", L"\\top.txt"));
}

TEST(EntryPaths, TrailingBackslashesOfANameAreRemoved) {
    ntfs_image image;
    image.file(5, u"a\\\\", 64);
    const saved_volume volume(image);
    EXPECT_THAT(volume.paths(64), ElementsAre(L"\\a"));
}

TEST(EntryPaths, UnopenableSourceHasNoPaths) {
    const saved_volume volume(sample());
    std::vector<std::wstring> paths;
    EXPECT_FALSE(paths_for_entry({L"/no/such/file", 0}, 67, L"", paths));
    EXPECT_FALSE(paths_for_entry(volume.source(512), 67, L"", paths));
    EXPECT_FALSE(paths_for_entry({L"", 0}, 67, L"", paths));
    EXPECT_THAT(paths, IsEmpty());
}

TEST(EntryPaths, VolumeOffsetIsUsed) {
    support::temp_dir dir;
    support::byte_image disk;
    disk.put_image(0x7e00, sample().build());
    const volume_source source{ql::to_wide(disk.save(dir.file("disk.dd"))), 0x7e00};
    std::vector<std::wstring> paths;
    EXPECT_TRUE(paths_for_entry(source, 66, L"", paths));
    EXPECT_THAT(paths, ElementsAre(L"\\docs\\deep\\a.txt"));
    EXPECT_TRUE(entry_is_directory(source, 65));
}

TEST(EntryPaths, OnlyReadableDirectoriesAreDirectories) {
    const saved_volume volume(sample());
    EXPECT_TRUE(entry_is_directory(volume.source(), 5));
    EXPECT_TRUE(entry_is_directory(volume.source(), 64));
    EXPECT_FALSE(entry_is_directory(volume.source(), 66));
    EXPECT_FALSE(entry_is_directory(volume.source(), 0x1000000));
    EXPECT_FALSE(entry_is_directory({L"/no/such/file", 0}, 5));
}

}  // namespace

// Tests links in a path.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <thread>

#include "ntfs/lookup/path_lookup.h"
#include "ntfs/volume/ntfs.h"
#include "run/settings/cmd_params.h"
#include "support/ntfs_image.h"
#include "unit/ntfs/lookup/looked_up_path.h"
#include "unit/ntfs/open_volume.h"

namespace {

using namespace lookups;

using support::ntfs_image;

TEST(PathLookup, JunctionIsFollowedFromTheRoot) {
    ntfs_image image = sample();
    add_link(image, u"link", support::mount_point_tag, u"\\??\\C:\\temp", {.print = u"C:\\temp"});
    open_volume volume(image);
    const lookup found = look_up(volume, L"\\link\\SUB\\file.txt:zone");
    EXPECT_TRUE(found.result);
    EXPECT_EQ(found.inode, 66u);
    EXPECT_EQ(found.parent, 65u);
    EXPECT_EQ(found.resolved, L"\\C:\\temp\\SUB\\file.txt:zone");
    EXPECT_EQ(found.trace,
              "->anal: \\link\\SUB\\file.txt:zone\n"
              "->root dir\n"
              "->seg: link\n"
              "->info: get children nodes\n"
              "->info: # children [5]\n"
              "->info: get children names\n"
              "->info: restart segments [link]\n"
              "->seg: temp\n"
              "->info: cache lookup\n"
              "->info: inode found for seg: temp : 0x40\n"
              "->seg: sub\n"
              "->info: get children nodes\n"
              "->info: # children [1]\n"
              "->info: get children names\n"
              "->info: inode found for seg: sub : 0x41\n"
              "->seg: file.txt\n"
              "->info: get children nodes\n"
              "->info: # children [1]\n"
              "->info: get children names\n"
              "->info: inode found for seg: file.txt : 0x42\n");
}

TEST(PathLookup, LinkAtTheEndOfAPathIsFollowed) {
    ntfs_image image = sample();
    add_link(image, u"link", support::symbolic_link_tag, u"\\??\\C:\\temp\\sub",
             {.print = u"C:\\temp\\sub"});
    open_volume volume(image);
    const lookup found = look_up(volume, L"link");
    EXPECT_EQ(found.inode, 65u);
    EXPECT_EQ(found.parent, 64u);
    EXPECT_EQ(found.resolved, L"C:\\temp\\sub");
}

TEST(PathLookup, LinkIsReturnedIfLinksAreNotFollowed) {
    ntfs_image image = sample();
    add_link(image, u"link", support::mount_point_tag, u"\\??\\C:\\temp", {.print = u"C:\\temp"});
    open_volume volume(image);
    const lookup found = look_up(volume, L"\\link", false);
    EXPECT_EQ(found.inode, 70u);
    EXPECT_EQ(found.parent, 5u);
    EXPECT_THAT(found.trace, testing::EndsWith("->info: inode found for seg: link : 0x46\n"));
}

TEST(PathLookup, AnyTagAndAnyKindOfEntryIsALink) {
    ntfs_image image = sample();
    image.file(5, u"tagged.txt", 70)
        .reparse(0x80000017, u"\\??\\C:\\temp\\sub", {.print = u"C:\\temp\\sub"});
    open_volume volume(image);
    EXPECT_EQ(entry_at(volume, L"\\tagged.txt"), 65u);
}

TEST(PathLookup, RelativeTargetIsReadFourBytesEarlyAndLookedUpInTheRoot) {
    // Flags 1, "sub", "mp": the print name is read from two units before its start.
    ntfs_image image = sample();
    add_link(
        image, u"link", support::symbolic_link_tag, u"sub",
        {.print = u"mp", .relative = true, .terminated = false, .print_length = std::uint16_t{8}});
    image.file(5, u"ubmp", 71);
    open_volume volume(image);
    EXPECT_EQ(look_up(volume, L"\\link").resolved, L"\\ubmp");
}

TEST(PathLookup, EmptyPrintNameContinuesAtTheRoot) {
    ntfs_image image = sample();
    add_link(image, u"link", support::mount_point_tag, u"\\??\\C:\\temp", {});
    open_volume volume(image);
    const lookup found = look_up(volume, L"\\link\\temp\\sub");
    EXPECT_EQ(found.inode, 65u);
    EXPECT_EQ(found.resolved, L"\\temp\\sub");
}

TEST(PathLookup, AbsoluteLinkWithThePrintNameFirstContinuesAtTheRoot) {
    ntfs_image image = sample();
    add_link(image, u"link", support::symbolic_link_tag, u"\\??\\C:\\temp",
             {.print = u"C:\\temp", .print_first = true});
    open_volume volume(image);
    EXPECT_EQ(look_up(volume, L"\\link\\hello.txt").inode, 67u);
}

TEST(PathLookup, TargetWithoutSegmentsIsTheLinkItself) {
    for (const char16_t* print : {u"C:\\", u"\\", u""}) {
        ntfs_image image = sample();
        add_link(image, u"link", support::mount_point_tag, u"\\??\\C:\\", {.print = print});
        open_volume volume(image);
        const lookup found = look_up(volume, L"\\link");
        EXPECT_TRUE(found.result);
        EXPECT_EQ(found.inode, 70u);
        EXPECT_EQ(found.parent, 0u);
        EXPECT_THAT(found.trace, testing::EndsWith("->info: restart segments [link]\n"));
    }
}

TEST(PathLookup, TargetWithoutSegmentsHasNoParent) {
    ntfs_image image = sample();
    image.directory(65, u"link", 70)
        .reparse(support::mount_point_tag, u"\\??\\C:\\", {.print = u"C:\\"});
    open_volume volume(image);
    const lookup found = look_up(volume, L"\\temp\\sub\\link");
    EXPECT_TRUE(found.result);
    EXPECT_EQ(found.inode, 70u);
    EXPECT_EQ(found.parent, 0u);
    EXPECT_EQ(found.resolved, L"\\C:");
}

TEST(PathLookup, LinkInASubdirectoryRestartsAtTheRoot) {
    ntfs_image image = sample();
    image.directory(65, u"link", 70)
        .reparse(support::mount_point_tag, u"\\??\\D:\\Empty", {.print = u"D:\\Empty"});
    open_volume volume(image);
    const lookup found = look_up(volume, L"\\temp\\sub\\link");
    EXPECT_EQ(found.inode, 68u);
    EXPECT_EQ(found.parent, 5u);
    EXPECT_EQ(found.resolved, L"\\D:\\Empty");
}

TEST(PathLookup, TargetIsSplitAtBackslashesEvenForAPathWithSlashes) {
    ntfs_image image = sample();
    add_link(image, u"link", support::mount_point_tag, u"\\??\\C:\\temp", {.print = u"C:\\temp"});
    open_volume volume(image);
    const lookup found = look_up(volume, L"/link/sub/file.txt");
    EXPECT_EQ(found.inode, 66u);
    EXPECT_EQ(found.resolved, L"\\C:\\temp\\sub\\file.txt");
}

TEST(PathLookup, SlashInATargetIsNotASeparator) {
    ntfs_image image = sample();
    add_link(image, u"link", support::mount_point_tag, u"\\??\\C:\\te/mp", {.print = u"C:\\te/mp"});
    image.directory(5, u"te/mp", 71);
    image.file(71, u"x", 72);
    open_volume volume(image);
    const lookup found = look_up(volume, L"\\link\\x");
    EXPECT_EQ(found.inode, 72u);
    EXPECT_EQ(found.resolved, L"\\C:\\te/mp\\x");
}

TEST(PathLookup, BackslashInASegmentAfterALinkSplitsIt) {
    ntfs_image image = sample();
    add_link(image, u"link", support::mount_point_tag, u"\\??\\C:\\temp", {.print = u"C:\\temp"});
    open_volume volume(image);
    EXPECT_FALSE(look_up(volume, L"/temp/sub\\file.txt").result);
    const lookup found = look_up(volume, L"/link/sub\\file.txt");
    EXPECT_EQ(found.inode, 66u);
    EXPECT_EQ(found.resolved, L"\\C:\\temp\\sub\\file.txt");
}

TEST(PathLookup, LinkAfterALongAttributeIsFollowed) {
    ntfs_image image({.record = 4096});
    image.directory(5, u"temp", 64);
    image.file(5, u"link", 70)
        .data(std::string(2000, 'x'))
        .reparse(support::mount_point_tag, u"\\??\\C:\\temp", {.print = u"C:\\temp"});
    open_volume volume(image);
    EXPECT_EQ(entry_at(volume, L"\\link"), 64u);
}

TEST(PathLookup, FailureAfterALinkIsTracedWithTheOriginalPath) {
    ntfs_image image = sample();
    add_link(image, u"link", support::mount_point_tag, u"\\??\\C:\\none", {.print = u"C:\\none"});
    open_volume volume(image);
    EXPECT_THAT(look_up(volume, L"\\link\\x").trace,
                testing::EndsWith("->seg: none\n"
                                  "->info: cache lookup\n"
                                  "->err: no child nodes\n"
                                  "->inode not found for \\link\\x\n"));
}

TEST(PathLookup, ChainOfLinksIsFollowedToItsEnd) {
    ntfs_image image = sample();
    const auto name = [](std::uint64_t i) {
        return std::u16string(u"link") + static_cast<char16_t>(u'0' + i / 10) +
               static_cast<char16_t>(u'0' + i % 10);
    };
    for (std::uint64_t i = 0; i < 40; ++i) {
        const std::u16string next = i == 39 ? u"temp" : name(i + 1);
        image.directory(5, name(i), 100 + i)
            .reparse(support::mount_point_tag, u"\\??\\C:\\" + next, {.print = u"C:\\" + next});
    }
    open_volume volume(image);
    EXPECT_EQ(look_up(volume, L"\\link00\\sub").resolved, L"\\C:\\temp\\sub");
}

TEST(PathLookup, LinksThatLeadToEachOtherAreFollowedUntilOneIsDeleted) {
    ntfs_image image = sample();
    image.directory(5, u"one", 70)
        .reparse(support::mount_point_tag, u"\\??\\C:\\two", {.print = u"C:\\two"});
    image.directory(5, u"two", 71)
        .reparse(support::mount_point_tag, u"\\??\\C:\\one", {.print = u"C:\\one"});
    open_volume volume(image);
    support::temp_dir dir;
    const std::string trace = dir.file("trace");
    cmd_params params;
    params.diags_on = 1;
    params.diags_stream = std::make_unique<std::ofstream>(trace);

    lookup found;
    std::atomic<bool> ended = false;
    std::thread walk([&] {
        found.result = resolve_path(found.inode, found.parent, found.resolved, &volume.ntfs,
                                    L"\\one", true, params);
        ended = true;
    });
    // Some 1500 links are followed before the first one loses its record.
    while (!ended && std::filesystem::file_size(trace) < 100000)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    EXPECT_FALSE(ended);
    std::fstream(volume.path, std::ios::in | std::ios::out | std::ios::binary)
        .seekp(static_cast<std::streamoff>(image.record_pos(70)))
        .write("BAAD", 4);
    walk.join();
    EXPECT_TRUE(found.result);
    EXPECT_EQ(found.inode, 70u);
    EXPECT_EQ(found.parent, 5u);
    EXPECT_EQ(found.resolved, L"\\C:\\one");
}

TEST(PathLookup, ReparsePointWithoutDataOrSubstituteNameIsNotALink) {
    const support::reparse_options cases[] = {
        {.print = u"C:\\temp", .data_length = std::uint16_t{0}},
        {.print = u"C:\\temp", .substitute_length = std::uint16_t{0}},
    };
    for (const support::reparse_options& options : cases) {
        ntfs_image image = sample();
        add_link(image, u"link", support::mount_point_tag, u"\\??\\C:\\temp", options);
        open_volume volume(image);
        const lookup found = look_up(volume, L"\\link");
        EXPECT_EQ(found.inode, 70u);
        EXPECT_EQ(found.parent, 5u);
        EXPECT_THAT(found.trace, testing::Not(testing::HasSubstr("restart")));
    }
}

TEST(PathLookup, LinkInATruncatedRecordIsFollowed) {
    ntfs_image image = sample();
    add_link(image, u"link", support::mount_point_tag, u"\\??\\C:\\temp", {.print = u"C:\\temp"});
    open_volume volume(image);
    ASSERT_EQ(entry_at(volume, L"\\link"), 64u);
    ASSERT_LT(image.entry(70).attribute_offset(support::type::reparse_point), 400u);
    volume.ntfs.m_disk->size_bytes = static_cast<std::int64_t>(image.record_pos(70) + 512);
    EXPECT_EQ(entry_at(volume, L"\\link"), 64u);
}

TEST(PathLookup, NonResidentReparsePointIsNotALink) {
    ntfs_image image = sample();
    const support::bytes value =
        support::reparse_value(support::mount_point_tag, u"\\??\\C:\\temp", {.print = u"C:\\temp"});
    const support::cluster_runs runs = image.store(value);
    image.directory(5, u"link", 70)
        .nonresident(support::type::reparse_point, u"", runs, {.real = value.size()});
    open_volume volume(image);
    EXPECT_EQ(look_up(volume, L"\\link").inode, 70u);
}

TEST(PathLookup, NothingIsTracedByDefault) {
    open_volume volume(sample());
    support::temp_dir dir;
    cmd_params params;
    params.diags_stream = std::make_unique<std::ofstream>(dir.file("trace"));
    std::uint64_t inode = 0;
    std::uint64_t parent = 0;
    std::wstring resolved;
    EXPECT_TRUE(resolve_path(inode, parent, resolved, &volume.ntfs, L"\\temp", true, params));
    params.diags_stream.reset();
    EXPECT_EQ(support::read_file(dir.file("trace")), "");
}

}  // namespace

// Tests device names before a path.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "ntfs/lookup/path_lookup.h"
#include "unit/ntfs/lookup/looked_up_path.h"
#include "unit/ntfs/open_volume.h"

namespace {

using namespace lookups;

TEST(PathLookup, ShadowCopyPrefixIsRemoved) {
    open_volume volume(sample());
    const lookup found =
        look_up(volume, L"\\\\?\\globalroot\\DEVICE\\HarddiskVolumeShadowCopy12\\temp\\sub");
    EXPECT_EQ(found.inode, 65u);
    EXPECT_EQ(found.resolved, L"\\temp\\sub");
    EXPECT_THAT(found.trace, testing::StartsWith("->anal: \\temp\\sub\n->root dir\n->seg: temp\n"));
}

TEST(PathLookup, ShadowCopyNeedsNoNumber) {
    open_volume volume(sample());
    const std::wstring device = L"\\\\?\\GLOBALROOT\\Device\\HarddiskVolumeShadowCopy";
    EXPECT_EQ(look_up(volume, device + L"\\temp").resolved, L"\\temp");
    EXPECT_EQ(look_up(volume, device).trace, "->anal: \n->path empty\n");
    // With one letter less, the path is an ordinary one.
    EXPECT_THAT(look_up(volume, device.substr(0, device.size() - 1) + L"\\temp").trace,
                testing::HasSubstr("->seg: ?\n"));
}

TEST(PathLookup, SnapshotPrefixIsRemoved) {
    // 47 characters up to a backslash: "\\.\", "snapid_", a number and a GUID.
    const std::wstring prefix = L"\\\\.\\snapid_" + std::wstring(36, L'0');
    ASSERT_EQ(prefix.size(), 47u);
    open_volume volume(sample());
    EXPECT_EQ(look_up(volume, prefix + L"\\temp\\sub").resolved, L"\\temp\\sub");
    EXPECT_EQ(look_up(volume, prefix + L"more\\temp").resolved, L"\\temp");
    // "snapid_" is compared with case, and backslashes before position 47 are ignored.
    EXPECT_FALSE(look_up(volume, L"\\\\.\\SNAPID_" + std::wstring(36, L'0') + L"\\temp").result);
    EXPECT_EQ(look_up(volume, L"\\\\.\\snapid_" + std::wstring(35, L'\\') + L"0\\temp").resolved,
              L"\\temp");
    EXPECT_EQ(look_up(volume, L"\\\\.\\snapid_" + std::wstring(35, L'0') + L"\\x\\temp").resolved,
              L"\\temp");
    // "snapid_" is recognised only after the name of the local machine.
    EXPECT_THAT(look_up(volume, L"\\\\?\\snapid_" + std::wstring(36, L'0') + L"\\temp").trace,
                testing::HasSubstr("->seg: ?\n"));
    // A path of 47 characters is an ordinary one.
    EXPECT_THAT(look_up(volume, L"\\\\.\\snapid_" + std::wstring(35, L'0') + L"\\").trace,
                testing::StartsWith("->anal: \\\\.\\snapid_" + std::string(35, '0') +
                                    "\\\n->root dir\n->seg: .\n"));
}

TEST(PathLookup, OtherDeviceNamesAreNotRemoved) {
    open_volume volume(sample());
    const std::wstring plain = L"\\" + std::wstring(60, L'd');
    EXPECT_THAT(look_up(volume, plain).trace,
                testing::StartsWith("->anal: " + ql::to_utf8(plain) + "\n"));
    const std::wstring device = L"\\\\.\\" + std::wstring(44, L'd');
    const lookup found = look_up(volume, device + L"\\temp");
    EXPECT_FALSE(found.result);
    EXPECT_EQ(found.trace.substr(0, found.trace.find('\n')),
              "->anal: " + ql::to_utf8(device) + "\\temp");
}

TEST(PathLookup, SourcePrefixAloneLeavesAnEmptyPath) {
    open_volume volume(sample());
    for (const std::wstring& path :
         {std::wstring(L"\\\\?\\GLOBALROOT\\Device\\HarddiskVolumeShadowCopy1"),
          L"\\\\.\\snapid_" + std::wstring(37, L'0')}) {
        const lookup found = look_up(volume, path);
        EXPECT_FALSE(found.result);
        EXPECT_EQ(found.inode, 0u);
        EXPECT_EQ(found.parent, all_ones);
        EXPECT_EQ(found.trace, "->anal: \n->path empty\n");
    }
    EXPECT_EQ(look_up(volume, L"\\\\?\\GLOBALROOT\\Device\\HarddiskVolumeShadowCopy1\\").inode, 5u);
}

TEST(PathLookup, FailureIsTracedWithThePathAfterThePrefix) {
    open_volume volume(sample());
    EXPECT_THAT(
        look_up(volume, L"\\\\?\\GLOBALROOT\\Device\\HarddiskVolumeShadowCopy1\\none").trace,
        testing::EndsWith("->inode not found for \\none\n"));
}

}  // namespace

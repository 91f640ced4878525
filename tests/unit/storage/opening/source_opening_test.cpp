#include "storage/opening/source_opening.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "ntfs/volume/ntfs.h"
#include "run/settings/cmd_params.h"
#include "storage/vmdk/vmdk_chain.h"
#include "support/byte_image.h"
#include "support/ntfs_image.h"
#include "support/partition_image.h"
#include "support/temp_dir.h"
#include "support/vmdk_image.h"
#include "unit/storage/disk_file.h"

namespace {

using support::byte_image;
using support::ntfs_image;
using support::temp_dir;
using support::vmdk_image;

constexpr std::uint64_t volume_at = 0x100000;
constexpr std::uint64_t docs_entry = 40;
constexpr std::uint64_t note_entry = 41;

// \docs\note.txt
byte_image volume() {
    ntfs_image image;
    image.directory(5, u"docs", docs_entry);
    image.file(docs_entry, u"note.txt", note_entry);
    return image.build();
}

byte_image partitioned_disk() {
    byte_image disk(volume_at);
    const byte_image ntfs = volume();
    support::put_boot_record(disk, 0, {{7, 0x800, static_cast<std::uint32_t>(ntfs.size() / 512)}});
    return disk.put_image(volume_at, ntfs);
}

// Runs with the trace on and returns the trace.
class trace_file {
public:
    trace_file() {
        m_params.diags_stream = std::make_unique<std::ofstream>(m_dir.file("trace"));
        m_params.diags_on = 1;
    }
    cmd_params& params() { return m_params; }
    std::string text() const { return support::read_file(m_dir.file("trace")); }

private:
    temp_dir m_dir;
    cmd_params m_params;
};

// Changes the working directory for its lifetime.
class working_directory {
public:
    explicit working_directory(const std::string& path)
        : m_before(std::filesystem::current_path()) {
        std::filesystem::current_path(path);
    }
    ~working_directory() { std::filesystem::current_path(m_before); }
    working_directory(const working_directory&) = delete;
    working_directory& operator=(const working_directory&) = delete;

private:
    std::filesystem::path m_before;
};

struct opened {
    bool result = false;
    std::unique_ptr<CNtfs> ntfs;
    std::uint64_t entry = 999;
    std::wstring resolved;
    std::string trace;
};

opened open_image(const std::string& path, const std::wstring& directory,
                  std::uint64_t offset = 0) {
    opened o;
    trace_file trace;
    o.result = open_by_image(o.ntfs, o.entry, o.resolved, widened(path), offset, directory, true,
                             trace.params());
    o.trace = trace.text();
    return o;
}

TEST(AttachImage, ValidVolumeIsOwned) {
    const temp_dir dir;
    const std::string path = volume().save(dir.file("bare.dd"));
    std::unique_ptr<CNtfs> ntfs;
    ASSERT_TRUE(attach_image(ntfs, widened(path), 0));
    ASSERT_NE(ntfs, nullptr);
    EXPECT_TRUE(ntfs->is_open());
    EXPECT_EQ(ntfs->m_source_kind, source_kind::file);
    EXPECT_EQ(ntfs->m_volume_offset, 0u);
    EXPECT_EQ(ntfs->disk()->path_utf8, path);
    EXPECT_EQ(ntfs->disk()->kind, disk_kind::file);
    EXPECT_FALSE(ntfs->disk()->write_access);
}

TEST(AttachImage, VolumeIsAtItsOffset) {
    const temp_dir dir;
    const std::wstring path = widened(partitioned_disk().save(dir.file("disk.dd")));
    std::unique_ptr<CNtfs> ntfs;
    EXPECT_TRUE(attach_image(ntfs, path, volume_at));
    EXPECT_EQ(ntfs->m_volume_offset, volume_at);
    EXPECT_FALSE(attach_image(ntfs, path, 0));
    EXPECT_EQ(ntfs, nullptr);
}

TEST(AttachImage, SourceWithoutAVolumeLeavesANullReader) {
    const temp_dir dir;
    testing::internal::CaptureStderr();
    for (const std::string& path : {std::string(), dir.file("missing"), dir.path(),
                                    dir.write("empty", ""), dir.write("text", "no volume")}) {
        SCOPED_TRACE(path);
        std::unique_ptr<CNtfs> ntfs;
        EXPECT_FALSE(attach_image(ntfs, widened(path), 0));
        EXPECT_EQ(ntfs, nullptr);
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(AttachImage, NamesOfAnotherSystemAreFilesOfThatName) {
    const temp_dir dir;
    const working_directory inside(dir.path());
    const byte_image image = volume();
    const struct {
        const char* name;
        std::uint32_t kind;
    } cases[] = {
        {"c:", source_kind::file},          {"c:\\", source_kind::file},
        {"c:\\disk.dd", source_kind::file}, {"\\\\.\\PhysicalDrive0", source_kind::device_path},
        {"\\single", source_kind::file},    {"c:x", source_kind::file},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        std::unique_ptr<CNtfs> ntfs;
        EXPECT_FALSE(attach_image(ntfs, widened(c.name), 0));
        image.save(c.name);
        ASSERT_TRUE(attach_image(ntfs, widened(c.name), 0));
        EXPECT_EQ(ntfs->m_source_kind, c.kind);
        EXPECT_EQ(ntfs->disk()->kind, disk_kind::file);
        EXPECT_EQ(ntfs->disk()->path_utf8, c.name);
    }
}

TEST(AttachVolume, OnlyLetterAndColonAreOpened) {
    const temp_dir dir;
    const working_directory inside(dir.path());
    const byte_image image = volume();
    std::unique_ptr<CNtfs> ntfs;
    EXPECT_FALSE(attach_volume(ntfs, L"c:\\docs"));
    image.save("c:");
    for (const wchar_t* name : {L"c:", L"c:\\", L"c:\\docs\\note.txt", L"c:docs"}) {
        ASSERT_TRUE(attach_volume(ntfs, name));
        EXPECT_EQ(ntfs->disk()->path_utf8, "c:");
        EXPECT_EQ(ntfs->m_source_kind, source_kind::file);
        EXPECT_EQ(ntfs->m_volume_offset, 0u);
    }
    image.save("\\\\.\\c");
    ASSERT_TRUE(attach_volume(ntfs, L"\\\\.\\c"));
    EXPECT_EQ(ntfs->m_source_kind, source_kind::device_path);
    EXPECT_FALSE(attach_volume(ntfs, L""));
    EXPECT_EQ(ntfs, nullptr);
}

TEST(SourceKind, NumbersAreThoseStoredByReaders) {
    EXPECT_EQ(source_kind::drive_letter, 32u);
    EXPECT_EQ(source_kind::file, 33u);
    EXPECT_EQ(source_kind::drive_number, 34u);
    EXPECT_EQ(source_kind::device_path, 35u);
    EXPECT_EQ(source_kind::reserved, 36u);
    EXPECT_EQ(source_kind::unknown, 255u);
}

TEST(AttachDrive, OpensTheDriveAndReportsTheError) {
    testing::internal::CaptureStderr();
    { const CRawDisk drive(3, false, false, false, 3, false); }
    const std::string told = testing::internal::GetCapturedStderr();
    std::unique_ptr<CNtfs> ntfs;
    testing::internal::CaptureStderr();
    attach_drive(ntfs, 3, 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), told);
}

TEST(AttachDrive, NumbersWithoutADeviceFailQuietly) {
    for (const std::uint32_t number : {20u, 24u, 25u}) {
        testing::internal::CaptureStderr();
        std::unique_ptr<CNtfs> ntfs;
        EXPECT_FALSE(attach_drive(ntfs, number, 0));
        EXPECT_EQ(ntfs, nullptr);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    }
}

TEST(OpenByImage, RootNeedsNoLookup) {
    const temp_dir dir;
    const std::string path = volume().save(dir.file("bare.dd"));
    for (const wchar_t* directory : {L".", L"/", L"", L"\\.", L".\\", L"\\.\\", L"/.", L"./"}) {
        SCOPED_TRACE(directory);
        const opened o = open_image(path, directory);
        EXPECT_TRUE(o.result);
        EXPECT_NE(o.ntfs, nullptr);
        EXPECT_EQ(o.entry, 5u);
        EXPECT_EQ(o.resolved, directory);
        EXPECT_EQ(o.trace, "");
    }
}

TEST(OpenByImage, SingleBackslashIsLookedUp) {
    const temp_dir dir;
    const opened o = open_image(volume().save(dir.file("bare.dd")), L"\\");
    EXPECT_TRUE(o.result);
    EXPECT_EQ(o.entry, 5u);
    EXPECT_EQ(o.resolved, L"\\");
    EXPECT_EQ(o.trace, "->anal: \\\n->root dir\n->path empty\n");
}

TEST(OpenByImage, SeveralComponentsAreLookedUp) {
    const temp_dir dir;
    const std::string path = volume().save(dir.file("bare.dd"));
    const opened dots = open_image(path, L".\\.");
    EXPECT_NE(dots.trace, "");
    EXPECT_NE(open_image(path, L"\\d").trace, "") << "one letter is a name as any";
    EXPECT_NE(open_image(path, L"..").trace, "");
    const opened docs = open_image(path, L"\\docs");
    EXPECT_TRUE(docs.result);
    EXPECT_EQ(docs.entry, docs_entry);
    EXPECT_EQ(docs.resolved, L"\\docs");
    const opened note =
        open_image(partitioned_disk().save(dir.file("disk.dd")), L"/DOCS/note.TXT", volume_at);
    EXPECT_TRUE(note.result);
    EXPECT_EQ(note.entry, note_entry);
}

TEST(OpenByImage, FailedLookupKeepsTheVolume) {
    const temp_dir dir;
    testing::internal::CaptureStderr();
    const opened o = open_image(volume().save(dir.file("bare.dd")), L"\\missing");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_FALSE(o.result);
    EXPECT_NE(o.ntfs, nullptr);
    EXPECT_NE(o.trace, "");
}

TEST(OpenByImage, SourceThatCannotBeOpenedIsNotSearched) {
    const temp_dir dir;
    testing::internal::CaptureStderr();
    const opened o = open_image(dir.file("missing"), L"\\docs");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_FALSE(o.result);
    EXPECT_EQ(o.ntfs, nullptr);
    EXPECT_EQ(o.trace, "");
}

TEST(OpenByVolumeName, NameIsAlsoTheDirectory) {
    const temp_dir dir;
    const working_directory inside(dir.path());
    volume().save("c:");
    std::unique_ptr<CNtfs> ntfs;
    std::uint64_t entry = 0;
    std::wstring resolved;
    trace_file trace;
    EXPECT_TRUE(open_by_volume_name(ntfs, entry, resolved, L"c:\\docs", true, trace.params()));
    EXPECT_EQ(entry, docs_entry);

    const std::string path = volume().save(dir.file("bare.dd"));
    EXPECT_FALSE(open_by_volume_name(ntfs, entry, resolved, widened(path), true, trace.params()));
    EXPECT_NE(ntfs, nullptr);  // opened, but the directory is not on it
}

TEST(OpenByDriveNumber, MissingDriveFails) {
    std::unique_ptr<CNtfs> ntfs;
    std::uint64_t entry = 0;
    std::wstring resolved;
    trace_file trace;
    EXPECT_FALSE(
        open_by_drive_number(ntfs, entry, resolved, 20, 0, L"\\docs", true, trace.params()));
    EXPECT_EQ(ntfs, nullptr);
    EXPECT_EQ(trace.text(), "");
}

// --- chains ---

class VmdkOpening : public testing::Test {
protected:
    std::vector<std::wstring> save(const std::vector<vmdk_image>& base_and_deltas) {
        std::vector<std::wstring> files;
        for (const std::string& path :
             support::save_vmdk_chain(dir.path(), "disk", base_and_deltas)) {
            files.push_back(widened(path));
        }
        return files;
    }

    temp_dir dir;
    std::unique_ptr<CNtfs> ntfs;
};

TEST_F(VmdkOpening, DefaultOffsetIsTheBasesFirstPartition) {
    const auto files = save({vmdk_image().content(partitioned_disk())});
    for (const std::uint64_t offset :
         {std::uint64_t{0}, std::uint64_t{1} << 63, ~std::uint64_t{0}, volume_at}) {
        SCOPED_TRACE(offset);
        ASSERT_TRUE(attach_vmdk(ntfs, files, offset));
        EXPECT_EQ(ntfs->m_volume_offset, volume_at);
        EXPECT_EQ(ntfs->disk()->kind, disk_kind::vmdk);
        EXPECT_FALSE(ntfs->disk()->write_access);
        EXPECT_EQ(ntfs->disk()->offset_hi, 0u);
        EXPECT_EQ(ntfs->disk()->offset_lo, volume_at);
    }
    EXPECT_FALSE(attach_vmdk(ntfs, files, 1));  // which is an offset, with no volume there
}

TEST_F(VmdkOpening, GivenOffsetIsUsed) {
    byte_image disk = partitioned_disk();
    support::put_boot_record(disk, 0, {{0x83, 63, 10}, {7, 0x800, 0x100}});
    const auto files = save({vmdk_image().content(disk)});
    EXPECT_FALSE(attach_vmdk(ntfs, files, 0));  // the first partition is a different one
    EXPECT_EQ(ntfs, nullptr);
    EXPECT_TRUE(attach_vmdk(ntfs, files, volume_at));
}

TEST_F(VmdkOpening, DefaultComesFromTheBaseAndNotFromTheNewestFile) {
    byte_image table(512);
    support::put_boot_record(table, 0, {{0x83, 63, 10}, {7, 0x800, 0x100}});
    vmdk_image delta({.capacity = partitioned_disk().size() / 512 + 128});
    delta.grain(0, table.get_bytes(0, 512));
    const auto files = save({vmdk_image().content(partitioned_disk()), delta});
    ASSERT_TRUE(attach_vmdk(ntfs, files, 0));
    EXPECT_EQ(ntfs->m_volume_offset, volume_at);
}

TEST_F(VmdkOpening, BareVolumeStartsAtZero) {
    ASSERT_TRUE(attach_vmdk(ntfs, save({vmdk_image().content(volume())}), 0));
    EXPECT_EQ(ntfs->m_volume_offset, 0u);
}

TEST_F(VmdkOpening, BaseWithoutPartitionsMeansZero) {
    // The base has no first sector: only the delta contains the volume.
    vmdk_image base({.capacity = volume().size() / 512 + 128});
    base.grain(1, support::pattern(4096));
    ASSERT_TRUE(attach_vmdk(ntfs, save({base, vmdk_image().content(volume())}), 0));
    EXPECT_EQ(ntfs->m_volume_offset, 0u);
}

TEST_F(VmdkOpening, OffsetIsStoredInTwoHalvesOf28Bits) {
    byte_image disk(0x2F2345600);
    disk.put_image(0x2F2345600, volume());
    vmdk_image image;
    image.content(byte_image(512).put(0, 1, 1));
    // The volume at a large offset, grain by grain: 0x2F2345600 is not a multiple of a grain.
    for (std::uint64_t at = 0x2F2340000; at < disk.size(); at += 0x10000) {
        image.grain(at / 0x10000, disk.get_bytes(at, 0x10000));
    }
    ASSERT_TRUE(attach_vmdk(ntfs, save({image}), 0x2F2345600));
    EXPECT_EQ(ntfs->disk()->offset_hi, 0x2u);
    EXPECT_EQ(ntfs->disk()->offset_lo, 0x2345600u);  // bits 28 to 31 are in neither
}

TEST_F(VmdkOpening, BrokenListsFailQuietly) {
    testing::internal::CaptureStderr();
    EXPECT_FALSE(attach_vmdk(ntfs, {}, 0));
    EXPECT_FALSE(attach_vmdk(ntfs, {widened(dir.file("missing"))}, 0));
    EXPECT_FALSE(attach_vmdk(ntfs, save({vmdk_image().content(byte_image(0x10000))}), 0));
    EXPECT_EQ(ntfs, nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(VmdkOpening, DirectoryIsLookedUpInTheChain) {
    const auto files = save({vmdk_image().content(partitioned_disk())});
    std::uint64_t entry = 0;
    std::wstring resolved;
    trace_file trace;
    EXPECT_TRUE(open_by_vmdk_list(ntfs, entry, resolved, files, 0, L"\\docs\\note.txt", true,
                                  trace.params()));
    EXPECT_EQ(entry, note_entry);
    EXPECT_TRUE(open_by_vmdk_list(ntfs, entry, resolved, files, 0, L".", true, trace.params()));
    EXPECT_EQ(entry, 5u);
    EXPECT_FALSE(
        open_by_vmdk_list(ntfs, entry, resolved, files, 0, L"\\missing", true, trace.params()));
    EXPECT_NE(ntfs, nullptr);
    EXPECT_FALSE(open_by_vmdk_list(ntfs, entry, resolved, {widened(dir.file("missing"))}, 0,
                                   L"\\docs", true, trace.params()));
    EXPECT_EQ(ntfs, nullptr);
}

}  // namespace

#include "storage/disk/raw_disk.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "storage/vmdk/vmdk_chain.h"
#include "support/byte_image.h"
#include "support/temp_dir.h"
#include "unit/storage/disk_file.h"

namespace {

int arrays_allocated = 0;  // by new[] since the start of the program

constexpr std::size_t no_size = SIZE_MAX;
std::size_t refused_array = no_size;  // size in bytes for which new[] fails

}  // namespace

void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    ++arrays_allocated;
    if (size == refused_array) return nullptr;
    return std::malloc(size);
}
void* operator new[](std::size_t size) {
    void* const memory = operator new[](size, std::nothrow);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }

namespace {

using support::byte_image;
using support::bytes;
using support::pattern;
using support::temp_dir;

constexpr std::uint8_t untouched = 0xEE;
constexpr auto top_bit = 1ull << 63;

// The outcome of one read: its result, the count, and the whole buffer.
struct outcome {
    bool result = false;
    std::uint32_t count = 0;
    bytes buffer;
};

outcome read(CRawDisk& disk, std::uint32_t count, std::uint64_t offset) {
    outcome read{false, count, bytes(count, untouched)};
    read.result = disk.read_bytes(read.buffer.data(), read.count, offset);
    return read;
}

bytes part(const bytes& whole, std::size_t at, std::size_t count) {
    const auto first = whole.begin() + static_cast<std::ptrdiff_t>(at);
    return {first, first + static_cast<std::ptrdiff_t>(count)};
}

TEST(RawDiskFile, OpensWithSizeAndConstantSectorSize) {
    const disk_file source(byte_image(pattern(5000)));
    EXPECT_TRUE(source.disk.ok);
    EXPECT_EQ(source.disk.size_in_bytes(), 5000u);
    EXPECT_EQ(source.disk.sector_size, 512u);
    EXPECT_EQ(source.disk.kind, disk_kind::file);
    EXPECT_EQ(source.disk.drive_number, -1);
    EXPECT_EQ(source.disk.native_handle, -1);
    EXPECT_EQ(source.disk.path_utf8, source.path);
    EXPECT_EQ(source.disk.path_wide, widened(source.path));
    EXPECT_FALSE(source.disk.write_access);
}

TEST(RawDiskFile, DevicePathsOpenAsFiles) {
    const temp_dir dir;
    const std::string path = dir.write("image", "abc");
    const CRawDisk disk(widened(path), false, false, 2);
    EXPECT_TRUE(disk.ok);
    EXPECT_EQ(disk.kind, disk_kind::file);
}

TEST(RawDiskFile, ReadsBytesAtAnyOffset) {
    const bytes content = pattern(3000);
    disk_file source{byte_image(content)};
    const outcome got = read(source.disk, 1000, 777);
    EXPECT_TRUE(got.result);
    EXPECT_EQ(got.count, 1000u);
    EXPECT_EQ(got.buffer, part(content, 777, 1000));
}

TEST(RawDiskFile, ReadAcrossTheEndIsClamped) {
    const bytes content = pattern(4096);
    disk_file source{byte_image(content)};
    const outcome got = read(source.disk, 512, 4096 - 100);
    EXPECT_TRUE(got.result);
    EXPECT_EQ(got.count, 100u);
    EXPECT_EQ(part(got.buffer, 0, 100), part(content, 3996, 100));
    EXPECT_EQ(part(got.buffer, 100, 412), bytes(412, untouched));
}

TEST(RawDiskFile, ReadAtOrPastTheEndFailsAndChangesNothing) {
    disk_file source{byte_image(pattern(4096))};
    for (const std::uint64_t offset : {4096ull, 4097ull, top_bit - 1}) {
        SCOPED_TRACE(offset);
        const outcome got = read(source.disk, 512, offset);
        EXPECT_FALSE(got.result);
        EXPECT_EQ(got.count, 512u);
        EXPECT_EQ(got.buffer, bytes(512, untouched));
    }
}

TEST(RawDiskFile, NegativeOffsetPassesTheSizeTestAndFailsInTheSeek) {
    disk_file source{byte_image(pattern(4096))};
    EXPECT_FALSE(read(source.disk, 512, top_bit).result);
    EXPECT_FALSE(read(source.disk, 512, ~0ull).result);
}

TEST(RawDiskFile, EmptyImageIsOpenAndEveryReadFails) {
    disk_file source{byte_image()};
    EXPECT_TRUE(source.disk.ok);
    EXPECT_EQ(source.disk.size_in_bytes(), 0u);
    for (const std::uint64_t offset : {0ull, 1ull, top_bit, ~0ull}) {
        EXPECT_FALSE(read(source.disk, 1, offset).result) << offset;
    }
}

TEST(RawDiskFile, NothingIsReadIntoNullOrForNoBytes) {
    disk_file source{byte_image(pattern(512))};
    std::uint32_t count = 512;
    EXPECT_FALSE(source.disk.read_bytes(nullptr, count, 0));
    EXPECT_EQ(count, 512u);
    std::uint8_t byte = untouched;
    count = 0;
    EXPECT_FALSE(source.disk.read_bytes(&byte, count, 0));
    EXPECT_EQ(byte, untouched);
}

TEST(RawDiskFile, BytesThatAShortReadDidNotDeliverAreZero) {
    const bytes content = pattern(1000);
    disk_file source{byte_image(content)};
    ASSERT_EQ(::truncate(source.path.c_str(), 300), 0);  // the size read before is still 1000
    const outcome got = read(source.disk, 512, 100);
    EXPECT_TRUE(got.result);
    EXPECT_EQ(got.count, 512u);
    EXPECT_EQ(part(got.buffer, 0, 200), part(content, 100, 200));
    EXPECT_EQ(part(got.buffer, 200, 312), bytes(312, 0));
}

TEST(RawDiskFile, SingleDeliveredByteIsKept) {
    disk_file source{byte_image(pattern(1000))};
    ASSERT_EQ(::truncate(source.path.c_str(), 501), 0);
    const outcome got = read(source.disk, 16, 500);
    bytes expected(16, 0);
    expected[0] = pattern(1000)[500];
    ASSERT_NE(expected[0], 0);
    EXPECT_TRUE(got.result);
    EXPECT_EQ(got.buffer, expected);
}

TEST(RawDiskFile, ReadThatDeliversNoBytesIsASuccess) {
    disk_file source{byte_image(pattern(1000))};
    ASSERT_EQ(::truncate(source.path.c_str(), 0), 0);
    const outcome got = read(source.disk, 16, 500);
    EXPECT_TRUE(got.result);
    EXPECT_EQ(got.count, 16u);
    EXPECT_EQ(got.buffer, bytes(16, 0));
}

TEST(RawDiskFile, FailedSystemReadFails) {
    disk_file source{byte_image(pattern(1000))};
    const int write_only = ::open(source.path.c_str(), O_WRONLY);
    ASSERT_NE(write_only, -1);
    ASSERT_NE(::dup2(write_only, source.disk.fd), -1);
    ::close(write_only);
    EXPECT_FALSE(read(source.disk, 16, 0).result);
}

TEST(RawDiskFile, FolderOpensAndFailsOnItsFirstRead) {
    const temp_dir dir;
    CRawDisk disk(widened(dir.path()), false, false, 0);
    EXPECT_TRUE(disk.ok);
    EXPECT_FALSE(read(disk, 512, 0).result);
}

TEST(RawDiskFile, SourceThatCannotSeekHasTheLargestSizeAndNoBytes) {
    CRawDisk disk(L"/proc/version", false, false, 0);
    ASSERT_TRUE(disk.ok);
    EXPECT_EQ(disk.size_bytes, -1);
    EXPECT_EQ(disk.size_in_bytes(), ~0ull);
    EXPECT_FALSE(read(disk, 16, 0).result);
    EXPECT_FALSE(read(disk, 16, ~0ull).result);
}

TEST(RawDiskFile, MissingFileEmptyPathFifoAndSocketAreNotOpened) {
    const temp_dir dir;
    const std::string fifo = dir.file("fifo");
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    const std::string socket_path = dir.file("socket");
    const int listener = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    ASSERT_LT(socket_path.size(), sizeof address.sun_path);
    socket_path.copy(address.sun_path, socket_path.size());
    ASSERT_EQ(::bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);

    for (const std::string& path : {dir.file("missing"), std::string(), fifo, socket_path}) {
        SCOPED_TRACE(path);
        CRawDisk disk(widened(path), false, false, 0);
        EXPECT_FALSE(disk.ok);
        EXPECT_EQ(disk.fd, -1);
        EXPECT_EQ(disk.size_in_bytes(), 0u);
        EXPECT_FALSE(read(disk, 16, 0).result);
    }
    ::close(listener);
}

TEST(RawDiskFile, NoOpenOpensNothing) {
    const temp_dir dir;
    const CRawDisk disk(widened(dir.write("image", "abc")), false, true, 0);
    EXPECT_FALSE(disk.ok);
    EXPECT_EQ(disk.kind, disk_kind::none);
    EXPECT_EQ(disk.fd, -1);
}

TEST(RawDiskFile, StartsWithNothing) {
    const CRawDisk disk(L"", false, true, 0);
    for (const std::uint32_t number :
         {disk.cylinders_hi, disk.cylinders_lo, disk.tracks_per_cylinder, disk.sectors_per_track,
          disk.sector_size, disk.offset_hi, disk.offset_lo}) {
        EXPECT_EQ(number, 0u);
    }
    EXPECT_EQ(disk.drive_number, -1);
    EXPECT_EQ(disk.native_handle, -1);
    EXPECT_EQ(disk.size_bytes, 0);
    EXPECT_TRUE(disk.volume_name.empty());
    EXPECT_FALSE(disk.write_access);
    EXPECT_FALSE(disk.read_locked);
}

TEST(RawDiskFile, NoGeometryIsObtained) {
    const disk_file source{byte_image(pattern(512))};
    const CRawDisk& disk = source.disk;
    EXPECT_EQ(disk.cylinders_hi | disk.cylinders_lo, 0u);
    EXPECT_EQ(disk.tracks_per_cylinder | disk.sectors_per_track, 0u);
}

TEST(RawDiskFile, OtherKindsOfNamesOpenNothing) {
    const temp_dir dir;
    const CRawDisk disk(widened(dir.write("image", "abc")), false, false, 1);
    EXPECT_FALSE(disk.ok);
    EXPECT_EQ(disk.kind, disk_kind::none);
}

TEST(RawDiskFile, WriteAccessSetsTheModeOfTheDescriptor) {
    const temp_dir dir;
    const std::wstring path = widened(dir.write("image", "abc"));
    const CRawDisk reader(path, false, false, 0);
    EXPECT_EQ(::fcntl(reader.fd, F_GETFL) & O_ACCMODE, O_RDONLY);
    EXPECT_FALSE(reader.write_access);
    const CRawDisk writer(path, true, false, 0);
    EXPECT_EQ(::fcntl(writer.fd, F_GETFL) & O_ACCMODE, O_RDWR);
    EXPECT_TRUE(writer.write_access);
}

TEST(RawDiskFile, SourceThatIsNotOkIsNotRead) {
    disk_file source{byte_image(pattern(512))};
    source.disk.ok = false;
    EXPECT_FALSE(read(source.disk, 16, 0).result);
    EXPECT_EQ(source.disk.size_in_bytes(), 0u);
}

TEST(RawDiskFile, KindsHaveTheirNumbers) {
    EXPECT_EQ(static_cast<std::uint32_t>(disk_kind::file), 0u);
    EXPECT_EQ(static_cast<std::uint32_t>(disk_kind::physical_drive), 3u);
    EXPECT_EQ(static_cast<std::uint32_t>(disk_kind::vmdk), 4u);
    EXPECT_EQ(static_cast<std::uint32_t>(disk_kind::none), 8u);
}

TEST(RawDiskFile, NothingIsReadWithoutADescriptor) {
    disk_file source{byte_image(pattern(512))};
    const int fd = std::exchange(source.disk.fd, -1);
    EXPECT_FALSE(read(source.disk, 16, 0).result);
    source.disk.native_handle = 5;  // of another system; a file is read only by its descriptor
    EXPECT_FALSE(read(source.disk, 16, 0).result);
    source.disk.fd = fd;
    EXPECT_TRUE(read(source.disk, 16, 0).result);
}

TEST(RawDiskFile, DeliverableIsWhatAReadDelivers) {
    const struct {
        const char* name;
        std::uint32_t count;
        std::uint64_t offset;
        std::uint32_t file;
        std::uint32_t drive;
    } cases[] = {
        {"inside", 100, 200, 100, 100},
        {"up to the end", 100, 924, 100, 100},
        {"across the end", 100, 925, 99, 100},
        {"last byte", 0xFFFFFFFF, 1023, 1, 0xFFFFFFFF},
        {"at the end", 100, 1024, 0, 0},
        {"past the end", 100, top_bit - 1, 0, 0},
        {"no bytes", 0, 200, 0, 0},
        {"negative offset", 100, top_bit, 100, 100},
    };
    disk_file file{byte_image(pattern(1024))};
    const drive_file drive{byte_image(pattern(1024))};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(file.disk.deliverable(c.count, c.offset), c.file);
        EXPECT_EQ(drive.disk.deliverable(c.count, c.offset), c.drive);
    }
    file.disk.fd = -1;
    EXPECT_EQ(file.disk.deliverable(1, 0), 0u);
    file.disk.native_handle = 5;
    EXPECT_EQ(file.disk.deliverable(1, 0), 1u);
    file.disk.ok = false;
    EXPECT_EQ(file.disk.deliverable(1, 0), 0u);
}

TEST(RawDiskFile, DestructionClosesTheDescriptor) {
    int fd = -1;
    {
        const disk_file source{byte_image(pattern(16))};
        fd = source.disk.fd;
        EXPECT_NE(::fcntl(fd, F_GETFD), -1);
    }
    EXPECT_EQ(::fcntl(fd, F_GETFD), -1);
}

TEST(RawDiskFile, SourceWithoutAKindFailsEveryRead) {
    disk_file source{byte_image(pattern(512))};
    source.disk.kind = disk_kind::none;
    EXPECT_FALSE(read(source.disk, 16, 0).result);
    source.disk.kind = disk_kind::vmdk;  // without a chain
    EXPECT_FALSE(read(source.disk, 16, 0).result);
}

TEST(RawDiskDrive, UnalignedReadReadsTheWholeSector) {
    const bytes content = pattern(4096);
    drive_file source{byte_image(content)};
    const outcome got = read(source.disk, 10, 1000);
    EXPECT_TRUE(got.result);
    EXPECT_EQ(got.count, 10u);
    EXPECT_EQ(got.buffer, part(content, 512 + 488, 10));
    EXPECT_EQ(source.position(), 512 + 512);
}

TEST(RawDiskDrive, OnlyUnalignedReadsUseABounceBuffer) {
    const bytes content = pattern(4096);
    drive_file source{byte_image(content)};
    const struct {
        const char* name;
        std::uint64_t offset;
        std::uint32_t count;
        int buffers;
        std::int64_t end;
    } cases[] = {
        {"whole sectors", 512, 1024, 0, 1536},
        {"start inside a sector", 513, 1023, 1, 1536},
        {"end inside a sector", 512, 1000, 1, 1536},
        {"both inside, over three sectors", 1000, 1000, 1, 2048},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        bytes buffer(c.count, untouched);
        std::uint32_t count = c.count;
        const int before = arrays_allocated;
        EXPECT_TRUE(source.disk.read_bytes(buffer.data(), count, c.offset));
        EXPECT_EQ(arrays_allocated - before, c.buffers);
        EXPECT_EQ(buffer, part(content, c.offset, c.count));
        EXPECT_EQ(source.position(), c.end);
    }
}

TEST(RawDiskDrive, BounceBufferWithoutMemoryFailsTheRead) {
    constexpr std::uint32_t whole = 2560;  // bytes of the sectors that the request touches
    drive_file source{byte_image(pattern(4096))};
    bytes buffer(whole, untouched);
    std::uint32_t unaligned = whole - 1;
    std::uint32_t aligned = whole;
    refused_array = whole;
    const bool bounced = source.disk.read_bytes(buffer.data(), unaligned, 512);
    const bool direct = source.disk.read_bytes(buffer.data(), aligned, 512);
    refused_array = no_size;
    EXPECT_FALSE(bounced);
    EXPECT_TRUE(direct);
    EXPECT_TRUE(source.disk.read_bytes(buffer.data(), unaligned, 512));
}

TEST(RawDiskDrive, SystemErrorIsASuccessWithZeros) {
    drive_file source{byte_image(pattern(4096))};
    const int write_only = ::open(source.path.c_str(), O_WRONLY);
    ASSERT_NE(write_only, -1);
    ASSERT_NE(::dup2(write_only, source.disk.fd), -1);
    ::close(write_only);
    for (const std::uint64_t offset : {512ull, 600ull}) {
        SCOPED_TRACE(offset);
        const outcome got = read(source.disk, 512, offset);
        EXPECT_TRUE(got.result);
        EXPECT_EQ(got.count, 512u);
        EXPECT_EQ(got.buffer, bytes(512, 0));
    }
}

TEST(RawDiskDrive, NothingIsClampedToTheSize) {
    const bytes content = pattern(1024);
    drive_file source{byte_image(content)};
    for (const std::uint64_t offset : {512ull, 600ull}) {
        SCOPED_TRACE(offset);
        const std::size_t held = 1024 - offset;
        const outcome got = read(source.disk, 2048, offset);
        EXPECT_TRUE(got.result);
        EXPECT_EQ(got.count, 2048u);
        EXPECT_EQ(part(got.buffer, 0, held), part(content, offset, held));
        EXPECT_EQ(part(got.buffer, held, 2048 - held), bytes(2048 - held, 0));
    }
}

TEST(RawDiskDrive, EndOfTheDeviceFails) {
    drive_file source{byte_image(pattern(1024))};
    source.disk.size_bytes = 4096;  // more than the file has
    EXPECT_FALSE(read(source.disk, 512, 1024).result);
    EXPECT_FALSE(read(source.disk, 10, 1030).result);
    source.disk.size_bytes = 1024;
    EXPECT_FALSE(read(source.disk, 512, 1024).result);
}

TEST(RawDiskDrive, SeeksByTheWholeOffset) {
    byte_image image(0x100000000ull + 1024);
    image.put_text(0x100000000ull + 600, "far away");
    drive_file source(image);
    const outcome got = read(source.disk, 8, 0x100000000ull + 600);
    EXPECT_TRUE(got.result);
    EXPECT_EQ(got.buffer, support::as_bytes(std::string_view("far away")));
}

TEST(RawDiskDrive, NegativeOffsetFailsInTheSeek) {
    drive_file source{byte_image(pattern(1024))};
    EXPECT_FALSE(read(source.disk, 512, top_bit).result);
}

TEST(RawDiskDrive, LockedReadsFail) {
    drive_file source{byte_image(pattern(1024))};
    source.disk.read_locked = true;
    EXPECT_FALSE(read(source.disk, 512, 0).result);
    source.disk.kind = disk_kind::file;  // only sector-aligned reads check the lock
    EXPECT_TRUE(read(source.disk, 512, 0).result);
}

TEST(RawDiskDrive, NumbersFromTwentyOnFailWithoutAMessage) {
    for (const std::uint32_t number : {20u, 24u, 25u, 0xFFFFFFFFu}) {
        SCOPED_TRACE(number);
        testing::internal::CaptureStderr();
        const CRawDisk disk(number, false, false, false, 3, false);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
        EXPECT_FALSE(disk.ok);
        EXPECT_EQ(disk.kind, number < 25 ? disk_kind::physical_drive : disk_kind::none);
        EXPECT_EQ(disk.drive_number, -1);
    }
}

TEST(RawDiskDrive, NoOpenOpensNothing) {
    testing::internal::CaptureStderr();
    const CRawDisk disk(0, false, true, false, 3, false);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_FALSE(disk.ok);
    EXPECT_EQ(disk.kind, disk_kind::none);
    EXPECT_EQ(disk.drive_number, -1);
}

TEST(RawDiskDrive, SectorsWithoutASizeAreNotRead) {
    drive_file source{byte_image(pattern(1024))};
    source.disk.sector_size = 0;
    EXPECT_FALSE(read(source.disk, 512, 0).result);
}

TEST(RawDiskDrive, DriveThatCannotBeOpenedIsReportedWithItsError) {
    const struct {
        std::uint32_t number;
        const char* name;
    } cases[] = {{0, "/dev/sda"}, {1, "/dev/sdb"}, {19, "/dev/sdt"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const int fd = ::open(c.name, O_RDONLY | O_NONBLOCK);
        const int error = errno;
        if (fd != -1) ::close(fd);
        testing::internal::CaptureStderr();
        const CRawDisk disk(c.number, false, false, false, 3, false);
        const std::string said = testing::internal::GetCapturedStderr();
        EXPECT_EQ(disk.drive_number, static_cast<std::int32_t>(c.number));
        EXPECT_EQ(disk.path_utf8, c.name);
        EXPECT_EQ(disk.path_wide, widened(c.name));
        EXPECT_EQ(disk.ok, fd != -1);
        EXPECT_EQ(said, fd != -1 ? ""
                                 : std::string("prob opening ") + c.name + ", error " +
                                       std::to_string(error) + "\n");
    }
}

TEST(RawDiskVmdk, NoOpenOpensNothing) {
    const temp_dir dir;
    const CRawDisk disk({widened(dir.write("disk.vmdk", "KDMV"))}, false, true);
    EXPECT_FALSE(disk.ok);
    EXPECT_EQ(disk.kind, disk_kind::none);
    EXPECT_EQ(disk.vmdk, nullptr);
}

TEST(RawDiskVmdk, ListWithoutAChainIsNotOpen) {
    const temp_dir dir;
    const std::string path = dir.write("text.vmdk", "no sparse extent");
    for (const std::vector<std::wstring>& files :
         {std::vector<std::wstring>{}, {widened(path)}, {widened(dir.file("missing"))}}) {
        CRawDisk disk(files, false, false);
        EXPECT_FALSE(disk.ok);
        EXPECT_EQ(disk.fd, -1);
        EXPECT_EQ(disk.size_in_bytes(), 0u);
        EXPECT_FALSE(read(disk, 16, 0).result);
    }
}

}  // namespace

#include "storage/vmdk/vmdk_metadata.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "storage/vmdk/vmdk_extent.h"
#include "support/byte_image.h"
#include "support/temp_dir.h"
#include "unit/storage/disk_file.h"
#include "unit/storage/vmdk/extent_file.h"

namespace {

using namespace extent_files;

using support::byte_image;
using support::bytes;
using support::pattern;
using support::temp_dir;

constexpr std::uint64_t window = vmdk_metadata_reader::window_size;

// A file that is open for reading and writing.
class metadata_file {
public:
    explicit metadata_file(const byte_image& content)
        : path(content.save(m_dir.file("metadata"))), fd(::open(path.c_str(), O_RDWR)) {
        EXPECT_NE(fd, -1);
    }
    ~metadata_file() { ::close(fd); }
    metadata_file(const metadata_file&) = delete;
    metadata_file& operator=(const metadata_file&) = delete;

private:
    temp_dir m_dir;

public:
    const std::string path;
    const int fd;
};

bytes copied(ql::bytes from) { return {from.begin(), from.end()}; }

// Returns true, with the bytes in `out`, if they can be read.
bool reads(vmdk_metadata_reader& reader, std::uint64_t position, std::size_t count,
           ql::bytes& out) {
    const std::optional<ql::bytes> found = reader.read(position, count);
    if (found) out = *found;
    return found.has_value();
}

TEST(VmdkMetadataReader, ReadsBytesAtAnyPosition) {
    const bytes content = pattern(3 * window + 100);
    const metadata_file file{byte_image(content)};
    vmdk_metadata_reader reader(file.fd);
    const struct {
        std::uint64_t position;
        std::size_t count;
        std::size_t expected;
    } cases[] = {
        {0, 513, 513},
        {1, window, window},
        {window - 1, 2, 2},
        {2 * window + 50, window, window},
        {3 * window + 50, 100, 50},
        {3 * window + 100, 4, 0},
        {std::uint64_t{1} << 40, 4, 0},
        {10, 0, 0},
        {5, 7, 7},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.position << ' ' << c.count);
        ql::bytes out;
        ASSERT_TRUE(reads(reader, c.position, c.count, out));
        ASSERT_EQ(out.size(), c.expected);
        if (!out.empty()) {
            EXPECT_EQ(copied(out), part(content, c.position, c.expected));
        }
    }
}

TEST(VmdkMetadataReader, OneReadCoversAWindow) {
    const metadata_file file{byte_image(bytes(2 * window, 1))};
    vmdk_metadata_reader reader(file.fd);
    ql::bytes out;
    ASSERT_TRUE(reads(reader, 10, 4, out));
    const bytes changed(2 * window, 2);
    ASSERT_EQ(::pwrite(file.fd, changed.data(), changed.size(), 0),
              static_cast<ssize_t>(changed.size()));
    ASSERT_TRUE(reads(reader, 10 + window - 4, 4, out));
    EXPECT_EQ(copied(out), bytes(4, 1)) << "the last bytes of the window";
    ASSERT_TRUE(reads(reader, 10 + window - 3, 4, out));
    EXPECT_EQ(copied(out), bytes(4, 2));
    ASSERT_TRUE(reads(reader, 10, 4, out));
    EXPECT_EQ(copied(out), bytes(4, 2));
}

TEST(VmdkMetadataReader, PositionThatCannotBeSoughtFails) {
    const metadata_file file{byte_image(bytes(window, 1))};
    vmdk_metadata_reader reader(file.fd);
    ql::bytes out;
    EXPECT_FALSE(reads(reader, std::uint64_t{1} << 63, 4, out));
    ASSERT_TRUE(reads(reader, 0, 4, out));
    EXPECT_FALSE(reads(reader, ~std::uint64_t{0} - 3, 4, out));
    ASSERT_TRUE(reads(reader, 0, 4, out));
    EXPECT_EQ(copied(out), bytes(4, 1));
    std::vector<std::uint32_t> entries;
    EXPECT_FALSE(reader.read_entries(std::uint64_t{1} << 63, 4, entries));
    EXPECT_TRUE(entries.empty());
}

TEST(VmdkMetadataReader, UnreadableFileFails) {
    const temp_dir dir;
    const int folder = ::open(dir.path().c_str(), O_RDONLY);
    for (const int fd : {folder, -1}) {
        vmdk_metadata_reader reader(fd);
        ql::bytes out;
        EXPECT_FALSE(reads(reader, 0, 4, out));
        std::vector<std::uint32_t> entries;
        EXPECT_FALSE(reader.read_entries(0, 4, entries));
        EXPECT_TRUE(entries.empty());
    }
    ::close(folder);
}

// Returns the `count` entries from a position on.
std::vector<std::uint32_t> entries_at(const byte_image& content, std::uint64_t position,
                                      std::uint64_t count) {
    const metadata_file file(content);
    vmdk_metadata_reader reader(file.fd);
    std::vector<std::uint32_t> entries;
    EXPECT_TRUE(reader.read_entries(position, count, entries));
    return entries;
}

TEST(VmdkMetadataReader, ZerosAtTheEndAreNotStored) {
    using list = std::vector<std::uint32_t>;
    byte_image content(64);
    content.put(4, 0x11223344, 4).put(12, 7, 4).put(16, 0xFF000000, 4).put(40, 9, 4);
    EXPECT_EQ(entries_at(content, 4, 3), (list{0x11223344, 0, 7}));
    EXPECT_EQ(entries_at(content, 4, 2), (list{0x11223344}));
    EXPECT_EQ(entries_at(content, 4, 4), (list{0x11223344, 0, 7, 0xFF000000}));
    EXPECT_EQ(entries_at(content, 20, 5), list{});
    EXPECT_EQ(entries_at(content, 20, 6), (list{0, 0, 0, 0, 0, 9}));
    EXPECT_EQ(entries_at(content, 4, 0), list{});
}

TEST(VmdkMetadataReader, EntriesPastTheFileAreNotStored) {
    using list = std::vector<std::uint32_t>;
    byte_image content(0);
    content.put(0, 1, 4).put(4, 0x55667788, 4).resize(6);
    EXPECT_EQ(entries_at(content, 0, std::uint64_t{1} << 40), (list{1, 0x7788})) << "half an entry";
    EXPECT_EQ(entries_at(content, 6, 100), list{});
    EXPECT_EQ(entries_at(content, 100, 100), list{});
}

TEST(VmdkMetadataReader, EntriesOfSeveralWindowsAreJoined) {
    const std::uint64_t per_window = window / 4;
    byte_image content(10 * window);
    std::vector<std::uint32_t> expected(5 * per_window + 2);
    const auto put = [&](std::uint64_t index, std::uint32_t value) {
        content.put(512 + 4 * index, value, 4);
        expected[index] = value;
    };
    // The second to fourth window have no entries except zeros.
    put(0, 1);
    put(per_window - 1, 2);
    put(4 * per_window, 3);
    put(5 * per_window + 1, 4);
    EXPECT_EQ(entries_at(content, 512, 6 * per_window), expected);
    expected.resize(4 * per_window + 1);
    EXPECT_EQ(entries_at(content, 512, 5 * per_window + 1), expected);
}

TEST(VmdkMetadataReader, EntriesAfterAHoleHaveTheirIndex) {
    byte_image content(16 << 20);
    content.put(0, 1, 4).put((8 << 20) + 4, 2, 4);
    std::vector<std::uint32_t> expected((2 << 20) + 2);
    expected.front() = 1;
    expected.back() = 2;
    EXPECT_TRUE(entries_at(content, 0, 4 << 20) == expected);
}

// --- files of an extent ---

// Counts the bytes that this process has read by system calls. Returns false if the system does not
// count them.
bool count_bytes_read(std::uint64_t& count) {
    std::ifstream counters("/proc/self/io");
    std::string name;
    return counters >> name >> count && name == "rchar:";
}

TEST(VmdkMetadata, ScatteredTablesCostAPageEach) {
    std::uint64_t before = 0;
    std::uint64_t after = 0;
    if (!count_bytes_read(before)) GTEST_SKIP() << "no /proc/self/io to count reads with";
    // Tables of one entry in each of 8192 sectors, from the last one down.
    constexpr std::uint64_t directory = 64, directory_sectors = 64, entries = 8192;
    constexpr std::uint64_t first_table = directory + directory_sectors;
    byte_image content((first_table + entries) * 512);
    content.put_text(0, "KDMV").put(capacity_at, 1 << 20, 8).put(grain_size_at, 8, 8);
    content.put(table_entries_at, 1, 4).put(directory_at, directory, 8);
    content.put(overhead_at, content.size() / 512, 8);
    content.put(directory * 512, first_table, 4);
    for (std::uint64_t i = 1; i < entries; ++i)
        content.put(directory * 512 + 4 * i, first_table + entries - i, 4);
    const temp_dir dir;
    const std::string path = content.save(dir.file("disk.vmdk"));
    vmdk_extent extent;
    ASSERT_TRUE(count_bytes_read(before));
    EXPECT_TRUE(extent.open(widened(path), false));
    ASSERT_TRUE(count_bytes_read(after));
    EXPECT_EQ(extent.grains.num_held_tables(), entries);
    EXPECT_LE(after - before, entries * 4096 + 0x100000);
}

// A terabyte of a sparse file: a directory of zeros, and a table of the same length.
TEST(VmdkMetadata, HolesOfTheFileAreSkipped) {
    constexpr std::uint64_t size = std::uint64_t{1} << 40;
    byte_image content(size);
    content.put_text(0, "KDMV").put(capacity_at, 1 << 20, 8).put(grain_size_at, 8, 8);
    content.put(table_entries_at, 0xFFFFFFFF, 4).put(directory_at, 1, 8);
    content.put(overhead_at, size / 512, 8).put(512, size / 512 - 1, 4);
    content.put(size - 508, 7, 4);  // in the last sector: second entry of the first table
    const auto start = std::chrono::steady_clock::now();
    const extent_file file(content);
    EXPECT_TRUE(file.result);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
    EXPECT_EQ(file.extent.grains.num_tables(), (size - 1024) / 4);
    std::uint64_t position = 0;
    EXPECT_TRUE(file.extent.find_grain(grain_size, position));
    EXPECT_EQ(position, 7u * 512u);
}

}  // namespace

// Tests that index blocks are read cluster by cluster from damaged and layered sources.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "ntfs/volume/ntfs.h"
#include "support/ntfs_image.h"
#include "support/vmdk_image.h"
#include "unit/ntfs/open_volume.h"

namespace {

using support::ntfs_image;
using support::vmdk_image;

constexpr std::size_t cluster_size = 4096;

// Returns clusters that are not index blocks, so that no update sequence is applied.
support::bytes clusters(std::size_t count, std::uint32_t seed) {
    support::bytes content = support::pattern(count * cluster_size, seed);
    for (std::size_t at = 0; at < content.size(); at += cluster_size)
        content[at] = 'x';
    return content;
}

// Returns a volume with `content` in its clusters from `lcn`.
ntfs_image image_with(std::uint64_t lcn, const support::bytes& content) {
    ntfs_image image({.cluster = cluster_size, .clusters = 512});
    image.reserve(lcn, content.size() / cluster_size);
    image.write_clusters(lcn, content);
    return image;
}

std::vector<std::uint8_t> read_all(CNtfs& ntfs, const data_run_list& runs) {
    std::vector<std::uint8_t> blocks;
    std::uint32_t count = 0xFFFFFFFF;
    EXPECT_TRUE(ntfs.read_index_blocks(blocks, count, runs, 0));
    EXPECT_EQ(blocks.size(), std::size_t{count} * cluster_size);
    return blocks;
}

// Returns the numbers of the clusters in which `got` differs from the expected content.
std::vector<std::size_t> wrong_clusters(const std::vector<std::uint8_t>& got,
                                        const support::bytes& expected) {
    EXPECT_EQ(got.size(), expected.size());
    std::vector<std::size_t> wrong;
    for (std::size_t at = 0; at < std::min(got.size(), expected.size()); at += cluster_size) {
        if (!std::ranges::equal(ql::clip(got, at, cluster_size),
                                ql::clip(expected, at, cluster_size))) {
            wrong.push_back(at / cluster_size);
        }
    }
    return wrong;
}

void copy_clusters(const support::bytes& from, std::size_t first, std::size_t count,
                   support::bytes& to, std::size_t at) {
    const auto start = from.begin() + static_cast<std::ptrdiff_t>(first * cluster_size);
    std::copy(start, start + static_cast<std::ptrdiff_t>(count * cluster_size),
              to.begin() + static_cast<std::ptrdiff_t>(at * cluster_size));
}

// A source with a bad spot: the memory of this process, which can be read as a file. One page of it
// is mapped past the end of an empty file and cannot be read.
class bad_spot_medium {
public:
    // `bad` is the offset in the image at which the bad page starts.
    bad_spot_medium(const support::bytes& image, std::size_t bad) : m_size(image.size()) {
        m_start = static_cast<std::uint8_t*>(
            ::mmap(nullptr, m_size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
        std::copy(image.begin(), image.end(), m_start);
        const int empty = ::memfd_create("bad spot", 0);
        EXPECT_EQ(::mmap(m_start + bad, page_size(), PROT_READ, MAP_SHARED | MAP_FIXED, empty, 0),
                  m_start + bad);
        ::close(empty);
    }
    ~bad_spot_medium() { ::munmap(m_start, m_size); }
    bad_spot_medium(const bad_spot_medium&) = delete;
    bad_spot_medium& operator=(const bad_spot_medium&) = delete;

    // Makes an open volume read from this source.
    void replace_source(CNtfs& ntfs) const {
        const int memory = ::open("/proc/self/mem", O_RDONLY);
        ASSERT_NE(memory, -1);
        ASSERT_NE(::dup2(memory, ntfs.m_disk->fd), -1);
        ::close(memory);
        ntfs.m_disk->size_bytes = std::numeric_limits<std::int64_t>::max();
        ntfs.m_volume_offset = reinterpret_cast<std::uintptr_t>(m_start);
    }

    static std::size_t page_size() { return static_cast<std::size_t>(::sysconf(_SC_PAGESIZE)); }

private:
    std::uint8_t* m_start = nullptr;
    std::size_t m_size = 0;
};

// The bad page starts at a multiple of 64 KiB, which is a multiple of each page size.
constexpr std::uint64_t bad_lcn = 256;
constexpr std::uint64_t first_lcn = bad_lcn - 2;
constexpr std::size_t run_clusters = 40;
constexpr std::uint64_t second_lcn = first_lcn + 64;

struct damaged_volume {
    damaged_volume()
        : content(clusters(65, 1)),
          image(image_with(first_lcn, content)),
          volume(image),
          medium(image.build().bytes(), bad_lcn * cluster_size) {
        medium.replace_source(volume.ntfs);
    }

    support::bytes content;
    ntfs_image image;
    open_volume volume;
    bad_spot_medium medium;
    data_run_list runs = {{first_lcn, 0, 0, run_clusters}, {second_lcn, run_clusters, 0, 1}};
};

TEST(IndexSources, BadClusterOfAFileEndsItsRun) {
    damaged_volume damaged;
    ASSERT_TRUE(damaged.volume.opened);
    support::bytes expected((run_clusters + 1) * cluster_size);
    copy_clusters(damaged.content, 0, 2, expected, 0);
    copy_clusters(damaged.content, second_lcn - first_lcn, 1, expected, 2);
    EXPECT_THAT(wrong_clusters(read_all(damaged.volume.ntfs, damaged.runs), expected),
                testing::IsEmpty());
}

TEST(IndexSources, BadClusterOfADriveIsZeroAndTheNextOnesAreRead) {
    damaged_volume damaged;
    ASSERT_TRUE(damaged.volume.opened);
    damaged.volume.ntfs.m_disk->kind = disk_kind::physical_drive;
    const std::size_t bad = bad_spot_medium::page_size() / cluster_size;
    support::bytes expected((run_clusters + 1) * cluster_size);
    copy_clusters(damaged.content, 0, 2, expected, 0);
    copy_clusters(damaged.content, 2 + bad, run_clusters - 2 - bad, expected, 2 + bad);
    copy_clusters(damaged.content, second_lcn - first_lcn, 1, expected, run_clusters);
    EXPECT_THAT(wrong_clusters(read_all(damaged.volume.ntfs, damaged.runs), expected),
                testing::IsEmpty());
}

// A grain of the base has 16 clusters, and a grain of the delta has one.
TEST(IndexSources, SmallGrainOfADeltaIsReadInsideALargeGrainOfTheBase) {
    constexpr std::uint64_t lcn = 256;
    const support::bytes content = clusters(16, 1);
    const support::bytes changed = clusters(1, 2);
    const support::byte_image disk = image_with(lcn, content).build();

    const support::temp_dir dir;
    vmdk_image base({.grain_size = 128});
    base.content(disk);
    vmdk_image delta({.capacity = base.capacity(), .grain_size = 8});
    delta.grain(lcn + 5, changed);
    std::vector<std::wstring> files;
    for (const std::string& path : support::save_vmdk_chain(dir.path(), "disk", {base, delta}))
        files.push_back(ql::to_wide(path));
    CNtfs ntfs(std::make_unique<CRawDisk>(files, false, false), 0, source_kind::file);
    std::uint64_t mft_file_pos = 0;
    ASSERT_TRUE(ntfs.validate(mft_file_pos));

    support::bytes expected = content;
    copy_clusters(changed, 0, 1, expected, 5);
    EXPECT_THAT(wrong_clusters(read_all(ntfs, {{lcn, 0, 0, 16}}), expected), testing::IsEmpty());
}

}  // namespace

#include "ntfs/volume/ntfs.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "support/byte_image.h"
#include "unit/ntfs/image_volume.h"

namespace {

using support::byte_image;

TEST(NtfsRead, ReadsAtThePositionInTheVolume) {
    byte_image image(1000);
    image.put_text(600, "volume");
    image_volume volume(image);
    char text[6] = {};
    std::uint32_t count = 6;
    EXPECT_TRUE(CNtfs::read_at(volume.ntfs.disk(), 88, 512, text, count));
    EXPECT_EQ(std::string(text, 6), "volume");
    EXPECT_EQ(count, 6u);
    // The sum is modulo 2^64.
    EXPECT_TRUE(CNtfs::read_at(volume.ntfs.disk(), ~0ull - 11, 612, text, count));
    EXPECT_EQ(std::string(text, 6), "volume");
}

TEST(NtfsRead, RejectsInvalidReads) {
    image_volume volume(byte_image(1000));
    std::vector<std::uint8_t> buffer(512);
    std::uint32_t count = 512;
    EXPECT_FALSE(CNtfs::read_at(nullptr, 0, 0, buffer.data(), count));
    EXPECT_FALSE(CNtfs::read_at(volume.ntfs.disk(), 0, 0, nullptr, count));
    EXPECT_FALSE(CNtfs::read_at(volume.ntfs.disk(), 1000, 0, buffer.data(), count));
    EXPECT_FALSE(CNtfs::read_at(volume.ntfs.disk(), ~0ull, 0, buffer.data(), count));
    EXPECT_EQ(count, 512u);
    count = 0;
    EXPECT_FALSE(CNtfs::read_at(volume.ntfs.disk(), 0, 0, buffer.data(), count));
}

TEST(NtfsRead, OneByteCanBeRead) {
    image_volume volume(byte_image(1000).put(10, 0x5A, 1));
    std::uint8_t byte = 0;
    std::uint32_t count = 1;
    EXPECT_TRUE(CNtfs::read_at(volume.ntfs.disk(), 10, 0, &byte, count));
    EXPECT_EQ(byte, 0x5A);
}

TEST(NtfsRead, CountIsSetToTheBytesRead) {
    image_volume volume(byte_image(1000));
    std::vector<std::uint8_t> buffer(512);
    std::uint32_t count = 512;
    EXPECT_TRUE(CNtfs::read_at(volume.ntfs.disk(), 900, 0, buffer.data(), count));
    EXPECT_EQ(count, 100u);
}

TEST(NtfsRead, OnlyWholeClustersAreRead) {
    byte_image image(8 * 4096);
    image.put_text(3 * 4096, "three").put_text(4 * 4096, "four");
    image_volume volume(image);
    CNtfs& ntfs = volume.ntfs;
    ntfs.m_cluster_size = 4096;
    std::vector<std::uint8_t> buffer(8192);
    std::uint32_t count = 4096;
    EXPECT_FALSE(ntfs.read_clusters(3, buffer.data(), count)) << "not validated";
    ntfs.m_Validated = true;
    EXPECT_TRUE(ntfs.read_clusters(3, buffer.data(), count));
    EXPECT_TRUE(ql::has_text(buffer, 0, "three"));
    count = 8192;
    EXPECT_TRUE(ntfs.read_clusters(3, buffer.data(), count));
    EXPECT_TRUE(ql::has_text(buffer, 4096, "four"));
    count = 4097;
    EXPECT_FALSE(ntfs.read_clusters(3, buffer.data(), count));
    EXPECT_EQ(count, 4097u);
    count = 0;
    EXPECT_FALSE(ntfs.read_clusters(3, buffer.data(), count));
    count = 4096;
    EXPECT_FALSE(ntfs.read_clusters(8, buffer.data(), count));
    EXPECT_TRUE(ntfs.read_clusters((1ull << 52) + 4, buffer.data(), count)) << "modulo 2^64";
    EXPECT_TRUE(ql::has_text(buffer, 0, "four"));
    ntfs.m_cluster_size = 0;
    EXPECT_FALSE(ntfs.read_clusters(3, buffer.data(), count));
    ntfs.m_cluster_size = 4096;
    ntfs.m_disk->ok = false;
    EXPECT_FALSE(ntfs.read_clusters(3, buffer.data(), count));
}

}  // namespace

#include "storage/disk/file_extents.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <string>

#include "support/byte_image.h"
#include "support/temp_dir.h"

namespace {

constexpr std::uint64_t mib = 1 << 20;

// An open file.
class open_file {
public:
    explicit open_file(const std::string& path) : fd(::open(path.c_str(), O_RDONLY)) {
        EXPECT_NE(fd, -1);
    }
    ~open_file() { ::close(fd); }
    open_file(const open_file&) = delete;
    open_file& operator=(const open_file&) = delete;

    const int fd;
};

// A file of 8 MiB with 64 KiB of data at 2 MiB and at 5 MiB; the rest is holes.
class FileExtents : public testing::Test {
protected:
    void SetUp() override {
        file_extents first;
        if (first.next_data(file.fd, 0, size) == 0) {
            GTEST_SKIP() << "this file system has no holes or does not show them";
        }
    }

    std::string saved() const {
        support::byte_image image(size);
        image.fill(first_data, data_size, 0x41).fill(second_data, data_size, 0x42);
        return image.save(dir.file("sparse"));
    }

    static constexpr std::uint64_t size = 8 * mib, data_size = 0x10000, first_data = 2 * mib,
                                   second_data = 5 * mib;
    support::temp_dir dir;
    const open_file file{saved()};
    file_extents extents;
};

TEST_F(FileExtents, HolesEndAtTheNextData) {
    EXPECT_EQ(extents.next_data(file.fd, 0, size), first_data);
    EXPECT_EQ(extents.next_data(file.fd, first_data - 1, size), first_data);
    EXPECT_EQ(extents.next_data(file.fd, first_data + data_size, size), second_data);
    EXPECT_EQ(extents.next_data(file.fd, 3 * mib, size), second_data);
    EXPECT_EQ(extents.next_data(file.fd, mib, size), first_data) << "back again";
}

TEST_F(FileExtents, BytesOfAnExtentAreData) {
    for (const std::uint64_t start : {first_data, second_data}) {
        for (const std::uint64_t at : {start, start + 1, start + data_size - 1})
            EXPECT_EQ(extents.next_data(file.fd, at, size), at);
    }
}

TEST_F(FileExtents, EndBoundsAHole) {
    EXPECT_EQ(extents.next_data(file.fd, 0, mib), mib);
    EXPECT_EQ(extents.next_data(file.fd, 0, first_data), first_data);
    EXPECT_EQ(extents.next_data(file.fd, 0, first_data + 1), first_data);
}

TEST_F(FileExtents, LastHoleExtendsToAnyEnd) {
    const std::uint64_t after = second_data + data_size;
    EXPECT_EQ(extents.next_data(file.fd, after, size), size);
    EXPECT_EQ(extents.next_data(file.fd, after, after + 1), after + 1);
    EXPECT_EQ(extents.next_data(file.fd, after, 100 * mib), 100 * mib);
    EXPECT_EQ(extents.next_data(file.fd, size, 100 * mib), 100 * mib) << "past the file";
}

// A system call moves the file position; one for an extent that is known is not made.
TEST_F(FileExtents, EachExtentIsFoundOnce) {
    EXPECT_EQ(extents.next_data(file.fd, 0, size), first_data);
    for (const std::uint64_t at : {first_data, first_data + 1, first_data + data_size - 1}) {
        ASSERT_EQ(::lseek(file.fd, 7, SEEK_SET), 7);
        EXPECT_EQ(extents.next_data(file.fd, at, size), at);
        EXPECT_EQ(::lseek(file.fd, 0, SEEK_CUR), 7);
    }
    EXPECT_EQ(extents.next_data(file.fd, first_data + data_size, size), second_data);
    EXPECT_NE(::lseek(file.fd, 0, SEEK_CUR), 7);
}

TEST(FileExtentsElsewhere, PositionsThatCannotBeSoughtAreData) {
    const support::temp_dir dir;
    const open_file file(support::byte_image(mib).save(dir.file("hole")));
    constexpr std::uint64_t top_bit = std::uint64_t{1} << 63;
    file_extents extents;
    EXPECT_EQ(extents.next_data(file.fd, top_bit, ~std::uint64_t{0}), top_bit);
}

// If lseek(2) fails, all bytes may be stored, also those before and after the offset.
TEST(FileExtentsElsewhere, AllBytesOfADeviceAreData) {
    int ends[2] = {-1, -1};
    ASSERT_EQ(::pipe(ends), 0);
    const open_file zeros("/dev/zero");
    for (const int fd : {ends[0], zeros.fd, -1}) {
        SCOPED_TRACE(fd);
        file_extents extents;
        for (const std::uint64_t at : {1000u, 0u, 5u, 1u << 30})
            EXPECT_EQ(extents.next_data(fd, at, std::uint64_t{1} << 40), at);
    }
    ::close(ends[0]);
    ::close(ends[1]);
}

}  // namespace

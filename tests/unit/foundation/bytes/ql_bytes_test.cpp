#include "foundation/bytes/ql_bytes.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <vector>

namespace {

const std::vector<std::uint8_t> ten = {0x81, 0x92, 0xA3, 0xB4, 0xC5, 0xD6, 0xE7, 0xF8, 0x09, 0x1A};

// Computes the number at `at` byte by byte.
std::uint64_t assembled(ql::bytes b, std::size_t at, std::size_t width) {
    std::uint64_t value = 0, place = 1;
    for (std::size_t i = 0; i < width; ++i, place *= 256)
        if (at < b.size() && i < b.size() - at) value += b[at + i] * place;
    return value;
}

TEST(LittleEndian, LowestByteComesFirst) {
    EXPECT_EQ(ql::le8(ten, 0), 0x81u);
    EXPECT_EQ(ql::le16(ten, 0), 0x9281u);
    EXPECT_EQ(ql::le32(ten, 1), 0xC5B4A392u);
    EXPECT_EQ(ql::le48(ten, 1), 0xE7D6C5B4A392u);
    EXPECT_EQ(ql::le64(ten, 1), 0x09F8E7D6C5B4A392u);
    EXPECT_EQ(ql::le_uint(ten, 2, 3), 0xC5B4A3u);
    EXPECT_EQ(ql::le_uint(ten, 2, 0), 0u);
}

TEST(LittleEndian, BytesPastTheEndAreZeroAtEveryOffsetOfEveryBuffer) {
    for (std::size_t size = 0; size <= ten.size(); ++size) {
        const ql::bytes b = ql::bytes(ten).first(size);  // followed by other bytes
        for (std::size_t at : {std::size_t{0}, std::size_t{1}, std::size_t{2}, std::size_t{3},
                               std::size_t{5}, std::size_t{7}, std::size_t{9}, std::size_t{10},
                               std::size_t{11}, SIZE_MAX - 7, SIZE_MAX - 1, SIZE_MAX}) {
            SCOPED_TRACE(testing::Message() << "size " << size << " at " << at);
            EXPECT_EQ(ql::le8(b, at), assembled(b, at, 1));
            EXPECT_EQ(ql::le16(b, at), assembled(b, at, 2));
            EXPECT_EQ(ql::le32(b, at), assembled(b, at, 4));
            EXPECT_EQ(ql::le48(b, at), assembled(b, at, 6));
            EXPECT_EQ(ql::le64(b, at), assembled(b, at, 8));
            for (std::size_t width = 0; width <= 8; ++width)
                EXPECT_EQ(ql::le_uint(b, at, width), assembled(b, at, width));
        }
    }
}

TEST(Clip, EndsWithTheBuffer) {
    const ql::bytes all = ten;
    EXPECT_EQ(ql::clip(all, 0).size(), 10u);
    EXPECT_EQ(ql::clip(all, 4).data(), all.data() + 4);
    EXPECT_EQ(ql::clip(all, 4).size(), 6u);
    EXPECT_EQ(ql::clip(all, 4, 2).size(), 2u);
    EXPECT_EQ(ql::clip(all, 4, 6).size(), 6u);
    EXPECT_EQ(ql::clip(all, 4, 7).size(), 6u);
    EXPECT_EQ(ql::clip(all, 4, 0).size(), 0u);
    EXPECT_EQ(ql::clip(all, 9, SIZE_MAX).size(), 1u);
    EXPECT_EQ(ql::clip(all, 10).size(), 0u);
    EXPECT_EQ(ql::clip(all, 10).data(), nullptr);
    EXPECT_EQ(ql::clip(all, SIZE_MAX, SIZE_MAX).size(), 0u);
}

TEST(CopyStart, LeavesMissingBytesUnchanged) {
    std::array<std::uint8_t, 4> out = {1, 2, 3, 4};
    ql::copy_start(ql::clip(ten, 8), out);
    EXPECT_EQ(out, (std::array<std::uint8_t, 4>{0x09, 0x1A, 3, 4}));
    ql::copy_start(ten, out);
    EXPECT_EQ(out, (std::array<std::uint8_t, 4>{0x81, 0x92, 0xA3, 0xB4}));
    ql::copy_start({}, out);
    EXPECT_EQ(out[0], 0x81) << "an empty source changes nothing";
}

TEST(CopyWithZeros, ZeroesMissingBytes) {
    std::array<std::uint8_t, 4> out = {1, 2, 3, 4};
    ql::copy_with_zeros(ql::clip(ten, 8), out);
    EXPECT_EQ(out, (std::array<std::uint8_t, 4>{0x09, 0x1A, 0, 0}));
    ql::copy_with_zeros(ten, out);
    EXPECT_EQ(out, (std::array<std::uint8_t, 4>{0x81, 0x92, 0xA3, 0xB4}));
    ql::copy_with_zeros({}, out);
    EXPECT_EQ(out, (std::array<std::uint8_t, 4>{}));
}

TEST(Quotient, OfADivisorOfZeroIsZero) {
    EXPECT_EQ(ql::quotient(4096, 0), 0u);
    EXPECT_EQ(ql::quotient(0, 0), 0u);
    EXPECT_EQ(ql::quotient(4097, 1024), 4u);
    EXPECT_EQ(ql::quotient(UINT64_MAX, 1), UINT64_MAX);
}

TEST(HasText, ComparesWholeTextsInsideTheBuffer) {
    const std::vector<std::uint8_t> b = {'N', 'T', 'F', 'S', ' ', 0};
    EXPECT_TRUE(ql::has_text(b, 0, "NTFS "));
    EXPECT_TRUE(ql::has_text(b, 1, "TFS"));
    EXPECT_TRUE(ql::has_text(b, 5, ""));
    EXPECT_FALSE(ql::has_text(b, 0, "NTFs"));
    EXPECT_FALSE(ql::has_text(b, 4, "  "));
    EXPECT_FALSE(ql::has_text(b, 3, "S   "));
    EXPECT_FALSE(ql::has_text(b, 6, "N"));
}

}  // namespace

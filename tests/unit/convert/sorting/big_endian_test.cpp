#include "convert/sorting/big_endian.h"

#include <gtest/gtest.h>

namespace {

TEST(BigEndian, KeepsTheLowestBytes) {
    std::string out = "x";
    convert::append_big_endian(out, 0x0123456789ABCDEF, 8);
    EXPECT_EQ(out, "x\x01\x23\x45\x67\x89\xAB\xCD\xEF");
    EXPECT_EQ(convert::big_endian(out.substr(1)), 0x0123456789ABCDEFu);
    out.clear();
    convert::append_big_endian(out, 0x12FF80, 2);
    EXPECT_EQ(out, "\xFF\x80");
    EXPECT_EQ(convert::big_endian(out), 0xFF80u);
    EXPECT_EQ(convert::big_endian(""), 0u);
}

}  // namespace

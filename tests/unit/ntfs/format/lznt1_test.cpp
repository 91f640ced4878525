#include "ntfs/format/lznt1.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

#include "support/byte_image.h"
#include "support/lznt1_compressor.h"

namespace {

using byte_list = std::vector<std::uint8_t>;

std::string text_of(const byte_list& content) { return {content.begin(), content.end()}; }

// Expands one chunk into a target of `plain_size` bytes '.'.
struct expanded_chunk {
    bool result = false;
    std::int32_t size = 0;
    byte_list target;

    explicit expanded_chunk(const byte_list& source, std::int32_t plain_size = 4096)
        : expanded_chunk(source, static_cast<std::int32_t>(source.size()), plain_size) {}
    expanded_chunk(const byte_list& source, std::int32_t source_size, std::int32_t plain_size)
        : size(plain_size), target(static_cast<std::size_t>(plain_size), '.') {
        result = lznt1_chunk(source, source_size, target, size, plain_size);
    }
    std::string head(std::size_t count) const { return text_of(target).substr(0, count); }
};

// Groups of a zero flag byte and eight literals.
byte_list literals(const byte_list& plain) {
    byte_list out;
    for (std::size_t i = 0; i < plain.size(); ++i) {
        if (i % 8 == 0) out.push_back(0);
        out.push_back(plain[i]);
    }
    return out;
}

// Returns `plain` as literals, then one token.
byte_list literals_and_token(const byte_list& plain, std::uint16_t token) {
    byte_list out = literals(plain);
    const std::size_t item = plain.size() % 8;
    if (item == 0) out.push_back(0);
    const std::size_t flags_at = out.size() - 1 - item;
    out[flags_at] = static_cast<std::uint8_t>(1u << item);
    out.push_back(static_cast<std::uint8_t>(token));
    out.push_back(static_cast<std::uint8_t>(token >> 8));
    return out;
}

TEST(Lznt1Chunk, ExpandsItemsByTheFlagBits) {
    const struct {
        const char* name;
        byte_list source;
        std::string plain;
    } cases[] = {
        // name, flags, items ...
        {"literals", {0x00, 'a', 'b', 'c'}, "abc"},
        {"second flag byte after eight items",
         {0x00, 'a', 'b', 'c', 'd', 'e', 'f', 'g', 'h', 0x00, 'i'},
         "abcdefghi"},
        {"displacement 1, length 10 repeats the last byte", {0x02, 'a', 0x07, 0x00}, "aaaaaaaaaaa"},
        {"displacement 2 repeats a pair", {0x04, 'a', 'b', 0x02, 0x10}, "abababa"},
        {"displacement 3, length 3", {0x08, 'a', 'b', 'c', 0x00, 0x20}, "abcabc"},
        {"literal after a copy", {0x02, 'a', 0x00, 0x00, 'z'}, "aaaaz"},
        {"copy of a copy", {0x0A, 'a', 0x00, 0x00, 'b', 0x02, 0x40}, "aaaabaaaab"},
        {"flag byte alone", {0xFF}, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const expanded_chunk chunk(c.source);
        EXPECT_TRUE(chunk.result);
        EXPECT_EQ(chunk.size, 4096);
        EXPECT_EQ(chunk.head(c.plain.size()), c.plain);
        const bool zeroed = c.source.size() < 9;
        EXPECT_EQ(chunk.target[c.plain.size()], zeroed ? 0 : '.');
    }
}

TEST(Lznt1Chunk, DisplacementHasMoreBitsAsTheOutputGrows) {
    const struct {
        std::size_t position;
        unsigned length_bits;
    } cases[] = {
        {1, 12},  {2, 12},   {15, 12},  {16, 12},  {17, 11},  {32, 11},  {33, 10},
        {64, 10}, {65, 9},   {128, 9},  {129, 8},  {256, 8},  {257, 7},  {512, 7},
        {513, 6}, {1024, 6}, {1025, 5}, {2048, 5}, {2049, 4}, {4000, 4}, {4092, 4},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.position);
        // The largest displacement with length 4 repeats the first four bytes.
        const byte_list plain = support::pattern(c.position, 7);
        const auto token = static_cast<std::uint16_t>((c.position - 1) << c.length_bits | 1);
        const expanded_chunk chunk(literals_and_token(plain, token));
        ASSERT_TRUE(chunk.result);
        byte_list expected = plain;
        for (std::size_t i = 0; i < 4; ++i)
            expected.push_back(expected[i]);
        EXPECT_TRUE(std::equal(expected.begin(), expected.end(), chunk.target.begin()));
        if (expected.size() < 4096 && c.position > 8) {
            EXPECT_EQ(chunk.target[expected.size()], '.') << "nothing is written after the copy";
        }
    }
}

TEST(Lznt1Chunk, LengthHasTheRemainingBits) {
    // After 16 bytes of output, the length has 12 bits. After 17 bytes it has 11 bits, and the next
    // bit is displacement 2.
    const expanded_chunk at_16(literals_and_token(byte_list(16, 'a'), 0x0FFF));
    EXPECT_EQ(at_16.head(4096), std::string(4096, 'a'));
    byte_list plain(17, 'a');
    plain[15] = 'b';
    const expanded_chunk at_17(literals_and_token(plain, 0x0800));
    EXPECT_EQ(at_17.head(20), text_of(plain) + "bab");
    EXPECT_EQ(at_17.target[20], '.');
}

TEST(Lznt1Chunk, TokenBeforeTheOutputFails) {
    const struct {
        const char* name;
        byte_list source;
    } cases[] = {
        {"at the very start", {0x01, 0x00, 0x00}},
        {"displacement 2 after one byte", {0x02, 'a', 0x00, 0x10}},
        {"displacement 32 after 17 bytes", literals_and_token(byte_list(17, 'a'), 0xF800)},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const expanded_chunk chunk(c.source);
        EXPECT_FALSE(chunk.result);
        EXPECT_EQ(chunk.size, 0);
    }
}

TEST(Lznt1Chunk, CopyEndsAtTheEndOfTheTarget) {
    byte_list target(12, '.');
    std::int32_t size = 10;
    const byte_list source{0x02, 'a', 0xFF, 0x0F, 'z'};
    EXPECT_TRUE(lznt1_chunk(source, 5, target, size, 10));
    EXPECT_EQ(size, 10);
    EXPECT_EQ(text_of(target), std::string(10, 'a') + "..");
}

TEST(Lznt1Chunk, LiteralsEndAtTheEndOfTheTarget) {
    byte_list target(8, '.');
    std::int32_t size = 4;
    const byte_list source = literals(byte_list(12, 'a'));
    EXPECT_TRUE(lznt1_chunk(source, static_cast<std::int32_t>(source.size()), target, size, 4));
    EXPECT_EQ(text_of(target), "aaaa....");

    target.assign(12, '.');
    size = 8;  // the items of one flag byte
    EXPECT_TRUE(lznt1_chunk(source, static_cast<std::int32_t>(source.size()), target, size, 8));
    EXPECT_EQ(text_of(target), "aaaaaaaa....");
}

TEST(Lznt1Chunk, TokenAfterTheLastLiteralThatFitsIsChecked) {
    const struct {
        std::uint16_t token;
        bool result;
        std::int32_t size;
    } cases[] = {{0x3000, true, 4}, {0x4000, false, 0}};  // displacements 4 and 5
    for (const auto& c : cases) {
        SCOPED_TRACE(c.token);
        byte_list target(8, '.');
        std::int32_t size = 4;
        const byte_list source = literals_and_token(support::as_bytes("abcd"), c.token);
        EXPECT_EQ(lznt1_chunk(source, static_cast<std::int32_t>(source.size()), target, size, 4),
                  c.result);
        EXPECT_EQ(size, c.size);
        EXPECT_EQ(text_of(target), "abcd....");
    }
}

TEST(Lznt1Chunk, OutputIsLimitedBySizeAndTarget) {
    byte_list target(4, '.');
    std::int32_t size = 4096;
    const byte_list source{0x02, 'a', 0xFF, 0x0F};
    EXPECT_TRUE(lznt1_chunk(source, 4, target, size, 4096));
    EXPECT_EQ(text_of(target), "aaaa");
    EXPECT_EQ(size, 4096);
}

TEST(Lznt1Chunk, OnlySourcesOfFewerThanNineBytesClearTheTarget) {
    const byte_list eight{0x00, 'a', 'b', 'c', 'd', 'e', 'f', 'g'};
    const expanded_chunk cleared(eight);
    EXPECT_EQ(cleared.head(8), std::string("abcdefg\0", 8));
    EXPECT_EQ(cleared.target[4095], 0);

    const byte_list nine{0x00, 'a', 'b', 'c', 'd', 'e', 'f', 'g', 'h'};
    const expanded_chunk kept(nine);
    EXPECT_TRUE(kept.result);
    EXPECT_EQ(kept.size, 4096);
    EXPECT_EQ(kept.head(10), "abcdefgh..");
    EXPECT_EQ(kept.target[4095], '.');

    byte_list target(8, '.');
    std::int32_t size = 8;
    EXPECT_TRUE(lznt1_chunk(byte_list{0x00, 'a'}, 2, target, size, 0)) << "no plain bytes wanted";
    EXPECT_EQ(text_of(target), "a.......");
    EXPECT_EQ(size, 0);
}

TEST(Lznt1Chunk, SecondByteOfALastTokenIsAfterTheChunk) {
    // The chunk ends inside the token, and with the byte after it the displacement is 2.
    const expanded_chunk followed(byte_list{0x04, 'a', 'b', 0x00, 0x10, 'z'}, 4, 4096);
    EXPECT_TRUE(followed.result);
    EXPECT_EQ(followed.head(5), "ababa");
    EXPECT_EQ(followed.target[5], 0);
    // If nothing follows, the byte is zero and the displacement is 1.
    const expanded_chunk cut(byte_list{0x04, 'a', 'b', 0x00}, 4, 4096);
    EXPECT_EQ(cut.head(5), "abbbb");
}

TEST(Lznt1Chunk, RejectsInvalidArguments) {
    const byte_list source{0x00, 'a'};
    byte_list target(20000, '.');
    std::int32_t size = 4096;
    EXPECT_FALSE(lznt1_chunk({}, 2, target, size, 4096)) << "no source";
    EXPECT_FALSE(lznt1_chunk(source, 2, {}, size, 4096)) << "no target";
    EXPECT_FALSE(lznt1_chunk(source, 2, target, size, 16385));
    EXPECT_EQ(size, 4096);
    EXPECT_EQ(target[0], '.');
    size = 0;
    EXPECT_FALSE(lznt1_chunk(source, 2, target, size, 4096));
    size = 16384;
    EXPECT_TRUE(lznt1_chunk(source, 2, target, size, 16384));
    EXPECT_EQ(size, 16384);
    EXPECT_EQ(target[16383], 0);
    EXPECT_EQ(target[16384], '.');
}

TEST(Lznt1Chunk, EveryPrefixOfAChunkHasAPrefixOfItsText) {
    // "aaaaaaaaaaa", then literals. Each tested prefix has enough bytes that the target is not
    // cleared.
    byte_list source{0x00, '1', '2', '3', '4', '5', '6', '7', '8', 0x02, 'a', 0x07, 0x00, 'b', 'c'};
    const std::string whole = "12345678aaaaaaaaaaabc";
    ASSERT_EQ(expanded_chunk(source).head(whole.size()), whole);
    const struct {
        std::int32_t size;
        std::size_t plain;
    } cases[] = {{9, 8}, {10, 8}, {11, 9}, {12, 19}, {13, 19}, {14, 20}, {15, 21}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.size);
        const expanded_chunk chunk(source, c.size, 4096);
        EXPECT_TRUE(chunk.result);
        EXPECT_EQ(chunk.head(c.plain), whole.substr(0, c.plain));
        EXPECT_EQ(chunk.target[c.plain], '.');
    }
}

// --- decompress_unit ---

TEST(ReadStatus, BitsHaveFixedPositions) {
    EXPECT_EQ(read_status::skip_sparse, 0x01u);
    EXPECT_EQ(read_status::sparse_seen, 0x02u);
    EXPECT_EQ(read_status::always, 0x08u);
    EXPECT_EQ(read_status::aligned, 0x10u);
    EXPECT_EQ(read_status::whole_unit, 0x20u);
    EXPECT_EQ(read_status::to_stream, 0x1000u);
}

constexpr std::uint64_t streamed = read_status::to_stream | read_status::always;
constexpr std::uint64_t with_holes = streamed | read_status::sparse_seen;

struct plain_unit {
    bool result = false;
    std::uint32_t written = 99;
    std::string text;

    explicit plain_unit(const byte_list& unit, std::uint64_t status = with_holes,
                        std::uint64_t remaining = 65536) {
        std::ostringstream out;
        result = decompress_unit(out, written, unit, remaining, status);
        text = out.str();
        EXPECT_EQ(written, text.size());
    }
};

byte_list joined(std::initializer_list<byte_list> parts) {
    byte_list out;
    for (const byte_list& part : parts)
        out.insert(out.end(), part.begin(), part.end());
    return out;
}

// Returns a chunk of 4096 times `c`.
byte_list filled_chunk(char c) {
    return {0x03, 0xB0, 0x02, static_cast<std::uint8_t>(c), 0xFF, 0x0F};
}
// Returns a chunk of 0x12 stored bytes: 14 literals. The rest of the target is unchanged.
byte_list short_chunk() {
    return joined({{0x0F, 0xB0}, literals(support::as_bytes("ABCDEFGHIJKLMN"))});
}

byte_list padded(byte_list unit, std::size_t size, std::uint8_t value = 0) {
    unit.resize(size, value);
    return unit;
}

TEST(DecompressUnit, ChunksFollowEachOtherByTheirStoredLength) {
    const byte_list unit = padded(joined({filled_chunk('a'), filled_chunk('b')}), 8192);
    const plain_unit plain(unit);
    EXPECT_TRUE(plain.result);
    EXPECT_EQ(plain.text, std::string(4096, 'a') + std::string(4096, 'b'));
}

TEST(DecompressUnit, HeaderB00FHasTwelveHexStoredBytes) {
    ASSERT_EQ(short_chunk().size(), 0x12u);
    const plain_unit plain(padded(joined({short_chunk(), filled_chunk('b')}), 4096));
    EXPECT_TRUE(plain.result);
    EXPECT_EQ(plain.text, "ABCDEFGHIJKLMN" + std::string(4096 - 14, '\0') + std::string(4096, 'b'));
}

TEST(DecompressUnit, SignatureBitsAreIgnored) {
    byte_list chunk = filled_chunk('a');
    chunk[1] = 0x80;
    EXPECT_EQ(plain_unit(padded(chunk, 4096)).text, std::string(4096, 'a'));
    chunk[1] = 0xF0;
    EXPECT_EQ(plain_unit(padded(chunk, 4096)).text, std::string(4096, 'a'));
}

TEST(DecompressUnit, SignatureBitsOfGapsAndPlainChunksAreIgnored) {
    const byte_list tail = padded(filled_chunk('b'), 4096);
    const byte_list content = support::pattern(4096, 3);
    for (const unsigned signature : {0x00u, 0x10u, 0x70u}) {
        SCOPED_TRACE(signature);
        const byte_list gap = padded({0x00, static_cast<std::uint8_t>(signature)}, 4096);
        EXPECT_EQ(plain_unit(joined({gap, tail})).text, std::string(4096, 'b'));
        const byte_list header = {0xFF, static_cast<std::uint8_t>(signature | 0x0F)};
        EXPECT_EQ(plain_unit(joined({header, content, tail})).text,
                  text_of(content) + std::string(4096, 'b'));
    }
}

TEST(DecompressUnit, ShortChunkKeepsTheBytesOfThePreviousChunk) {
    const plain_unit plain(padded(joined({filled_chunk('x'), short_chunk()}), 4096));
    EXPECT_TRUE(plain.result);
    EXPECT_EQ(plain.text, std::string(4096, 'x') + "ABCDEFGHIJKLMN" + std::string(4096 - 14, 'x'));
}

TEST(DecompressUnit, PlainChunkIsCopied) {
    const byte_list content = support::pattern(4096, 3);
    const byte_list chunk = joined({{0xFF, 0x3F}, content});
    const plain_unit plain(padded(joined({chunk, filled_chunk('b')}), 12288), streamed);
    EXPECT_TRUE(plain.result);
    EXPECT_EQ(plain.text, text_of(content) + std::string(4096, 'b'));
}

TEST(DecompressUnit, PlainChunkIsFilledWithZerosPastTheUnit) {
    const plain_unit plain(byte_list{0xFF, 0x3F, 'a', 'b'}, streamed);
    EXPECT_TRUE(plain.result);
    EXPECT_EQ(plain.text, "ab" + std::string(4094, '\0'));
}

TEST(DecompressUnit, ChunkAfterAHeaderAtTheEndOfTheUnitIsZero) {
    byte_list unit = joined({filled_chunk('a'), {0x03, 0xB0}});
    const plain_unit plain(unit);
    EXPECT_TRUE(plain.result);
    EXPECT_EQ(plain.text, std::string(4096, 'a') + std::string(4096, '\0'));
}

TEST(DecompressUnit, GapSkipsToTheNextMultipleOf4096) {
    const byte_list tail = padded(filled_chunk('b'), 4096);
    const struct {
        const char* name;
        byte_list unit;
        std::string plain;
    } cases[] = {
        {"after a chunk", joined({padded(filled_chunk('a'), 4096), tail}),
         std::string(4096, 'a') + std::string(4096, 'b')},
        {"at the start of the unit", joined({byte_list(4096), tail}), std::string(4096, 'b')},
        {"twice, from a multiple of 4096", joined({byte_list(8192), tail}), std::string(4096, 'b')},
        {"to the end", padded(filled_chunk('a'), 4096), std::string(4096, 'a')},
        {"from start to end", byte_list(65536), ""},
        {"one byte before the end", padded(filled_chunk('a'), filled_chunk('a').size() + 1),
         std::string(4096, 'a')},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const plain_unit plain(c.unit);
        EXPECT_TRUE(plain.result);
        EXPECT_EQ(plain.text, c.plain);
    }
}

TEST(DecompressUnit, UnitWithoutHolesAndPlainStartIsWrittenUnchanged) {
    const byte_list unit = padded(joined({filled_chunk('a')}), 4096, 0x55);
    const plain_unit plain(unit, streamed);
    EXPECT_TRUE(plain.result);
    EXPECT_EQ(plain.text, text_of(unit));
    EXPECT_EQ(plain_unit(unit, streamed, 3).text, text_of(unit).substr(0, 3));
    for (const std::uint8_t second : byte_list{0x0F, 0x3E, 0x7F}) {
        const byte_list near{0xFF, second, 1};
        EXPECT_EQ(plain_unit(near, streamed).text, text_of(near));
    }
    EXPECT_EQ(plain_unit({0xFF}, streamed).text, "\xFF");
}

TEST(DecompressUnit, InvalidHeaderWithNonZeroTailWritesTheUnitUnchanged) {
    for (const unsigned header : {0x0001u, 0x0FFEu, 0x7001u, 0x3FFEu}) {
        SCOPED_TRACE(header);
        byte_list unit = support::pattern(8192, 5);
        unit[0] = static_cast<std::uint8_t>(header);
        unit[1] = static_cast<std::uint8_t>(header >> 8);
        const plain_unit plain(unit);
        EXPECT_TRUE(plain.result);
        EXPECT_EQ(plain.text, text_of(unit));
    }
}

TEST(DecompressUnit, DamagedChunkWithNonZeroTailWritesTheUnitUnchanged) {
    byte_list unit = byte_list(8192);
    unit[0] = 0x03;
    unit[1] = 0xB0;
    unit[2] = 0x01;  // a token before any output
    unit[4096] = 1;  // the first byte of the tail
    const plain_unit plain(unit);
    EXPECT_TRUE(plain.result);
    EXPECT_EQ(plain.text, text_of(unit));
}

TEST(DecompressUnit, DamageWithZeroTailFails) {
    byte_list unit = byte_list(8192);
    unit[0] = 0x01;
    unit[4095] = 1;  // the last byte before the tail
    const plain_unit plain(unit);
    EXPECT_FALSE(plain.result);
    EXPECT_EQ(plain.text, "");
    EXPECT_TRUE(plain_unit({0x01, 0x00, 0x01, 0x00, 0x00}).result)
        << "all of a small unit is its tail";
}

TEST(DecompressUnit, ChunksBeforeADamagedOneAreWritten) {
    byte_list unit = padded(joined({filled_chunk('a'), {0x01, 0x00}}), 8192);
    const plain_unit failed(unit);
    EXPECT_FALSE(failed.result);
    EXPECT_EQ(failed.text, std::string(4096, 'a'));

    unit.back() = 1;
    const plain_unit raw(unit, with_holes, 4096 + 100);
    EXPECT_TRUE(raw.result);
    EXPECT_EQ(raw.text, std::string(4096, 'a') + text_of(unit).substr(0, 100));
}

TEST(DecompressUnit, NeverWritesMoreThanRemains) {
    const byte_list unit = padded(joined({filled_chunk('a'), filled_chunk('b')}), 8192);
    EXPECT_EQ(plain_unit(unit, with_holes, 1).text, "a");
    EXPECT_EQ(plain_unit(unit, with_holes, 4097).text, std::string(4096, 'a') + "b");
    const byte_list stored = joined({{0xFF, 0x3F}, byte_list(4096, 'c')});
    EXPECT_EQ(plain_unit(stored, streamed, 5).text, "ccccc");
}

TEST(DecompressUnit, PlainChunkWithNothingRemainingSkipsOnlyItsHeader) {
    // After the second header, the walk is at 'c', 'c', an invalid header, and the tail is zero.
    const byte_list stored = joined({{0xFF, 0x3F}, byte_list(4096, 'c')});
    const byte_list unit = padded(joined({stored, stored}), 16384);
    const plain_unit plain(unit, streamed, 4096);
    EXPECT_FALSE(plain.result);
    EXPECT_EQ(plain.text, std::string(4096, 'c'));
    EXPECT_TRUE(plain_unit(unit, streamed, 8192).result);
}

TEST(DecompressUnit, RejectsInvalidArguments) {
    EXPECT_FALSE(plain_unit({}).result);
    EXPECT_FALSE(plain_unit(filled_chunk('a'), with_holes, 0).result);
    EXPECT_FALSE(plain_unit(filled_chunk('a'), read_status::sparse_seen).result);
    EXPECT_FALSE(plain_unit(byte_list(16, 'a'), read_status::always).result);
}

TEST(DecompressUnit, EveryPrefixOfAUnitEnds) {
    const byte_list unit =
        joined({filled_chunk('a'), short_chunk(), {0xFF, 0x3F}, byte_list(64, 'c')});
    for (std::size_t size = 1; size <= unit.size(); ++size) {
        SCOPED_TRACE(size);
        const plain_unit plain(byte_list(unit.begin(), unit.begin() + static_cast<long>(size)));
        if (size >= filled_chunk('a').size()) {
            EXPECT_EQ(plain.text.substr(0, 4096), std::string(4096, 'a'));
        }
    }
}

TEST(DecompressUnit, RestoresCompressedData) {
    const std::string sentence = "The quick brown fox jumps over the lazy dog. ";
    std::string repeated;
    while (repeated.size() < 40000)
        repeated += sentence + std::to_string(repeated.size());
    const struct {
        const char* name;
        byte_list plain;
    } cases[] = {
        {"text", support::as_bytes(repeated)},
        {"zeros", byte_list(65536)},
        {"one byte", byte_list(4096 * 3, 'q')},
        {"noise that does not shrink", support::pattern(8192, 11)},
        {"text and noise", joined({support::as_bytes(repeated.substr(0, 8192)),
                                   support::pattern(4096, 12), byte_list(4096, 'z')})},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const byte_list packed = support::lznt1_compress(c.plain);
        const plain_unit plain(padded(packed, (packed.size() / 4096 + 2) * 4096), with_holes,
                               c.plain.size());
        EXPECT_TRUE(plain.result);
        EXPECT_TRUE(plain.text == text_of(c.plain));
    }
    const byte_list one_chunk = support::pattern(3640, 14);  // as many literals as fit in a chunk
    const plain_unit grown(padded(support::lznt1_literals(one_chunk), 8192), with_holes, 3640);
    EXPECT_TRUE(grown.text == text_of(one_chunk));
    const byte_list whole_chunks = support::pattern(8192, 13);
    const plain_unit stored(padded(support::lznt1_stored(whole_chunks), 16384), streamed);
    EXPECT_TRUE(stored.text == text_of(whole_chunks));
}

}  // namespace

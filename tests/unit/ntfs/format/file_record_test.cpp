#include "ntfs/format/file_record.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "support/byte_image.h"
#include "support/record_builder.h"

namespace {

using byte_list = std::vector<std::uint8_t>;

// A record of attributes that have only a header, starting at offset 56.
class attribute_row {
public:
    // Adds an attribute. `length` is stored in its header, and the next attribute follows after as
    // many bytes.
    attribute_row& add(std::uint32_t type, std::uint32_t length, std::u16string_view name = u"") {
        m_record.put(m_at, type, 4).put(m_at + 4, length, 4);
        m_record.put(m_at + 9, name.size(), 1).put(m_at + 10, 24, 2);
        m_record.put_utf16(m_at + 24, name);
        m_at += length;
        return *this;
    }
    attribute_row& end() {
        m_record.put(m_at, 0xFFFFFFFF, 4);
        return *this;
    }
    byte_list bytes() {
        m_record.put(20, 56, 2);
        return m_record.bytes();
    }

private:
    support::byte_image m_record{1024};
    std::size_t m_at = 56;
};

byte_list name_bytes(std::u16string_view name) { return support::as_bytes(name); }

TEST(FileRecordHeader, ReadsTheFieldsOfTheHeader) {
    const byte_list raw = support::record_builder(77)
                              .sequence(0x1234)
                              .link_count(3)
                              .flags(3)
                              .base(support::file_reference(99, 7))
                              .bytes_allocated(0x400)
                              .build();
    const file_record record{raw};
    EXPECT_EQ(record.sequence_array_offset(), 48);
    EXPECT_EQ(record.sequence_array_count(), 3);
    EXPECT_EQ(record.sequence_number(), 0x1234);
    EXPECT_EQ(record.hard_link_count(), 3);
    EXPECT_EQ(record.first_attrib_offset(), 56);
    EXPECT_TRUE(record.in_use());
    EXPECT_TRUE(record.is_directory());
    EXPECT_EQ(record.bytes_allocated(), 0x400u);
    EXPECT_EQ(record.base_ref().entry(), 99u);
    EXPECT_EQ(record.own_number(), 77u);
    EXPECT_TRUE(record.is_valid());
    EXPECT_EQ(record.record_size_from_usa(), 1024u);
}

TEST(FileRecordHeader, IsValidOnlyWithinItsLimits) {
    const struct {
        const char* name;
        std::size_t at;
        std::uint64_t value;
        std::size_t width;
        bool valid;
    } cases[] = {
        {"as built", 16, 1, 2, true},
        {"keyword BAAD", 0, 0x44414142, 4, false},
        {"keyword INDX", 0, 0x58444E49, 4, false},
        {"keyword in lower case", 0, 0x656C6966, 4, false},
        {"sequence array at 42", 4, 42, 2, false},
        {"sequence array at 49", 4, 49, 2, false},
        {"count 9", 6, 9, 2, true},
        {"count 10", 6, 10, 2, false},
        {"count 0", 6, 0, 2, true},
        {"first attribute at 72", 20, 72, 2, true},
        {"first attribute at 73", 20, 73, 2, false},
        {"first attribute at 0", 20, 0, 2, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        byte_list raw = support::record_builder(30).put(c.at, c.value, c.width).build();
        EXPECT_EQ(file_record{raw}.is_valid(), c.valid);
    }
}

TEST(FileRecordHeader, SizeFromTheUpdateSequence) {
    const struct {
        std::uint16_t count;
        std::uint32_t size;
    } cases[] = {{0, 0xFFFFFE00}, {1, 0}, {3, 1024}, {9, 4096}, {10, 0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.count);
        const byte_list raw = support::record_builder(30).put(6, c.count, 2).build();
        EXPECT_EQ(file_record{raw}.record_size_from_usa(), c.size);
    }
}

TEST(FileRecordHeader, EveryPrefixReadsZerosPastItsEnd) {
    const byte_list raw = support::record_builder(30).file_name(5, u"a").build();
    for (std::size_t size = 0; size <= 64; ++size) {
        SCOPED_TRACE(size);
        const byte_list cut(raw.begin(), raw.begin() + static_cast<long>(size));
        EXPECT_EQ(file_record{cut}.is_valid(), size > 4) << "keyword and array offset are enough";
        record_attrib attribute;
        EXPECT_FALSE(find_attrib(cut, 0x80, attribute, 1024));
    }
}

// --- attribute header ---

TEST(AttributeHeader, ReadsResidentFields) {
    const byte_list raw = support::record_builder(30)
                              .resident(0x80, u"zone", support::as_bytes("abc"), {.flags = 0x4000})
                              .id(9)
                              .build();
    const record_attrib attribute = first_attrib(raw);
    EXPECT_EQ(attribute.type(), 0x80u);
    EXPECT_FALSE(attribute.nonresident());
    EXPECT_EQ(attribute.name_length(), 4);
    EXPECT_EQ(attribute.flags(), 0x4000);
    EXPECT_EQ(attribute.id(), 9);
    EXPECT_EQ(attribute.value_length(), 3u);
    const ql::bytes value = attribute.value();
    EXPECT_EQ(std::string(value.begin(), value.end()), "abc");
}

TEST(AttributeHeader, ReadsNonResidentFields) {
    const byte_list raw = support::record_builder(30)
                              .data_runs({{100, 32}}, {.allocated = 0x20000,
                                                       .real = 0x1F000,
                                                       .initialized = 0x1E000,
                                                       .compressed = 0x8000,
                                                       .unit = 4,
                                                       .flags = 1,
                                                       .start_vcn = 16,
                                                       .last_vcn = 47})
                              .build();
    const record_attrib attribute = first_attrib(raw);
    EXPECT_TRUE(attribute.nonresident());
    EXPECT_EQ(attribute.flags(), 1);
    EXPECT_EQ(attribute.starting_vcn(), 16u);
    EXPECT_EQ(attribute.compression_unit(), 4);
    EXPECT_EQ(attribute.allocated_size(), 0x20000u);
    EXPECT_EQ(attribute.real_size(), 0x1F000u);
    EXPECT_EQ(attribute.initialized_size(), 0x1E000u);
    EXPECT_EQ(attribute.compressed_size(), 0x8000u);
}

TEST(AttributeHeader, ValueIsClippedToTheRecordNotToTheAttribute) {
    byte_list raw(128, 0xAA);
    raw = support::byte_image(raw).put(64, 0x80, 4).put(68, 24, 4).put(72, 0, 2).bytes();
    const auto with_value = [&](std::uint64_t offset, std::uint64_t length) {
        return support::byte_image(raw).put(80, length, 4).put(84, offset, 2).bytes();
    };
    const byte_list longer = with_value(40, 10);  // past the attribute's 24 bytes
    EXPECT_EQ((record_attrib{longer, 64}.value().size()), 10u);
    const byte_list cut = with_value(40, 0xFFFFFFFF);
    EXPECT_EQ((record_attrib{cut, 64}.value().size()), 24u);
    const byte_list outside = with_value(0xFFFF, 1);
    EXPECT_TRUE((record_attrib{outside, 64}.value().empty()));
}

// --- find_attrib, find_next_attrib ---

TEST(FindAttribute, FindsTheFirstOfItsType) {
    const byte_list raw =
        attribute_row().add(0x10, 32).add(0x30, 40).add(0x80, 24).add(0x80, 32).end().bytes();
    record_attrib attribute;
    ASSERT_TRUE(find_attrib(raw, 0x10, attribute, 1024));
    EXPECT_EQ(attribute.at, 56u);
    ASSERT_TRUE(find_attrib(raw, 0x80, attribute, 1024));
    EXPECT_EQ(attribute.at, 56u + 72);
    EXPECT_FALSE(find_attrib(raw, 0x20, attribute, 1024));
}

TEST(FindAttribute, TheGivenAttributeIsTestedFirst) {
    const byte_list raw = attribute_row().add(0x80, 24).add(0x80, 32).end().bytes();
    record_attrib attribute = first_attrib(raw);
    ASSERT_TRUE(find_next_attrib(attribute, 0x80, 1024));
    EXPECT_EQ(attribute.at, 56u);
    attribute.at += attribute.length();
    ASSERT_TRUE(find_next_attrib(attribute, 0x80, 1024));
    EXPECT_EQ(attribute.at, 80u);
    attribute.at += attribute.length();
    EXPECT_FALSE(find_next_attrib(attribute, 0x80, 1024));
}

TEST(FindAttribute, LimitHidesOnlyTheAttributesAfterALongOne) {
    const byte_list raw = attribute_row().add(0x10, 100).add(0x80, 200).end().bytes();
    record_attrib attribute;
    EXPECT_FALSE(find_attrib(raw, 0x80, attribute, 99));
    EXPECT_TRUE(find_attrib(raw, 0x80, attribute, 100)) << "a match may be longer than the limit";
    EXPECT_TRUE(find_attrib(raw, 0x10, attribute, 0));
}

TEST(FindAttribute, LimitAppliesToEachAttribute) {
    const byte_list raw = attribute_row().add(0x10, 100).add(0x20, 100).add(0x80, 40).end().bytes();
    record_attrib attribute;
    EXPECT_TRUE(find_attrib(raw, 0x80, attribute, 100));
}

TEST(FindAttribute, EndsAtLengthZeroAtTheEndMarkerAndAtTheRecordsEnd) {
    record_attrib attribute;
    const byte_list zero_length = attribute_row().add(0x10, 0).bytes();
    EXPECT_FALSE(find_attrib(zero_length, 0x80, attribute, 1024));
    const byte_list behind_end =
        attribute_row().add(0x10, 24).add(0xFFFFFFFF, 24).add(0x80, 24).bytes();
    EXPECT_FALSE(find_attrib(behind_end, 0x80, attribute, 1024));
    const byte_list off_the_record = attribute_row().add(0x10, 0xFFFFFF00).bytes();
    EXPECT_FALSE(find_attrib(off_the_record, 0x80, attribute, 0xFFFFFFFF));
    EXPECT_FALSE(find_attrib({}, 0x80, attribute, 1024));
    EXPECT_FALSE(find_attrib(behind_end, 0xFFFFFFFF, attribute, 1024))
        << "the end marker is not a match";
}

// --- find_named_attrib ---

TEST(FindNamedAttribute, ComparesTypeLengthAndEachUnit) {
    const byte_list raw = attribute_row()
                              .add(0x90, 40, u"$I300")
                              .add(0xA0, 40, u"$I30")
                              .add(0x90, 40, u"$i30")
                              .add(0x90, 40, u"$I3")
                              .add(0x90, 40)
                              .add(0x90, 40, u"$I30")
                              .end()
                              .bytes();
    record_attrib attribute = first_attrib(raw);
    ASSERT_TRUE(find_named_attrib(attribute, 0x90, name_bytes(u"$I30"), 1024));
    EXPECT_EQ(attribute.at, 56u + 5 * 40);
    attribute = first_attrib(raw);
    EXPECT_FALSE(find_named_attrib(attribute, 0x90, name_bytes(u"$SDH"), 1024));
}

TEST(FindNamedAttribute, EmptyNameFindsAnAttributeWithoutAName) {
    const byte_list raw = attribute_row().add(0x80, 40, u"zone").add(0x80, 48).end().bytes();
    record_attrib attribute = first_attrib(raw);
    ASSERT_TRUE(find_named_attrib(attribute, 0x80, {}, 48));
    EXPECT_EQ(attribute.at, 56u + 40);
    attribute = first_attrib(raw);
    EXPECT_FALSE(find_named_attrib(attribute, 0x80, {}, 47))
        << "the match is longer than the limit";
}

TEST(FindNamedAttribute, LimitDoesNotEndTheWalk) {
    const byte_list raw =
        attribute_row().add(0x10, 200).add(0x80, 48, u"zone").add(0x80, 24).end().bytes();
    record_attrib attribute = first_attrib(raw);
    EXPECT_TRUE(find_named_attrib(attribute, 0x80, name_bytes(u"zone"), 1));
    attribute = first_attrib(raw);
    EXPECT_TRUE(find_named_attrib(attribute, 0x80, {}, 24));
}

TEST(FindNamedAttribute, LengthZeroEndsTheWalk) {
    const byte_list raw = attribute_row().add(0x10, 0).bytes();
    record_attrib attribute = first_attrib(raw);
    EXPECT_FALSE(find_named_attrib(attribute, 0x80, name_bytes(u"zone"), 1024));
    attribute = first_attrib(raw);
    EXPECT_FALSE(find_named_attrib(attribute, 0x80, {}, 1024));
}

TEST(FindNamedAttribute, NamePastTheRecordReadsAsZeros) {
    byte_list raw = attribute_row().add(0x80, 40, u"zone").bytes();
    raw.resize(56 + 24 + 6);  // keeps three units of the name
    record_attrib attribute = first_attrib(raw);
    EXPECT_FALSE(find_named_attrib(attribute, 0x80, name_bytes(u"zone"), 1024));
    attribute = first_attrib(raw);
    EXPECT_TRUE(find_named_attrib(attribute, 0x80, name_bytes({u"zon\0", 4}), 1024));
}

// --- update sequence ---

// Returns bytes that differ from all words of the update sequence 0x1001, 0x1002 ... at offset 48.
byte_list sequence_record(std::size_t size, std::uint16_t count) {
    support::byte_image record(size);
    record.fill(0, size, 0xEE);
    for (std::uint16_t word = 0; word < count; ++word)
        record.put(48 + word * 2u, 0x1000u + word, 2);
    return record.bytes();
}

TEST(UpdateSequence, RestoresTheLastTwoBytesOfEachBlock) {
    byte_list record = sequence_record(1024, 3);
    apply_update_sequence(record, 48, 3, 1024, 512);
    EXPECT_EQ(ql::le16(record, 510), 0x1001);
    EXPECT_EQ(ql::le16(record, 1022), 0x1002);
    EXPECT_EQ(ql::le16(record, 508), 0xEEEE);
    EXPECT_EQ(ql::le16(record, 512), 0xEEEE);
}

TEST(UpdateSequence, RestoresAsManyBlocksAsHaveWords) {
    const struct {
        const char* name;
        std::uint16_t count;
        std::uint64_t size;
        std::uint32_t stride;
        std::vector<std::size_t> written;
    } cases[] = {
        {"both", 3, 1024, 512, {510, 1022}},
        {"fewer words", 2, 1024, 512, {510}},
        {"fewer blocks", 9, 1024, 512, {510, 1022}},
        {"fewer bytes read", 3, 1023, 512, {510}},
        {"nothing read", 3, 0, 512, {}},
        {"count 1", 1, 1024, 512, {}},
        {"count 0", 0, 1024, 512, {}},
        {"stride 0", 3, 1024, 0, {}},
        {"stride above the record", 3, 1024, 4096, {}},
        {"stride of the whole record", 3, 1024, 1024, {1022}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const byte_list before = sequence_record(1024, 16);
        byte_list expected = before;
        for (std::size_t i = 0; i < c.written.size(); ++i) {
            expected = support::byte_image(expected).put(c.written[i], 0x1001 + i, 2).bytes();
        }
        byte_list record = before;
        apply_update_sequence(record, 48, c.count, c.size, c.stride);
        EXPECT_EQ(record, expected);
    }
}

TEST(UpdateSequence, LargeSectorsAreNotRestoredEvery512Bytes) {
    // A record with nine words, as for 512-byte sectors, on a volume with 4096-byte sectors.
    byte_list record = sequence_record(4096, 9);
    apply_update_sequence(record, 48, 9, 4096, 4096);
    EXPECT_EQ(ql::le16(record, 510), 0xEEEE);
    EXPECT_EQ(ql::le16(record, 4094), 0x1001);
}

TEST(UpdateSequence, WordsAreReadAfterEarlierBlocksAreWritten) {
    byte_list record(64, 0);
    for (std::size_t word = 0; word < 8; ++word) {
        record[16 + word * 2] = static_cast<std::uint8_t>(0xA0 + word);
    }
    // Stride 4, array at 16: block 5 (word at 26) ends at 20 and overwrites word 1 at 18, block 6
    // (word at 28) ends at 24 and overwrites word 3 at 22, block 7 (word at 30) overwrites word 5.
    apply_update_sequence(record, 16, 8, 64, 4);
    EXPECT_EQ(record[2], 0xA1);
    EXPECT_EQ(record[18], 0xA5);
    EXPECT_EQ(record[22], 0xA6);
    EXPECT_EQ(record[26], 0xA7);

    // Array at 0, stride 2: each word is moved to the one before it.
    byte_list small{1, 0, 2, 0, 3, 0, 4, 0};
    apply_update_sequence(small, 0, 4, 8, 2);
    EXPECT_EQ(small, (byte_list{2, 0, 3, 0, 4, 0, 4, 0}));

    // Array at 0, stride 4: block 1 (word at 2) is written to 2, block 2 (word at 4) to 6, block 3
    // uses the word at 6, which block 2 has written.
    byte_list chained{1, 0, 2, 0, 3, 0, 4, 0, 9, 9, 9, 9};
    apply_update_sequence(chained, 0, 4, 12, 4);
    EXPECT_EQ(chained, (byte_list{1, 0, 2, 0, 3, 0, 3, 0, 9, 9, 3, 0}));
}

TEST(UpdateSequence, ArrayPastTheRecordWritesZeros) {
    byte_list record = sequence_record(1024, 3);
    apply_update_sequence(record, 0xFFF0, 3, 1024, 512);
    EXPECT_EQ(ql::le16(record, 510), 0);
    EXPECT_EQ(ql::le16(record, 1022), 0);
}

TEST(UpdateSequence, NothingIsWrittenOutsideTheRecord) {
    // One-byte blocks: the low byte of the first one would be before the record.
    byte_list memory(20, 0x77);
    const std::span<std::uint8_t> record(memory.data() + 8, 4);
    record[0] = 0x10;
    record[1] = 0x11;
    record[2] = 0x12;
    record[3] = 0x13;
    apply_update_sequence(record, 0, 2, 4, 1);
    EXPECT_EQ(record[0], 0x13) << "high byte of word 1";
    EXPECT_EQ(memory[7], 0x77);

    // A size larger than the span.
    byte_list tail(20, 0x77);
    const std::span<std::uint8_t> four(tail.data(), 4);
    apply_update_sequence(four, 0, 9, 16, 4);
    EXPECT_EQ(tail[4], 0x77);
    EXPECT_EQ(tail[6], 0x77);
    EXPECT_EQ(tail[15], 0x77);
}

TEST(UpdateSequence, WrongCheckValueIsOverwritten) {
    byte_list record = support::record_builder(30).put(510, 0xDEAD, 2).build();
    const byte_list valid = support::record_builder(30).build_before_fixup();
    std::uint32_t kind = 0;
    EXPECT_TRUE(apply_fixup(kind, record, 512));
    EXPECT_EQ(ql::le16(record, 510), ql::le16(valid, 510));
}

// --- apply_fixup ---

TEST(ApplyFixup, SetsTheKindOfARecord) {
    const struct {
        const char* name;
        const char* keyword;
        std::uint16_t count;
        bool result;
        std::uint32_t kind;
    } cases[] = {
        {"file", "FILE", 3, true, record_kind::file},
        {"file with count 1", "FILE", 1, true, record_kind::file},
        {"file with count 0", "FILE", 0, true, record_kind::file},
        {"file whose sequence covers more than the record", "FILE", 4, false, record_kind::file},
        {"file with count 10", "FILE", 10, false, record_kind::none},
        {"index", "INDX", 3, true, record_kind::index},
        {"index whose sequence covers more than the record", "INDX", 4, false, record_kind::index},
        {"bad", "BAAD", 3, true, record_kind::bad},
        {"bad with count 0", "BAAD", 0, true, record_kind::bad},
        {"bad whose sequence covers more than the record", "BAAD", 10, false, record_kind::bad},
        {"other keyword", "RSTR", 3, false, record_kind::none},
        {"no keyword", "", 3, false, record_kind::none},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        support::byte_image image(sequence_record(1024, 16));
        image.put_text(0, c.keyword).put(4, 48, 2).put(6, c.count, 2).put(20, 72, 2);
        byte_list record = image.bytes();
        std::uint32_t kind = 99;
        EXPECT_EQ(apply_fixup(kind, record, 512), c.result);
        EXPECT_EQ(kind, c.kind);
        const bool fixed = c.result && c.count > 1;
        EXPECT_EQ(ql::le16(record, 510), fixed ? 0x1001 : 0xEEEE);
    }
}

TEST(ApplyFixup, BadRecordMayHaveAtMostTenWords) {
    const auto result_for = [](std::uint16_t count) {
        support::byte_image image(sequence_record(8192, 16));
        image.put_text(0, "BAAD").put(4, 48, 2).put(6, count, 2);
        byte_list record = image.bytes();
        std::uint32_t kind = 0;
        return apply_fixup(kind, record, 512);
    };
    EXPECT_TRUE(result_for(10));
    EXPECT_FALSE(result_for(11));
}

TEST(ApplyFixup, NeedsARecordOf1024Bytes) {
    byte_list record = support::record_builder(30).build();
    record.resize(1023);
    std::uint32_t kind = 99;
    EXPECT_FALSE(apply_fixup(kind, record, 512));
    EXPECT_EQ(kind, record_kind::none);
}

TEST(ApplyFixup, InvalidHeaderMakesAFileRecordUnknown) {
    byte_list record = support::record_builder(30).usa_offset(42).build();
    std::uint32_t kind = 99;
    EXPECT_FALSE(apply_fixup(kind, record, 512));
    EXPECT_EQ(kind, record_kind::none);
}

TEST(ApplyFixup, StrideIsThatOfTheVolume) {
    byte_list record = sequence_record(4096, 9);
    support::byte_image image(record);
    image.put_text(0, "FILE").put(4, 48, 2).put(6, 9, 2).put(20, 72, 2);
    record = image.bytes();
    std::uint32_t kind = 0;
    EXPECT_FALSE(apply_fixup(kind, record, 4096))
        << "eight blocks of 4096 bytes are larger than the record";
    record = image.put(6, 2, 2).bytes();
    EXPECT_TRUE(apply_fixup(kind, record, 4096));
    EXPECT_EQ(ql::le16(record, 4094), 0x1001);
    EXPECT_EQ(ql::le16(record, 510), 0xEEEE);
}

}  // namespace

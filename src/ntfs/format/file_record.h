// FILE records: header, update sequence, attribute lists, and functions that search attributes.
//
// A record is a span of bytes from its start, and may be shorter than the record size. Offsets are
// from the start of the record unless a comment says otherwise. Bytes past the end of the span read
// as 0, which ends each walk, because an attribute of length 0 ends it.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "foundation/bytes/ql_bytes.h"
#include "ntfs/format/file_reference.h"
#include "ntfs/format/record_attrib.h"

// Header of a FILE record.
//
//    0  4    keyword "FILE"              20  u16  first attribute offset
//    4  u16  update sequence offset      22  u16  flags: bit 0 in use, bit 1 directory
//    6  u16  update sequence count       28  u32  bytes allocated
//   16  u16  sequence number             32  u64  base record reference
//   18  u16  hard link count             44  u32  the record's own number, low 32 bits
struct file_record {
    ql::bytes record;

    std::uint16_t sequence_array_offset() const { return ql::le16(record, 4); }
    std::uint16_t sequence_array_count() const { return ql::le16(record, 6); }
    std::uint16_t sequence_number() const { return ql::le16(record, 16); }
    std::uint16_t hard_link_count() const { return ql::le16(record, 18); }
    std::uint16_t first_attrib_offset() const { return ql::le16(record, 20); }
    std::uint16_t flags() const { return ql::le16(record, 22); }
    bool in_use() const { return (flags() & 1u) != 0; }
    bool is_directory() const { return (flags() & 2u) != 0; }
    std::uint32_t bytes_allocated() const { return ql::le32(record, 28); }
    // Of an extension record: the record that names it in its attribute list.
    file_reference base_ref() const { return {ql::le64(record, 32)}; }
    std::uint32_t own_number() const { return ql::le32(record, 44); }

    bool has_file_keyword() const { return ql::has_text(record, 0, "FILE"); }
    bool has_index_keyword() const { return ql::has_text(record, 0, "INDX"); }
    bool has_bad_keyword() const { return ql::has_text(record, 0, "BAAD"); }
    // Returns true if the keyword is "FILE", the update sequence is at offset 48 with a count of at
    // most 9, and the first attribute is at an offset below 73. Records of older volumes, with the
    // update sequence at 42, are not valid.
    bool is_valid() const {
        return has_file_keyword() && sequence_array_offset() == 48 && sequence_array_count() <= 9 &&
               first_attrib_offset() < 73;
    }
    // Returns true for a FILE record whose attributes can be searched. The rest of the header is
    // not checked.
    bool has_attributes() const { return has_file_keyword() && first_attrib_offset() != 0; }
    // Returns (count - 1) * 512, modulo 2^32, for a valid record; otherwise 0.
    std::uint32_t record_size_from_usa() const {
        return is_valid() ? (static_cast<std::uint32_t>(sequence_array_count()) - 1u) * 512u : 0u;
    }
};

// Returns the attribute at the first attribute offset of a record.
inline record_attrib first_attrib(ql::bytes record) {
    return {record, file_record{record}.first_attrib_offset()};
}

// Returns the name of an attribute in UTF-8; empty if it has none, or if the name extends past the
// end of the attribute. By this name an index is found; rows have the name that attribute_name
// returns, whose bound is the end of the record.
std::string name_inside(const record_attrib& attribute);

// Finds the first attribute of `type`. The search ends by the rule ends_after_longer: at an
// attribute of type 0xFFFFFFFF, of length 0 or of a length above `limit`; the length of the
// attribute that is found is not checked. Returns false if no attribute is found; `attribute` is
// then the one at which the search ended.
bool find_attrib(ql::bytes record, std::uint32_t type, record_attrib& attribute,
                 std::uint32_t limit);

// Does the same, starting with `attribute` itself.
bool find_next_attrib(record_attrib& attribute, std::uint32_t type, std::uint32_t limit);

// Finds the first attribute of `type`, starting with `attribute` itself, whose name is `name`
// (UTF-16LE bytes, exact). An empty `name` finds the first attribute without a name, but the search
// fails if that one is longer than `limit`. The search ends by the rule ends_after_empty: at an
// attribute of type 0xFFFFFFFF or of length 0. Returns false if no attribute is found; `attribute`
// is then the one at which the search ended.
bool find_named_attrib(record_attrib& attribute, std::uint32_t type, ql::bytes name,
                       std::uint32_t limit);

// One entry of an $ATTRIBUTE_LIST.
//
//    0  u32  type            7  u8   name offset        16  u64  file reference
//    4  u16  entry length    8  u64  starting VCN       24  u16  attribute id
//    6  u8   name length
struct list_entry {
    ql::bytes list;
    std::size_t at;  // offset of the entry in the list

    std::uint32_t type() const { return ql::le32(list, at); }
    std::uint16_t length() const { return ql::le16(list, at + 4); }
    std::uint8_t name_length() const { return ql::le8(list, at + 6); }
    std::uint8_t name_offset() const { return ql::le8(list, at + 7); }
    std::uint64_t starting_vcn() const { return ql::le64(list, at + 8); }
    // The record that contains the attribute.
    file_reference reference() const { return {ql::le64(list, at + 16)}; }
    std::uint16_t id() const { return ql::le16(list, at + 24); }
    // Returns true if the attribute has the type and id of the entry. The names are not compared.
    bool names(const record_attrib& attribute) const {
        return attribute.type() == type() && attribute.id() == id();
    }
    // Returns true if the entry's name is `wanted` (UTF-16LE bytes, exact).
    bool is_named(ql::bytes wanted) const;
};

// Restores the last two bytes of each block of `record` from its update sequence array at
// `array_offset`: words 1 to `array_count` - 1, at most `size` / `stride` blocks of `stride` bytes.
// The check value (word 0) is not compared. A count below 2 or a stride of 0 changes nothing. Words
// past the end of the record are 0, and nothing is written outside the record.
void apply_update_sequence(std::span<std::uint8_t> record, std::uint16_t array_offset,
                           std::uint16_t array_count, std::uint64_t size, std::uint32_t stride);

// The kind of a record, by its keyword.
namespace record_kind {
constexpr std::uint32_t none = 0;
constexpr std::uint32_t file = 1;
constexpr std::uint32_t index = 2;
constexpr std::uint32_t bad = 3;
}  // namespace record_kind

// Returns the kind of a record; `none` if its keyword is unknown, or if it is "FILE" but the record
// is not valid.
std::uint32_t kind_of(const file_record& header);

// Sets the kind of a record of `size` bytes, which starts with the bytes `record`, and returns true
// if its update sequence can be applied. Returns false, with kind 0, if the record has fewer than
// 1024 bytes or kind_of returns none. Returns false, with the kind set, if `size` is less than
// (count - 1) * stride, and for a "BAAD" record with a count above 10.
bool check_fixup(std::uint32_t& kind, ql::bytes record, std::uint64_t size, std::uint32_t stride);

// Applies the update sequence to a whole record after check_fixup. Returns false, with the record
// unchanged, if check_fixup does.
bool apply_fixup(std::uint32_t& kind, std::span<std::uint8_t> record, std::uint32_t stride);

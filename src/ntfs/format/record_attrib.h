// Attributes of FILE records: types and headers.
#pragma once

#include <cstddef>
#include <cstdint>

#include "foundation/bytes/ql_bytes.h"

// Attribute types.
namespace attrib_type {
constexpr std::uint32_t standard_information = 0x10;
constexpr std::uint32_t attribute_list = 0x20;
constexpr std::uint32_t file_name = 0x30;
constexpr std::uint32_t object_id = 0x40;
constexpr std::uint32_t security_descriptor = 0x50;
constexpr std::uint32_t volume_name = 0x60;
constexpr std::uint32_t volume_information = 0x70;
constexpr std::uint32_t data = 0x80;
constexpr std::uint32_t index_root = 0x90;
constexpr std::uint32_t index_allocation = 0xA0;
constexpr std::uint32_t bitmap = 0xB0;
constexpr std::uint32_t reparse_point = 0xC0;
constexpr std::uint32_t ea_information = 0xD0;
constexpr std::uint32_t ea = 0xE0;
constexpr std::uint32_t property_set = 0xF0;
constexpr std::uint32_t logged_utility_stream = 0x100;
constexpr std::uint32_t end = 0xFFFFFFFF;
}  // namespace attrib_type

// Header of one attribute. Value, name and run list are limited by the end of the record, not by
// the length of the attribute. Offsets are from the start of the attribute.
//
//    0  u32  type                   9  u8   name length, 16-bit units    14  u16  attribute id
//    4  u32  length with header    10  u16  name offset
//    8  u8   non-resident flag     12  u16  flags: 1 compressed, 0x4000 encrypted, 0x8000 sparse
//   resident:      16 u32 value length, 20 u16 value offset
//   non-resident:  16 u64 starting VCN, 24 u64 last VCN, 32 u16 run list offset, 34 u8 compression
//                  unit, 40 allocated, 48 real, 56 initialized, 64 compressed size (u64 each)
struct record_attrib {
    ql::bytes record;
    std::size_t at = 0;  // offset of the header in the record

    std::uint32_t type() const { return ql::le32(record, at); }
    std::uint32_t length() const { return ql::le32(record, at + 4); }
    bool nonresident() const { return ql::le8(record, at + 8) != 0; }
    std::uint8_t name_length() const { return ql::le8(record, at + 9); }
    std::uint16_t name_offset() const { return ql::le16(record, at + 10); }
    std::uint16_t flags() const { return ql::le16(record, at + 12); }
    std::uint16_t id() const { return ql::le16(record, at + 14); }

    std::uint32_t value_length() const { return ql::le32(record, at + 16); }
    std::uint16_t value_offset() const { return ql::le16(record, at + 20); }
    // The bytes from the value offset to the end of the record.
    ql::bytes value_to_record_end() const { return ql::clip(record, at + value_offset()); }
    // The value, clipped to the record.
    ql::bytes value() const { return ql::clip(record, at + value_offset(), value_length()); }

    std::uint64_t starting_vcn() const { return ql::le64(record, at + 16); }
    std::uint16_t run_list_offset() const { return ql::le16(record, at + 32); }
    std::uint8_t compression_unit() const { return ql::le8(record, at + 34); }
    std::uint64_t allocated_size() const { return ql::le64(record, at + 40); }
    std::uint64_t real_size() const { return ql::le64(record, at + 48); }
    std::uint64_t initialized_size() const { return ql::le64(record, at + 56); }
    std::uint64_t compressed_size() const { return ql::le64(record, at + 64); }

    // The bytes from `offset`, relative to the start of the attribute, to the end of the record.
    ql::bytes from(std::size_t offset) const { return ql::clip(record, at + offset); }
};

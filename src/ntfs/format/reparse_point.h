// $REPARSE_POINT values: where a junction or symbolic link leads.
//
//    0  u32  tag                        10  u16  substitute name length, bytes
//    4  u16  data length                12  u16  print name offset
//    8  u16  substitute name offset     14  u16  print name length, bytes
//   16       path buffer, for each tag
#pragma once

#include <cstddef>
#include <string>

#include "foundation/bytes/ql_bytes.h"
#include "ntfs/format/file_record.h"

struct reparse_point {
    ql::bytes value;   // from the start of the value to the end of the bytes that were read
    std::size_t size;  // bytes from the start of the value to the end of the record; those past
                       // the end of `value` are zero

    std::uint16_t data_length() const { return ql::le16(value, 4); }
    std::uint16_t substitute_offset() const { return ql::le16(value, 8); }
    std::uint16_t substitute_length() const { return ql::le16(value, 10); }
    std::uint16_t print_offset() const { return ql::le16(value, 12); }
    std::uint16_t print_length() const { return ql::le16(value, 14); }
};

// The offsets of the two names of a link, in bytes from the start of the value.
struct reparse_names {
    std::size_t substitute_at;
    std::size_t print_at;
};

// Returns the offsets of both names. While the 16-bit word at the substitute name is zero, both
// offsets are increased by 2, at most to the end of the record. This skips the flags of a symbolic
// link only if they are zero and the substitute name is stored first.
reparse_names locate_reparse_names(const reparse_point& point);

// Returns true if a $REPARSE_POINT attribute has a target to show: a value of at least 17 bytes
// inside its record, a data length, and one name that is not empty. Both names must end before the
// data length. `left`: bytes from the attribute to the end of its record.
bool has_reparse_target(const record_attrib& attribute, std::uint64_t left);

// Returns the print name, or the substitute name if the print name is empty, up to a zero unit.
std::wstring reparse_target(const reparse_point& point);

// Returns the print name, which path lookup follows; may be empty.
std::wstring reparse_print_name(const reparse_point& point);

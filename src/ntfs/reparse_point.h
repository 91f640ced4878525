// $REPARSE_POINT values: where a junction or symbolic link leads.
//
//    0  u32  tag                        10  u16  substitute name length, bytes
//    4  u16  data length                12  u16  print name offset
//    8  u16  substitute name offset     14  u16  print name length, bytes
//   16       path buffer, whatever the tag is
#pragma once

#include <cstddef>
#include <string>

#include "foundation/ql_bytes.h"
#include "ntfs/file_record.h"

struct reparse_point {
    ql::bytes value;  // from the start of the value to the end of the record

    std::uint16_t data_length() const { return ql::le16(value, 4); }
    std::uint16_t substitute_offset() const { return ql::le16(value, 8); }
    std::uint16_t substitute_length() const { return ql::le16(value, 10); }
    std::uint16_t print_offset() const { return ql::le16(value, 12); }
    std::uint16_t print_length() const { return ql::le16(value, 14); }
};

// Where the two names of a link begin, in bytes from the start of the value.
struct reparse_names {
    std::size_t substitute_at;
    std::size_t print_at;
};

// Both names, moved on together word by word while the word at the substitute name is zero. So the
// flags of a symbolic link are skipped only when they are zero and the substitute name comes first.
reparse_names locate_reparse_names(const reparse_point& point);

// True when a $REPARSE_POINT attribute has a target to show: a value of at least 17 bytes inside
// its record, a data length, and one name that is not empty; both names must end in front of the
// data length.
bool has_reparse_target(const record_attrib& attribute);

// The print name, or the substitute name when there is none, up to a zero unit.
std::wstring reparse_target(const reparse_point& point);

// The print name, as path look-up follows it; may be empty.
std::wstring reparse_print_name(const reparse_point& point);

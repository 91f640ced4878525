// The values of the two attributes that every file has: $STANDARD_INFORMATION and $FILE_NAME.
//
// Timestamps are FILETIMEs. Fields past the end of `value` are 0.
#pragma once

#include <cstdint>

#include "foundation/bytes/ql_bytes.h"
#include "ntfs/format/file_reference.h"

// Value of a $STANDARD_INFORMATION attribute.
//
//    0  u64  created         16  u64  MFT changed     32  u32  file attribute flags
//    8  u64  modified        24  u64  accessed        52  u32  security id, not on old volumes
struct standard_information_value {
    ql::bytes value;

    std::uint64_t created() const { return ql::le64(value, 0); }
    std::uint64_t modified() const { return ql::le64(value, 8); }
    std::uint64_t mft_changed() const { return ql::le64(value, 16); }
    std::uint64_t accessed() const { return ql::le64(value, 24); }
    std::uint32_t attributes() const { return ql::le32(value, 32); }
    std::uint32_t security_id() const { return ql::le32(value, 52); }
};

// Value of a $FILE_NAME attribute.
//
//    0  u64  parent reference      48  u64  real size
//    8  u64  created               56  u32  file attribute flags
//   16  u64  modified              64  u8   name length, 16-bit units
//   24  u64  MFT changed           65  u8   namespace: 0 POSIX, 1 Win32, 2 DOS, 3 Win32 and DOS
//   32  u64  accessed              66       name, UTF-16LE
struct file_name_value {
    ql::bytes value;

    file_reference parent_ref() const { return {ql::le64(value, 0)}; }
    std::uint64_t created() const { return ql::le64(value, 8); }
    std::uint64_t modified() const { return ql::le64(value, 16); }
    std::uint64_t mft_changed() const { return ql::le64(value, 24); }
    std::uint64_t accessed() const { return ql::le64(value, 32); }
    std::uint64_t real_size() const { return ql::le64(value, 48); }
    std::uint32_t attributes() const { return ql::le32(value, 56); }
    std::uint8_t name_length() const { return ql::le8(value, 64); }
    std::uint8_t name_space() const { return ql::le8(value, 65); }
    bool is_dos_name() const { return name_space() == 2; }
    // The bytes from the start of the name to the end of `value`.
    ql::bytes name_to_end() const { return ql::clip(value, 66); }
};

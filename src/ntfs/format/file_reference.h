// References to MFT entries.
#pragma once

#include <cstdint>

// A reference as names, attribute lists and indexes store it. The sequence number is that of the
// record when the reference was written; it differs once the entry is reused.
//
//   bits 0 to 47  entry number     bits 48 to 63  sequence number
struct file_reference {
    std::uint64_t raw = 0;

    static constexpr file_reference of(std::uint64_t entry, std::uint16_t sequence) {
        return {file_reference{entry}.entry() | std::uint64_t{sequence} << 48};
    }

    // Index of the MFT entry.
    constexpr std::uint64_t entry() const { return raw & 0xFFFFFFFFFFFFull; }
    constexpr std::uint16_t sequence() const { return static_cast<std::uint16_t>(raw >> 48); }
    // True if the reference refers to an entry: the base reference of a base record is 0.
    constexpr bool is_set() const { return raw != 0; }
};

// MFT entry of the root directory.
constexpr std::uint64_t root_entry = 5;

// The boot sector of an NTFS volume.
#pragma once

#include <array>
#include <bit>
#include <cstdint>

#include "foundation/bytes/ql_bytes.h"

// First sector of an NTFS volume. Offsets are those of the BIOS parameter block. Values are not
// validated. The checksum and the end marker are not checked.
struct NTFS_BOOT {
    std::array<std::uint8_t, 512> raw{};

    bool has_ntfs_signature() const { return ql::has_text(raw, 3, "NTFS    "); }
    std::uint16_t bytes_per_sector() const { return ql::le16(raw, 11); }
    std::uint8_t sectors_per_cluster() const { return raw[13]; }           // 0 on a damaged volume
    std::uint64_t total_sectors() const { return ql::le64(raw, 40); }      // sectors in the volume
    std::uint64_t mft_start_lcn() const { return ql::le64(raw, 48); }      // clusters
    std::uint64_t mftmirr_start_lcn() const { return ql::le64(raw, 56); }  // clusters
    // 0 to 127: clusters in a file record. -128 to -1: the record has 2^-n bytes, so 0xF6 (-10)
    // means 1024 bytes regardless of the cluster size.
    std::int8_t num_clusters_one_mft_record() const { return std::bit_cast<std::int8_t>(raw[64]); }
    std::uint64_t volume_serial_number() const { return ql::le64(raw, 72); }
};
static_assert(sizeof(NTFS_BOOT) == 512, "filled by one 512-byte read");

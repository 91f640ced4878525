// Security descriptors in their on-disk form, and the $SDS stream of $Secure that holds them.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "support/byte_image.h"

namespace support {

// revision 1, count of sub-authorities, 48 bits of authority (highest byte first), then 32 bits
// each. `count` overrides the count byte.
bytes sid(std::uint64_t authority, const std::vector<std::uint32_t>& sub_authorities,
          std::optional<std::uint8_t> count = {});
// "S-1-5-21-1-2-3-1001" and the like.
bytes sid(std::string_view text);

// type, flags, size, mask, SID.
bytes ace(std::uint8_t type, std::uint8_t flags, std::uint32_t mask, const bytes& trustee);

// revision 2, zero, size, count, zero, then the entries.
bytes acl(const std::vector<bytes>& entries);

// A self-relative descriptor: header of 20 bytes (revision 1, zero, control, then the offsets of
// owner, group, SACL, DACL; 0 for what is missing), then SACL, DACL, owner, group in that order.
struct security_descriptor {
    bytes owner = {};
    bytes group = {};
    bytes sacl = {};
    bytes dacl = {};
    std::uint16_t control = 0x8004;  // self-relative, DACL present
    bytes build() const;
};

// The hash that $SDS and its indexes keep: rotate left by 3, add the next 32 bits.
std::uint32_t security_hash(std::span<const std::uint8_t> descriptor);

// The $SDS stream. Each entry: hash u32, id u32, own offset u64, size u32 with these 20 bytes, then
// the descriptor; entries stand on 16-byte boundaries, none crosses a boundary of 256 KiB, and each
// block of 256 KiB is repeated 256 KiB further on.
class sds_stream {
public:
    // Adds an entry and returns the offset at which it stands.
    std::uint64_t add(std::uint32_t id, const bytes& descriptor);
    // Sets the place of the next entry, for gaps; a multiple of 16 for a sound stream.
    sds_stream& skip_to(std::uint64_t offset);
    // Overwrites bytes of the first copy.
    sds_stream& put(std::uint64_t at, std::uint64_t value, std::size_t width);

    // The stream with mirrored blocks; the last mirror is cut at the length that is used.
    bytes build() const;

    struct placed {
        std::uint32_t id, hash;
        std::uint64_t offset;
        std::uint32_t size;  // header and descriptor
    };
    const std::vector<placed>& entries() const { return m_entries; }

private:
    byte_image m_first_copies;  // offsets as in the stream
    std::vector<placed> m_entries;
    std::uint64_t m_next = 0;
    std::vector<std::pair<std::uint64_t, std::pair<std::uint64_t, std::size_t>>> m_edits;
};

// Values of the two indexes of $Secure, for $SII and $SDH root entries (see ntfs_image.h).
bytes sii_index_entry(const sds_stream::placed& entry);
bytes sdh_index_entry(const sds_stream::placed& entry);

}  // namespace support

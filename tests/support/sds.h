// Security descriptors in their on-disk form, and the $SDS stream of $Secure that contains them.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "support/byte_image.h"

namespace support {

// Returns revision 1, count of sub-authorities, 48 bits of authority (big-endian), then 32 bits
// each. `count` overrides the count byte.
bytes sid(std::uint64_t authority, const std::vector<std::uint32_t>& sub_authorities,
          std::optional<std::uint8_t> count = {});
// Parses a text such as "S-1-5-21-1-2-3-1001".
bytes sid(std::string_view text);

// Returns type, flags, size, mask, SID.
bytes ace(std::uint8_t type, std::uint8_t flags, std::uint32_t mask, const bytes& trustee);

// Returns revision 2, zero, size, count, zero, then the entries.
bytes acl(const std::vector<bytes>& entries);

// A self-relative descriptor: header of 20 bytes (revision 1, zero, control, then the offsets of
// owner, group, SACL, DACL; 0 if missing), then SACL, DACL, owner, group in that order.
struct security_descriptor {
    bytes owner = {};
    bytes group = {};
    bytes sacl = {};
    bytes dacl = {};
    std::uint16_t control = 0x8004;  // self-relative, DACL present
    bytes build() const;
};

// Returns the hash in $SDS and its indexes: rotate left by 3, add the next 32 bits.
std::uint32_t security_hash(std::span<const std::uint8_t> descriptor);

// The $SDS stream. Each entry: hash u32, id u32, own offset u64, size u32 including these 20 bytes,
// then the descriptor. Entries are aligned to 16 bytes and do not cross a boundary of 256 KiB; each
// block of 256 KiB is followed by a copy.
class sds_stream {
public:
    // Adds an entry and returns its offset.
    std::uint64_t add(std::uint32_t id, const bytes& descriptor);
    // Sets the offset of the next entry, to create a gap; a multiple of 16 in a valid stream.
    sds_stream& skip_to(std::uint64_t offset);
    // Overwrites bytes of the first copy.
    sds_stream& put(std::uint64_t at, std::uint64_t value, std::size_t width);

    // Returns the stream with its copies. The last copy is truncated to the length in use.
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

// Return index entries of $Secure, for the roots of $SII and $SDH (see ntfs_image.h).
bytes sii_index_entry(const sds_stream::placed& entry);
bytes sdh_index_entry(const sds_stream::placed& entry);

}  // namespace support

// Reads single MFT records.
#pragma once

#include <cstdint>
#include <vector>

#include "foundation/bytes/ql_bytes.h"
#include "ntfs/format/file_record.h"

class CNtfs;

// Reads one record into a buffer of the caller. The buffer has only the bytes that were read, so
// that memory does not depend on the record size that the volume states. Bytes past the end of the
// buffer are zero for all readers of a record.
//
// A record of up to 64 KiB is read at once. Of a larger one, which only a damaged volume has, as
// much is read as its attributes need.
class record_reader {
public:
    // `position`: bytes from the start of the volume. `length`: bytes of the record. `record` must
    // outlive this object; its content is replaced.
    record_reader(CNtfs& ntfs, std::uint64_t position, std::uint32_t length,
                  std::vector<std::uint8_t>& record);

    // Reads the start of the record, which contains its header. Returns false, with `record` empty,
    // if nothing can be read.
    [[nodiscard]] bool read_start();

    // Applies the update sequence to the blocks of the first `fixed_size` bytes, and reads the rest
    // of the record. With `with_values`, the values of all resident attributes are read, otherwise
    // only those that lead to other attributes.
    void read_rest(std::uint64_t fixed_size, bool with_values);

    // Bytes that a single read of the whole record returns: less than its length only if the source
    // ends first. Valid after read_start().
    std::uint32_t delivered() const { return m_delivered; }

private:
    void fix_up(std::uint64_t fixed_size);
    void read_up_to(std::uint64_t end);
    bool read_piece(std::uint32_t count);

    CNtfs& m_ntfs;
    std::uint64_t m_source_pos;  // bytes from the start of the source
    std::uint32_t m_length;
    std::uint32_t m_delivered = 0;
    std::uint64_t m_seen = 0;  // bytes of the record that were read or are known to be zero
    std::vector<std::uint8_t>& m_record;
};

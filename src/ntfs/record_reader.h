// Reads of single MFT records.
#pragma once

#include <cstdint>
#include <vector>

#include "foundation/ql_bytes.h"
#include "ntfs/file_record.h"

class CNtfs;

// Reads one record into a buffer of the caller, which holds what was read and no more: a record
// size is a number that the volume states. Bytes past the end of the buffer are zero, as in all
// views of a record.
//
// A record of up to 64 KiB is one read. A larger one, which only a damaged volume states, is read
// as far as its attributes lead.
class record_reader {
public:
    // `position`: bytes from the start of the volume. `length`: bytes of the record. `record` must
    // outlive this object; its content is replaced.
    record_reader(CNtfs& ntfs, std::uint64_t position, std::uint32_t length,
                  std::vector<std::uint8_t>& record);

    // Reads the start of the record, enough to accept or refuse its header. Returns false if
    // nothing can be read; `record` is empty then.
    [[nodiscard]] bool read_start();

    // Applies the update sequence to the blocks of the first `fixed_size` bytes, and reads the
    // rest. With `with_values`, the values of all resident attributes are read, else only those
    // that lead to other attributes.
    void read_rest(std::uint64_t fixed_size, bool with_values);

    // Bytes that a single read of the whole record delivers: less than its length only where the
    // source ends first. Valid after read_start().
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

// Returns how many bytes of a record the readers of attributes can touch, given its first `seen`
// bytes: `record`, then zeros. A result above `seen` means that at least one more byte is needed to
// tell.
std::uint64_t record_reach(ql::bytes record, std::uint64_t seen, bool with_values);

// Reads single MFT records: read_mft_record is the only way in which the volume reader does.
#pragma once

#include <cstdint>
#include <vector>

#include "foundation/bytes/ql_bytes.h"
#include "ntfs/format/file_record.h"

class CNtfs;

// A whole accepted record that was read in one piece. Every reader with the rule
// acceptance::file_or_index gets these bytes, so a listing passes them on to the pass over the
// attributes of the same entry, which then needs no second read.
struct whole_record {
    std::uint64_t position = 0;  // bytes from the start of the volume
    std::uint32_t length = 0;    // bytes of the record; 0 if there is no record
    ql::bytes content;  // with the update sequence applied; refers to a buffer of the reader
};

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

// Which records a reader accepts. The rules differ on purpose: on a damaged volume, the rows of an
// entry may include attributes of an extension record in which no names are searched.
enum class acceptance {
    // Valid FILE records and records with the keyword "INDX", of any size. The update sequence may
    // state more blocks than the record has. This is the rule for entries, and for the extension
    // records whose attributes become rows.
    file_or_index,
    // Records that check_fixup accepts: also those with the keyword "BAAD", but none of fewer than
    // 1024 bytes, and none whose update sequence states more blocks than the record has. This is
    // the rule for extension records in which names or the runs of $MFT are searched.
    fixable,
};

// Which blocks of a record get their last bytes from the update sequence if the source ends inside
// the record.
enum class fixed_blocks {
    delivered,  // those that the source has
    all,        // also the missing ones, which are zero otherwise
};

// How a record is read.
struct record_request {
    std::uint64_t position = 0;  // bytes from the start of the volume
    std::uint32_t length = 0;    // bytes of the record
    acceptance rule = acceptance::file_or_index;
    fixed_blocks fixed = fixed_blocks::all;
    bool with_values = false;  // see record_reader::read_rest
};

struct record_answer {
    bool accepted = false;
    std::uint32_t kind = record_kind::none;  // also of a record that is not accepted
    std::uint32_t delivered = 0;             // bytes of the record that the source has
};

// Reads a record and applies its update sequence. If nothing can be read, `record` is empty and
// `delivered` is 0. The content of a record that is not accepted is unspecified.
record_answer read_mft_record(CNtfs& ntfs, const record_request& request,
                              std::vector<std::uint8_t>& record);

// Returns the record that read_mft_record has just read. Returns no record if it was not accepted,
// or by another rule than acceptance::file_or_index, if the source or `record` does not have all of
// it, or if it is larger than 64 KiB. The result is valid as long as `record` does not change.
whole_record whole_record_of(const record_request& request, const record_answer& answer,
                             ql::bytes record);

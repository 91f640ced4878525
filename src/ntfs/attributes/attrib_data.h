// Streams the data of an attribute.
#pragma once

#include <cstdint>

#include "foundation/bytes/ql_bytes.h"
#include "ntfs/attributes/attrib_rows.h"
#include "ntfs/attributes/entry_context.h"

class CNtfs;

// Receives the bytes of a stream in order. The zeros of a hole are passed as a number, because a
// hole may be larger than any memory.
class data_sink {
public:
    virtual ~data_sink() = default;
    data_sink(const data_sink&) = delete;
    data_sink& operator=(const data_sink&) = delete;

    // Both return false to end the stream.
    virtual bool put(ql::bytes content) = 0;
    virtual bool put_zeros(std::uint64_t count) = 0;

protected:
    data_sink() = default;
};

// Passes the data of a row to `sink`, decompressed if the attribute is compressed, and sets
// `ctx.byte_count` to the number of bytes. Returns false, with a count of 0, if there is no data.
bool stream_row(CNtfs& ntfs, const NTFS_ATTRIB_ROW& row, data_sink& sink, mft_entries_ctx& ctx);

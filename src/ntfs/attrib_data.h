// The data of an attribute, piece by piece.
#pragma once

#include <cstdint>

#include "foundation/ql_bytes.h"
#include "ntfs/attrib_store.h"

class CNtfs;

// Receives the bytes of a stream in order. Zeros are counted, not stored: a hole may be larger than
// any memory.
class data_sink {
public:
    virtual ~data_sink() = default;
    data_sink(const data_sink&) = delete;
    data_sink& operator=(const data_sink&) = delete;

    // Both return false if the stream is to end here.
    virtual bool put(ql::bytes content) = 0;
    virtual bool put_zeros(std::uint64_t count) = 0;

protected:
    data_sink() = default;
};

// Passes the data of a row to `sink`, decompressed if the attribute is compressed, and counts the
// bytes in `ctx`. Returns false without data.
bool stream_row(CNtfs& ntfs, const NTFS_ATTRIB_ROW& row, data_sink& sink, mft_entries_ctx& ctx);

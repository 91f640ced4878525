// The context in which an MFT entry is read.
#pragma once

#include <cstdint>

#include "run/settings/cmd_params.h"

class CNtfs;

// The context of one categorising pass: the volume, the record geometry and the trace of
// cmd_params, which is off by default.
class mft_entries_ctx : public cmd_params {
public:
    CNtfs* ntfs = nullptr;
    std::uint32_t record_size = 0;  // fixed on first use
    std::uint16_t bytes_per_sector = 0;
    std::uint64_t byte_count = 0;  // bytes passed on by the last stream_attribute
};

// How much of a large MFT record is needed.
#pragma once

#include <cstdint>

#include "foundation/bytes/ql_bytes.h"

// Returns how many bytes of a record the readers of attributes may access, given its first `seen`
// bytes: `record`, then zeros. A result above `seen` means that more bytes are needed to compute
// it.
std::uint64_t record_reach(ql::bytes record, std::uint64_t seen, bool with_values);

// How much memory a run on a damaged image may use.
#pragma once

#include <cstdint>

namespace e2e {

#if defined(__SANITIZE_ADDRESS__)
inline constexpr bool has_address_sanitizer = true;
#else
inline constexpr bool has_address_sanitizer = false;
#endif

// Returns the memory limit of a run in bytes: `valid_peak`, that of a run on a valid volume; four
// times the source (a stream is collected in a buffer that doubles); and tables of constant size. A
// sanitizer keeps freed memory for a while.
inline std::uint64_t memory_limit(std::uint64_t valid_peak, std::uint64_t source_size) {
    constexpr std::uint64_t tables = 8 * 1024 * 1024;
    return valid_peak + (4 * source_size + tables) * (has_address_sanitizer ? 3 : 1);
}

}  // namespace e2e

// Reads of a VMDK file's metadata through one small window.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "foundation/ql_bytes.h"

// Grain tables stand side by side, so that one read of the file serves several of them. The window
// is all the memory that reading takes, whatever sizes the file claims. It is a page: a directory
// that leads to places in no order costs a read of the whole window for each of them.
class vmdk_metadata_reader {
public:
    static constexpr std::size_t window_size = 0x1000;

    // Borrows the open file.
    explicit vmdk_metadata_reader(int fd) : m_fd(fd), m_window(window_size) {}

    // The `count` bytes at byte `position` of the file, window_size at most; fewer where the file
    // ends. `out` is good until the next read. False when the seek or the read fails.
    bool read(std::uint64_t position, std::size_t count, ql::bytes& out);

    // Fills the empty `out` with `count` 32-bit entries from byte `position` on. Zeros at the end,
    // which are also what follows the end of the file, are not stored. A later read that fails is
    // an end too. False, with `out` empty, if the first read fails.
    bool read_entries(std::uint64_t position, std::uint64_t count, std::vector<std::uint32_t>& out);

private:
    std::uint64_t entries_in_hole(std::uint64_t position, std::uint64_t count) const;
    bool is_in_window(std::uint64_t position, std::size_t count) const;

    int m_fd;
    std::vector<std::uint8_t> m_window;
    std::uint64_t m_window_position = 0;
    std::size_t m_window_held = 0;
};

// Reads a VMDK file's metadata through one small window.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "foundation/bytes/ql_bytes.h"

// Grain tables are next to each other, so that one read of the file covers several of them. Reading
// needs no memory except the window, whatever sizes the file states. The window is a page, because
// a directory with tables in no order needs a read of the whole window for each of them.
class vmdk_metadata_reader {
public:
    static constexpr std::size_t window_size = 0x1000;

    // Borrows the open file.
    explicit vmdk_metadata_reader(int fd) : m_fd(fd), m_window(window_size) {}

    // Returns the `count` bytes at byte `position` of the file, at most window_size; fewer at the
    // end of the file. They are valid until the next read. Returns nullopt if the seek or the read
    // fails.
    std::optional<ql::bytes> read(std::uint64_t position, std::size_t count);

    // Fills the empty `out` with `count` 32-bit entries from byte `position` on. Zeros at the end
    // are not stored, nor are the entries past the end of the file, which are zero. Entries after a
    // failed read are zero, too. Returns false, with `out` empty, if the first read fails.
    bool read_entries(std::uint64_t position, std::uint64_t count, std::vector<std::uint32_t>& out);

private:
    std::uint64_t entries_in_hole(std::uint64_t position, std::uint64_t count) const;
    bool is_in_window(std::uint64_t position, std::size_t count) const;

    int m_fd;
    std::vector<std::uint8_t> m_window;
    std::uint64_t m_window_position = 0;
    std::size_t m_window_held = 0;
};

#include "storage/vmdk/vmdk_metadata.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "storage/hints/hinted_reads.h"

namespace {

constexpr std::uint64_t entry_size = 4;  // bytes, of a directory and of a table

// Returns the number of entries in `part` up to the last one that is not 0, which may be truncated
// by the end of the file.
std::size_t entries_used(ql::bytes part) {
    std::size_t used = part.size();
    while (used > 0 && part[used - 1] == 0)
        --used;
    return (used + entry_size - 1) / entry_size;
}

}  // namespace

bool vmdk_metadata_reader::is_in_window(std::uint64_t position, std::size_t count) const {
    // A position before the window wraps, and is then far past it.
    const std::uint64_t skipped = position - m_window_position;
    return skipped <= m_window_held && count <= m_window_held - skipped;
}

std::optional<ql::bytes> vmdk_metadata_reader::read(std::uint64_t position, std::size_t count) {
    if (!is_in_window(position, count)) {
        m_window_held = 0;  // its bytes are undefined after a failed read
        if (::lseek(m_fd, static_cast<off_t>(position), SEEK_SET) == -1) return std::nullopt;
        const ssize_t brought = ::read(m_fd, m_window.data(), m_window.size());
        if (brought == -1) {
            source_read_has_failed = true;
            return std::nullopt;
        }
        m_window_position = position;
        m_window_held = static_cast<std::size_t>(brought);
    }
    const ql::bytes held(m_window.data(), m_window_held);
    return ql::clip(held, static_cast<std::size_t>(position - m_window_position), count);
}

bool vmdk_metadata_reader::read_entries(std::uint64_t position, std::uint64_t count,
                                        std::vector<std::uint32_t>& out) {
    for (std::uint64_t done = 0; done < count;) {
        const std::uint64_t step = std::min<std::uint64_t>(count - done, window_size / entry_size);
        const auto part = read(position + done * entry_size, step * entry_size);
        if (!part) return done != 0;
        const std::size_t used = entries_used(*part);
        if (used != 0) out.resize(done + used);
        for (std::size_t i = 0; i < used; ++i)
            out[done + i] = ql::le32(*part, i * entry_size);
        if (part->size() < step * entry_size) break;  // the end of the file
        done += step;
        if (used == 0) done += entries_in_hole(position + done * entry_size, count - done);
    }
    return true;
}

// Returns how many of the `count` entries from `position` on are in a hole of a sparse file, which
// can be much longer than all of its data.
std::uint64_t vmdk_metadata_reader::entries_in_hole(std::uint64_t position,
                                                    std::uint64_t count) const {
    const off_t data = ::lseek(m_fd, static_cast<off_t>(position), SEEK_DATA);
    if (data == -1) return errno == ENXIO ? count : 0;  // no data follows, or unknown holes
    return std::min((static_cast<std::uint64_t>(data) - position) / entry_size, count);
}

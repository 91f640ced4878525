#include "storage/vmdk/vmdk_extent.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <optional>

#include "foundation/streams/posix_file.h"
#include "foundation/text/ql_string.h"

namespace {

// Returns the remainder of a division by a size from the file; 0 for a size of 0.
std::uint64_t rest(std::uint64_t a, std::uint64_t b) { return b != 0 ? a % b : 0; }

}  // namespace

vmdk_extent::~vmdk_extent() {
    if (fd != -1) ::close(fd);
}

bool vmdk_extent::open(const std::wstring& path, bool write) {
    path_wide = path;
    path_utf8 = ql::to_utf8(path);
    write_access = write;
    fd = ql::open_file(path_utf8, write_access ? O_RDWR : O_RDONLY);
    if (fd == -1) return false;
    const std::int64_t size = ql::seek_size(fd);
    if (size == -1) return false;
    file_size = static_cast<std::uint64_t>(size);
    ready = read_metadata();
    return ready;
}

// Returns the sector of the file at which the grain of byte `offset` starts, or 0 for a hole.
std::uint32_t vmdk_extent::sector_of_grain(std::uint64_t offset) const {
    const auto table = static_cast<std::uint32_t>(ql::quotient(offset, table_span));
    const std::uint64_t grain = ql::quotient(rest(offset, table_span), grain_bytes);
    return grains.sector_of(table, grain);
}

bool vmdk_extent::find_grain(std::uint64_t offset, std::uint64_t& position) const {
    const std::uint64_t sector = sector_of_grain(offset);
    if (sector == 0) return false;
    position = rest(offset, grain_bytes) + (sector << 9);
    return true;
}

std::uint64_t vmdk_extent::grain_left(std::uint64_t offset) const {
    return grain_bytes - rest(offset, grain_bytes);
}

std::uint64_t vmdk_extent::next_held(std::uint64_t offset, std::uint64_t end) const {
    if (grain_bytes == 0) return offset;
    if (table_span / grain_bytes != entries_per_table()) {
        // The span wraps at 2^64, and grains are not at the positions in their tables. But the
        // distance of a byte from the start of the file is never less than from the start of its
        // grain.
        const std::uint64_t in_grain = offset % grain_bytes;
        if (in_grain < file_size) return offset;
        return offset + std::min(grain_bytes - in_grain, end - offset);
    }
    std::uint64_t position = 0;
    if (find_grain(offset, position) && position < file_size) return offset;
    return next_stored_grain(offset, end);
}

// Returns the start of the first grain after the one at `offset`, and before `end`, that may start
// in the file, or `end`.
std::uint64_t vmdk_extent::next_stored_grain(std::uint64_t offset, std::uint64_t end) const {
    constexpr int most_tables = 16;  // only those that are not in memory can have no such grain
    std::optional<std::uint64_t> table = offset / table_span;
    std::uint64_t grain = offset % table_span / grain_bytes + 1;
    for (int searched = 0; table && *table <= (end - 1) / table_span; ++searched) {
        const std::uint64_t start = *table * table_span;
        if (searched > most_tables) return start;
        const std::uint64_t grains_before_end = (end - start - 1) / grain_bytes + 1;
        const auto found = grains.next_stored_grain(*table, grain, grains_before_end);
        if (found) return start + *found * grain_bytes;
        table = grains.next_stored_table(*table);
        grain = 0;
    }
    return end;
}

bool vmdk_extent::read(std::uint8_t* buffer, std::uint64_t offset, std::uint32_t& count) {
    std::uint64_t position = 0;
    if (!find_grain(offset, position) || position >= file_size) return false;
    const std::uint64_t left = file_size - position;
    const auto wanted = static_cast<std::uint32_t>(std::min<std::uint64_t>(count, left));
    const ssize_t brought = m_reads.read(fd, buffer, wanted, position);
    if (brought < 1) return false;
    const std::size_t fresh = static_cast<std::size_t>(brought);
    std::memset(buffer + fresh, 0, wanted - fresh);
    count = wanted;
    return true;
}

void vmdk_extent::announce(std::uint64_t offset, std::uint64_t count) {
    std::uint64_t position = 0;
    if (!find_grain(offset, position) || position >= file_size) return;
    m_reads.announce(fd, position, std::min(count, file_size - position));
}

#include "storage/vmdk_extent.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cstring>

#include "foundation/posix_file.h"
#include "foundation/ql_string.h"

namespace {

constexpr std::uint64_t mark_bits = 64;  // in an item of m_marks

// The rest of a division by a size from the file; 0 for a size of 0.
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

bool vmdk_extent::find_grain(std::uint64_t offset, std::uint64_t& position) const {
    const std::uint32_t directory_index =
        static_cast<std::uint32_t>(ql::quotient(offset, table_span));
    if (directory_index >= table_of_entry.size()) return false;
    const std::vector<std::uint32_t>& table = grain_tables[table_of_entry[directory_index]];
    const std::uint64_t grain_index = ql::quotient(rest(offset, table_span), grain_bytes);
    if (grain_index >= table.size()) return false;
    const std::uint64_t sector = table[grain_index];
    if (sector == 0) return false;
    position = rest(offset, grain_bytes) + (sector << 9);
    return true;
}

std::uint64_t vmdk_extent::grain_left(std::uint64_t offset) const {
    return grain_bytes - rest(offset, grain_bytes);
}

bool vmdk_extent::is_in_file(std::uint32_t sector) const {
    return sector != 0 && std::uint64_t{sector} << 9 < file_size;
}

void vmdk_extent::mark_tables() {
    std::vector<bool> has_grains(grain_tables.size());
    for (std::size_t i = 0; i < grain_tables.size(); ++i) {
        has_grains[i] = std::any_of(grain_tables[i].begin(), grain_tables[i].end(),
                                    [this](std::uint32_t sector) { return is_in_file(sector); });
    }
    m_marks.assign(table_of_entry.size() / mark_bits + 1, 0);
    for (std::size_t i = 0; i < table_of_entry.size(); ++i) {
        const std::uint64_t mark = has_grains[table_of_entry[i]] ? 1 : 0;
        m_marks[i / mark_bits] |= mark << i % mark_bits;
    }
}

// Returns the first marked directory entry from `index` on.
std::optional<std::uint64_t> vmdk_extent::first_marked_entry(std::uint64_t index) const {
    std::uint64_t skipped = index % mark_bits;
    for (std::uint64_t at = index / mark_bits; at < m_marks.size(); ++at, skipped = 0) {
        const std::uint64_t marks = m_marks[at] >> skipped << skipped;
        if (marks != 0) return at * mark_bits + static_cast<unsigned>(std::countr_zero(marks));
    }
    return std::nullopt;
}

// Returns the first table after `table` whose directory entry is marked. The directory repeats:
// an entry is found by the low 32 bits of the table's number.
std::optional<std::uint64_t> vmdk_extent::next_marked_table(std::uint64_t table) const {
    constexpr std::uint64_t period = std::uint64_t{1} << 32;
    const std::uint64_t next = table + 1;
    if (const auto entry = first_marked_entry(next % period)) return next - next % period + *entry;
    if (const auto entry = first_marked_entry(0)) return next - next % period + period + *entry;
    return std::nullopt;
}

// Returns the first grain of the table from `grain` on, and before `end`, that starts in the file.
std::optional<std::uint64_t> vmdk_extent::first_stored_grain(std::uint32_t table,
                                                             std::uint64_t grain,
                                                             std::uint64_t end) const {
    if (table >= table_of_entry.size()) return std::nullopt;
    const std::vector<std::uint32_t>& entries = grain_tables[table_of_entry[table]];
    for (end = std::min<std::uint64_t>(end, entries.size()); grain < end; ++grain) {
        if (is_in_file(entries[grain])) return grain;
    }
    return std::nullopt;
}

std::uint64_t vmdk_extent::next_held(std::uint64_t offset, std::uint64_t end) const {
    if (grain_bytes == 0) return offset;
    if (table_span / grain_bytes != entries_per_table()) {
        // The span wraps at 2^64, and grains are not where their tables say. But no byte is stored
        // nearer to the start of the file than to the start of its grain.
        const std::uint64_t in_grain = offset % grain_bytes;
        if (in_grain < file_size) return offset;
        return offset + std::min(grain_bytes - in_grain, end - offset);
    }
    std::uint64_t position = 0;
    if (find_grain(offset, position) && position < file_size) return offset;
    // Bytes further on in this grain are no part of the file either: start at the next one.
    std::optional<std::uint64_t> table = offset / table_span;
    std::uint64_t grain = offset % table_span / grain_bytes + 1;
    for (; table && *table <= (end - 1) / table_span; table = next_marked_table(*table)) {
        const std::uint64_t start = *table * table_span;
        const std::uint64_t grains_before_end = (end - start - 1) / grain_bytes + 1;
        const auto found =
            first_stored_grain(static_cast<std::uint32_t>(*table), grain, grains_before_end);
        if (found) return start + *found * grain_bytes;
        grain = 0;
    }
    return end;
}

bool vmdk_extent::read(std::uint8_t* buffer, std::uint64_t offset, std::uint32_t& count) {
    std::uint64_t position = 0;
    if (!find_grain(offset, position) || position >= file_size) return false;
    const std::uint64_t held = file_size - position;
    const auto wanted = static_cast<std::uint32_t>(std::min<std::uint64_t>(count, held));
    const ssize_t brought = ::pread(fd, buffer, wanted, static_cast<off_t>(position));
    if (brought < 1) return false;
    const std::size_t fresh = static_cast<std::size_t>(brought);
    std::memset(buffer + fresh, 0, wanted - fresh);
    count = wanted;
    return true;
}

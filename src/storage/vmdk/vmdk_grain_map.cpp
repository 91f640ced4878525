#include "storage/vmdk/vmdk_grain_map.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <bit>
#include <utility>

#include "foundation/bytes/ql_bytes.h"
#include "storage/vmdk/vmdk_metadata.h"

namespace {

constexpr std::uint64_t sector_bytes = 512;
constexpr std::uint64_t entry_size = 4;            // bytes, of a directory and of a table
constexpr std::uint64_t mark_bits = 64;            // in an item of m_marks
constexpr std::uint64_t period = 1ull << 32;       // tables after which the directory repeats
constexpr std::uint64_t longest_search = 0x40000;  // entries of a table that is in the file only

// Tables that do not overlap are no larger than their file. The limit bounds the time of opening.
std::uint64_t table_budget(std::uint64_t file_size) {
    constexpr std::uint64_t spare = 0x100000;
    constexpr std::uint64_t most = 0x40000000;
    return std::min(file_size, most) + spare;
}

std::uint64_t bytes_of(std::uint32_t sector) { return std::uint64_t{sector} * sector_bytes; }

}  // namespace

bool vmdk_grain_map::read(int fd, std::uint64_t file_size, const vmdk_directory_place& place,
                          vmdk_metadata_reader& reader) {
    if (place.entries_per_table == 0) return false;
    m_fd = fd;
    m_file_size = file_size;
    m_place = place;
    m_budget = table_budget(file_size);
    if (!reader.read_entries(place.position, place.num_entries, m_directory)) return false;
    read_tables(reader);
    mark_tables();
    return m_num_tables != 0;
}

void vmdk_grain_map::read_tables(vmdk_metadata_reader& reader) {
    for (m_num_tables = 0; m_num_tables < m_directory.size(); ++m_num_tables) {
        if (!read_table(m_directory[m_num_tables], reader)) return;
    }
    // All other entries are 0.
    if (m_num_tables < m_place.num_entries && read_table(0, reader))
        m_num_tables = m_place.num_entries;
}

// Reads a table into memory. Returns false if it cannot be read; true also if it has already been
// read, is past the end of the file, or is not to be held.
bool vmdk_grain_map::read_table(std::uint32_t sector, vmdk_metadata_reader& reader) {
    const std::uint64_t position = bytes_of(sector);
    if (position >= m_file_size || m_tables.contains(sector)) return true;
    const std::uint64_t table_size = m_place.entries_per_table * entry_size;
    const std::uint64_t cost = std::min(table_size, m_file_size - position);
    if (cost > m_budget) return true;
    m_budget -= cost;
    grain_table table;
    // After a failed read of the metadata, entries are zero.
    const bool is_in_metadata = position + table_size <= m_place.metadata_size;
    if (!reader.read_entries(position, m_place.entries_per_table, table.sectors) && !is_in_metadata)
        return false;
    table.has_stored_grain = std::any_of(table.sectors.begin(), table.sectors.end(),
                                         [this](std::uint32_t at) { return is_in_file(at); });
    m_tables.emplace(sector, std::move(table));
    return true;
}

std::uint64_t vmdk_grain_map::num_held_entries() const {
    std::uint64_t total = m_directory.size();
    for (const auto& [sector, table] : m_tables)
        total += table.sectors.size();
    return total;
}

bool vmdk_grain_map::is_in_file(std::uint32_t sector) const {
    return sector != 0 && bytes_of(sector) < m_file_size;
}

std::uint32_t vmdk_grain_map::table_sector(std::uint64_t table) const {
    return table < m_directory.size() ? m_directory[table] : 0;
}

std::uint32_t vmdk_grain_map::sector_of(std::uint64_t table, std::uint64_t grain) const {
    if (table >= m_num_tables || grain >= m_place.entries_per_table) return 0;
    const auto found = m_tables.find(table_sector(table));
    if (found == m_tables.end()) return read_sector_of(table_sector(table), grain);
    const std::vector<std::uint32_t>& sectors = found->second.sectors;
    return grain < sectors.size() ? sectors[grain] : 0;
}

std::uint32_t vmdk_grain_map::read_sector_of(std::uint32_t table_sector,
                                             std::uint64_t grain) const {
    std::array<std::uint8_t, entry_size> entry{};
    const std::uint64_t position = bytes_of(table_sector) + grain * entry_size;
    if (position >= m_file_size) return 0;
    if (::pread(m_fd, entry.data(), entry.size(), static_cast<off_t>(position)) < 1) return 0;
    return ql::le32(entry, 0);
}

// --- ranges that the file does not store ---

bool vmdk_grain_map::may_have_stored_grain(std::uint32_t table_sector) const {
    const auto found = m_tables.find(table_sector);
    if (found != m_tables.end()) return found->second.has_stored_grain;
    return bytes_of(table_sector) < m_file_size;
}

void vmdk_grain_map::mark_tables() {
    const std::uint64_t held = std::min<std::uint64_t>(m_num_tables, m_directory.size());
    m_marks.assign(held / mark_bits + 1, 0);
    for (std::uint64_t i = 0; i < held; ++i) {
        const std::uint64_t mark = may_have_stored_grain(m_directory[i]) ? 1 : 0;
        m_marks[i / mark_bits] |= mark << i % mark_bits;
    }
    m_are_others_marked = m_num_tables > held && may_have_stored_grain(0);
}

// Returns the first marked directory entry from `index` on.
std::optional<std::uint64_t> vmdk_grain_map::first_marked_entry(std::uint64_t index) const {
    std::uint64_t skipped = index % mark_bits;
    for (std::uint64_t at = index / mark_bits; at < m_marks.size(); ++at, skipped = 0) {
        const std::uint64_t marks = m_marks[at] >> skipped << skipped;
        if (marks != 0) return at * mark_bits + static_cast<unsigned>(std::countr_zero(marks));
    }
    const std::uint64_t other = std::max<std::uint64_t>(index, m_directory.size());
    if (m_are_others_marked && other < std::min(m_num_tables, period)) return other;
    return std::nullopt;
}

std::optional<std::uint64_t> vmdk_grain_map::next_stored_table(std::uint64_t table) const {
    const std::uint64_t next = table + 1;
    const std::uint64_t first_of_period = next - next % period;
    if (const auto entry = first_marked_entry(next % period)) return first_of_period + *entry;
    if (const auto entry = first_marked_entry(0)) return first_of_period + period + *entry;
    return std::nullopt;
}

std::optional<std::uint64_t> vmdk_grain_map::next_stored_grain(std::uint64_t table,
                                                               std::uint64_t grain,
                                                               std::uint64_t end) const {
    table %= period;
    if (table >= m_num_tables) return std::nullopt;
    const auto found = m_tables.find(table_sector(table));
    if (found == m_tables.end()) return search_file(table_sector(table), grain, end);
    const std::vector<std::uint32_t>& sectors = found->second.sectors;
    for (end = std::min<std::uint64_t>(end, sectors.size()); grain < end; ++grain) {
        if (is_in_file(sectors[grain])) return grain;
    }
    return std::nullopt;
}

std::optional<std::uint64_t> vmdk_grain_map::search_file(std::uint32_t table_sector,
                                                         std::uint64_t grain,
                                                         std::uint64_t end) const {
    std::array<std::uint8_t, 4096> piece{};
    end = std::min<std::uint64_t>(end, m_place.entries_per_table);
    const std::uint64_t limit = grain + longest_search;
    while (grain < std::min(end, limit)) {
        const std::uint64_t position = bytes_of(table_sector) + grain * entry_size;
        if (position >= m_file_size) return std::nullopt;
        const ssize_t brought =
            ::pread(m_fd, piece.data(), piece.size(), static_cast<off_t>(position));
        if (brought < 1) return grain;  // unknown
        const ql::bytes entries(piece.data(), static_cast<std::size_t>(brought));
        for (std::size_t at = 0; at < entries.size() && grain < end; at += entry_size, ++grain) {
            if (is_in_file(ql::le32(entries, at))) return grain;
        }
    }
    if (grain < end) return grain;
    return std::nullopt;
}

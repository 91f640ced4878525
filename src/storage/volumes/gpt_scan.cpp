#include "storage/volumes/gpt_scan.h"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>
#include <vector>

#include "foundation/text/ql_string.h"
#include "storage/disk/raw_disk.h"
#include "storage/tables/fs_detection.h"
#include "storage/tables/partition_walk.h"
#include "storage/tables/ql_disk_structs.h"

namespace {

constexpr std::uint32_t start_size = 32768;     // bytes of the reads of the start and of the header
constexpr std::uint32_t read_entry_size = 128;  // bytes of an entry that are used
constexpr std::uint32_t least_first_sector = 512;
constexpr std::uint64_t volume_start_size = 2048;  // read of a partition, for ext and HFS+
constexpr std::uint16_t type_gpt = 238;
// Far more entries than any table has; later ones are not read. A hole in an image can contain
// billions of unused entries. In a hole, entries shorter than their type repeat the bytes before
// them and are partitions.
constexpr std::uint32_t most_entries = 0x10000;

// Header of a GUID partition table, in the second sector. Its signature is not checked.
//
//   24  u64  sector of this header, 1
//   72  u64  sector of the first entry
//   80  u32  number of entries
//   84  u32  bytes in an entry
struct gpt_header {
    std::uint64_t entries_lba = 0;
    std::uint32_t num_entries = 0;
    std::uint32_t entry_size = 0;
};

// One entry, usually of 128 bytes. The type of an unused one is zero.
//
//    0  16   type GUID
//   16  16   GUID of this partition
//   32  u64  first sector
//   40  u64  last sector, inclusive
//   56  72   name, UTF-16LE
using gpt_entry = std::array<std::uint8_t, read_entry_size>;

std::uint64_t first_lba(const gpt_entry& entry) { return ql::le64(entry, 32); }
std::uint64_t last_lba(const gpt_entry& entry) { return ql::le64(entry, 40); }

// Modulo 2^64: 0 for a last sector just below the first, huge for one further below.
std::uint64_t num_sectors(const gpt_entry& entry) { return last_lba(entry) - first_lba(entry) + 1; }

bool is_unused(const gpt_entry& entry) {
    return ql::le64(entry, 0) == 0 && ql::le64(entry, 8) == 0;
}

// All reads of the table use one buffer. If the source ends inside a read, the bytes after its end
// are those of an earlier read: of the previous entry, the header, or the start of the disk.
using table_buffer = std::vector<std::uint8_t>;

// Returns the sector size, which the position of the first signature defines. Returns 0 if there is
// no signature or nothing can be read.
std::uint32_t find_sector_size(CRawDisk& disk, table_buffer& buffer) {
    buffer.assign(start_size, 0);
    std::uint32_t count = start_size;
    if (!disk.read_bytes(buffer.data(), count, 0)) return 0;
    return signed_sector_size(buffer, default_sector_size, largest_sector_size);
}

std::optional<gpt_header> read_header(CRawDisk& disk, std::uint32_t sector_size,
                                      table_buffer& buffer) {
    std::uint32_t count = start_size;
    if (!disk.read_bytes(buffer.data(), count, sector_size)) return std::nullopt;
    const std::uint64_t own_lba = ql::le64(buffer, 24);
    if (own_lba != 1) return std::nullopt;
    return gpt_header{.entries_lba = ql::le64(buffer, 72),
                      .num_entries = ql::le32(buffer, 80),
                      .entry_size = ql::le32(buffer, 84)};
}

// Returns true if the table extends past the end of the source, so that one of its reads must fail.
// This check before the first entry avoids a walk through a table that states billions of them. For
// a table without entries the result is not relevant: nothing is listed.
bool ends_past_source(const gpt_header& header, std::uint64_t position, std::uint64_t size) {
    if (header.entry_size == 0) return true;  // a read of nothing fails
    if (static_cast<std::int64_t>(position) < 0) return false;
    if (position >= size) return true;
    return (size - position - 1) / header.entry_size < header.num_entries - 1;
}

// Detects the file system in the first sectors of a partition, for which the table contains only a
// GUID. A partition with fewer than 512 bytes before the end of the source keeps type 0. Returns
// false if it cannot be read.
bool detect_volume(CRawDisk& disk, partition_record& record, const gpt_entry& entry,
                   std::uint32_t sector_size) {
    // Unsigned, and may wrap: a partition without sectors is read as one sector.
    const bool is_small = num_sectors(entry) * sector_size <= volume_start_size;
    std::array<std::uint8_t, largest_sector_size> start{};
    std::uint32_t count = is_small ? sector_size : volume_start_size;
    if (!disk.read_bytes(start.data(), count, first_lba(entry) * sector_size)) return false;
    if (count < least_first_sector) return true;
    record.m_partition_type = type_gpt;
    detect_file_system(record, ql::clip(start, 0, count));
    return true;
}

partition_record record_of(const gpt_entry& entry, std::uint32_t sector_size) {
    partition_record record;
    std::copy_n(entry.begin(), record.type_guid.size(), record.type_guid.begin());
    std::copy_n(entry.begin() + 16, record.unique_guid.size(), record.unique_guid.begin());
    record.is_gpt = true;
    record.m_sector_size = sector_size;
    record.m_LBA_first_sector = first_lba(entry);
    if (last_lba(entry) != 0) record.m_num_sectors = num_sectors(entry);
    record.description = ql::utf16_to_utf8(ql::clip(entry, 56), 72);
    return record;
}

// Reads an entry over the bytes of the previous one. If an entry is shorter than its fields, or
// truncated by the end of the source, the rest of those bytes is kept.
bool read_entry(CRawDisk& disk, std::uint64_t position, std::uint32_t entry_size,
                gpt_entry& entry) {
    std::uint32_t count = std::min(entry_size, read_entry_size);
    return disk.read_bytes(entry.data(), count, position);
}

}  // namespace

bool scan_gpt(CRawDisk& disk, partition_list& list, bool /*list_all*/) {
    list.clear();
    table_buffer buffer;
    const std::uint32_t sector_size = find_sector_size(disk, buffer);
    if (sector_size == 0) return false;
    const std::optional<gpt_header> header = read_header(disk, sector_size, buffer);
    if (!header) return false;
    gpt_entry entry{};  // the start of the buffer; the rest is not used
    std::copy_n(buffer.begin(), entry.size(), entry.begin());

    std::uint64_t position = header->entries_lba * sector_size;
    if (ends_past_source(*header, position, disk.size_in_bytes())) return false;
    const std::uint32_t num_entries = std::min(header->num_entries, most_entries);
    for (std::uint32_t i = 0; i < num_entries; ++i, position += header->entry_size) {
        if (!read_entry(disk, position, header->entry_size, entry)) return false;
        if (is_unused(entry)) continue;
        partition_record record = record_of(entry, sector_size);
        if (!detect_volume(disk, record, entry, sector_size)) return false;
        list.push_back(std::move(record));
    }
    return !list.empty();
}

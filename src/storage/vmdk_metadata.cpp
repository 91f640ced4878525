#include "storage/vmdk_metadata.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string>
#include <string_view>
#include <utility>

#include "foundation/ql_string.h"
#include "storage/ql_disk_structs.h"
#include "storage/vmdk_extent.h"

namespace {

constexpr char magic[] = "KDMV";
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

bool vmdk_metadata_reader::read(std::uint64_t position, std::size_t count, ql::bytes& out) {
    if (!is_in_window(position, count)) {
        m_window_held = 0;  // its bytes are undefined after a failed read
        if (::lseek(m_fd, static_cast<off_t>(position), SEEK_SET) == -1) return false;
        const ssize_t brought = ::read(m_fd, m_window.data(), m_window.size());
        if (brought == -1) return false;
        m_window_position = position;
        m_window_held = static_cast<std::size_t>(brought);
    }
    const ql::bytes held(m_window.data(), m_window_held);
    out = ql::clip(held, static_cast<std::size_t>(position - m_window_position), count);
    return true;
}

bool vmdk_metadata_reader::read_entries(std::uint64_t position, std::uint64_t count,
                                        std::vector<std::uint32_t>& out) {
    for (std::uint64_t done = 0; done < count;) {
        const std::uint64_t step = std::min<std::uint64_t>(count - done, window_size / entry_size);
        ql::bytes part;
        if (!read(position + done * entry_size, step * entry_size, part)) return done != 0;
        const std::size_t used = entries_used(part);
        if (used != 0) out.resize(done + used);
        for (std::size_t i = 0; i < used; ++i)
            out[done + i] = ql::le32(part, i * entry_size);
        if (part.size() < step * entry_size) break;  // the end of the file
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

bool vmdk_extent::read_metadata() {
    vmdk_metadata_reader reader(fd);
    return read_header(reader) && read_descriptor(reader) && read_directory(reader) &&
           read_first_sector(reader);
}

bool vmdk_extent::read_header(vmdk_metadata_reader& reader) {
    ql::bytes start;
    if (!reader.read(0, header.size(), start)) return false;
    std::copy(start.begin(), start.end(), header.begin());
    grain_bytes = sector_size * grain_size();
    table_span = entries_per_table() * grain_bytes;
    return ql::has_text(header, 0, magic);
}

// The descriptor is a text that ends at its first zero byte or at its size.
bool vmdk_extent::read_descriptor(vmdk_metadata_reader& reader) {
    const std::uint64_t position = sector_size * descriptor_offset();
    const std::uint64_t size = sector_size * descriptor_size();
    std::string line;
    std::uint64_t done = 0;
    do {  // at least once: a failed seek is an error even for an empty text
        const std::size_t step =
            std::min<std::uint64_t>(size - done, vmdk_metadata_reader::window_size);
        ql::bytes part;
        if (!reader.read(position + done, step, part)) {
            if (done == 0) return false;
            break;  // the text ends at a failed read
        }
        if (!take_descriptor_text(part, line) || part.size() < step) break;
        done += step;
    } while (done < size);
    take_descriptor_line(line);
    return true;
}

// Appends a part of the descriptor to `line`, and interprets the lines that end in it. Returns
// false at a zero byte, which ends the descriptor.
bool vmdk_extent::take_descriptor_text(ql::bytes part, std::string& line) {
    for (const std::uint8_t byte : part) {
        if (byte == 0) return false;
        if (byte == '\n') {
            take_descriptor_line(line);
            line.clear();
        } else {
            line += static_cast<char>(byte);
        }
    }
    return true;
}

// Keys are at the start of their line, in any case; values extend to the end of the line.
void vmdk_extent::take_descriptor_line(const std::string& line) {
    const std::pair<std::string_view, std::string*> values[] = {
        {"cid=", &cid},
        {"parentcid=", &parent_cid},
        {"encoding=", &encoding},
        {"parentfilenamehint=", &parent_file_hint}};
    for (const auto& [key, value] : values) {
        std::string start = line.substr(0, key.size());
        ql::lower(start);
        if (start == key) *value = line.substr(key.size());
    }
}

// The directory extends from its start to the first table, whatever the capacity is. Both are in
// the metadata, whose size is in the header. Entries that only pad the directory are kept: because
// they are 0, they mean a table at the start of the file. Returns false if nothing is between the
// two.
bool vmdk_extent::read_directory(vmdk_metadata_reader& reader) {
    const std::uint64_t metadata_size = sector_size * overhead();
    const std::uint64_t start = sector_size * grain_dir_offset();
    if (start >= metadata_size) return false;
    ql::bytes first;
    if (!reader.read(start, entry_size, first)) return false;
    first_table_offset = std::uint64_t{sector_size} * ql::le32(first, 0);
    if (first_table_offset > metadata_size || first_table_offset <= start) return false;
    const vmdk_directory_place place = {.position = start,
                                        .num_entries = (first_table_offset - start) / entry_size,
                                        .entries_per_table = entries_per_table(),
                                        .metadata_size = metadata_size};
    return grains.read(fd, file_size, place, reader);
}

// The first sector of the disk contains the partition table. In a delta file the first grain is
// usually missing, so that its own header is read instead and it has no partitions.
bool vmdk_extent::read_first_sector(vmdk_metadata_reader& reader) {
    first_sector_offset = std::uint64_t{grains.sector_of(0, 0)} * sector_size;
    ql::bytes stored;
    if (!reader.read(first_sector_offset, sector_size, stored)) return false;
    first_sector.assign(sector_size, 0);
    std::copy(stored.begin(), stored.end(), first_sector.begin());

    partition_list list;
    scan_partitions_in_buffer(first_sector, list, true, false);
    for (const partition_record& record : list) {
        partition_offsets.push_back(record.byte_offset());
        partition_sector_sizes.push_back(record.m_sector_size);
    }
    return true;
}

// The members of vmdk_extent that read the header, the descriptor, the directory and the partition
// table of the disk.
#include <algorithm>
#include <string>
#include <string_view>
#include <utility>

#include "foundation/text/ql_string.h"
#include "storage/tables/partition_buffer_scan.h"
#include "storage/vmdk/vmdk_extent.h"
#include "storage/vmdk/vmdk_metadata.h"

namespace {

constexpr char magic[] = "KDMV";
constexpr std::uint64_t entry_size = 4;  // bytes, of a directory entry

}  // namespace

bool vmdk_extent::read_metadata() {
    vmdk_metadata_reader reader(fd);
    return read_header(reader) && read_descriptor(reader) && read_directory(reader) &&
           read_first_sector(reader);
}

bool vmdk_extent::read_header(vmdk_metadata_reader& reader) {
    const auto start = reader.read(0, header.size());
    if (!start) return false;
    std::copy(start->begin(), start->end(), header.begin());
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
        const auto part = reader.read(position + done, step);
        if (!part) {
            if (done == 0) return false;
            break;  // the text ends at a failed read
        }
        if (!take_descriptor_text(*part, line) || part->size() < step) break;
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
    const auto first = reader.read(start, entry_size);
    if (!first) return false;
    first_table_offset = std::uint64_t{sector_size} * ql::le32(*first, 0);
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
    const auto stored = reader.read(first_sector_offset, sector_size);
    if (!stored) return false;
    first_sector.assign(sector_size, 0);
    std::copy(stored->begin(), stored->end(), first_sector.begin());

    for (const partition_record& record :
         scan_partitions_in_buffer(first_sector, scan_mode::forced)) {
        partition_offsets.push_back(record.byte_offset());
        partition_sector_sizes.push_back(record.m_sector_size);
    }
    return true;
}

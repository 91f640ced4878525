#include "support/volume_writer.h"

#include <algorithm>
#include <bit>
#include <stdexcept>

#include "support/byte_writer.h"
#include "support/directory_writer.h"
#include "support/partition_image.h"

namespace support {

namespace {

constexpr std::uint64_t smallest_volume = 1 << 20;  // bytes, if the size is not set
constexpr std::size_t largest_resident = 256;       // bytes of a bitmap in a record

// Returns the stored form. More than 128 sectors do not fit: 256, which is 2^(256 - 0xF8), is
// stored as 0xF8.
std::uint8_t stored_sectors_per_cluster(std::uint64_t sectors) {
    return sectors <= 128 ? static_cast<std::uint8_t>(sectors)
                          : static_cast<std::uint8_t>(256 - std::countr_zero(sectors));
}

// Returns the size in clusters if it is at least one cluster, else minus the power of two, as a
// byte.
std::uint8_t stored_size(std::uint32_t size, std::uint32_t cluster) {
    return size >= cluster ? static_cast<std::uint8_t>(size / cluster)
                           : static_cast<std::uint8_t>(256 - std::countr_zero(size));
}

void set_bits(bytes& bits, std::uint64_t from, std::uint64_t count) {
    const std::uint64_t end = std::min<std::uint64_t>(from + count, bits.size() * 8);
    for (std::uint64_t i = from; i < end; ++i) {
        bits[i / 8] = static_cast<std::uint8_t>(bits[i / 8] | 1u << i % 8);
    }
}

}  // namespace

std::uint64_t volume_writer::sectors_per_cluster() const {
    return m_volume.m_geometry.cluster / m_volume.m_geometry.sector;
}

std::uint64_t volume_writer::mft_capacity() const {
    return clusters_in(m_volume.m_mft_runs) * m_volume.m_geometry.cluster /
           m_volume.m_geometry.record;
}

bool volume_writer::is_free(std::uint64_t entry, std::uint32_t type_code,
                            std::u16string_view name) const {
    return !m_volume.m_entries.at(entry).has_attribute(type_code, name);
}

void volume_writer::add_indexes() {
    std::vector<std::uint64_t> numbers;
    for (const auto& [number, index] : m_volume.m_indexes) {
        numbers.push_back(number);
    }
    for (const std::uint64_t number : numbers) {
        directory_writer(m_volume, number).write();
    }
}

void volume_writer::add_stored(std::uint64_t entry, std::u16string_view name,
                               const bytes& content) {
    if (is_free(entry, type::data, name)) {
        m_volume.entry(entry).stream_runs(name, m_volume.store(content), {.real = content.size()});
    }
}

void volume_writer::add_plain_system_files() {
    if (is_free(2, type::data, u"")) {
        m_volume.entry(2).data("");
    }
    if (is_free(3, type::volume_information, u"")) {
        m_volume.entry(3)
            .resident(type::volume_name, u"", as_bytes(u"sample"))
            .resident(type::volume_information, u"", {0, 0, 0, 0, 0, 0, 0, 0, 3, 1, 0, 0});
    }
    if (is_free(7, type::data, u"")) {
        m_volume.entry(7).data_runs({{0, m_volume.clusters_for(8192)}}, {.real = 8192});
    }
    add_stored(4, u"", attribute_definitions());
    add_stored(10, u"", upcase_table());
}

void volume_writer::add_security() {
    record_builder& record = m_volume.entry(9);
    bytes by_hash, by_id;
    std::vector<sds_stream::placed> entries = m_volume.m_security.entries();
    std::sort(entries.begin(), entries.end(),
              [](const auto& a, const auto& b) { return a.id < b.id; });
    for (const auto& placed : entries) {
        append(by_id, sii_index_entry(placed));
    }
    std::sort(entries.begin(), entries.end(), [](const auto& a, const auto& b) {
        return a.hash != b.hash ? a.hash < b.hash : a.id < b.id;
    });
    for (const auto& placed : entries) {
        append(by_hash, sdh_index_entry(placed));
    }
    if (is_free(9, type::data, u"$SDS") && !entries.empty()) {
        add_stored(9, u"$SDS", m_volume.m_security.build());
    }
    append(by_hash, index_end_entry());
    append(by_id, index_end_entry());
    const std::size_t needed = by_hash.size() + by_id.size() + 2 * (24 + 8 + 32);
    if (is_free(9, type::index_root, u"$SII") && record.space_left() >= needed) {
        record.resident(type::index_root, u"$SDH",
                        index_root_value(by_hash, {.type_code = 0, .collation = 0x12}));
        record.resident(type::index_root, u"$SII",
                        index_root_value(by_id, {.type_code = 0, .collation = 0x10}));
    }
}

// Adds $DATA and $BITMAP of $MFT, and $DATA of $MFTMirr.
void volume_writer::add_mft() {
    const ntfs_geometry& g = m_volume.m_geometry;
    const std::uint64_t mirror_size = std::max<std::uint64_t>(4ull * g.record, g.cluster);
    const std::uint64_t mirror_clusters = m_volume.clusters_for(mirror_size);
    m_mirror_runs = {{g.mirror_lcn, mirror_clusters}};
    if (g.mirror_lcn == 0) {
        m_mirror_runs[0].lcn = m_volume.alloc(mirror_clusters);
    } else {
        m_volume.reserve(g.mirror_lcn, mirror_clusters);
    }
    if (is_free(1, type::data, u"")) {
        m_volume.entry(1).data_runs(m_mirror_runs, {.real = mirror_size});
    }
    const std::uint64_t capacity = mft_capacity();
    if (is_free(0, type::data, u"")) {
        m_volume.entry(0).data_runs(m_volume.m_mft_runs, {.real = capacity * g.record});
    }
    if (is_free(0, type::bitmap, u"")) {
        bytes bits(round_up(capacity, 64) / 8);
        for (const auto& [number, record] : m_volume.m_entries) {
            set_bits(bits, number, record.is_in_use() ? 1 : 0);
        }
        set_bits(bits, 16, 8);  // entries 16 to 23 are reserved for the system
        if (bits.size() <= largest_resident) {
            m_volume.entry(0).resident(type::bitmap, u"", bits);
        } else {
            m_volume.entry(0).nonresident(type::bitmap, u"", m_volume.store(bits),
                                          {.real = bits.size()});
        }
    }
}

// Allocates the clusters of $Bitmap and determines the number of clusters of the volume.
void volume_writer::settle_size() {
    const ntfs_geometry& g = m_volume.m_geometry;
    std::uint64_t least = g.clusters;
    if (least == 0) {
        std::uint64_t end = smallest_volume / g.cluster;
        for (const auto& [lcn, count] : m_volume.m_used) {
            end = std::max(end, lcn + count);
        }
        least = end + end / 1024 + 16;  // including space for the bitmap itself
    }
    m_bitmap_runs = {{0, m_volume.clusters_for(round_up(least, 64) / 8)}};
    m_bitmap_runs[0].lcn = m_volume.alloc(m_bitmap_runs[0].count);
    m_clusters = least;
    for (const auto& [lcn, count] : m_volume.m_used) {
        if (lcn + count > m_clusters) {
            throw std::length_error("support: the volume has too few clusters");
        }
    }
}

bytes volume_writer::used_cluster_bits(std::uint64_t clusters) const {
    bytes bits(round_up(clusters, 64) / 8);
    for (const auto& [lcn, count] : m_volume.m_used) {
        set_bits(bits, lcn, count);
    }
    set_bits(bits, clusters, bits.size() * 8 - clusters);  // past the end of the volume
    return bits;
}

void volume_writer::add_bitmap() {
    const bytes bits = used_cluster_bits(m_clusters);
    m_volume.write_runs(m_bitmap_runs, bits);
    if (is_free(6, type::data, u"")) {
        m_volume.entry(6).data_runs(m_bitmap_runs, {.real = bits.size()});
    }
    if (is_free(8, type::data, u"")) {
        m_volume.entry(8).data("");
    }
    if (is_free(8, type::data, u"$Bad")) {
        m_volume.entry(8).stream_runs(u"$Bad", {{hole, m_clusters}}, {.initialized = 0});
    }
}

// Writes one cluster at a time, because a record can be in two runs.
void volume_writer::write_record(byte_image& image, std::uint64_t number,
                                 const bytes& record) const {
    const std::uint64_t cluster = m_volume.m_geometry.cluster;
    for (std::size_t done = 0; done < record.size();) {
        const std::uint64_t at = number * m_volume.m_geometry.record + done;
        const auto step = static_cast<std::size_t>(
            std::min<std::uint64_t>(record.size() - done, cluster - at % cluster));
        std::uint64_t vcn = at / cluster;
        for (const cluster_run& run : m_volume.m_mft_runs) {
            if (vcn < run.count) {
                if (run.lcn != hole) {
                    image.put_bytes((run.lcn + vcn) * cluster + at % cluster,
                                    std::span(record).subspan(done, step));
                }
                break;
            }
            vcn -= run.count;
        }
        done += step;
    }
}

bytes volume_writer::record_bytes(std::uint64_t number) const {
    const ntfs_geometry& g = m_volume.m_geometry;
    const auto found = m_volume.m_entries.find(number);
    if (found != m_volume.m_entries.end()) {
        return found->second.build();
    }
    return g.format_unused
               ? record_builder(number, g.record, g.fixup_stride, g.cluster).flags(0).build()
               : bytes(g.record);
}

void volume_writer::write_mft(byte_image& image) const {
    for (std::uint64_t number = 0; number < mft_capacity(); ++number) {
        if (m_volume.m_geometry.format_unused || m_volume.has_entry(number)) {
            write_record(image, number, record_bytes(number));
        }
    }
}

void volume_writer::write_mirror(byte_image& image) const {
    const ntfs_geometry& g = m_volume.m_geometry;
    const std::uint64_t count = std::max<std::uint64_t>(4, g.cluster / g.record);
    for (std::uint64_t number = 0; number < std::min(count, mft_capacity()); ++number) {
        image.put_bytes(m_mirror_runs[0].lcn * g.cluster + number * g.record, record_bytes(number));
    }
}

void volume_writer::write_boot_sectors(byte_image& image) const {
    const ntfs_geometry& g = m_volume.m_geometry;
    const std::uint64_t sectors = m_clusters * sectors_per_cluster();
    const byte_image boot = ntfs_boot_sector({
        .bytes_per_sector = static_cast<std::uint16_t>(g.sector),
        .sectors_per_cluster = stored_sectors_per_cluster(sectors_per_cluster()),
        .hidden_sectors = g.hidden_sectors,
        .total_sectors = sectors,
        .mft_lcn = m_volume.m_mft_runs.at(0).lcn,
        .mirror_lcn = m_mirror_runs[0].lcn,
        .record_size = stored_size(g.record, g.cluster),
        .index_block_size = stored_size(g.index_block, g.cluster),
        .serial = g.serial,
    });
    image.put_image(0, boot);
    image.put_image(sectors * g.sector, boot);
    image.resize((sectors + 1) * g.sector);
}

byte_image volume_writer::write() {
    add_plain_system_files();
    add_security();
    add_indexes();
    add_mft();
    settle_size();
    add_bitmap();
    byte_image image = m_volume.m_content;
    write_mft(image);
    write_mirror(image);
    write_boot_sectors(image);
    for (const auto& [at, content] : m_volume.m_patches) {
        image.put_bytes(at, content);
    }
    if (m_volume.m_truncated < image.size()) {
        image.resize(m_volume.m_truncated);
    }
    return image;
}

}  // namespace support

// Opens the volume: boot sector, geometry, $MFT and $Bitmap.
#include <utility>

#include "ntfs/volume/ntfs.h"

namespace {

// Returns the number of clusters that the runs of $MFT cover; 1 if its first element is a resident
// value.
std::uint64_t count_clusters(const std::vector<NTFS_DATA>& runs) {
    if (!runs.empty() && runs.front().resident != 0) return 1;
    std::uint64_t clusters = 0;
    for (const NTFS_DATA& run : runs)
        clusters += run.num_clusters;
    return clusters;
}

}  // namespace

bool CNtfs::validate(std::uint64_t& mft_file_pos) {
    if (m_disk == nullptr) {
        m_Validated = false;
        return false;
    }
    if (m_Validated) {
        mft_file_pos = m_mft_file_pos;
        return true;
    }
    if (!read_boot_sector()) return false;
    compute_geometry();
    mft_file_pos = m_mft_file_pos;
    if (!open_mft()) return false;
    read_bitmap_runs();
    return m_Validated;
}

bool CNtfs::validate() {
    std::uint64_t mft_file_pos = 0;
    return validate(mft_file_pos);
}

// Reads the boot sector. Returns false if it cannot be read, or if the signature is not "NTFS    ",
// as on an encrypted volume ("-FVE-FS-").
bool CNtfs::read_boot_sector() {
    auto count = static_cast<std::uint32_t>(m_boot.raw.size());
    return read_at(m_disk.get(), 0, m_volume_offset, m_boot.raw.data(), count) &&
           m_boot.has_ntfs_signature();
}

void CNtfs::compute_geometry() {
    m_cluster_size = m_boot.bytes_per_sector() * m_boot.sectors_per_cluster();
    const std::int8_t record_field = m_boot.num_clusters_one_mft_record();
    if (record_field < 0) {
        m_mft_record_size = std::uint32_t{1} << static_cast<unsigned>(-record_field) % 32;
        m_mft_cluster_per_record_fixed =
            static_cast<std::uint32_t>(ql::quotient(m_mft_record_size, cluster_size()));
    } else {
        m_mft_cluster_per_record_fixed = static_cast<std::uint8_t>(record_field);
        m_mft_record_size = cluster_size() * m_mft_cluster_per_record_fixed;
    }
    m_sectors_per_cluster = m_boot.sectors_per_cluster();
    m_total_clusters = ql::quotient(m_boot.total_sectors(), m_sectors_per_cluster);
    m_mft_file_pos = cluster_size() * m_boot.mft_start_lcn();
}

// Reads and parses record 0. Returns false if it is not a record, or if its update sequence covers
// more bytes than the record size in the boot sector.
bool CNtfs::open_mft() {
    if (!read_whole_record(0, m_mft_record)) return false;
    const file_record record{m_mft_record};
    if (m_mft_record_size < record.record_size_from_usa()) return false;

    m_bytes_per_file_record = record.bytes_allocated();
    parse_inode(m_mft_record, m_mft_info, 0, false);
    // Only the start of a large record is kept; its attributes have been read.
    constexpr std::size_t most_kept = 0x10000;
    if (m_mft_record.size() > most_kept) {
        m_mft_record.resize(most_kept);
        m_mft_record.shrink_to_fit();
    }
    m_Validated = true;
    m_total_mft_entries = ql::quotient(cluster_size() * count_clusters(m_mft_info.data_runs),
                                       m_bytes_per_file_record);
    return true;
}

// Reads the runs of $Bitmap, and usually loads the security table, for the owner of its record. A
// bad record is ignored.
void CNtfs::read_bitmap_runs() {
    constexpr std::uint64_t bitmap_entry = 6;
    std::vector<std::uint8_t> record;
    if (!read_whole_record(bitmap_entry, record)) return;
    NTFS_INODE_INFO info;
    parse_inode(record, info, bitmap_entry, false);
    m_bitmap_runs = std::move(info.data_runs);
}

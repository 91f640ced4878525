#include <algorithm>

#include "ntfs/ntfs.h"

std::uint64_t CNtfs::get_file_pos_for_inode(std::uint64_t inode) const {
    if (!m_Validated || m_cluster_size == 0) return 0;
    const std::uint64_t offset = m_bytes_per_file_record * inode;
    const std::uint64_t vcn = offset / cluster_size();
    std::uint64_t first_vcn = 0;
    const NTFS_DATA* run = find_mft_run(vcn, first_vcn);
    if (run == nullptr) return 0;
    return offset % cluster_size() + (vcn - first_vcn + run->lcn) * cluster_size();
}

const NTFS_DATA* CNtfs::find_mft_run(std::uint64_t vcn, std::uint64_t& first_vcn) const {
    const auto& index = m_mft_info.data_run_index;
    if (!index.empty()) {
        // Of runs with one first VCN, the index holds the last, the only one that is not empty.
        auto behind = index.upper_bound(vcn);
        if (behind == index.begin()) return nullptr;
        const auto& [run_vcn, run_number] = *--behind;
        const NTFS_DATA& run = m_mft_info.data_runs[run_number];
        first_vcn = run_vcn;
        return vcn - run_vcn < run.num_clusters ? &run : nullptr;
    }
    // While the list of $MFT itself is being collected there is no index yet.
    first_vcn = 0;
    for (const NTFS_DATA& run : m_mft_info.data_runs) {
        if (vcn - first_vcn < run.num_clusters) return &run;
        first_vcn += run.num_clusters;
    }
    return nullptr;
}

bool CNtfs::read_file_record(std::uint64_t inode, std::vector<std::uint8_t>& buffer,
                             std::uint64_t& position, std::int64_t& size, bool allocate) {
    if (allocate) buffer.clear();
    if (inode != 0 && !m_Validated) return false;
    position = inode == 0 ? m_mft_file_pos : get_file_pos_for_inode(inode);
    const std::uint32_t length = inode == 0 ? m_mft_record_size : m_bytes_per_file_record;

    if (allocate) {
        if (!fits_source(length)) return false;
        buffer.resize(length);
    } else if (size < length || buffer.size() < length) {
        return false;
    }
    const bool usable = read_and_fix_record(position, length, buffer, size);
    if (!usable && allocate) buffer.clear();
    return usable;
}

bool CNtfs::read_own_record(std::uint64_t inode, std::vector<std::uint8_t>& record) {
    std::uint64_t position = 0;
    std::int64_t size = 0;
    return read_file_record(inode, record, position, size, true);
}

bool CNtfs::read_and_fix_record(std::uint64_t position, std::uint32_t length,
                                std::vector<std::uint8_t>& buffer, std::int64_t& size) {
    std::uint32_t count = length;
    if (!read_at(m_disk.get(), position, m_volume_offset, buffer.data(), count)) return false;
    size = count;
    // A buffer serves many records: nothing of the one before may stay behind a short one.
    std::fill(buffer.begin() + count, buffer.end(), std::uint8_t{0});

    const file_record header{buffer};
    if (!header.is_valid() && !header.has_index_keyword()) return false;
    apply_update_sequence(buffer, header.sequence_array_offset(), header.sequence_array_count(),
                          count, get_bytes_per_sector());
    return true;
}

bool CNtfs::read_record_vector(std::uint64_t inode, std::vector<std::uint8_t>& record,
                               std::uint64_t& position, std::uint32_t& kind) {
    kind = record_kind::none;
    const std::uint32_t length = get_mft_record_size();
    if (!m_Validated || !fits_source(length)) return false;
    record.resize(length);
    position = inode == 0 ? m_mft_file_pos : get_file_pos_for_inode(inode);
    std::uint32_t count = length;
    if (!read_at(m_disk.get(), position, m_volume_offset, record.data(), count)) return false;
    std::fill(record.begin() + count, record.end(), std::uint8_t{0});
    return apply_fixup(kind, record, get_bytes_per_sector());
}

bool CNtfs::is_directory(std::uint64_t inode) {
    std::vector<std::uint8_t> record;
    return read_own_record(inode, record) && file_record{record}.is_directory();
}

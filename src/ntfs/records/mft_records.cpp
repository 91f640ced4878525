#include "ntfs/records/record_reader.h"
#include "ntfs/volume/ntfs.h"

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
        // If several runs have the same first VCN, the index has the last one; the others are
        // empty.
        auto next = index.upper_bound(vcn);
        if (next == index.begin()) return nullptr;
        const auto& [run_vcn, run_number] = *--next;
        const NTFS_DATA& run = m_mft_info.data_runs[run_number];
        first_vcn = run_vcn;
        return vcn - run_vcn < run.num_clusters ? &run : nullptr;
    }
    // While the attribute list of $MFT itself is read, there is no index yet.
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

    if (!allocate && size < length) return false;
    record_reader reader(*this, position, length, buffer);
    if (!reader.read_start()) return false;
    size = reader.delivered();
    const file_record header{buffer};
    if (header.is_valid() || header.has_index_keyword()) {
        reader.read_rest(reader.delivered(), allocate);
        return true;
    }
    if (allocate) buffer.clear();
    return false;
}

bool CNtfs::read_own_record(std::uint64_t inode, std::vector<std::uint8_t>& record) {
    std::uint64_t position = 0;
    std::int64_t size = 0;
    return read_file_record(inode, record, position, size, true);
}

bool CNtfs::read_record_vector(std::uint64_t inode, std::vector<std::uint8_t>& record,
                               std::uint64_t& position, std::uint32_t& kind) {
    kind = record_kind::none;
    if (!m_Validated) return false;
    const std::uint32_t length = get_mft_record_size();
    position = inode == 0 ? m_mft_file_pos : get_file_pos_for_inode(inode);
    record_reader reader(*this, position, length, record);
    if (!reader.read_start()) return false;
    if (!check_fixup(kind, record, length, get_bytes_per_sector())) return false;
    reader.read_rest(length, false);
    return true;
}

bool CNtfs::is_directory(std::uint64_t inode) {
    std::vector<std::uint8_t> record;
    return read_own_record(inode, record) && file_record{record}.is_directory();
}

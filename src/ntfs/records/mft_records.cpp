#include <optional>

#include "ntfs/records/record_reader.h"
#include "ntfs/volume/ntfs.h"

namespace {

// Returns the LCN of a cluster of $MFT, modulo 2^64, or nullopt if no run contains it.
std::optional<std::uint64_t> find_mft_lcn(const NTFS_INODE_INFO& mft, std::uint64_t vcn) {
    if (!mft.data_run_index.empty()) {
        // If several runs have the same first VCN, the index has the last one; the others are
        // empty.
        auto next = mft.data_run_index.upper_bound(vcn);
        if (next == mft.data_run_index.begin()) return std::nullopt;
        const auto& [first_vcn, run_number] = *--next;
        const NTFS_DATA& run = mft.data_runs[run_number];
        if (vcn - first_vcn >= run.num_clusters) return std::nullopt;
        return vcn - first_vcn + run.lcn;
    }
    // While the attribute list of $MFT itself is read, there is no index yet.
    std::uint64_t first_vcn = 0;
    for (const NTFS_DATA& run : mft.data_runs) {
        if (vcn - first_vcn < run.num_clusters) return vcn - first_vcn + run.lcn;
        first_vcn += run.num_clusters;
    }
    return std::nullopt;
}

// Returns how the record of an entry is read. Entry 0 is read where the boot sector says.
record_request request_for(const CNtfs& ntfs, std::uint64_t inode) {
    return {.position = inode == 0 ? ntfs.m_mft_file_pos : ntfs.get_file_pos_for_inode(inode),
            .length = inode == 0 ? ntfs.m_mft_record_size : ntfs.m_bytes_per_file_record,
            .rule = acceptance::file_or_index,
            .fixed = fixed_blocks::delivered};
}

}  // namespace

std::uint64_t CNtfs::get_file_pos_for_inode(std::uint64_t inode) const {
    if (!m_Validated || m_cluster_size == 0) return 0;
    const std::uint64_t offset = m_bytes_per_file_record * inode;
    const auto lcn = find_mft_lcn(m_mft_info, offset / cluster_size());
    return lcn ? offset % cluster_size() + *lcn * cluster_size() : 0;
}

bool CNtfs::read_file_record(std::uint64_t inode, std::vector<std::uint8_t>& buffer,
                             std::uint64_t& position, std::int64_t& size, bool allocate) {
    if (allocate) buffer.clear();
    if (inode != 0 && !m_Validated) return false;
    record_request request = request_for(*this, inode);
    request.with_values = allocate;
    position = request.position;
    if (!allocate && size < request.length) return false;
    const record_answer read = read_mft_record(*this, request, buffer);
    if (read.delivered != 0) size = read.delivered;
    if (!read.accepted && allocate) buffer.clear();
    return read.accepted;
}

std::optional<std::int64_t> CNtfs::read_record(std::uint64_t inode,
                                               std::vector<std::uint8_t>& record) {
    std::uint64_t position = 0;
    std::int64_t size = get_mft_record_size();
    if (!read_file_record(inode, record, position, size, false)) return std::nullopt;
    return size;
}

bool CNtfs::read_record(std::uint64_t inode, std::vector<std::uint8_t>& record,
                        whole_record& whole) {
    whole = {};
    if (inode != 0 && !m_Validated) return false;
    const record_request request = request_for(*this, inode);
    if (get_mft_record_size() < request.length) return false;
    const record_answer read = read_mft_record(*this, request, record);
    if (inode != 0) whole = whole_record_of(request, read, record);
    return read.accepted;
}

bool CNtfs::read_whole_record(std::uint64_t inode, std::vector<std::uint8_t>& record) {
    std::uint64_t position = 0;
    std::int64_t size = 0;
    return read_file_record(inode, record, position, size, true);
}

bool CNtfs::read_record_vector(std::uint64_t inode, std::vector<std::uint8_t>& record,
                               std::uint64_t& position, std::uint32_t& kind) {
    kind = record_kind::none;
    if (!m_Validated) return false;
    position = inode == 0 ? m_mft_file_pos : get_file_pos_for_inode(inode);
    const record_answer read = read_mft_record(
        *this, {.position = position, .length = get_mft_record_size(), .rule = acceptance::fixable},
        record);
    kind = read.kind;
    return read.accepted;
}

bool CNtfs::read_listed_record(std::uint64_t inode, std::vector<std::uint8_t>& record) {
    std::uint64_t position = 0;
    std::uint32_t kind = record_kind::none;
    return read_record_vector(inode, record, position, kind) &&
           file_record{record}.has_attributes();
}

bool CNtfs::is_directory(std::uint64_t inode) {
    std::vector<std::uint8_t> record;
    return read_whole_record(inode, record) && file_record{record}.is_directory();
}

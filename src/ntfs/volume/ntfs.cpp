#include "ntfs/volume/ntfs.h"

#include <algorithm>
#include <utility>

CNtfs::CNtfs(std::unique_ptr<CRawDisk> disk, std::uint64_t volume_offset, std::uint32_t kind)
    : m_disk(std::move(disk)), m_source_kind(kind), m_volume_offset(volume_offset) {}

CNtfs::~CNtfs() = default;

CRawDisk* CNtfs::disk() const { return m_disk != nullptr && m_disk->ok ? m_disk.get() : nullptr; }

std::uint32_t CNtfs::clusters_per_4k() const {
    if (cluster_size() > 4096) return 1;
    return static_cast<std::uint32_t>(ql::quotient(4096, cluster_size()));
}

std::uint32_t CNtfs::blocks_per_cluster() const {
    return cluster_size() >= 4096 ? cluster_size() >> 12 : 0;
}

bool CNtfs::read_at(CRawDisk* source, std::uint64_t position, std::uint64_t volume_offset,
                    void* buffer, std::uint32_t& count) {
    if (source == nullptr) return false;
    std::uint32_t bytes_read = count;
    if (!source->read_bytes(buffer, bytes_read, position + volume_offset) || bytes_read == 0) {
        return false;
    }
    count = bytes_read;
    return true;
}

bool CNtfs::read_clusters(std::uint64_t lcn, void* buffer, std::uint32_t& count) {
    if (!m_Validated) return false;
    if (cluster_size() == 0 || count % cluster_size() != 0) return false;
    return read_at(m_disk.get(), lcn * cluster_size(), m_volume_offset, buffer, count);
}

std::size_t CNtfs::most_runs() const {
    constexpr std::uint64_t always_taken = 0x10000;
    const std::uint64_t held = disk() != nullptr ? disk()->held_bytes() : 0;
    return std::max<std::uint64_t>(always_taken, held / sizeof(data_run));
}

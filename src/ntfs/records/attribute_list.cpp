#include "ntfs/records/attribute_list.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "ntfs/runs/cluster_walk.h"
#include "ntfs/volume/ntfs.h"
#include "ntfs/volume/read_budget.h"

namespace {

// Bytes of an entry that may be read: its fields, and as much of its name, whose offset is at most
// 255, as is compared with a short name.
constexpr std::size_t entry_span = 512;

// Reads a cluster and appends its bytes to `window`. `count`, in: bytes in a cluster; out: bytes
// read, fewer if the source ends first. Returns false, with `window` unchanged, if nothing can be
// read.
bool append_cluster(CNtfs& ntfs, std::uint64_t lcn, std::uint32_t& count,
                    std::vector<std::uint8_t>& window) {
    const std::uint64_t position = lcn * count;
    const CRawDisk* const disk = ntfs.disk();
    if (disk == nullptr) return false;
    const std::size_t size_before = window.size();
    window.resize(size_before + disk->deliverable(count, position + ntfs.m_volume_offset));
    if (CNtfs::read_at(ntfs.disk(), position, ntfs.m_volume_offset, window.data() + size_before,
                       count)) {
        return true;
    }
    window.resize(size_before);
    return false;
}

// Reads the clusters of a list in the order of its runs.
class list_runs : public list_clusters {
public:
    list_runs(CNtfs& ntfs, data_run_list runs, cluster_size_rule rule)
        : m_ntfs(ntfs),
          m_runs(std::move(runs)),
          m_cluster_size(ntfs.cluster_size()),
          m_lowers(rule == cluster_size_rule::lower),
          m_budget(ntfs.disk()) {}

    bool append_next(std::vector<std::uint8_t>& window) override {
        if (m_budget.is_used_up()) return false;
        for (; m_run < m_runs.size(); ++m_run, m_next = 0) {
            const data_run& run = m_runs[m_run];
            if (m_next >= run.num_clusters) continue;
            std::uint32_t count = m_cluster_size;
            if (!append_cluster(m_ntfs, run.lcn + m_next, count, window)) continue;
            if (m_lowers) m_cluster_size = count;
            m_budget.use(count);
            ++m_next;
            return true;
        }
        return false;
    }

private:
    CNtfs& m_ntfs;
    data_run_list m_runs;
    std::uint32_t m_cluster_size;
    bool m_lowers;
    read_budget m_budget;
    std::size_t m_run = 0;
    std::uint64_t m_next = 0;  // cluster of the run
};

// Reads the clusters of a list in the order of their virtual numbers, at most 2^31 - 1 bytes.
class list_data : public list_clusters {
public:
    list_data(CNtfs& ntfs, data_run_list runs, std::uint64_t size)
        : m_ntfs(ntfs),
          m_runs(std::move(runs)),
          m_left(std::min<std::uint64_t>(size, std::numeric_limits<std::int32_t>::max())),
          m_walk(m_lookup, {0, m_left}, ntfs.cluster_size(), false) {}

    bool append_next(std::vector<std::uint8_t>& window) override {
        if (m_zeros == 0) return append_place(window);
        const std::uint64_t count = std::min(m_zeros, largest_zeros);
        m_zeros -= count;
        window.resize(window.size() + count);
        return true;
    }

private:
    bool append_place(std::vector<std::uint8_t>& window) {
        const auto place = m_left != 0 ? m_walk.next() : std::nullopt;
        const std::size_t size_before = window.size();
        std::uint32_t count = place && place->sparse ? 0 : m_ntfs.cluster_size();
        if (!place || (count != 0 && !append_cluster(m_ntfs, place->lcn, count, window))) {
            m_left = 0;
            return false;
        }
        // A hole is a cluster of zeros. The first cluster is used as a whole one even if the source
        // ends inside it.
        const bool is_whole = place->sparse || m_is_first;
        const std::uint64_t size =
            std::min<std::uint64_t>(is_whole ? m_ntfs.cluster_size() : count, m_left);
        window.resize(size_before + std::min<std::uint64_t>(count, size));
        m_zeros = size - (window.size() - size_before);
        m_left -= size;
        m_is_first = false;
        return true;
    }

    static constexpr std::uint64_t largest_zeros = 0x1000;

    CNtfs& m_ntfs;
    const data_run_list m_runs;
    const run_lookup m_lookup{m_runs};
    std::uint64_t m_left;
    cluster_walk m_walk;
    std::uint64_t m_zeros = 0;  // bytes of the last cluster that are not yet in the window
    bool m_is_first = true;
};

// Returns the cluster size that results from reading all runs one cluster at a time, if each
// cluster that the end of the source truncates lowers it. Computes it from the size of the source,
// without reading.
std::uint32_t lowered_cluster_size(const CNtfs& ntfs, const data_run_list& runs) {
    const CRawDisk& disk = *ntfs.disk();
    std::uint32_t size = ntfs.cluster_size();
    for (const data_run& run : runs) {
        for (std::uint64_t i = 0; i < run.num_clusters;) {
            const std::uint64_t at = (run.lcn + i) * size + ntfs.m_volume_offset;
            const std::uint32_t delivered = disk.deliverable(size, at);
            if (delivered == 0 || static_cast<std::int64_t>(at) < 0) break;
            const std::uint64_t whole = (disk.size_in_bytes() - at) / size;
            size = delivered;
            i += std::max<std::uint64_t>(whole, 1);
        }
    }
    return size;
}

}  // namespace

list_cursor::list_cursor(std::unique_ptr<list_clusters> clusters, std::int64_t size)
    : m_clusters(std::move(clusters)), m_left(size) {
    fill();
}

void list_cursor::advance(std::uint16_t length) {
    m_left -= length;
    m_at += length;
    fill();
}

void list_cursor::fill() {
    constexpr std::size_t kept_before = 0x10000;
    if (m_clusters == nullptr) return;
    while (m_window.size() < m_at + entry_span && m_clusters->append_next(m_window)) {
    }
    if (m_at < kept_before || m_at > m_window.size()) return;
    m_window.erase(m_window.begin(), m_window.begin() + static_cast<std::ptrdiff_t>(m_at));
    m_dropped += m_at;
    m_at = 0;
}

std::unique_ptr<list_clusters> open_list_runs(CNtfs& ntfs, const record_attrib& attribute,
                                              cluster_size_rule rule) {
    data_run_list runs = attribute_runs(attribute, ntfs.most_runs());
    if (ntfs.disk() == nullptr || run_bytes(runs, ntfs.cluster_size(), false) == 0) return nullptr;
    const std::uint32_t final_size = lowered_cluster_size(ntfs, runs);
    auto clusters = std::make_unique<list_runs>(ntfs, std::move(runs), rule);
    if (rule == cluster_size_rule::lower) {
        ntfs.m_cluster_size = static_cast<std::int32_t>(final_size);
    }
    return clusters;
}

std::unique_ptr<list_clusters> open_list_data(CNtfs& ntfs, const record_attrib& attribute) {
    data_run_list runs = attribute_runs(attribute, ntfs.most_runs());
    const std::uint64_t size = run_bytes(runs, ntfs.cluster_size(), false);
    if (ntfs.disk() == nullptr || size == 0) return nullptr;
    return std::make_unique<list_data>(ntfs, std::move(runs), size);
}

std::optional<list_cursor> open_attribute_list(CNtfs& ntfs, const record_attrib& attribute) {
    if (attribute.nonresident()) {
        const std::uint64_t largest = INT64_MAX;
        const auto size = static_cast<std::int64_t>(std::min(attribute.real_size(), largest));
        auto clusters = open_list_runs(ntfs, attribute, cluster_size_rule::lower);
        if (clusters == nullptr) return std::nullopt;
        return list_cursor(std::move(clusters), size);
    }
    if (attribute.value_length() == 0 || attribute.value_offset() == 0) return std::nullopt;
    return list_cursor(attribute.value(), attribute.value_length());
}

bool find_list_entry(list_cursor& list, std::uint32_t type, ql::bytes name) {
    for (;;) {
        const list_entry entry = list.entry();
        if (entry.type() == type && entry.is_named(name)) return true;
        if (entry.length() == 0) {
            list.end();
            return false;
        }
        list.advance(entry.length());
        if (list.left() < 1 || list.entry().type() == attrib_type::end) return false;
    }
}

bool find_list_entry(list_entry& entry, std::int64_t& bytes_left, std::uint32_t type,
                     ql::bytes name) {
    list_cursor list(ql::clip(entry.list, entry.at), bytes_left);
    const bool found = find_list_entry(list, type, name);
    if (found) entry.at += list.position();
    bytes_left = list.left();
    return found;
}

#include "ntfs/index_reader.h"

#include <algorithm>
#include <array>
#include <limits>
#include <span>
#include <utility>

#include "ntfs/attribute_list.h"
#include "ntfs/ntfs.h"

namespace {

// Bytes of an index block, whatever the boot sector says.
constexpr std::uint32_t block_size = 4096;
constexpr std::uint32_t all_blocks = 0xFFFFFFFF;
constexpr std::uint16_t largest_entry = 768;

constexpr std::array<std::uint8_t, 8> i30_name = {'$', 0, 'I', 0, '3', 0, '0', 0};

// True for the parts of a directory's index by name.
bool is_i30(const record_attrib& attribute) { return name_inside(attribute) == "$I30"; }

// The attributes of a directory's record that lead to its index. Of several of one type the last
// counts.
struct index_attributes {
    bool has_root = false;
    record_attrib root;
    bool has_allocation = false;
    record_attrib allocation;
    bool has_list = false;
    record_attrib list;
};

index_attributes find_index_attributes(ql::bytes record, std::uint32_t longest) {
    index_attributes found;
    for (record_attrib at = first_attrib(record);
         at.type() != attrib_type::end && at.length() != 0 && at.length() <= longest;
         at.at += at.length()) {
        if (at.type() == attrib_type::index_root && is_i30(at)) {
            found.has_root = true;
            found.root = at;
        } else if (at.type() == attrib_type::index_allocation && is_i30(at)) {
            found.has_allocation = true;
            found.allocation = at;
        } else if (at.type() == attrib_type::attribute_list) {
            found.has_list = true;
            found.list = at;
        }
    }
    return found;
}

// The entries of an $INDEX_ROOT:
//    0 u32 indexed attribute type, must be $FILE_NAME    8 u32 index block size, must not be 0
//   16 node header
bool collect_root(const record_attrib& root, std::vector<std::uint64_t>& children,
                  bool include_slack) {
    const ql::bytes value = root.value_to_record_end();
    if (ql::le32(value, 0) != attrib_type::file_name || ql::le32(value, 8) == 0) return false;
    return collect_entries(children, ql::clip(value, 16), include_slack);
}

// The entry number of the first list entry of `type` and name "$I30".
bool find_listed_i30(const attribute_list_body& list, std::uint32_t type, std::uint64_t& number) {
    list_entry entry{list.entries, 0};
    std::int64_t left = list.size;
    if (!find_list_entry(entry, left, type, i30_name)) return false;
    number = entry.entry_number();
    return true;
}

// Other than load_attribute_list: a resident list goes on to the end of its record, a non-resident
// one ends with its runs, and holes in it are zeros.
bool load_index_list(CNtfs& ntfs, const record_attrib& attribute, attribute_list_body& list) {
    if (!attribute.nonresident()) {
        list.entries = attribute.value_to_record_end();
        list.size = attribute.value_length();
        return true;
    }
    const data_run_list runs = attribute_runs(attribute);
    const std::uint64_t total = run_bytes(runs, ntfs.cluster_size(), false);
    if (total > std::numeric_limits<std::int32_t>::max() || !ntfs.fits_source(total)) return false;
    list.clusters.assign(static_cast<std::size_t>(total), 0);
    list.size = static_cast<std::int64_t>(total);
    if (!ntfs.read_attrib_bytes(runs, 0, list.clusters, list.size, false)) return false;
    list.entries = list.clusters;
    return true;
}

// Reads the record of an entry into `record`, which has the room of one.
bool read_record(CNtfs& ntfs, std::uint64_t number, std::vector<std::uint8_t>& record) {
    std::uint64_t position = 0;
    auto size = static_cast<std::int64_t>(record.size());
    return ntfs.read_file_record(number, record, position, size, false);
}

// Puts the clusters of an index together to blocks.
class block_collector {
public:
    // blocks              zeros, room for whole blocks
    // clusters_per_block  0 for clusters that hold whole blocks
    // skip                blocks of the first cluster that are left out
    block_collector(std::span<std::uint8_t> blocks, std::uint32_t cluster_size,
                    std::uint32_t clusters_per_block, std::size_t skip,
                    std::uint16_t bytes_per_sector)
        : m_blocks(blocks),
          m_cluster_size(cluster_size),
          m_clusters_per_block(clusters_per_block),
          m_skip(skip),
          m_bytes_per_sector(bytes_per_sector) {}

    bool is_full() const { return m_done * block_size >= m_blocks.size(); }

    // Adds a cluster, as far as it was read.
    void add(ql::bytes cluster) {
        if (m_clusters_per_block != 0) {
            add_part(cluster);
        } else {
            add_blocks(cluster);
        }
    }

private:
    // A small cluster takes its full room even if the source ended inside it.
    void add_part(ql::bytes cluster) {
        const std::size_t at = m_done * block_size + m_parts * m_cluster_size;
        std::copy(cluster.begin(), cluster.end(),
                  m_blocks.begin() + static_cast<std::ptrdiff_t>(at));
        if (++m_parts == m_clusters_per_block) finish_block();
    }

    void add_blocks(ql::bytes cluster) {
        const std::size_t whole = std::size_t{m_cluster_size} / block_size * block_size;
        const ql::bytes content = ql::clip(cluster, 0, whole);
        for (std::size_t at = std::exchange(m_skip, 0) * block_size;
             at < content.size() && !is_full(); at += block_size) {
            const ql::bytes part = ql::clip(content, at, block_size);
            std::copy(part.begin(), part.end(), current_block().begin());
            finish_block();
        }
    }

    std::span<std::uint8_t> current_block() const {
        return m_blocks.subspan(m_done * block_size, block_size);
    }

    void finish_block() {
        const std::span<std::uint8_t> block = current_block();
        const file_record head{block};
        if (head.has_index_keyword()) {
            apply_update_sequence(block, head.sequence_array_offset(), head.sequence_array_count(),
                                  block_size, m_bytes_per_sector);
        }
        ++m_done;
        m_parts = 0;
    }

    std::span<std::uint8_t> m_blocks;
    std::uint32_t m_cluster_size;
    std::uint32_t m_clusters_per_block;
    std::size_t m_skip;
    std::uint16_t m_bytes_per_sector;
    std::size_t m_done = 0;   // blocks
    std::size_t m_parts = 0;  // clusters of the block that is being put together
};

// Reads the clusters of a run from number `next` of it on into `cluster`, one after the other, up
// to the first that can't be read. The end of the source may cut the last one.
void collect_run(CNtfs& ntfs, const data_run& run, std::uint64_t next,
                 std::vector<std::uint8_t>& cluster, block_collector& collector) {
    for (; next < run.num_clusters && !collector.is_full(); ++next) {
        std::uint32_t count = ntfs.cluster_size();
        if (!ntfs.read_clusters(run.lcn + next, cluster.data(), count)) return;
        collector.add(ql::clip(cluster, 0, count));
    }
}

}  // namespace

bool collect_entries(std::vector<std::uint64_t>& children, ql::bytes node_header,
                     bool include_slack) {
    const std::uint32_t index_length = ql::le32(node_header, 4);
    if (index_length == 0 || index_length > block_size) return false;

    std::size_t at = ql::le32(node_header, 0);
    std::int64_t left = index_length;
    // A node that fills its block to the last byte is taken for an empty one.
    while (left > 0 && left < block_size) {
        const std::uint16_t size = ql::le16(node_header, at + 8);
        const std::uint16_t key_size = ql::le16(node_header, at + 10);
        const std::uint16_t flags = ql::le16(node_header, at + 12);
        if (size > index_length || key_size > index_length) break;
        if (size < key_size && !include_slack) break;
        if (ql::le64(node_header, at) != 0 && flags != 2 && flags != 3) {
            children.push_back(ql::le48(node_header, at));
        } else if (!include_slack) {
            break;
        }
        left -= size;
        at += size;
        const std::uint16_t next_size = ql::le16(node_header, at + 8);
        if (next_size == 0 || next_size > largest_entry) break;
    }
    return true;
}

bool CNtfs::get_children(std::uint64_t inode, std::set<std::uint64_t>& children,
                         bool include_slack) {
    std::vector<std::uint64_t> found;
    const bool result = get_sorted_children(inode, found, include_slack);
    children.insert(found.begin(), found.end());
    return result;
}

bool CNtfs::get_sorted_children(std::uint64_t inode, std::vector<std::uint64_t>& children,
                                bool include_slack) {
    children.clear();
    const bool result = collect_children(inode, children, include_slack);
    // An index is in the order of names, in which the entries often stand in order as well.
    if (!std::is_sorted(children.begin(), children.end())) {
        std::sort(children.begin(), children.end());
    }
    children.erase(std::unique(children.begin(), children.end()), children.end());
    return result;
}

// Appends the entries of the directory's whole index in the order in which they are read.
bool CNtfs::collect_children(std::uint64_t inode, std::vector<std::uint64_t>& children,
                             bool include_slack) {
    std::vector<std::uint8_t> record(get_mft_record_size());
    if (!read_record(*this, inode, record)) return false;
    // An extension record answers for its base. A ring of base references has no answer.
    std::set<std::uint64_t> visited;
    while (const std::uint64_t base = file_record{record}.base_ref()) {
        if (!visited.insert(inode).second) return false;
        inode = entry_of(base);
        include_slack = false;
        if (!read_record(*this, inode, record)) return false;
    }

    const index_attributes found = find_index_attributes(record, m_bytes_per_file_record);
    const bool has_entries = found.has_root && collect_root(found.root, children, include_slack);
    if (found.has_allocation) {
        return collect_allocation(found.allocation, children, include_slack);
    }
    if (!found.has_list) return has_entries;
    return collect_listed(found.list, !found.has_root, inode, children, include_slack);
}

// The index parts of a directory whose own record has no $INDEX_ALLOCATION: the first one that the
// attribute list names, and the root when it is `root_missing`. Later parts are not looked at.
bool CNtfs::collect_listed(const record_attrib& attribute, bool root_missing, std::uint64_t inode,
                           std::vector<std::uint64_t>& children, bool include_slack) {
    if (attribute.nonresident() && attribute.initialized_size() == 0) return true;
    attribute_list_body list;
    if (!load_index_list(*this, attribute, list)) return false;

    bool result = true;
    std::vector<std::uint8_t> record(get_mft_record_size());
    for (const std::uint32_t type : {attrib_type::index_allocation, attrib_type::index_root}) {
        if (type == attrib_type::index_root && !root_missing) continue;
        std::uint64_t number = 0;
        if (!find_listed_i30(list, type, number) || number == inode) continue;
        if (!read_record(*this, number, record)) return false;
        record_attrib part = first_attrib(record);
        if (!find_named_attrib(part, type, i30_name, get_mft_record_size())) continue;
        result = type == attrib_type::index_root
                     ? collect_root(part, children, include_slack)
                     : collect_allocation(part, children, include_slack);
    }
    return result;
}

// Adds the entries of all blocks of an $INDEX_ALLOCATION, also of those that the index no longer
// uses. True when the blocks could be read, whatever they hold.
bool CNtfs::collect_allocation(const record_attrib& attribute, std::vector<std::uint64_t>& children,
                               bool include_slack) {
    if (attribute.initialized_size() == 0) return false;
    std::vector<std::uint8_t> blocks;
    std::uint32_t count = all_blocks;
    if (!read_index_blocks(blocks, count, attribute_runs(attribute), 0)) return false;
    for (std::size_t at = 0; at + block_size <= blocks.size(); at += block_size) {
        if (!ql::has_text(blocks, at, "INDX")) continue;
        collect_entries(children, ql::clip(blocks, at + 24), include_slack);
    }
    return true;
}

bool CNtfs::read_index_blocks(std::vector<std::uint8_t>& out, std::uint32_t& block_count,
                              const data_run_list& runs, std::uint32_t first_block) {
    out.clear();
    const std::uint32_t size = cluster_size();
    const std::uint64_t bytes = run_bytes(runs, size, true);
    if (bytes == 0 || !fits_source(bytes)) return false;

    const std::uint32_t parts = size < block_size ? clusters_per_4k() : 0;
    const std::uint32_t blocks = size < block_size ? 0 : blocks_per_cluster();
    const std::uint64_t total = parts != 0 ? bytes / size / parts : bytes / size * blocks;
    if (first_block >= total) return false;
    block_count =
        static_cast<std::uint32_t>(std::min<std::uint64_t>(block_count, total - first_block));
    out.assign(std::size_t{block_count} * block_size, 0);

    // Clusters in front of the first block, and blocks in front of it in its cluster.
    std::uint64_t skip = parts != 0 ? std::uint64_t{first_block} * parts : first_block / blocks;
    const std::size_t skip_blocks = parts != 0 ? 0 : first_block % blocks;

    block_collector collector(out, size, parts, skip_blocks, get_bytes_per_sector());
    std::vector<std::uint8_t> cluster(size);
    for (const data_run& run : runs) {
        if (run.sparse != 0) continue;
        if (skip >= run.num_clusters) {
            skip -= run.num_clusters;
        } else {
            collect_run(*this, run, std::exchange(skip, 0), cluster, collector);
        }
    }
    return true;
}

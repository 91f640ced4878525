#include "ntfs/index/index_reader.h"

#include <algorithm>
#include <array>
#include <limits>
#include <optional>
#include <set>
#include <utility>

#include "ntfs/format/attrib_walk.h"
#include "ntfs/format/index_entry.h"
#include "ntfs/index/index_blocks.h"
#include "ntfs/records/attribute_list.h"
#include "ntfs/volume/ntfs.h"

namespace {

constexpr std::uint16_t largest_entry = 768;

constexpr std::array<std::uint8_t, 8> i30_name = {'$', 0, 'I', 0, '3', 0, '0', 0};

// Returns true for an attribute of a directory's index by file name.
bool is_i30(const record_attrib& attribute) { return name_inside(attribute) == "$I30"; }

// The attributes of a directory's record that lead to its index. If several have the same type, the
// last is used.
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
    const auto keep = [&found](const record_attrib& attribute) {
        if (attribute.type() == attrib_type::index_root && is_i30(attribute)) {
            found.has_root = true;
            found.root = attribute;
        } else if (attribute.type() == attrib_type::index_allocation && is_i30(attribute)) {
            found.has_allocation = true;
            found.allocation = attribute;
        } else if (attribute.type() == attrib_type::attribute_list) {
            found.has_list = true;
            found.list = attribute;
        }
    };
    for_each_attrib(first_attrib(record), ends_at_longer{longest}, keep);
    return found;
}

// Opens an attribute list for a search. Entries of a resident list may extend to the end of its
// record. A non-resident list ends with its data, and holes in it are zeros. Returns nullopt if a
// non-resident list cannot be read.
std::optional<list_cursor> open_index_list(CNtfs& ntfs, const record_attrib& attribute) {
    if (!attribute.nonresident()) {
        return list_cursor(attribute.value_to_record_end(), attribute.value_length());
    }
    auto clusters = open_list_data(ntfs, attribute);
    if (clusters == nullptr) return std::nullopt;
    list_cursor list(std::move(clusters), std::numeric_limits<std::int32_t>::max());
    if (list.is_empty()) return std::nullopt;
    return list;
}

// Appends the entry numbers of one node. `entries` starts at the first entry and extends to the end
// of the buffer that contains the node; `index_length` bytes of it are in use.
void collect_node(std::vector<std::uint64_t>& children, std::uint32_t index_length,
                  ql::bytes entries, bool include_slack) {
    std::size_t at = 0;
    std::int64_t left = index_length;
    // A node of 4096 bytes or more is treated as empty.
    while (left > 0 && left < index_block_size) {
        const index_entry entry{entries, at};
        if (entry.size() > index_length || entry.key_size() > index_length) break;
        if (entry.size() < entry.key_size() && !include_slack) break;
        if (entry.reference().is_set() && !entry.is_last()) {
            children.push_back(entry.reference().entry());
        } else if (!include_slack) {
            break;
        }
        left -= entry.size();
        at += entry.size();
        const std::uint16_t next_size = index_entry{entries, at}.size();
        if (next_size == 0 || next_size > largest_entry) break;
    }
}

// The node of one index block, whose header is at offset 24.
struct block_node {
    static constexpr std::size_t header_offset = 24;

    std::uint64_t entries_at;  // first entry, in bytes from the start of the block
    std::uint32_t index_length;

    explicit block_node(ql::bytes block)
        : entries_at(header_offset + ql::le32(block, header_offset)),
          index_length(ql::le32(block, header_offset + 4)) {}

    bool is_usable() const { return index_length != 0 && index_length <= index_block_size; }
    // Returns true if no byte after the block is read.
    bool ends_in_block() const {
        constexpr std::uint32_t entry_fields = 32;
        return entries_at + index_length + entry_fields <= index_block_size;
    }
};

// A node whose entries start in a block after its own.
struct distant_node {
    std::uint64_t block;
    std::size_t entries_at;  // in that block
    std::uint32_t index_length;
};

// Sorts the entry numbers and removes duplicates.
void make_unique(std::vector<std::uint64_t>& children) {
    // An index is sorted by name, and the entry numbers are often in the same order.
    if (!std::is_sorted(children.begin(), children.end())) {
        std::sort(children.begin(), children.end());
    }
    children.erase(std::unique(children.begin(), children.end()), children.end());
}

// Adds the entries of all blocks of an index, including those that the index no longer uses.
class allocation_reader {
public:
    allocation_reader(CNtfs& ntfs, const data_run_list& runs, std::vector<std::uint64_t>& children,
                      bool include_slack)
        : m_ntfs(ntfs), m_runs(runs), m_children(children), m_include_slack(include_slack) {}

    // Returns false if the runs contain no block.
    bool read() {
        index_block_stream stream(m_ntfs, m_runs, 0);
        if (stream.num_blocks() == 0) return false;
        for (index_block_window window(stream); window.next();) {
            add_block(window);
            drop_repeated();
        }
        if (!m_distant.empty()) read_distant();
        return true;
    }

private:
    void add_block(index_block_window& window) {
        const ql::bytes block = window.block();
        if (!ql::has_text(block, 0, "INDX")) return;
        const block_node node(block);
        if (!node.is_usable()) return;
        if (node.entries_at >= index_block_size) {
            m_distant.push_back({window.number() + node.entries_at / index_block_size,
                                 node.entries_at % index_block_size, node.index_length});
            return;
        }
        collect_node(
            m_children, node.index_length,
            ql::clip(node.ends_in_block() ? block : window.with_following(), node.entries_at),
            m_include_slack);
    }

    // Removes duplicates whenever the list has grown to twice its size: runs may contain a block,
    // and a block an entry, any number of times.
    void drop_repeated() {
        if (m_children.size() < m_most_children) return;
        make_unique(m_children);
        m_most_children = std::max(first_most_children, 2 * m_children.size());
    }

    // Reads the blocks again for the nodes whose entries are in a later block.
    void read_distant() {
        std::sort(m_distant.begin(), m_distant.end(),
                  [](const distant_node& a, const distant_node& b) { return a.block < b.block; });
        index_block_stream stream(m_ntfs, m_runs, 0);
        index_block_window window(stream);
        auto node = m_distant.begin();
        while (node != m_distant.end() && window.next()) {
            while (node != m_distant.end() && node->block < window.number())
                ++node;  // its entries are in a skipped block, which is zero
            for (; node != m_distant.end() && node->block == window.number(); ++node) {
                collect_node(m_children, node->index_length,
                             ql::clip(window.with_following(), node->entries_at), m_include_slack);
                drop_repeated();
            }
        }
    }

    CNtfs& m_ntfs;
    const data_run_list& m_runs;
    std::vector<std::uint64_t>& m_children;
    bool m_include_slack;
    static constexpr std::size_t first_most_children = 0x10000;
    std::size_t m_most_children = first_most_children;  // size at which duplicates are removed
    std::vector<distant_node> m_distant;
};

// Collects the entry numbers in the whole index of a directory, in the order in which they are
// read.
class index_collector {
public:
    index_collector(CNtfs& ntfs, std::vector<std::uint64_t>& children, bool include_slack)
        : m_ntfs(ntfs), m_children(children), m_include_slack(include_slack) {}

    // Returns false if a record or the index cannot be read.
    bool collect(std::uint64_t inode);

private:
    bool collect_root(const record_attrib& root);
    bool collect_allocation(const record_attrib& attribute);
    bool collect_listed(const index_attributes& found, std::uint64_t inode);

    CNtfs& m_ntfs;
    std::vector<std::uint64_t>& m_children;
    bool m_include_slack;
};

bool index_collector::collect(std::uint64_t inode) {
    std::vector<std::uint8_t> record;
    if (!m_ntfs.read_record(inode, record)) return false;
    // For an extension record, use its base record. Fail if the base references form a cycle.
    std::set<std::uint64_t> visited;
    for (;;) {
        const file_reference base = file_record{record}.base_ref();
        if (!base.is_set()) break;
        if (!visited.insert(inode).second) return false;
        inode = base.entry();
        m_include_slack = false;
        if (!m_ntfs.read_record(inode, record)) return false;
    }

    const index_attributes found = find_index_attributes(record, m_ntfs.m_bytes_per_file_record);
    const bool has_entries = found.has_root && collect_root(found.root);
    if (found.has_allocation) return collect_allocation(found.allocation);
    return found.has_list ? collect_listed(found, inode) : has_entries;
}

// Appends the entries of an $INDEX_ROOT:
//
//    0  u32  indexed attribute type    8  u32  index block size    16  node header
//
// Returns false if the type is not $FILE_NAME, if the block size is 0, or if collect_entries does.
bool index_collector::collect_root(const record_attrib& root) {
    const ql::bytes value = root.value_to_record_end();
    if (ql::le32(value, 0) != attrib_type::file_name || ql::le32(value, 8) == 0) return false;
    return collect_entries(m_children, ql::clip(value, 16), m_include_slack);
}

// Appends the entries of all blocks of an $INDEX_ALLOCATION. Returns false if its initialized size
// is 0 or if its runs contain no block; the content of the blocks does not matter.
bool index_collector::collect_allocation(const record_attrib& attribute) {
    if (attribute.initialized_size() == 0) return false;
    const data_run_list runs = attribute_runs(attribute, m_ntfs.most_runs());
    return allocation_reader(m_ntfs, runs, m_children, m_include_slack).read();
}

// Appends the entries of a directory whose own record has no $INDEX_ALLOCATION: those of the first
// $INDEX_ALLOCATION that the attribute list names and, if the record has no $INDEX_ROOT, of the
// first $INDEX_ROOT. Later parts of either type are ignored. Returns false if a list or record
// cannot be read, or if the last part that was found has an invalid header or no block.
bool index_collector::collect_listed(const index_attributes& found, std::uint64_t inode) {
    if (found.list.nonresident() && found.list.initialized_size() == 0) return true;
    bool result = true;
    std::vector<std::uint8_t> record;
    for (const std::uint32_t type : {attrib_type::index_allocation, attrib_type::index_root}) {
        if (type == attrib_type::index_root && found.has_root) continue;
        auto list = open_index_list(m_ntfs, found.list);
        if (!list) return false;
        if (!find_list_entry(*list, type, i30_name)) continue;
        const std::uint64_t number = list->entry().reference().entry();
        if (number == inode) continue;
        if (!m_ntfs.read_record(number, record)) return false;
        record_attrib part = first_attrib(record);
        if (!find_named_attrib(part, type, i30_name, m_ntfs.get_mft_record_size())) continue;
        result = type == attrib_type::index_root ? collect_root(part) : collect_allocation(part);
    }
    return result;
}

}  // namespace

bool collect_entries(std::vector<std::uint64_t>& children, ql::bytes node_header,
                     bool include_slack) {
    const std::uint32_t index_length = ql::le32(node_header, 4);
    if (index_length == 0 || index_length > index_block_size) return false;
    collect_node(children, index_length, ql::clip(node_header, ql::le32(node_header, 0)),
                 include_slack);
    return true;
}

bool CNtfs::get_children(std::uint64_t inode, std::set<std::uint64_t>& children,
                         bool include_slack) {
    std::vector<std::uint64_t> found;
    const bool result = index_collector(*this, found, include_slack).collect(inode);
    make_unique(found);
    children.insert(found.begin(), found.end());
    return result;
}

bool CNtfs::get_children(std::uint64_t inode, std::set<std::uint64_t>& children) {
    return get_children(inode, children, false);
}

bool CNtfs::get_sorted_children(std::uint64_t inode, std::vector<std::uint64_t>& children) {
    children.clear();
    const bool result = index_collector(*this, children, false).collect(inode);
    make_unique(children);
    return result;
}

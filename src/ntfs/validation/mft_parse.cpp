#include <algorithm>
#include <optional>
#include <utility>

#include "ntfs/format/attrib_values.h"
#include "ntfs/format/attrib_walk.h"
#include "ntfs/records/attribute_list.h"
#include "ntfs/volume/ntfs.h"

namespace {

constexpr std::uint64_t mft_entry = 0;
constexpr std::uint64_t always_taken = 1u << 20;  // bytes of memory, even for a small source
// The list ends if fewer bytes than this follow an entry.
constexpr std::int64_t list_entry_size = 26;

// One pass over the attributes of a metadata file and, if it has an attribute list, of its
// extension records.
class mft_parser {
public:
    mft_parser(CNtfs& ntfs, NTFS_INODE_INFO& out, std::uint64_t inode)
        : m_ntfs(ntfs), m_out(out), m_inode(inode) {}

    void parse(ql::bytes record, bool keep);

private:
    ends_at_budget stop_rule() const { return {m_ntfs.m_bytes_per_file_record}; }
    bool take(const record_attrib& attribute, bool keep);
    void take_security(const record_attrib& attribute);
    void take_file_name(const record_attrib& attribute);
    bool take_content(const record_attrib& attribute, bool keep, std::vector<NTFS_DATA>& runs,
                      std::uint64_t& size);
    bool take_index_allocation(const record_attrib& attribute);

    void expand_list(const record_attrib& attribute);
    void expand_entries(list_cursor list);
    std::size_t most_runs() const;
    void take_listed(const list_entry& entry);
    void number_runs();

    CNtfs& m_ntfs;
    NTFS_INODE_INFO& m_out;
    std::uint64_t m_inode;
    std::optional<record_attrib> m_list;  // the last $ATTRIBUTE_LIST of the base record
    std::uint64_t m_taken = 0;            // bytes of memory that runs and values use
};

// Returns true for a non-resident attribute that states data or has bytes for a run list.
bool has_runs(const record_attrib& attribute) {
    return attribute.nonresident() &&
           (attribute.initialized_size() != 0 || attribute.length() > attribute.run_list_offset());
}

std::uint64_t memory_of(std::size_t runs) { return std::uint64_t{runs} * sizeof(NTFS_DATA); }

void mft_parser::parse(ql::bytes record, bool keep) {
    record_attrib attribute = first_attrib(record);
    const auto fails = [&](const record_attrib& found) { return !take(found, keep); };
    if (seek_attrib(attribute, stop_rule(), fails)) return;
    if (m_inode == mft_entry && m_out.data_runs.empty()) return;
    if (m_list) {
        // The extension records of $MFT are found through its runs that are known so far.
        const bool was_validated = m_ntfs.m_Validated;
        if (m_inode == mft_entry) m_ntfs.m_Validated = true;
        expand_list(*m_list);
        m_ntfs.m_Validated = was_validated;
    }
    number_runs();
}

// Returns false at an empty run list, which ends the parse.
bool mft_parser::take(const record_attrib& attribute, bool keep) {
    switch (attribute.type()) {
        case attrib_type::standard_information:
            take_security(attribute);
            return true;
        case attrib_type::attribute_list:
            m_list = attribute;
            return true;
        case attrib_type::file_name:
            take_file_name(attribute);
            return true;
        case attrib_type::data:
            return take_content(attribute, keep, m_out.data_runs, m_out.data_size);
        case attrib_type::index_allocation:
            return take_index_allocation(attribute);
        case attrib_type::bitmap:
            return take_content(attribute, keep, m_out.bitmap_runs, m_out.bitmap_size);
        default:
            return true;
    }
}

void mft_parser::take_security(const record_attrib& attribute) {
    const std::uint32_t id =
        standard_information_value{attribute.value_to_record_end()}.security_id();
    if (id == 0 || m_ntfs.m_mft_info.data_size == 0 || !m_ntfs.m_Validated) return;
    (void)m_ntfs.load_security_table();  // if it fails, no item is found below
    const NTFS_SECURITY_ITEM* item = m_ntfs.security_item(id);
    if (item != nullptr) m_out.security_text = item->owner_text;
}

void mft_parser::take_file_name(const record_attrib& attribute) {
    const file_name_value name{attribute.value_to_record_end()};
    ql::copy_with_zeros(name.value, m_out.file_name_body);
    m_out.data_size = name.real_size();
}

// Takes the runs or the value of a $DATA or $BITMAP attribute. In a base record, the runs of a
// later attribute replace those of an earlier one, regardless of their names. Returns false if a
// run list is empty.
bool mft_parser::take_content(const record_attrib& attribute, bool keep,
                              std::vector<NTFS_DATA>& runs, std::uint64_t& size) {
    if (attribute.nonresident()) {
        if (!has_runs(attribute)) return true;
        const std::size_t kept = keep ? runs.size() : 0;
        if (!decode_mft_runs(attribute.from(attribute.run_list_offset()), runs, attribute.type(),
                             !keep, most_runs())) {
            return false;
        }
        m_taken += memory_of(runs.size() - kept);
        if (size == 0) size = attribute.real_size();
    } else if (attribute.value_length() != 0 && most_runs() != 0) {
        const ql::bytes value = attribute.value();
        NTFS_DATA& data = runs.emplace_back();
        m_taken += memory_of(1) + value.size();
        data.resident = 1;
        data.resident_data.assign(value.begin(), value.end());
        data.resident_size = attribute.value_length();
        data.attrib_type = attribute.type();
        if (size == 0) size = attribute.value_length();
    }
    return true;
}

bool mft_parser::take_index_allocation(const record_attrib& attribute) {
    if (!has_runs(attribute)) return true;
    std::vector<NTFS_DATA> runs;
    if (!decode_mft_runs(attribute.from(attribute.run_list_offset()), runs, attribute.type(), true,
                         most_runs())) {
        return false;
    }
    m_taken += memory_of(runs.size());
    m_out.index_alloc_runs.push_back(std::move(runs));
    m_out.index_alloc_names.push_back(name_inside(attribute));
    return true;
}

// Returns how many more runs are accepted. Runs and values together use about as much memory as the
// source stores at most, or 1 MiB if that is more: a list with more runs names clusters repeatedly.
std::size_t mft_parser::most_runs() const {
    const CRawDisk* const disk = m_ntfs.disk();
    const std::uint64_t most = std::max(always_taken, disk != nullptr ? disk->held_bytes() : 0);
    return (most - std::min(most, m_taken)) / sizeof(NTFS_DATA);
}

void mft_parser::expand_list(const record_attrib& attribute) {
    if (!attribute.nonresident()) {
        // An entry may extend past the end of the value, up to the end of the record.
        expand_entries({attribute.value_to_record_end(), attribute.value_length()});
        return;
    }
    auto clusters = open_list_runs(m_ntfs, attribute, cluster_size_rule::keep);
    if (clusters == nullptr) return;
    const std::uint64_t largest = INT64_MAX;
    expand_entries(
        {std::move(clusters), static_cast<std::int64_t>(std::min(attribute.real_size(), largest))});
}

void mft_parser::expand_entries(list_cursor list) {
    for (;;) {
        const list_entry entry = list.entry();
        const std::uint16_t length = entry.length();
        if (length == 0 || length > list.left()) return;
        if (entry.reference().entry() != m_inode) take_listed(entry);
        list.advance(length);
        if (list.left() < list_entry_size) return;
    }
}

// Takes the attribute that a list entry names from its extension record. A record whose sequence
// number differs from that of the entry was reused and is ignored.
void mft_parser::take_listed(const list_entry& entry) {
    std::vector<std::uint8_t> record;
    if (!m_ntfs.read_listed_record(entry.reference().entry(), record)) return;
    if (file_record{record}.sequence_number() != entry.reference().sequence()) return;

    for_each_attrib(first_attrib(record), ends_after_empty{}, [&](const record_attrib& found) {
        if (!entry.names(found) || stop_rule().ends_at(found)) return;
        (void)take(found, true);  // an empty run list affects only this attribute
    });
}

// Sets the first VCN of each run: the number of clusters in all runs before it.
void mft_parser::number_runs() {
    std::uint64_t vcn = 0;
    for (std::size_t i = 0; i < m_out.data_runs.size(); ++i) {
        m_out.data_runs[i].vcn = vcn;
        m_out.data_run_index.insert_or_assign(vcn, i);  // the next run replaces an empty one
        vcn += m_out.data_runs[i].num_clusters;
    }
}

}  // namespace

bool CNtfs::parse_inode(ql::bytes record, NTFS_INODE_INFO& out, std::uint64_t inode, bool keep) {
    if (!keep) out = NTFS_INODE_INFO{};
    mft_parser(*this, out, inode).parse(record, keep);
    return true;
}

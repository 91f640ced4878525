#include "ntfs/attributes/attrib_pass.h"
#include "ntfs/attributes/name_entry_list.h"
#include "ntfs/format/attrib_values.h"
#include "ntfs/format/attrib_walk.h"
#include "ntfs/records/attribute_list.h"
#include "ntfs/volume/ntfs.h"

namespace {

// The walk over the names of a record ends by the rule ends_after_longer with this limit and,
// unlike all other walks, also directly after a $FILE_NAME attribute at one of a length of the
// limit or more. The length of a $FILE_NAME attribute itself is not limited, and the record size
// has no influence.
constexpr std::uint32_t name_walk_limit = 1024;

// Returns true if the filter selects a name. Names in namespace 2 (DOS) and in unknown even ones
// are selected only with `all_namespaces`.
bool is_selected(const file_name_value& value, const name_filter& filter) {
    const bool any_parent = filter.parent == no_parent_filter;
    if (!any_parent && value.parent_ref().entry() != filter.parent) return false;
    const std::uint8_t name_space = value.name_space();
    return filter.all_namespaces || name_space == 0 || name_space % 2 != 0;
}

void add_name(name_entry_list& names, const record_attrib& attribute, const name_filter& filter) {
    const file_name_value value{attribute.value_to_record_end()};
    if (attribute.value_length() == 0 || value.name_length() == 0) return;
    if (is_selected(value, filter)) names.add(attribute);
}

void collect_names(name_entry_list& names, ql::bytes record, const name_filter& filter) {
    record_attrib attribute;
    bool found = find_attrib(record, attrib_type::file_name, attribute, name_walk_limit);
    while (found) {
        add_name(names, attribute, filter);
        const std::uint32_t length = attribute.length();
        if (length == 0) return;
        attribute.at += length;
        if (attribute.length() >= name_walk_limit) return;
        found = find_next_attrib(attribute, attrib_type::file_name, name_walk_limit);
    }
}

// Returns true if `record` has an attribute with the type and id of `entry`.
bool has_listed(ql::bytes record, const list_entry& entry, std::uint32_t record_size) {
    record_attrib attribute = first_attrib(record);
    return seek_attrib(attribute, ends_at_record_size{record_size},
                       [&entry](const record_attrib& found) { return entry.names(found); });
}

// The names in the extension records of one entry.
class extension_names {
public:
    extension_names(CNtfs& ntfs, name_entry_list& names, const name_filter& filter)
        : m_ntfs(ntfs), m_names(names), m_filter(filter) {}

    // Collects the names of the record that a list entry refers to, if the record has the attribute
    // of the entry. The entry may be of any type.
    void collect(const list_entry& entry) {
        if (!load(entry.reference().entry())) return;
        if (!has_listed(m_record, entry, m_ntfs.get_mft_record_size())) return;
        collect_names(m_names, m_record, m_filter);
    }

private:
    // Reads a record unless it is the current one. Entries of the same record are usually adjacent.
    // Returns false if it is not a usable FILE record.
    bool load(std::uint64_t number) {
        if (m_usable && number == m_number) return true;
        m_number = number;
        m_usable = m_ntfs.read_listed_record(number, m_record);
        return m_usable;
    }

    CNtfs& m_ntfs;
    name_entry_list& m_names;
    const name_filter& m_filter;
    std::vector<std::uint8_t> m_record;
    std::uint64_t m_number = 0;
    bool m_usable = false;
};

}  // namespace

bool CNtfs::get_file_names(name_entry_map& names, std::uint64_t inode, ql::bytes record,
                           bool all_namespaces, std::uint64_t parent_filter) {
    name_entry_list list;
    get_file_names(list, inode, record, {all_namespaces, parent_filter});
    list.move_to(names);
    return !names.empty();
}

bool CNtfs::get_file_names(name_entry_list& names, std::uint64_t inode, ql::bytes record,
                           const name_filter& filter) {
    names.clear();
    record_attrib list;
    if (find_attrib(record, attrib_type::attribute_list, list, get_mft_record_size())) {
        if (auto entries = open_attribute_list(*this, list)) {
            extension_names extensions(*this, names, filter);
            for_each_list_entry(*entries, [&extensions, inode](const list_entry& entry) {
                if (entry.reference().entry() != inode) extensions.collect(entry);
            });
        }
    }
    collect_names(names, record, filter);
    return !names.empty();
}

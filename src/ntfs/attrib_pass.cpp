#include "ntfs/attrib_pass.h"

#include <algorithm>

#include "foundation/ql_string.h"
#include "ntfs/attrib_store.h"
#include "ntfs/attrib_values.h"
#include "ntfs/attribute_list.h"
#include "ntfs/ntfs.h"
#include "ntfs/reparse_point.h"

namespace {

// Types that an entry's attributes are kept under; all others share one.
std::uint32_t type_in_key(std::uint32_t type) {
    const bool known = type != 0 && type <= attrib_type::logged_utility_stream && type % 16 == 0;
    return known ? type : 0xFFFFFFFFu;
}

// True for a type that is taken only with a value, and has none.
bool lacks_value(const record_attrib& attribute) {
    switch (attribute.type()) {
        case attrib_type::standard_information:
        case attrib_type::file_name:
        case attrib_type::volume_information:
            return attribute.value_offset() == 0 || attribute.value_length() == 0;
        case attrib_type::object_id:
            return attribute.value_offset() == 0 || attribute.value_length() < 16;
        case attrib_type::reparse_point:
            return !has_reparse_target(attribute);
        default:
            return false;
    }
}

}  // namespace

std::uint64_t attribute_key(const record_attrib& attribute) {
    return std::uint64_t{attribute.id()} << 48 | type_in_key(attribute.type());
}

bool has_name(const record_attrib& attribute) {
    const std::size_t offset = attribute.name_offset();
    const std::size_t units = attribute.name_length();
    if (offset == 0 || units == 0) return false;
    const ql::bytes rest = attribute.from(0);
    // The bound counts units, not bytes: the end of a name may lie behind the record, as zeros.
    return offset + units <= rest.size() && ql::le16(rest, offset) != 0;
}

std::wstring attribute_name(const record_attrib& attribute) {
    std::wstring name;
    if (has_name(attribute)) {
        ql::utf16_to_wide(attribute.from(attribute.name_offset()), attribute.name_length() * 2L,
                          name);
    }
    return name;
}

std::wstring file_name_of(const record_attrib& attribute) {
    std::wstring name;
    read_file_name(attribute, name);
    return name;
}

void read_file_name(const record_attrib& attribute, std::wstring& name) {
    const file_name_value value{attribute.value_to_record_end()};
    ql::utf16_to_wide(value.name_to_end(), value.name_length() * 2L, name);
}

std::string volume_name_value(const record_attrib& attribute) {
    std::string name;
    if (!attribute.nonresident()) {
        ql::utf16_to_utf8(attribute.value_to_record_end(), attribute.value_length(), name, false);
    }
    return name;
}

void kept_names::add(const record_attrib& attribute, std::uint64_t inode) {
    const auto key = [inode](const record_attrib& name) {
        const file_name_value value{name.value_to_record_end()};
        return name_key(entry_of(value.parent_ref()), file_name_of(name), inode);
    };
    if (m_by_key.empty() && !m_only.has_value()) {
        m_only = attribute;
        return;
    }
    if (m_only.has_value()) m_by_key.emplace(key(*m_only), *m_only);
    m_only.reset();
    m_by_key.emplace(key(attribute), attribute);
}

bool attrib_pass::run(std::uint64_t inode, std::uint32_t record_size) {
    forget();
    m_inode = inode;
    m_record_size = record_size;
    const fetched result = fetch(inode, m_base);
    if (result == fetched::usable) {
        walk_base();
        return true;
    }
    if (m_options.trace != nullptr) {
        m_options.trace->diag(result == fetched::bad ? "err: recd bad %llx" : "err: mftfixup %llx",
                              static_cast<unsigned long long>(inode));
    }
    return false;
}

void attrib_pass::forget() {
    m_seen_unnamed_data = false;
    m_extensions.clear();
    m_listed.clear();
    m_lists.clear();
    m_std_infos.clear();
    m_file_names.clear();
    m_attributes.clear();
    m_arena.release();
}

// Reads one record by the runs of $MFT, entry 0 as well, and undoes its update sequence. What the
// end of the source cuts off is zero.
attrib_pass::fetched attrib_pass::fetch(std::uint64_t inode,
                                        std::vector<std::uint8_t>& record) const {
    if (!m_ntfs.fits_source(m_record_size)) return fetched::failed;
    record.resize(m_record_size);
    std::uint32_t count = m_record_size;
    if (!CNtfs::read_at(m_ntfs.disk(), m_ntfs.get_file_pos_for_inode(inode), m_ntfs.m_volume_offset,
                        record.data(), count)) {
        return fetched::failed;
    }
    std::fill(record.begin() + count, record.end(), std::uint8_t{0});
    const file_record head{record};
    if (head.has_bad_keyword()) {
        if (m_options.trace != nullptr) m_options.trace->diag("err: fixup_mft type: BAAD");
        return fetched::bad;
    }
    if (!head.is_valid() && !head.has_index_keyword()) return fetched::failed;
    apply_update_sequence(record, head.sequence_array_offset(), head.sequence_array_count(),
                          record.size(), m_ntfs.get_bytes_per_sector());
    return fetched::usable;
}

// Takes the attributes of the base record up to the first damaged one, then those that the lists
// met on the way name.
void attrib_pass::walk_base() {
    record_attrib attribute = first_attrib(m_base);
    if (attribute.at == 0) return;
    while (attribute.type() != attrib_type::end && attribute.length() != 0) {
        if (!take(attribute)) break;
        if (attribute.type() == attrib_type::attribute_list) m_lists.push_back(attribute);
        attribute.at += attribute.length();
    }
    for (const record_attrib& list : m_lists)
        expand(list);
}

// False, with nothing taken, for an attribute that passes the end of its record.
bool attrib_pass::take(const record_attrib& attribute) {
    if (attribute.length() > attribute.from(0).size()) return false;
    if (lacks_value(attribute)) return true;

    switch (attribute.type()) {
        case attrib_type::standard_information:
            if (m_options.with_names) m_std_infos.emplace(attribute.id(), attribute);
            break;
        case attrib_type::attribute_list:
            break;
        case attrib_type::file_name:
            if (m_options.with_names) m_file_names.add(attribute, m_inode);
            break;
        case attrib_type::data:
            take_data(attribute);
            break;
        default:
            insert_or_join(attribute);
            break;
    }
    return true;
}

// The parts of a long unnamed stream have ids of their own and are joined to the first one. Those
// of a named stream meet only under one id.
void attrib_pass::take_data(const record_attrib& attribute) {
    const bool unnamed = !has_name(attribute);
    if (unnamed && attribute.nonresident() && m_seen_unnamed_data &&
        !m_attributes.contains(attribute_key(attribute))) {
        const auto is_unnamed_data = [](const auto& item) {
            return item.second.attribute.type() == attrib_type::data &&
                   !has_name(item.second.attribute);
        };
        const auto first = std::find_if(m_attributes.begin(), m_attributes.end(), is_unnamed_data);
        if (first != m_attributes.end()) {
            join(first->second, attribute);
        } else {
            insert(attribute_key(attribute), attribute);
        }
    } else {
        insert_or_join(attribute);
    }
    if (unnamed) m_seen_unnamed_data = true;
}

// Under a key that is taken, an attribute of the same name adds its runs to the one that is there;
// with another name, or with a value to keep, it is dropped.
void attrib_pass::insert_or_join(const record_attrib& attribute) {
    const std::uint64_t key = attribute_key(attribute);
    const auto kept = m_attributes.find(key);
    if (kept == m_attributes.end()) {
        insert(key, attribute);
        return;
    }
    const bool has_value = !attribute.nonresident() && attribute.value_length() != 0;
    if (has_value && m_options.keep_values) return;
    if (attribute_name(kept->second.attribute) == attribute_name(attribute)) {
        join(kept->second, attribute);
    }
}

void attrib_pass::insert(std::uint64_t key, const record_attrib& attribute) {
    const auto kept = m_attributes.emplace(key, kept_attrib{attribute, {}}).first;
    if (m_options.with_runs && attribute.nonresident()) {
        kept->second.runs = attribute_runs(attribute);
    }
}

void attrib_pass::join(kept_attrib& kept, const record_attrib& attribute) const {
    if (!m_options.with_runs) return;
    merge_runs(attribute.nonresident() ? attribute_runs(attribute) : data_run_list{}, kept.runs);
}

void attrib_pass::expand(const record_attrib& list) {
    attribute_list_body body;
    if (!load_attribute_list(m_ntfs, list, body)) return;
    for_each_list_entry(body, [this](const list_entry& entry) {
        const std::uint64_t number = entry.entry_number();
        if (number == m_inode) return;  // its attributes were taken already
        if (m_options.trace != nullptr) {
            m_options.trace->diag("primary entry %llu pointing to ref entry %llu",
                                  static_cast<unsigned long long>(m_inode),
                                  static_cast<unsigned long long>(number));
        }
        if (const std::vector<std::uint8_t>* record = extension(number)) {
            take_listed(entry, *record);
        }
    });
}

// The record of an entry that a list names, read once; null when it is no FILE record.
const std::vector<std::uint8_t>* attrib_pass::extension(std::uint64_t entry) {
    const auto known = m_extensions.find(entry);
    if (known != m_extensions.end()) return &known->second;

    // A list that names more records than the source holds finds one record at many numbers.
    if (!m_ntfs.fits_source((m_extensions.size() + 1) * std::uint64_t{m_record_size})) {
        return nullptr;
    }
    std::vector<std::uint8_t> record;
    if (fetch(entry, record) != fetched::usable) return nullptr;
    const file_record head{record};
    if (!head.has_file_keyword() || head.first_attrib_offset() == 0) return nullptr;
    return &m_extensions.emplace(entry, std::move(record)).first->second;
}

// Takes each attribute of `record` that has the type and the id of a list entry. Nobody compares
// sequence numbers: a record that was used again may add attributes. A list that names an attribute
// again adds nothing: its runs could be joined over and over, to more than the source holds.
void attrib_pass::take_listed(const list_entry& entry, ql::bytes record) {
    record_attrib attribute = first_attrib(record);
    // Behind the record all lengths are 0.
    while (attribute.type() != attrib_type::end && attribute.length() != 0) {
        if (attribute.type() == entry.type() && attribute.id() == entry.id() &&
            m_listed.insert(record.data() + attribute.at).second) {
            take(attribute);
        }
        attribute.at += attribute.length();
    }
}

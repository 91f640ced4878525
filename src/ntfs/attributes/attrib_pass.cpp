#include "ntfs/attributes/attrib_pass.h"

#include <algorithm>
#include <utility>

#include "foundation/text/ql_string.h"
#include "ntfs/attributes/attrib_store.h"
#include "ntfs/format/attrib_values.h"
#include "ntfs/format/attrib_walk.h"
#include "ntfs/format/reparse_point.h"
#include "ntfs/records/attribute_list.h"
#include "ntfs/records/record_reader.h"
#include "ntfs/volume/name_entry.h"
#include "ntfs/volume/ntfs.h"

namespace {

// Returns the type that is part of an attribute's key. All unknown types share 0xFFFFFFFF.
std::uint32_t type_in_key(std::uint32_t type) {
    const bool known = type != 0 && type <= attrib_type::logged_utility_stream && type % 16 == 0;
    return known ? type : 0xFFFFFFFFu;
}

// Returns true if the attribute has a name. `left`: bytes from the start of the attribute to the
// end of its record. The bound adds 16-bit units, not bytes, so a name may extend past the end of
// the record, where its units are zero.
bool has_name(const record_attrib& attribute, std::uint64_t left) {
    const std::uint16_t offset = attribute.name_offset();
    const std::uint8_t units = attribute.name_length();
    return offset != 0 && units != 0 && std::uint64_t{offset} + units <= left &&
           ql::le16(attribute.from(offset), 0) != 0;
}

// Extension records are kept until they have this many bytes, then dropped and read again.
constexpr std::size_t most_extension_bytes = 0x100000;

}  // namespace

std::uint64_t attribute_key(const record_attrib& attribute) {
    return std::uint64_t{attribute.id()} << 48 | type_in_key(attribute.type());
}

std::wstring attribute_name(const record_attrib& attribute, std::uint64_t left) {
    if (!has_name(attribute, left)) return {};
    return ql::utf16_to_wide(attribute.from(attribute.name_offset()), attribute.name_length() * 2L);
}

void read_file_name(const record_attrib& attribute, std::wstring& name) {
    const file_name_value value{attribute.value_to_record_end()};
    ql::utf16_to_wide(value.name_to_end(), value.name_length() * 2L, name);
}

std::string volume_name_value(const record_attrib& attribute) {
    if (attribute.nonresident()) return {};
    return ql::utf16_to_utf8(attribute.value_to_record_end(), attribute.value_length());
}

void kept_names::add(const record_attrib& attribute, std::uint64_t inode) {
    const auto key = [inode](const kept_name& name) {
        return name_key(file_name_value{name.value}.parent_ref().entry(), name.name, inode);
    };
    kept_name added;
    added.attrib_id = attribute.id();
    ql::copy_start(attribute.value_to_record_end(), added.value);
    read_file_name(attribute, added.name);
    if (m_by_key.empty() && !m_only.has_value()) {
        m_only = std::move(added);
        return;
    }
    if (m_only.has_value()) m_by_key.emplace(key(*m_only), *m_only);
    m_only.reset();
    std::string added_key = key(added);
    m_by_key.emplace(std::move(added_key), std::move(added));
}

bool attrib_pass::run(std::uint64_t inode, std::uint32_t record_size, const whole_record* known) {
    forget();
    m_inode = inode;
    m_record_size = record_size;
    const fetched result = fetch_base(known);
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

void attrib_pass::free_large_records() {
    constexpr std::size_t most_kept = 0x10000;
    if (m_base_bytes.size() + m_extension_bytes <= most_kept) return;
    m_base_bytes = {};
    m_base = {};
    m_lists.clear();  // refers to m_base
    m_extensions.clear();
    m_extension_bytes = 0;
}

void attrib_pass::forget() {
    m_seen_unnamed_data = false;
    m_extensions.clear();
    m_extension_bytes = 0;
    m_listed.clear();
    m_lists.clear();
    m_std_infos.clear();
    m_file_names.clear();
    m_attributes.clear();
    m_arena.release();
}

// Reads the record at `position`, which comes from the runs of $MFT for all entries, including 0.
attrib_pass::fetched attrib_pass::fetch(std::uint64_t position,
                                        std::vector<std::uint8_t>& record) const {
    const record_answer read = read_mft_record(m_ntfs,
                                               {.position = position,
                                                .length = m_record_size,
                                                .rule = acceptance::file_or_index,
                                                .with_values = m_options.with_values},
                                               record);
    if (read.accepted) return fetched::usable;
    if (read.kind != record_kind::bad) return fetched::failed;
    if (m_options.trace != nullptr) m_options.trace->diag("err: fixup_mft type: BAAD");
    return fetched::bad;
}

attrib_pass::fetched attrib_pass::fetch_base(const whole_record* known) {
    const std::uint64_t position = m_ntfs.get_file_pos_for_inode(m_inode);
    if (known != nullptr && known->length == m_record_size && known->position == position) {
        m_base = known->content;
        return fetched::usable;
    }
    const fetched result = fetch(position, m_base_bytes);
    m_base = m_base_bytes;
    return result;
}

// Takes the attributes of the base record up to the first damaged one, then those that its
// attribute lists name.
void attrib_pass::walk_base() {
    record_attrib attribute = first_attrib(m_base);
    if (attribute.at == 0) return;
    seek_attrib(attribute, ends_at_empty{}, [this](const record_attrib& found) {
        const bool is_damaged = !take(found);
        if (!is_damaged && found.type() == attrib_type::attribute_list) m_lists.push_back(found);
        return is_damaged;
    });
    for (const record_attrib& list : m_lists)
        expand(list);
}

// Returns the number of bytes from the start of an attribute to the end of its record.
std::uint64_t attrib_pass::left(const record_attrib& attribute) const {
    return m_record_size - std::min<std::uint64_t>(attribute.at, m_record_size);
}

// Returns true if attributes of this type are ignored without a value, and this one has none.
bool attrib_pass::lacks_value(const record_attrib& attribute) const {
    switch (attribute.type()) {
        case attrib_type::standard_information:
        case attrib_type::file_name:
        case attrib_type::volume_information:
            return attribute.value_offset() == 0 || attribute.value_length() == 0;
        case attrib_type::object_id:
            return attribute.value_offset() == 0 || attribute.value_length() < 16;
        case attrib_type::reparse_point:
            return !has_reparse_target(attribute, left(attribute));
        default:
            return false;
    }
}

// Returns false, without taking anything, if the attribute extends past the end of its record.
bool attrib_pass::take(const record_attrib& attribute) {
    if (attribute.length() > left(attribute)) return false;
    if (lacks_value(attribute)) return true;

    switch (attribute.type()) {
        case attrib_type::standard_information:
            if (m_options.with_names) take_std_info(attribute);
            break;
        case attrib_type::attribute_list:
            break;
        case attrib_type::file_name:
            if (m_options.with_names) m_file_names.add(attribute, m_inode);
            break;
        case attrib_type::data:
            take_data(attribute);
            break;
        case attrib_type::object_id:
        case attrib_type::index_allocation:
            insert_or_join(attribute);
            break;
        default:
            if (!m_options.only_listed) insert_or_join(attribute);
            break;
    }
    return true;
}

void attrib_pass::take_std_info(const record_attrib& attribute) {
    kept_std_info info{};
    ql::copy_start(attribute.value(), info);
    m_std_infos.emplace(attribute.id(), info);
}

// Each part of a long unnamed stream has its own id, and the parts are joined to the first one.
// Parts of a named stream are joined only if they have the same id.
void attrib_pass::take_data(const record_attrib& attribute) {
    const bool unnamed = !has_name(attribute, left(attribute));
    if (unnamed && attribute.nonresident() && m_seen_unnamed_data &&
        !m_attributes.contains(attribute_key(attribute))) {
        const auto is_unnamed_data = [](const auto& item) {
            return item.second.type == attrib_type::data && item.second.name.empty();
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

// Stores an attribute under its key. If the key is in use, an attribute of the same name adds its
// runs to the stored one; an attribute with another name, or with a value to keep, is dropped.
void attrib_pass::insert_or_join(const record_attrib& attribute) {
    const std::uint64_t key = attribute_key(attribute);
    const auto kept = m_attributes.find(key);
    if (kept == m_attributes.end()) {
        insert(key, attribute);
        return;
    }
    const bool has_value = !attribute.nonresident() && attribute.value_length() != 0;
    if (has_value && m_options.keep_values) return;
    if (kept->second.name == attribute_name(attribute, left(attribute))) {
        join(kept->second, attribute);
    }
}

void attrib_pass::insert(std::uint64_t key, const record_attrib& attribute) {
    kept_attrib& kept = m_attributes[key];
    kept.type = attribute.type();
    ql::copy_start(ql::clip(attribute.from(0), 0, attribute.length()), kept.head);
    kept.name = attribute_name(attribute, left(attribute));
    if (attribute.nonresident()) {
        if (m_options.with_runs) kept.runs = attribute_runs(attribute, m_ntfs.most_runs());
    } else if (m_options.with_values || attribute.type() == attrib_type::object_id) {
        constexpr std::size_t object_id_size = 16;
        const ql::bytes value = attribute.value();
        const ql::bytes wanted = m_options.with_values ? value : ql::clip(value, 0, object_id_size);
        kept.value.assign(wanted.begin(), wanted.end());
    }
    if (m_options.on_insert) m_options.on_insert(key, kept, attribute);
}

void attrib_pass::join(kept_attrib& kept, const record_attrib& attribute) const {
    if (!m_options.with_runs) return;
    data_run_list added;
    if (attribute.nonresident()) added = attribute_runs(attribute, m_ntfs.most_runs());
    merge_runs(added, kept.runs);
}

void attrib_pass::expand(const record_attrib& attribute) {
    auto list = open_attribute_list(m_ntfs, attribute);
    if (!list) return;
    for_each_list_entry(*list, [this](const list_entry& entry) {
        const std::uint64_t number = entry.reference().entry();
        if (number == m_inode) return;  // the base record, whose attributes are already taken
        if (m_options.trace != nullptr) {
            m_options.trace->diag("primary entry %llu pointing to ref entry %llu",
                                  static_cast<unsigned long long>(m_inode),
                                  static_cast<unsigned long long>(number));
        }
        if (const extension_record* record = extension(number)) take_listed(entry, *record);
    });
}

// Returns the record of an entry that a list names, valid until the next call; null if it is not a
// FILE record.
const attrib_pass::extension_record* attrib_pass::extension(std::uint64_t entry) {
    const auto known = m_extensions.find(entry);
    if (known != m_extensions.end()) return &known->second;

    if (m_extension_bytes >= most_extension_bytes) {
        m_extensions.clear();
        m_extension_bytes = 0;
    }
    extension_record record{m_ntfs.get_file_pos_for_inode(entry), {}};
    if (fetch(record.position, record.bytes) != fetched::usable) return nullptr;
    if (!file_record{record.bytes}.has_attributes()) return nullptr;
    m_extension_bytes += record.bytes.size();
    return &m_extensions.emplace(entry, std::move(record)).first->second;
}

// Takes each attribute of `record` that has the type and the id of a list entry. Sequence numbers
// are not compared, so a record that was reused may add attributes of another file. A run list that
// is named again is ignored: joined repeatedly, its runs could add up to more than the source
// contains.
void attrib_pass::take_listed(const list_entry& entry, const extension_record& record) {
    const auto take_if_listed = [&](const record_attrib& attribute) {
        const std::uint64_t position = record.position + attribute.at;
        if (entry.names(attribute) && !m_listed.contains(position) && take(attribute)) {
            if (m_options.with_runs && attribute.nonresident()) m_listed.insert(position);
        }
    };
    for_each_attrib(first_attrib(record.bytes), ends_at_empty{}, take_if_listed);
}

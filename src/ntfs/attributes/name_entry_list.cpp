#include "ntfs/attributes/name_entry_list.h"

#include <algorithm>
#include <utility>

#include "ntfs/attributes/attrib_pass.h"
#include "ntfs/format/attrib_values.h"

namespace {

void copy_name(const record_attrib& attribute, NTFS_NAME_ENTRY& entry) {
    const file_name_value name{attribute.value_to_record_end()};
    read_file_name(attribute, entry.name);
    entry.parent_ref = name.parent_ref().raw;
    entry.is_dos_name = name.is_dos_name() ? 1 : 0;
    ql::copy_with_zeros(name.value, entry.file_name_body);
    ql::copy_with_zeros(attribute.from(0), entry.attrib_head);
    entry.record_number = file_record{attribute.record}.own_number();
}

void set_key(NTFS_NAME_ENTRY& entry) {
    entry.key = name_key(entry.parent_entry(), entry.name, entry.record_number);
}

}  // namespace

void name_entry_list::add(const record_attrib& attribute) {
    const std::size_t count = m_order.size();
    if (count == m_names.size()) m_names.emplace_back();
    NTFS_NAME_ENTRY& entry = m_names[count];
    copy_name(attribute, entry);
    if (count != 0) {
        if (count == 1) set_key(m_names.front());
        set_key(entry);
    }
    const auto place = std::lower_bound(
        m_order.begin(), m_order.end(), entry.key,
        [this](std::uint32_t index, const std::string& key) { return m_names[index].key < key; });
    if (place != m_order.end() && m_names[*place].key == entry.key) return;
    m_order.insert(place, static_cast<std::uint32_t>(count));
}

void name_entry_list::move_to(name_entry_map& names) {
    names.clear();
    if (size() == 1) set_key(m_names.front());
    for (const std::uint32_t index : m_order) {
        names.emplace_hint(names.end(), m_names[index].key, std::move(m_names[index]));
    }
    clear();
}

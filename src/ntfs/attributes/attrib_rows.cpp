#include "ntfs/attributes/attrib_rows.h"

#include <algorithm>
#include <utility>

#include "foundation/text/ql_string.h"
#include "ntfs/attributes/attrib_pass.h"
#include "ntfs/format/attrib_values.h"
#include "ntfs/volume/ntfs.h"

namespace {

// Writes `value` into the body of a row, little-endian.
template <typename Number>
void put(NTFS_ATTRIB_ROW& row, std::size_t at, Number value) {
    for (std::size_t i = 0; i < sizeof(Number); ++i) {
        row.body[at + i] = static_cast<std::uint8_t>(value >> (i * 8));
    }
}

// Builds the rows of the entry that a pass has read.
class row_writer {
public:
    row_writer(std::vector<NTFS_ATTRIB_ROW>& rows, const attrib_pass& pass, bool with_values)
        : m_rows(rows),
          m_head{pass.base_record()},
          m_inode(pass.inode()),
          m_file_ref(file_reference::of(m_inode, m_head.sequence_number()).raw),
          m_record_size(pass.record_size()),
          m_with_values(with_values) {}

    void add_head();
    void add_std_info(const kept_std_info& value);
    void add_file_name(const kept_name& name);
    void add_attribute(const kept_attrib& kept);

private:
    NTFS_ATTRIB_ROW& add(std::uint32_t type, std::uint16_t id);
    void fill_nonresident(NTFS_ATTRIB_ROW& row, const kept_attrib& kept) const;
    void fill_resident(NTFS_ATTRIB_ROW& row, const kept_attrib& kept) const;

    std::vector<NTFS_ATTRIB_ROW>& m_rows;
    const file_record m_head;
    const std::uint64_t m_inode;
    const std::uint64_t m_file_ref;
    const std::uint32_t m_record_size;
    const bool m_with_values;
};

NTFS_ATTRIB_ROW& row_writer::add(std::uint32_t type, std::uint16_t id) {
    NTFS_ATTRIB_ROW& row = m_rows.emplace_back();
    row.type = type;
    row.attrib_id = id;
    row.file_ref = m_file_ref;
    row.record_size = m_record_size;
    return row;
}

void row_writer::add_head() {
    NTFS_ATTRIB_ROW& row = add(row_type_record_head, 0);
    row.file_ref = m_inode;
    const unsigned flags = (m_head.in_use() ? 0u : 1u) | (m_head.is_directory() ? 2u : 0u) | 4u |
                           (m_head.hard_link_count() & 15u) << 3 |
                           (m_head.base_ref().is_set() ? 0x80u : 0u);
    put(row, 0, m_inode);
    put(row, 8, static_cast<std::uint8_t>(flags));
    put(row, 9, m_head.base_ref().raw);
}

void row_writer::add_std_info(const kept_std_info& value) {
    NTFS_ATTRIB_ROW& row = add(attrib_type::standard_information, 0);
    const standard_information_value info{value};
    put(row, 0, info.created());
    put(row, 8, info.modified());
    put(row, 16, info.accessed());  // before MFT changed, unlike on the disk
    put(row, 24, info.mft_changed());
    put(row, 32, info.attributes());
}

void row_writer::add_file_name(const kept_name& name) {
    NTFS_ATTRIB_ROW& row = add(attrib_type::file_name, name.attrib_id);
    const file_name_value value{name.value};
    put(row, 0, value.parent_ref().raw);
    put(row, 8, value.created());
    put(row, 16, value.modified());
    put(row, 24, value.accessed());
    put(row, 32, value.mft_changed());
    put(row, 40, value.real_size());
    put(row, 48, value.name_space());
    put(row, 49, static_cast<std::uint8_t>(value.attributes()));
    ql::append_utf8(row.file_name, name.name);
}

void row_writer::add_attribute(const kept_attrib& kept) {
    const record_attrib attribute = kept.header();
    NTFS_ATTRIB_ROW& row = add(attribute.type(), attribute.id());
    row.attrib_flags = attribute.flags();
    row.nonresident = attribute.nonresident() ? 1 : 0;
    if (attribute.nonresident()) {
        fill_nonresident(row, kept);
    } else {
        fill_resident(row, kept);
    }
    if (!kept.name.empty()) row.name = ql::to_utf8(kept.name);
}

void row_writer::fill_nonresident(NTFS_ATTRIB_ROW& row, const kept_attrib& kept) const {
    const record_attrib attribute = kept.header();
    const bool compressed = (attribute.flags() & 1u) != 0;
    const file_reference base = m_head.base_ref();
    put(row, row_body::owner_ref, base.is_set() ? base.raw : m_inode);
    put(row, row_body::allocated_size, attribute.allocated_size());
    put(row, row_body::real_size, attribute.real_size());
    put(row, row_body::initialized_size, attribute.initialized_size());
    put(row, row_body::compressed_size, compressed ? attribute.compressed_size() : 0);
    put(row, row_body::compression_unit, attribute.compression_unit());
    row.runs = kept.runs;
}

void row_writer::fill_resident(NTFS_ATTRIB_ROW& row, const kept_attrib& kept) const {
    const std::uint32_t length = kept.header().value_length();
    if (kept.type == attrib_type::object_id && length == 16) {
        // The kept value may be shorter than the stated length.
        const ql::bytes id = ql::clip(kept.value, 0, length);
        std::copy(id.begin(), id.end(), row.body.begin());
    } else {
        put(row, row_body::value_length, length);
    }
    if (!m_with_values) return;
    // Bytes past the part of the record that was read are zero and are not stored.
    if (length < m_record_size) row.value = kept.value;
    if (kept.type == attrib_type::volume_name) row.name = ql::utf16_to_utf8(kept.value, length);
}

}  // namespace

bool CNtfs::get_attrib_rows(std::uint64_t inode, std::vector<NTFS_ATTRIB_ROW>& rows) {
    rows.clear();
    if (!is_open()) return false;
    attrib_pass pass(*this, {});
    if (!pass.run(inode, get_mft_record_size())) return false;

    row_writer writer(rows, pass, true);
    writer.add_head();
    for (const auto& info : pass.std_infos())
        writer.add_std_info(info.second);
    pass.file_names().for_each([&writer](const kept_name& name) { writer.add_file_name(name); });
    for (const auto& kept : pass.attributes())
        writer.add_attribute(kept.second);
    return true;
}

std::optional<NTFS_ATTRIB_ROW> find_attrib_row(CNtfs& ntfs, std::uint64_t inode, std::uint32_t type,
                                               const std::string& name) {
    if (!ntfs.is_open()) return std::nullopt;
    kept_attrib first;
    std::uint64_t first_key = ~std::uint64_t{0};
    const auto keep_first = [&](std::uint64_t key, const kept_attrib& kept,
                                const record_attrib& attribute) {
        if (key > first_key || kept.header().type() != type) return;
        if (ql::to_utf8(kept.name) != name) return;
        first_key = key;
        first = kept;
        const ql::bytes value = attribute.nonresident() ? ql::bytes() : attribute.value();
        first.value.assign(value.begin(), value.end());
    };
    attrib_pass pass(ntfs, {.with_values = false, .with_names = false, .on_insert = keep_first});
    if (!pass.run(inode, ntfs.get_mft_record_size())) return std::nullopt;
    const auto kept = pass.attributes().find(first_key);
    if (kept == pass.attributes().end()) return std::nullopt;
    first.runs = kept->second.runs;  // includes the runs of attributes that were joined

    std::vector<NTFS_ATTRIB_ROW> rows;
    row_writer writer(rows, pass, true);
    writer.add_attribute(first);
    return std::move(rows.back());
}

listing_rows::listing_rows(CNtfs& ntfs)
    : m_ntfs(ntfs),
      m_pass(ntfs,
             {.with_values = false, .with_runs = false, .with_names = false, .only_listed = true}) {
}

bool listing_rows::read(std::uint64_t inode, const whole_record* known) {
    m_rows.clear();
    if (!m_ntfs.is_open()) return false;
    if (!m_pass.run(inode, m_ntfs.get_mft_record_size(), known)) return false;

    row_writer writer(m_rows, m_pass, false);
    for (const auto& kept : m_pass.attributes())
        writer.add_attribute(kept.second);
    m_pass.free_large_records();
    return true;
}

#include "support/record_builder.h"

#include <algorithm>
#include <stdexcept>

#include "support/byte_writer.h"

namespace support {

namespace {

constexpr std::size_t array_at = 48;  // default offset of the update sequence
constexpr std::size_t id_at = 14;     // the attribute id, in each attribute header

std::size_t words_for(std::size_t record_size, std::size_t stride) {
    return 1 + std::max<std::size_t>(1, stride == 0 ? 1 : record_size / stride);
}

// Returns the first 16 bytes that resident and non-resident attributes share; the length is set
// last.
bytes common_header(std::uint32_t type_code, bool nonresident, std::size_t name_length,
                    std::size_t name_offset, std::uint16_t flags) {
    bytes header;
    append(header, type_code, 4);
    append(header, 0, 4);
    append(header, nonresident ? 1 : 0, 1);
    append(header, name_length, 1);
    append(header, name_offset, 2);
    append(header, flags, 2);
    append(header, 0, 2);
    return header;
}

bytes resident_attribute(std::uint32_t type_code, std::u16string_view name, const bytes& value,
                         const resident_options& options) {
    constexpr std::size_t header_size = 24;
    bytes content = common_header(type_code, false, name.size(), header_size, options.flags);
    append(content, value.size(), 4);
    append(content, round_up(header_size + 2 * name.size(), 8), 2);
    append(content, options.indexed, 1);
    append(content, 0, 1);
    append(content, as_bytes(name));
    pad(content, 8);
    append(content, value);
    pad(content, 8);
    put_le(content, 4, content.size(), 4);
    return content;
}

bytes nonresident_attribute(std::uint32_t type_code, std::u16string_view name, const bytes& list,
                            std::uint64_t clusters, std::uint64_t cluster_size,
                            const nonresident_options& options) {
    const bool with_compressed_size = options.unit != 0 || options.compressed.has_value();
    const std::size_t header_size = with_compressed_size ? 72 : 64;
    const std::uint64_t allocated = options.allocated.value_or(clusters * cluster_size);
    const std::uint64_t real = options.real.value_or(allocated);
    const std::uint64_t list_at = round_up(header_size + 2 * name.size(), 8);

    bytes content = common_header(type_code, true, name.size(), header_size, options.flags);
    append(content, options.start_vcn, 8);
    append(content, options.last_vcn.value_or(options.start_vcn + clusters - 1), 8);
    append(content, options.run_offset.value_or(static_cast<std::uint16_t>(list_at)), 2);
    append(content, options.unit, 1);
    append(content, 0, 5);
    append(content, allocated, 8);
    append(content, real, 8);
    append(content, options.initialized.value_or(real), 8);
    if (with_compressed_size) {
        append(content, options.compressed.value_or(allocated), 8);
    }
    append(content, as_bytes(name));
    pad(content, 8);
    append(content, list);
    pad(content, 8);
    put_le(content, 4, content.size(), 4);
    return content;
}

std::uint64_t clusters_allocated(const cluster_runs& runs) {
    std::uint64_t sum = 0;
    for (const cluster_run& run : runs) {
        sum += run.lcn == hole ? 0 : run.count;
    }
    return sum;
}

}  // namespace

record_builder::record_builder(std::uint64_t number, std::size_t record_size,
                               std::size_t fixup_stride, std::size_t cluster_size)
    : m_number(number),
      m_record_size(record_size),
      m_fixup_stride(fixup_stride),
      m_cluster_size(cluster_size),
      m_sequence(default_sequence(number)) {}

record_builder& record_builder::flags(std::uint16_t value) {
    m_flags = value;
    return *this;
}
record_builder& record_builder::sequence(std::uint16_t value) {
    m_sequence = value;
    return *this;
}
record_builder& record_builder::base(std::uint64_t reference) {
    m_base = reference;
    return *this;
}
record_builder& record_builder::link_count(std::uint16_t value) {
    m_link_count = value;
    return *this;
}
record_builder& record_builder::keyword(std::string_view four_characters) {
    m_keyword = four_characters.substr(0, 4);
    return *this;
}
record_builder& record_builder::first_attribute(std::uint16_t offset) {
    m_first_attribute = offset;
    return *this;
}
record_builder& record_builder::usa_offset(std::uint16_t value) {
    m_usa_offset = value;
    return *this;
}
record_builder& record_builder::usa_count(std::uint16_t value) {
    m_usa_count = value;
    return *this;
}
record_builder& record_builder::check_value(std::uint16_t value) {
    m_check_value = value;
    return *this;
}
record_builder& record_builder::bytes_in_use(std::uint32_t value) {
    m_bytes_in_use = value;
    return *this;
}
record_builder& record_builder::bytes_allocated(std::uint32_t value) {
    m_bytes_allocated = value;
    return *this;
}
record_builder& record_builder::own_number(std::uint32_t value) {
    m_own_number = value;
    return *this;
}

record_builder& record_builder::standard_information(const standard_information_options& options) {
    return resident(type::standard_information, u"", standard_information_value(options));
}

record_builder& record_builder::file_name(std::uint64_t parent_entry, std::u16string_view name,
                                          const file_name_options& options) {
    return resident(type::file_name, u"", file_name_value(parent_entry, name, options),
                    {.indexed = 1});
}

record_builder& record_builder::object_id(std::span<const std::uint8_t> sixteen_or_more) {
    return resident(type::object_id, u"", bytes(sixteen_or_more.begin(), sixteen_or_more.end()));
}

record_builder& record_builder::reparse(std::uint32_t tag, std::u16string_view substitute,
                                        const reparse_options& options) {
    return resident(type::reparse_point, u"", reparse_value(tag, substitute, options));
}

record_builder& record_builder::data(std::string_view content) { return stream(u"", content); }
record_builder& record_builder::data(const bytes& content) { return stream(u"", content); }
record_builder& record_builder::data_runs(const cluster_runs& runs,
                                          const nonresident_options& options) {
    return stream_runs(u"", runs, options);
}
record_builder& record_builder::stream(std::u16string_view name, std::string_view content) {
    return resident(type::data, name, as_bytes(content));
}
record_builder& record_builder::stream(std::u16string_view name, const bytes& content) {
    return resident(type::data, name, content);
}
record_builder& record_builder::stream_runs(std::u16string_view name, const cluster_runs& runs,
                                            const nonresident_options& options) {
    return nonresident(type::data, name, runs, options);
}

record_builder& record_builder::attribute_list(const std::vector<list_entry>& entries) {
    return resident(type::attribute_list, u"", attribute_list_value(entries));
}
record_builder& record_builder::attribute_list_runs(const cluster_runs& runs,
                                                    const nonresident_options& options) {
    return nonresident(type::attribute_list, u"", runs, options);
}

record_builder& record_builder::resident(std::uint32_t type_code, std::u16string_view name,
                                         const bytes& value, const resident_options& options) {
    attribute made{.type_code = type_code, .name = std::u16string(name)};
    made.content = resident_attribute(type_code, name, value, options);
    return add(std::move(made), options.id);
}

record_builder& record_builder::nonresident(std::uint32_t type_code, std::u16string_view name,
                                            const cluster_runs& runs,
                                            const nonresident_options& options) {
    return nonresident(type_code, name, run_list(runs).terminated(), runs, options);
}

record_builder& record_builder::nonresident(std::uint32_t type_code, std::u16string_view name,
                                            const bytes& list, const cluster_runs& runs,
                                            const nonresident_options& options) {
    const std::uint64_t cluster = options.cluster != 0 ? options.cluster : m_cluster_size;
    nonresident_options complete = options;
    if (options.unit != 0 && !options.compressed) {
        complete.compressed = clusters_allocated(runs) * cluster;
    }
    attribute made{.type_code = type_code, .name = std::u16string(name)};
    made.start_vcn = options.start_vcn;
    made.content =
        nonresident_attribute(type_code, name, list, clusters_in(runs), cluster, complete);
    return add(std::move(made), options.id);
}

record_builder& record_builder::raw_attribute(const bytes& content) {
    attribute made;
    made.content = content;
    made.raw = true;
    m_attributes.push_back(std::move(made));
    return *this;
}

record_builder& record_builder::add(attribute made, std::optional<std::uint16_t> given) {
    m_attributes.push_back(std::move(made));
    return id(given.value_or(m_next_id++));
}

record_builder& record_builder::edit(std::size_t at, std::uint64_t value, std::size_t width) {
    if (m_attributes.empty()) {
        throw std::out_of_range("support: no attribute to edit");
    }
    put_le(m_attributes.back().content, at, value, width);
    return *this;
}

record_builder& record_builder::id(std::uint16_t value) {
    edit(id_at, value, 2);
    m_attributes.back().id = value;
    return *this;
}

record_builder& record_builder::next_id(std::uint16_t value) {
    m_next_id = value;
    return *this;
}
record_builder& record_builder::keep_order() {
    m_keep_order = true;
    return *this;
}
record_builder& record_builder::without_end_marker() {
    m_end_marker = false;
    return *this;
}
record_builder& record_builder::clear() {
    m_attributes.clear();
    return *this;
}
record_builder& record_builder::remove(std::uint32_t type_code) {
    std::erase_if(m_attributes, [&](const attribute& a) { return a.type_code == type_code; });
    return *this;
}
record_builder& record_builder::put_before_fixup(std::size_t offset, std::uint64_t value,
                                                 std::size_t width) {
    m_before_fixup.push_back({offset, value, width});
    return *this;
}
record_builder& record_builder::put(std::size_t offset, std::uint64_t value, std::size_t width) {
    m_after_fixup.push_back({offset, value, width});
    return *this;
}
record_builder& record_builder::without_fixups() {
    m_fixups = false;
    return *this;
}

std::vector<const record_builder::attribute*> record_builder::in_order() const {
    std::vector<const attribute*> result;
    bool as_called = m_keep_order;
    for (const attribute& a : m_attributes) {
        result.push_back(&a);
        as_called = as_called || a.raw;
    }
    if (!as_called) {
        std::stable_sort(result.begin(), result.end(), [](const attribute* a, const attribute* b) {
            return a->type_code < b->type_code;
        });
    }
    return result;
}

std::size_t record_builder::first_offset() const {
    const std::size_t lowest = round_up(array_at + 2 * words_for(m_record_size, m_fixup_stride), 8);
    return m_first_attribute && *m_first_attribute >= lowest ? *m_first_attribute : lowest;
}

std::size_t record_builder::array_offset() const { return m_usa_offset.value_or(array_at); }

std::size_t record_builder::array_words() const {
    return m_usa_count ? *m_usa_count : words_for(m_record_size, m_fixup_stride);
}

std::uint16_t record_builder::counted_links() const {
    return static_cast<std::uint16_t>(
        std::count_if(m_attributes.begin(), m_attributes.end(),
                      [](const attribute& a) { return a.type_code == type::file_name; }));
}

std::size_t record_builder::end_of_attributes() const {
    std::size_t end = first_offset();
    for (const attribute& a : m_attributes) {
        end += a.content.size();
    }
    return end;
}

std::size_t record_builder::space_left() const {
    const std::size_t used = end_of_attributes() + 8;
    return used > m_record_size ? 0 : m_record_size - used;
}

std::size_t record_builder::attribute_offset(std::uint32_t type_code, std::u16string_view name,
                                             std::size_t index) const {
    std::size_t offset = first_offset();
    for (const attribute* a : in_order()) {
        if (!a->raw && a->type_code == type_code && a->name == name && index-- == 0) {
            return offset;
        }
        offset += a->content.size();
    }
    throw std::out_of_range("support: no such attribute in record " + std::to_string(m_number));
}

bool record_builder::has_attribute(std::uint32_t type_code, std::u16string_view name) const {
    return std::any_of(m_attributes.begin(), m_attributes.end(), [&](const attribute& a) {
        return !a.raw && a.type_code == type_code && a.name == name;
    });
}

std::vector<list_entry> record_builder::list_entries() const {
    std::vector<list_entry> result;
    for (const attribute* a : in_order()) {
        if (!a->raw && a->type_code != type::attribute_list) {
            result.push_back({a->type_code, a->name, a->start_vcn, reference(), a->id});
        }
    }
    return result;
}

void record_builder::put_header(bytes& record, std::size_t used) const {
    for (std::size_t i = 0; i < m_keyword.size(); ++i) {
        record[i] = static_cast<std::uint8_t>(m_keyword[i]);
    }
    put_le(record, 4, array_offset(), 2);
    put_le(record, 6, array_words(), 2);
    put_le(record, 16, m_sequence, 2);
    put_le(record, 18, m_link_count.value_or(counted_links()), 2);
    put_le(record, 20, m_first_attribute ? *m_first_attribute : first_offset(), 2);
    put_le(record, 22, m_flags, 2);
    put_le(record, 24, m_bytes_in_use.value_or(static_cast<std::uint32_t>(used)), 4);
    put_le(record, 28, m_bytes_allocated.value_or(static_cast<std::uint32_t>(m_record_size)), 4);
    put_le(record, 32, m_base, 8);
    put_le(record, 40, m_next_id, 2);
    put_le(record, 44, m_own_number.value_or(static_cast<std::uint32_t>(m_number)), 4);
}

bytes record_builder::lay_out() const {
    const std::size_t end = end_of_attributes();
    const std::size_t used = end + (m_end_marker ? 8 : 0);
    if (used > m_record_size) {
        throw std::length_error("support: record " + std::to_string(m_number) + " is overfull");
    }
    bytes record(m_record_size);
    put_header(record, used);
    std::size_t at = first_offset();
    for (const attribute* a : in_order()) {
        std::copy(a->content.begin(), a->content.end(),
                  record.begin() + static_cast<std::ptrdiff_t>(at));
        at += a->content.size();
    }
    if (m_end_marker) {
        put_le(record, end, type::end, 4);
    }
    for (const change& c : m_before_fixup) {
        put_le(record, c.offset, c.value, c.width);
    }
    return record;
}

void record_builder::fix_up(bytes& record) const {
    if (m_fixups) {
        apply_fixups(record, m_fixup_stride, array_offset(), array_words(), m_check_value);
    }
}

bytes record_builder::build() const {
    bytes record = lay_out();
    fix_up(record);
    for (const change& c : m_after_fixup) {
        put_le(record, c.offset, c.value, c.width);
    }
    return record;
}

bytes record_builder::build_before_fixup() const {
    bytes record = lay_out();
    bytes fixed = record;
    fix_up(fixed);
    const std::size_t from = std::min(array_offset(), record.size());
    const std::size_t count = std::min(2 * array_words(), record.size() - from);
    std::copy_n(fixed.begin() + static_cast<std::ptrdiff_t>(from), count,
                record.begin() + static_cast<std::ptrdiff_t>(from));
    return record;
}

void apply_fixups(std::span<std::uint8_t> block, std::size_t stride, std::size_t array_offset,
                  std::size_t words, std::uint16_t check_value) {
    if (words == 0 || stride < 2 || array_offset + 2 > block.size()) {
        return;
    }
    put_le(block, array_offset, check_value, 2);
    for (std::size_t i = 1; i < words; ++i) {
        const std::size_t tail = i * stride - 2;
        const std::size_t kept_at = array_offset + 2 * i;
        if (tail + 2 > block.size() || kept_at + 2 > block.size()) {
            return;
        }
        block[kept_at] = block[tail];
        block[kept_at + 1] = block[tail + 1];
        put_le(block, tail, check_value, 2);
    }
}

}  // namespace support

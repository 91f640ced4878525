// Values of the attributes that record_builder.h supports by name.
#include "support/byte_writer.h"
#include "support/record_builder.h"

namespace support {

bytes standard_information_value(const standard_information_options& options) {
    bytes value;
    append(value, options.times.created, 8);
    append(value, options.times.modified, 8);
    append(value, options.times.mft_changed, 8);
    append(value, options.times.accessed, 8);
    append(value, options.attributes, 4);
    append(value, 0, 12);  // versions and class id
    append(value, options.owner_id, 4);
    append(value, options.security_id, 4);
    append(value, options.quota, 8);
    append(value, options.usn, 8);
    value.resize(options.length);
    return value;
}

bytes file_name_value(std::uint64_t parent_entry, std::u16string_view name,
                      const file_name_options& options) {
    bytes value;
    append(value,
           file_reference(parent_entry,
                          options.parent_sequence.value_or(default_sequence(parent_entry))),
           8);
    append(value, options.times.created, 8);
    append(value, options.times.modified, 8);
    append(value, options.times.mft_changed, 8);
    append(value, options.times.accessed, 8);
    append(value, options.allocated, 8);
    append(value, options.real, 8);
    append(value, options.flags, 4);
    append(value, options.reparse_tag, 4);
    append(value, options.name_length.value_or(static_cast<std::uint8_t>(name.size())), 1);
    append(value, options.space, 1);
    append(value, as_bytes(name));
    return value;
}

bytes attribute_list_value(const std::vector<list_entry>& entries) {
    bytes value;
    for (const list_entry& entry : entries) {
        const std::size_t start = value.size();
        const std::uint64_t valid_size = round_up(26 + 2 * entry.name.size(), 8);
        append(value, entry.type, 4);
        append(value, entry.length.value_or(static_cast<std::uint16_t>(valid_size)), 2);
        append(value, entry.name.size(), 1);
        append(value, entry.name_offset.value_or(26), 1);
        append(value, entry.start_vcn, 8);
        append(value, entry.record, 8);
        append(value, entry.id, 2);
        append(value, as_bytes(entry.name));
        // An entry whose stored length is below its header size still occupies the space of a valid
        // one.
        const std::uint64_t space = entry.length.value_or(0) < 26 ? valid_size : *entry.length;
        value.resize(start + space);
    }
    return value;
}

bytes reparse_value(std::uint32_t tag, std::u16string_view substitute,
                    const reparse_options& options) {
    const std::size_t closing = options.terminated ? 2 : 0;
    const std::size_t substitute_size = 2 * substitute.size();
    const std::size_t print_size = 2 * options.print.size();
    const std::size_t substitute_at = options.print_first ? print_size + closing : 0;
    const std::size_t print_at = options.print_first ? 0 : substitute_size + closing;
    const auto u16 = [](std::size_t n) { return static_cast<std::uint16_t>(n); };

    bytes body;
    append(body, options.substitute_offset.value_or(u16(substitute_at)), 2);
    append(body, options.substitute_length.value_or(u16(substitute_size)), 2);
    append(body, options.print_offset.value_or(u16(print_at)), 2);
    append(body, options.print_length.value_or(u16(print_size)), 2);
    if (tag == symbolic_link_tag) {
        append(body, options.relative ? 1 : 0, 4);
    }
    const std::u16string_view first = options.print_first ? options.print : substitute;
    const std::u16string_view second = options.print_first ? substitute : options.print;
    for (const std::u16string_view name : {first, second}) {
        append(body, as_bytes(name));
        append(body, 0, closing);
    }
    bytes value;
    append(value, tag, 4);
    append(value, options.data_length.value_or(u16(body.size())), 2);
    append(value, 0, 2);
    append(value, body);
    return value;
}

}  // namespace support

#include <algorithm>

#include "ntfs/record_reader.h"
#include "ntfs/reparse_point.h"

namespace {

constexpr std::uint64_t attribute_header_size = 72;
constexpr std::uint64_t fixed_fields = 1024;  // more than any value with a fixed layout has
constexpr std::uint64_t largest_node = 4096;  // bytes of an index node that are looked at

// Offset of the byte after the run list that starts at `at`: after its zero header byte.
std::uint64_t run_list_end(ql::bytes record, std::uint64_t at) {
    for (unsigned header = ql::le8(record, at); header != 0; header = ql::le8(record, at))
        at += 1 + (header & 0x0fu) + (header >> 4);
    return at + 1;
}

// The end of a link's names. They start after any zero words at the substitute name.
std::uint64_t link_names_end(const record_attrib& attribute, std::uint64_t value_at,
                             std::uint64_t seen) {
    const reparse_point point{attribute.value_to_record_end(), seen - std::min(seen, value_at)};
    const reparse_names names = locate_reparse_names(point);
    const std::uint64_t end = std::max(names.substitute_at + point.substitute_length(),
                                       names.print_at + point.print_length());
    // Without a word other than zero so far, the names start further on.
    return names.substitute_at < point.size ? value_at + end : seen + 1;
}

// The end of what is read of one attribute, given the first `seen` bytes of its record.
std::uint64_t attribute_reach(const record_attrib& attribute, std::uint64_t seen,
                              bool with_values) {
    const std::uint64_t value_at = attribute.at + attribute.value_offset();
    const std::uint64_t name_end =
        attribute.at + attribute.name_offset() + attribute.name_length() * std::uint64_t{2};
    std::uint64_t end = std::max(name_end, value_at + fixed_fields);
    const std::uint32_t type = attribute.type();
    if (attribute.nonresident()) {
        end = std::max(
            end, run_list_end(attribute.record, attribute.at + attribute.run_list_offset()) + 3);
    } else if (with_values || type == attrib_type::attribute_list) {
        end = std::max(end, value_at + attribute.value_length() + fixed_fields);
    }
    if (type == attrib_type::index_root) {
        const std::uint32_t entries_offset = ql::le32(attribute.value_to_record_end(), 16);
        end = std::max(end, value_at + 16 + entries_offset + largest_node + fixed_fields);
    } else if (type == attrib_type::reparse_point) {
        end = std::max(end, link_names_end(attribute, value_at, seen));
    }
    return end;
}

}  // namespace

std::uint64_t record_reach(ql::bytes record, std::uint64_t seen, bool with_values) {
    std::uint64_t reach = 0;
    record_attrib attribute = first_attrib(record);
    for (bool is_first = true;; is_first = false) {
        reach = std::max<std::uint64_t>(reach, attribute.at + attribute_header_size);
        if (reach > seen) return reach;
        // One reader does not check the first attribute for the end mark.
        if (attribute.type() == attrib_type::end && !is_first) return reach;
        reach = std::max(reach, attribute_reach(attribute, seen, with_values));
        if (attribute.length() == 0) return reach;
        attribute.at += attribute.length();
    }
}

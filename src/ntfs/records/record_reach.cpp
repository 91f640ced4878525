#include "ntfs/records/record_reach.h"

#include <algorithm>
#include <vector>

#include "ntfs/format/reparse_point.h"

namespace {

constexpr std::uint64_t attribute_header_size = 72;
constexpr std::uint64_t fixed_fields = 1024;  // larger than any value with a fixed layout
constexpr std::uint64_t largest_node = 4096;  // bytes of an index node that are read at most

// Finds the ends of run lists. No element is visited twice, so the time for many attributes with
// overlapping lists is bounded by the size of the record.
class run_list_walk {
public:
    explicit run_list_walk(ql::bytes record) : m_record(record) {}

    // Returns the offset after the run list that starts at `at`, including its zero header byte, or
    // a lower offset if the list continues in one that was visited before.
    std::uint64_t end(std::uint64_t at) {
        if (m_visited.empty()) m_visited.resize(m_record.size());
        for (unsigned header = ql::le8(m_record, at); header != 0 && !m_visited[at];
             header = ql::le8(m_record, at)) {
            m_visited[at] = true;
            at += 1 + (header & 0x0fu) + (header >> 4);
        }
        return at + 1;
    }

private:
    ql::bytes m_record;
    std::vector<bool> m_visited;  // header bytes of elements
};

// Returns the offset of the end of a link's names, which start after any zero words at the
// substitute name.
std::uint64_t link_names_end(const record_attrib& attribute, std::uint64_t value_at,
                             std::uint64_t seen) {
    const reparse_point point{attribute.value_to_record_end(), seen - std::min(seen, value_at)};
    const reparse_names names = locate_reparse_names(point);
    const std::uint64_t end = std::max(names.substitute_at + point.substitute_length(),
                                       names.print_at + point.print_length());
    // If all words so far are zero, the names start past `seen`.
    return names.substitute_at < point.size ? value_at + end : seen + 1;
}

// Returns the end of the bytes that are read for one attribute, as an offset in its record, given
// the first `seen` bytes of the record.
std::uint64_t attribute_reach(const record_attrib& attribute, run_list_walk& run_lists,
                              std::uint64_t seen, bool with_values) {
    const std::uint64_t value_at = attribute.at + attribute.value_offset();
    const std::uint64_t name_end =
        attribute.at + attribute.name_offset() + attribute.name_length() * std::uint64_t{2};
    std::uint64_t end = std::max(name_end, value_at + fixed_fields);
    const std::uint32_t type = attribute.type();
    // The run list of an $INDEX_ALLOCATION is decoded regardless of its non-resident flag.
    if (attribute.nonresident() || type == attrib_type::index_allocation) {
        end = std::max(end, run_lists.end(attribute.at + attribute.run_list_offset()) + 3);
    }
    if (!attribute.nonresident() && (with_values || type == attrib_type::attribute_list)) {
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
    run_list_walk run_lists(record);
    // This walk covers all walks of attrib_walk.h, so it has none of their limits, and it also ends
    // at a header that has not been read.
    for (bool is_first = true;; is_first = false) {
        reach = std::max<std::uint64_t>(reach, attribute.at + attribute_header_size);
        if (reach > seen) return reach;
        // One reader does not check whether the first attribute is the end marker.
        if (attribute.type() == attrib_type::end && !is_first) return reach;
        reach = std::max(reach, attribute_reach(attribute, run_lists, seen, with_values));
        if (attribute.length() == 0) return reach;
        attribute.at += attribute.length();
    }
}

#include "ntfs/format/reparse_point.h"

#include <algorithm>

#include "foundation/text/ql_string.h"

namespace {

constexpr std::size_t path_buffer = 16;

}  // namespace

reparse_names locate_reparse_names(const reparse_point& point) {
    const std::size_t start = path_buffer + point.substitute_offset();
    std::size_t at = start;
    while (at < point.value.size() && at < point.size && ql::le16(point.value, at) == 0)
        at += 2;
    // All bytes past the end of `value` are zero.
    if (at >= point.value.size() && at < point.size) at += (point.size - at + 1) / 2 * 2;
    return {at, path_buffer + point.print_offset() + (at - start)};
}

bool has_reparse_target(const record_attrib& attribute, std::uint64_t left) {
    if (attribute.value_offset() == 0 || attribute.value_length() < 17) return false;
    const std::uint64_t value_room = left - std::min<std::uint64_t>(left, attribute.value_offset());
    const reparse_point point{attribute.value_to_record_end(), value_room};
    if (point.data_length() >= point.size) return false;
    if (point.substitute_length() == 0 && point.print_length() == 0) return false;
    return point.substitute_offset() + point.substitute_length() < point.data_length() &&
           point.print_offset() + point.print_length() < point.data_length();
}

std::wstring reparse_print_name(const reparse_point& point) {
    return ql::utf16_to_wide(ql::clip(point.value, locate_reparse_names(point).print_at),
                             point.print_length());
}

std::wstring reparse_target(const reparse_point& point) {
    if (point.print_length() != 0) return reparse_print_name(point);
    return ql::utf16_to_wide(ql::clip(point.value, locate_reparse_names(point).substitute_at),
                             point.substitute_length());
}

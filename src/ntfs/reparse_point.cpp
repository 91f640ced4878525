#include "ntfs/reparse_point.h"

#include "foundation/ql_string.h"

namespace {

constexpr std::size_t path_buffer = 16;

}  // namespace

reparse_names locate_reparse_names(const reparse_point& point) {
    reparse_names names{path_buffer + point.substitute_offset(),
                        path_buffer + point.print_offset()};
    while (names.substitute_at < point.value.size() &&
           ql::le16(point.value, names.substitute_at) == 0) {
        names.substitute_at += 2;
        names.print_at += 2;
    }
    return names;
}

bool has_reparse_target(const record_attrib& attribute) {
    if (attribute.value_offset() == 0 || attribute.value_length() < 17) return false;
    const reparse_point point{attribute.value_to_record_end()};
    if (point.data_length() >= point.value.size()) return false;
    if (point.substitute_length() == 0 && point.print_length() == 0) return false;
    return point.substitute_offset() + point.substitute_length() < point.data_length() &&
           point.print_offset() + point.print_length() < point.data_length();
}

std::wstring reparse_print_name(const reparse_point& point) {
    std::wstring name;
    ql::utf16_to_wide(ql::clip(point.value, locate_reparse_names(point).print_at),
                      point.print_length(), name);
    return name;
}

std::wstring reparse_target(const reparse_point& point) {
    if (point.print_length() != 0) return reparse_print_name(point);
    std::wstring name;
    ql::utf16_to_wide(ql::clip(point.value, locate_reparse_names(point).substitute_at),
                      point.substitute_length(), name);
    return name;
}

#include "ntfs/format/file_record.h"

#include <algorithm>

#include "foundation/text/ql_string.h"
#include "ntfs/format/attrib_walk.h"

namespace {

// Returns true if the `length` 16-bit units at `at` are those of `name`. Bytes past the end of `b`
// are zero.
bool is_named(ql::bytes b, std::size_t at, std::uint8_t length, ql::bytes name) {
    if (std::size_t{length} * 2 != name.size()) return false;
    for (std::size_t i = 0; i < name.size(); ++i) {
        if (ql::le8(b, at + i) != name[i]) return false;
    }
    return true;
}

}  // namespace

std::string name_inside(const record_attrib& attribute) {
    const std::uint32_t bytes = attribute.name_length() * 2u;
    if (bytes == 0 || attribute.name_offset() + bytes > attribute.length()) return {};
    return ql::utf16_to_utf8(attribute.from(attribute.name_offset()), bytes);
}

bool find_attrib(ql::bytes record, std::uint32_t type, record_attrib& attribute,
                 std::uint32_t limit) {
    attribute = first_attrib(record);
    return find_next_attrib(attribute, type, limit);
}

bool find_next_attrib(record_attrib& attribute, std::uint32_t type, std::uint32_t limit) {
    return seek_attrib(attribute, ends_after_longer{limit},
                       [type](const record_attrib& found) { return found.type() == type; });
}

bool find_named_attrib(record_attrib& attribute, std::uint32_t type, ql::bytes name,
                       std::uint32_t limit) {
    const auto is_wanted = [type, name](const record_attrib& found) {
        return found.type() == type &&
               is_named(found.record, found.at + found.name_offset(), found.name_length(), name);
    };
    if (!seek_attrib(attribute, ends_after_empty{}, is_wanted)) return false;
    return !name.empty() || attribute.length() <= limit;
}

bool list_entry::is_named(ql::bytes wanted) const {
    return ::is_named(list, at + name_offset(), name_length(), wanted);
}

void apply_update_sequence(std::span<std::uint8_t> record, std::uint16_t array_offset,
                           std::uint16_t array_count, std::uint64_t size, std::uint32_t stride) {
    if (array_count < 2 || stride == 0) return;
    const std::uint64_t blocks = std::min<std::uint64_t>(array_count - 1u, size / stride);
    // Read each word just before its block is restored: if blocks are small, restoring an earlier
    // block may have changed the array.
    for (std::uint64_t block = 1; block <= blocks; ++block) {
        const std::uint64_t from = array_offset + block * 2;
        const std::uint8_t word[2] = {ql::le8(record, from), ql::le8(record, from + 1)};
        const std::uint64_t end = block * stride;
        // If blocks have one byte, the low byte of the first would be before the record.
        if (end >= 2 && end - 2 < record.size()) record[end - 2] = word[0];
        if (end - 1 < record.size()) record[end - 1] = word[1];
    }
}

std::uint32_t kind_of(const file_record& header) {
    if (header.is_valid()) return record_kind::file;
    if (header.has_index_keyword()) return record_kind::index;
    return header.has_bad_keyword() ? record_kind::bad : record_kind::none;
}

bool check_fixup(std::uint32_t& kind, ql::bytes record, std::uint64_t size, std::uint32_t stride) {
    const file_record header{record};
    kind = size < 1024 ? record_kind::none : kind_of(header);
    if (kind == record_kind::none) return false;
    const std::uint16_t count = header.sequence_array_count();
    if (kind == record_kind::bad && count > 10) return false;
    return count < 2 || size >= (count - std::uint64_t{1}) * stride;
}

bool apply_fixup(std::uint32_t& kind, std::span<std::uint8_t> record, std::uint32_t stride) {
    if (!check_fixup(kind, record, record.size(), stride)) return false;
    const file_record header{record};
    apply_update_sequence(record, header.sequence_array_offset(), header.sequence_array_count(),
                          record.size(), stride);
    return true;
}

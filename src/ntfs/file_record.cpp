#include "ntfs/file_record.h"

#include <algorithm>

#include "foundation/ql_string.h"

namespace {

// True when the `length` 16-bit units at `at` are those of `name`. Units behind the end of `b` are
// zero.
bool is_named(ql::bytes b, std::size_t at, std::uint8_t length, ql::bytes name) {
    if (std::size_t{length} * 2 != name.size()) return false;
    for (std::size_t i = 0; i < name.size(); ++i) {
        if (ql::le8(b, at + i) != name[i]) return false;
    }
    return true;
}

}  // namespace

std::string name_inside(const record_attrib& attribute) {
    std::string name;
    const std::uint32_t bytes = attribute.name_length() * 2u;
    if (bytes != 0 && attribute.name_offset() + bytes <= attribute.length()) {
        ql::utf16_to_utf8(attribute.from(attribute.name_offset()), bytes, name, false);
    }
    return name;
}

bool find_attrib(ql::bytes record, std::uint32_t type, record_attrib& attribute,
                 std::uint32_t limit) {
    attribute = first_attrib(record);
    return find_next_attrib(attribute, type, limit);
}

bool find_next_attrib(record_attrib& attribute, std::uint32_t type, std::uint32_t limit) {
    for (;;) {
        const std::uint32_t found = attribute.type();
        if (found == attrib_type::end) return false;
        if (found == type) return true;
        const std::uint32_t length = attribute.length();
        if (length == 0 || limit < length) return false;
        attribute.at += length;
    }
}

bool find_named_attrib(record_attrib& attribute, std::uint32_t type, ql::bytes name,
                       std::uint32_t limit) {
    for (;;) {
        const std::uint32_t found = attribute.type();
        if (found == attrib_type::end) return false;
        if (found == type && is_named(attribute.record, attribute.at + attribute.name_offset(),
                                      attribute.name_length(), name)) {
            return !name.empty() || attribute.length() <= limit;
        }
        if (attribute.length() == 0) return false;
        attribute.at += attribute.length();
    }
}

bool find_list_entry(list_entry& entry, std::int64_t& bytes_left, std::uint32_t type,
                     ql::bytes name) {
    for (;;) {
        if (entry.type() == type &&
            is_named(entry.list, entry.at + entry.name_offset(), entry.name_length(), name)) {
            return true;
        }
        const std::uint16_t length = entry.length();
        if (length == 0) {
            bytes_left = 0;
            return false;
        }
        bytes_left -= length;
        if (bytes_left < 1) return false;
        entry.at += length;
        if (entry.type() == attrib_type::end) return false;
    }
}

void apply_update_sequence(std::span<std::uint8_t> record, std::uint16_t array_offset,
                           std::uint16_t array_count, std::uint64_t size, std::uint32_t stride) {
    if (array_count < 2 || stride == 0) return;
    const std::uint64_t blocks = std::min<std::uint64_t>(array_count - 1u, size / stride);
    // A word is read when its block's turn comes: with small blocks an earlier one may have changed
    // it.
    for (std::uint64_t block = 1; block <= blocks; ++block) {
        const std::uint64_t from = array_offset + block * 2;
        const std::uint8_t word[2] = {ql::le8(record, from), ql::le8(record, from + 1)};
        const std::uint64_t end = block * stride;
        // The first of one-byte blocks has its low byte in front of the record.
        if (end >= 2 && end - 2 < record.size()) record[end - 2] = word[0];
        if (end - 1 < record.size()) record[end - 1] = word[1];
    }
}

bool apply_fixup(std::uint32_t& kind, std::span<std::uint8_t> record, std::uint32_t stride) {
    kind = record_kind::none;
    if (record.size() < 1024) return false;
    const file_record header{record};
    if (header.is_valid()) {
        kind = record_kind::file;
    } else if (header.has_index_keyword()) {
        kind = record_kind::index;
    } else if (header.has_bad_keyword()) {
        kind = record_kind::bad;
    } else {
        return false;
    }

    const std::uint16_t count = header.sequence_array_count();
    if (kind == record_kind::bad && count > 10) return false;
    if (count > 1 && record.size() < (count - std::uint64_t{1}) * stride) return false;
    apply_update_sequence(record, header.sequence_array_offset(), count, record.size(), stride);
    return true;
}

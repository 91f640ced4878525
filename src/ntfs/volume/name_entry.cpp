#include "ntfs/volume/name_entry.h"

#include "foundation/text/number_text.h"
#include "foundation/text/ql_string.h"

std::string name_key(std::uint64_t parent, const std::wstring& name, std::uint64_t number) {
    constexpr std::size_t width = 8;  // minimum number of digits
    std::string key;
    key.reserve(name.size() + 26);
    ql::append_hex(key, parent, width);
    key += '_';
    ql::append_utf8(key, name);
    key += '_';
    ql::append_hex(key, number, width);
    return key;
}

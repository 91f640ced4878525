#include "support/sds.h"

#include <algorithm>
#include <cstdlib>
#include <stdexcept>
#include <string>

#include "support/byte_writer.h"

namespace support {

namespace {

constexpr std::uint64_t block_size = 0x40000;

}  // namespace

bytes sid(std::uint64_t authority, const std::vector<std::uint32_t>& sub_authorities,
          std::optional<std::uint8_t> count) {
    bytes result = {1, count.value_or(static_cast<std::uint8_t>(sub_authorities.size()))};
    for (unsigned shift = 48; shift != 0; shift -= 8) {
        result.push_back(static_cast<std::uint8_t>(authority >> (shift - 8)));
    }
    for (const std::uint32_t sub_authority : sub_authorities) {
        append(result, sub_authority, 4);
    }
    return result;
}

bytes sid(std::string_view text) {
    std::vector<std::uint64_t> numbers;
    if (!text.starts_with("S-1-")) {
        throw std::invalid_argument("not a SID: " + std::string(text));
    }
    std::string rest(text.substr(4));
    for (char* at = rest.data(); *at != 0; at += *at == '-' ? 1 : 0) {
        numbers.push_back(std::strtoull(at, &at, 10));
        if (*at != 0 && *at != '-') {
            throw std::invalid_argument("not a SID: " + std::string(text));
        }
    }
    std::vector<std::uint32_t> sub_authorities;
    for (std::size_t i = 1; i < numbers.size(); ++i) {
        sub_authorities.push_back(static_cast<std::uint32_t>(numbers[i]));
    }
    return sid(numbers.empty() ? 0 : numbers[0], sub_authorities);
}

bytes ace(std::uint8_t type, std::uint8_t flags, std::uint32_t mask, const bytes& trustee) {
    bytes result = {type, flags};
    append(result, 8 + trustee.size(), 2);
    append(result, mask, 4);
    append(result, trustee);
    return result;
}

bytes acl(const std::vector<bytes>& entries) {
    bytes body;
    for (const bytes& entry : entries) {
        append(body, entry);
    }
    bytes result = {2, 0};
    append(result, 8 + body.size(), 2);
    append(result, entries.size(), 2);
    append(result, 0, 2);
    append(result, body);
    return result;
}

bytes security_descriptor::build() const {
    std::uint64_t next = 20;
    const auto place = [&next](const bytes& part) {
        const std::uint64_t at = part.empty() ? 0 : next;
        next += part.size();
        return at;
    };
    const std::uint64_t sacl_at = place(sacl), dacl_at = place(dacl);
    const std::uint64_t owner_at = place(owner), group_at = place(group);
    bytes result = {1, 0};
    append(result, control, 2);
    for (const std::uint64_t at : {owner_at, group_at, sacl_at, dacl_at}) {
        append(result, at, 4);
    }
    for (const bytes* part : {&sacl, &dacl, &owner, &group}) {
        append(result, *part);
    }
    return result;
}

std::uint32_t security_hash(std::span<const std::uint8_t> descriptor) {
    std::uint32_t hash = 0;
    for (std::size_t at = 0; at + 4 <= descriptor.size(); at += 4) {
        const std::uint32_t word = static_cast<std::uint32_t>(descriptor[at]) |
                                   static_cast<std::uint32_t>(descriptor[at + 1]) << 8 |
                                   static_cast<std::uint32_t>(descriptor[at + 2]) << 16 |
                                   static_cast<std::uint32_t>(descriptor[at + 3]) << 24;
        hash = word + (hash << 3 | hash >> 29);
    }
    return hash;
}

std::uint64_t sds_stream::add(std::uint32_t id, const bytes& descriptor) {
    const std::uint64_t size = 20 + descriptor.size();
    if (m_next / block_size != (m_next + size - 1) / block_size) {
        m_next = round_up(m_next, block_size);
    }
    if (m_next / block_size % 2 != 0) {
        m_next = round_up(m_next + 1, block_size);  // that block is a copy
    }
    const std::uint64_t at = m_next;
    const std::uint32_t hash = security_hash(descriptor);
    m_first_copies.put(at, hash, 4).put(at + 4, id, 4).put(at + 8, at, 8).put(at + 16, size, 4);
    m_first_copies.put_bytes(at + 20, descriptor);
    m_entries.push_back({id, hash, at, static_cast<std::uint32_t>(size)});
    m_next = round_up(at + size, 16);
    return at;
}

sds_stream& sds_stream::skip_to(std::uint64_t offset) {
    m_next = offset;
    return *this;
}

sds_stream& sds_stream::put(std::uint64_t at, std::uint64_t value, std::size_t width) {
    m_edits.push_back({at, {value, width}});
    return *this;
}

bytes sds_stream::build() const {
    byte_image result = m_first_copies;
    const std::uint64_t used = m_first_copies.size();
    for (std::uint64_t at = 0; at < used; at += 2 * block_size) {
        const std::uint64_t length = std::min(block_size, used - at);
        result.put_bytes(at + block_size,
                         m_first_copies.get_bytes(at, static_cast<std::size_t>(length)));
    }
    for (const auto& [at, edit] : m_edits) {
        result.put(at, edit.first, edit.second);
    }
    return result.bytes();
}

namespace {

// Returns data offset, data size, zero, entry length, key length, flags, zero; key; data.
bytes view_index_entry(const bytes& key, const bytes& data) {
    bytes result;
    append(result, 16 + key.size(), 2);
    append(result, data.size(), 2);
    append(result, 0, 4);
    append(result, round_up(16 + key.size() + data.size(), 8), 2);
    append(result, key.size(), 2);
    append(result, 0, 4);
    append(result, key);
    append(result, data);
    result.resize(round_up(result.size(), 8));
    return result;
}

// Returns the fields that both indexes have for an entry: hash, id, offset, size.
bytes sds_header(const sds_stream::placed& entry) {
    bytes result;
    append(result, entry.hash, 4);
    append(result, entry.id, 4);
    append(result, entry.offset, 8);
    append(result, entry.size, 4);
    return result;
}

}  // namespace

bytes sii_index_entry(const sds_stream::placed& entry) {
    bytes key;
    append(key, entry.id, 4);
    return view_index_entry(key, sds_header(entry));
}

bytes sdh_index_entry(const sds_stream::placed& entry) {
    bytes key;
    append(key, entry.hash, 4);
    append(key, entry.id, 4);
    bytes data = sds_header(entry);
    append(data, as_bytes(std::u16string_view(u"II")));
    return view_index_entry(key, data);
}

}  // namespace support

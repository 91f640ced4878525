#include <algorithm>
#include <new>
#include <utility>
#include <vector>

#include "ntfs/attributes/attrib_data.h"
#include "ntfs/attributes/attrib_rows.h"
#include "ntfs/volume/ntfs.h"

namespace {

constexpr std::uint64_t secure_entry = 9;
constexpr std::uint64_t entry_alignment = 16;

// The $SDS stream as parts, without the long sequences of zeros between them, so that a hole uses
// no memory.
class descriptor_stream : public data_sink {
public:
    struct part {
        std::uint64_t position;  // in the stream, a multiple of the alignment of entries
        std::vector<std::uint8_t> content;
    };

    // `most_bytes`: the stream ends once its parts have more bytes than this, the number that the
    // source stores. A longer stream contains clusters repeatedly.
    explicit descriptor_stream(std::uint64_t most_bytes) : m_most_bytes(most_bytes) {}

    // Also returns false if there is not enough memory for the content.
    bool put(ql::bytes content) override {
        const auto is_zero = [](std::uint8_t byte) { return byte == 0; };
        if (std::all_of(content.begin(), content.end(), is_zero)) return put_zeros(content.size());
        try {
            append(content);
        } catch (const std::bad_alloc&) {
            return false;
        }
        return m_held <= m_most_bytes;
    }

    bool put_zeros(std::uint64_t count) override {
        m_size += count;
        m_zeros += count;
        return true;
    }

    // Bytes in the stream.
    std::uint64_t size() const { return m_size; }
    const std::vector<part>& parts() const { return m_parts; }

private:
    void append(ql::bytes content) {
        constexpr std::uint64_t shortest_hole = 0x10000;
        if (m_parts.empty() || m_zeros >= shortest_hole) {
            const std::uint64_t lead = m_size % entry_alignment;
            m_parts.push_back({m_size - lead, {}});
            m_zeros = lead;
        }
        std::vector<std::uint8_t>& last = m_parts.back().content;
        last.resize(last.size() + m_zeros);
        last.insert(last.end(), content.begin(), content.end());
        m_size += content.size();
        m_held += m_zeros + content.size();
        m_zeros = 0;
    }

    std::uint64_t m_most_bytes;
    std::uint64_t m_size = 0;
    std::uint64_t m_held = 0;
    std::uint64_t m_zeros = 0;  // zeros at the end of the stream, not stored in a part
    std::vector<part> m_parts;
};

// Adds the entries of an $SDS stream to `table`. An entry starts at a multiple of 16 and contains
// its own position:
//
//    4  u32  security id    8  u64  position in the stream    16  u32  size, header included
//
// If no entry starts at a position, the next multiple of 16 is tried, which skips damage and the
// gaps between the blocks of the stream. If several entries have the same id, like the copies in
// the mirror blocks, the first is kept.
void collect_descriptors(const descriptor_stream& stream,
                         std::map<std::uint32_t, NTFS_SECURITY_ITEM>& table) {
    constexpr std::uint32_t smallest_size = 41;
    std::uint64_t next = 0;  // position at which the next entry may start
    for (const descriptor_stream::part& part : stream.parts()) {
        next = std::max(next, part.position);
        while (next - part.position < part.content.size()) {
            const ql::bytes entry = ql::clip(part.content, next - part.position);
            const std::uint64_t left = stream.size() - next;
            const std::uint32_t size = ql::le32(entry, 16);
            if (ql::le64(entry, 8) != next || size < smallest_size || size > left) {
                next += entry_alignment;
                continue;
            }
            NTFS_SECURITY_ITEM item;
            if (parse_sds_entry(item, entry, left)) {
                const std::uint32_t id = item.id;
                table.try_emplace(id, std::move(item));
            }
            next += (size + entry_alignment - 1) / entry_alignment * entry_alignment;
        }
    }
}

}  // namespace

bool CNtfs::load_security_table() {
    if (!m_Validated || !m_security_table.empty()) return !m_security_table.empty();
    const auto sds = find_attrib_row(*this, secure_entry, attrib_type::data, "$SDS");
    if (!sds) return false;

    mft_entries_ctx untraced;
    descriptor_stream stream(m_disk->held_bytes());
    if (!stream_row(*this, *sds, stream, untraced)) return false;
    collect_descriptors(stream, m_security_table);
    return !m_security_table.empty();
}

const NTFS_SECURITY_ITEM* CNtfs::security_item(std::uint32_t id) const {
    const auto found = m_security_table.find(id);
    return found == m_security_table.end() ? nullptr : &found->second;
}

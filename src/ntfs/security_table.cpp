#include <algorithm>
#include <sstream>
#include <string_view>
#include <utility>

#include "foundation/uni_streams.h"
#include "ntfs/ntfs.h"

namespace {

constexpr std::uint64_t secure_entry = 9;

// True when the stream of `row` is one to hold in memory: no volume has a gigabyte of descriptors,
// and a stream that is larger than the source is made of holes.
bool is_loadable(const CNtfs& ntfs, const NTFS_ATTRIB_ROW& row) {
    constexpr std::uint64_t never_loaded = 1u << 30;
    const std::uint64_t size =
        std::min(announced_size(row), run_bytes(row.runs, ntfs.cluster_size(), false));
    return size < never_loaded && ntfs.fits_source(size);
}

// Adds the entries of an $SDS stream to `table`. An entry begins on a multiple of 16 and holds its
// own position:
//
//    4  u32  security id    8  u64  position in the stream    16  u32  size, header included
//
// Where none begins, the next multiple of 16 is tried: damage and the gaps between the blocks of
// the stream are crossed that way. Of entries with one id, copies in the mirror blocks among them,
// the first stays.
void collect_descriptors(ql::bytes stream, std::map<std::uint32_t, NTFS_SECURITY_ITEM>& table) {
    constexpr std::size_t alignment = 16;
    constexpr std::uint32_t smallest_size = 41;
    for (std::size_t at = 0; at < stream.size();) {
        const std::size_t left = stream.size() - at;
        const std::uint32_t size = ql::le32(stream, at + 16);
        if (ql::le64(stream, at + 8) != at || size < smallest_size || size > left) {
            at += alignment;
            continue;
        }
        NTFS_SECURITY_ITEM item;
        if (parse_sds_entry(item, ql::clip(stream, at), left)) {
            const std::uint32_t id = item.id;
            table.try_emplace(id, std::move(item));
        }
        at += (std::size_t{size} + alignment - 1) / alignment * alignment;
    }
}

}  // namespace

bool CNtfs::load_security_table() {
    if (!m_Validated || !m_security_table.empty()) return !m_security_table.empty();
    std::vector<NTFS_ATTRIB_ROW> rows;
    if (!get_attrib_rows(secure_entry, rows)) return false;
    const auto sds = std::find_if(rows.begin(), rows.end(), [](const NTFS_ATTRIB_ROW& row) {
        return row.type == attrib_type::data && row.name == "$SDS";
    });
    if (sds == rows.end() || !is_loadable(*this, *sds)) return false;

    mft_entries_ctx untraced;
    std::ostringstream stream;
    if (!stream_attribute(*sds, stream, uni::null_out, untraced)) return false;
    const std::string_view text = stream.view();
    collect_descriptors({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()},
                        m_security_table);
    return !m_security_table.empty();
}

const NTFS_SECURITY_ITEM* CNtfs::security_item(std::uint32_t id) const {
    const auto found = m_security_table.find(id);
    return found == m_security_table.end() ? nullptr : &found->second;
}

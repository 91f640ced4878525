#include "ntfs/records/record_reader.h"

#include <algorithm>
#include <new>

#include "ntfs/records/record_reach.h"
#include "ntfs/volume/ntfs.h"

namespace {

constexpr std::uint32_t first_piece = 0x10000;
constexpr std::uint32_t largest_piece = 0x100000;

// The update sequence is not applied to blocks that end more than this past the bytes that were
// read. Only an "INDX" record can have so many blocks.
constexpr std::uint64_t most_fixed_past_end = 0x100000;

// Grows `record` to `size` bytes with zeros. Returns false if there is no memory for them.
bool grow(std::vector<std::uint8_t>& record, std::uint64_t size) {
    try {
        record.resize(size);
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
}

}  // namespace

record_reader::record_reader(CNtfs& ntfs, std::uint64_t position, std::uint32_t length,
                             std::vector<std::uint8_t>& record)
    : m_ntfs(ntfs),
      m_source_pos(position + ntfs.m_volume_offset),
      m_length(length),
      m_record(record) {}

bool record_reader::read_start() {
    m_seen = 0;
    const CRawDisk* const disk = m_ntfs.disk();
    m_delivered = disk != nullptr ? disk->deliverable(m_length, m_source_pos) : 0;
    if (m_delivered != 0 && read_piece(std::min(m_delivered, first_piece))) return true;
    m_record.clear();
    return false;
}

void record_reader::read_rest(std::uint64_t fixed_size, bool with_values) {
    fix_up(fixed_size);
    while (m_seen < m_delivered) {
        const std::uint64_t reach = record_reach(m_record, m_seen, with_values);
        if (reach <= m_seen) return;
        read_up_to(std::max(reach, 2 * m_seen));
    }
}

void record_reader::fix_up(std::uint64_t fixed_size) {
    const file_record header{m_record};
    const std::uint16_t array_offset = header.sequence_array_offset();
    const std::uint16_t array_count = header.sequence_array_count();
    const std::uint32_t stride = m_ntfs.get_bytes_per_sector();
    if (array_count < 2 || stride == 0) return;
    const std::uint64_t blocks = std::min<std::uint64_t>(array_count - 1u, fixed_size / stride);
    const std::uint64_t array_end = array_offset + array_count * std::uint64_t{2};
    read_up_to(std::max(blocks * stride, array_end));
    // A block that is truncated by the end of the source has zeros, then two bytes of the array.
    const std::uint64_t fixed_end =
        std::min(blocks * stride, m_record.size() + most_fixed_past_end);
    if (fixed_end > m_record.size() && !grow(m_record, fixed_end)) return;
    apply_update_sequence(m_record, array_offset, array_count, fixed_size, stride);
}

// Reads up to offset `end` or to the end of the record. Bytes that the source does not store are
// skipped, and use memory only if stored bytes follow. A record ends at a hole that is larger than
// the bytes that the source stores, and than 1 MiB.
void record_reader::read_up_to(std::uint64_t end) {
    const CRawDisk& disk = *m_ntfs.disk();
    const std::uint64_t most_hole = std::max<std::uint64_t>(disk.held_bytes(), largest_piece);
    end = std::min<std::uint64_t>(end, m_delivered);
    while (m_seen < end) {
        m_seen = disk.next_held(m_source_pos + m_seen, m_source_pos + end) - m_source_pos;
        if (m_seen == end) return;
        const bool is_near = m_seen <= m_record.size() + most_hole;
        const std::uint64_t count = std::min<std::uint64_t>(end - m_seen, largest_piece);
        if (!is_near || !read_piece(static_cast<std::uint32_t>(count))) {
            m_seen = m_delivered;  // the rest of the record reads as zeros
        }
    }
}

// Reads `count` bytes at `m_seen`. Returns false, with only the bytes read before in the record, if
// the read fails or there is not enough memory.
bool record_reader::read_piece(std::uint32_t count) {
    const std::size_t size_before = std::min<std::size_t>(m_record.size(), m_seen);
    if (!grow(m_record, m_seen + count)) return false;
    if (!m_ntfs.disk()->read_bytes(m_record.data() + m_seen, count, m_source_pos + m_seen)) {
        m_record.resize(size_before);
        return false;
    }
    m_seen += count;
    return true;
}

record_answer read_mft_record(CNtfs& ntfs, const record_request& request,
                              std::vector<std::uint8_t>& record) {
    record_reader reader(ntfs, request.position, request.length, record);
    if (!reader.read_start()) return {};
    record_answer answer;
    answer.delivered = reader.delivered();
    if (request.rule == acceptance::fixable) {
        answer.accepted =
            check_fixup(answer.kind, record, request.length, ntfs.get_bytes_per_sector());
    } else {
        answer.kind = kind_of({record});
        answer.accepted = answer.kind == record_kind::file || answer.kind == record_kind::index;
    }
    if (answer.accepted) {
        const bool fixes_all = request.fixed == fixed_blocks::all;
        reader.read_rest(fixes_all ? request.length : answer.delivered, request.with_values);
    }
    return answer;
}

whole_record whole_record_of(const record_request& request, const record_answer& answer,
                             ql::bytes record) {
    const bool is_whole = answer.accepted && request.rule == acceptance::file_or_index &&
                          answer.delivered == request.length && record.size() == request.length &&
                          request.length <= first_piece;
    if (!is_whole) return {};
    return {.position = request.position, .length = request.length, .content = record};
}

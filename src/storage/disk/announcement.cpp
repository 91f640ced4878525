#include "storage/disk/announcement.h"

#include <algorithm>

#include "storage/disk/raw_disk.h"

namespace {

constexpr std::uint64_t page_size = 4096;

}  // namespace

announcement::~announcement() {
    if (m_end > m_start) m_disk.announce(m_start, m_end - m_start);
}

void announcement::add(std::uint64_t offset, std::uint64_t count) {
    const bool is_near =
        offset >= m_start && offset / page_size <= (m_end + page_size - 1) / page_size;
    if (m_end > m_start && !is_near) {
        m_disk.announce(m_start, m_end - m_start);
        m_end = m_start;
    }
    if (m_end == m_start) m_start = m_end = offset;
    m_end = std::max(m_end, offset + count);
}

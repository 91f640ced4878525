#include "storage/disk/look_ahead.h"

namespace {

constexpr std::uint64_t most_without_a_break = 2048;

}  // namespace

look_ahead::range look_ahead::before_read(std::uint64_t number, bool has_waited) {
    const bool is_announced = number < m_end;
    if (is_announced ? m_end - number >= m_most / 2 : !has_waited) return {};
    if (!is_announced) {
        m_start = m_end = number;
    } else if (m_end - m_start >= most_without_a_break) {
        return {};
    }
    const std::uint64_t begin = m_end;
    m_end = number + m_most;
    return {begin, m_end};
}

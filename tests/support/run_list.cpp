#include "support/run_list.h"

namespace support {

namespace {

// Returns the bytes that a count needs so that it is positive as a signed number: other readers of
// NTFS treat the length as signed.
std::size_t count_width_of(std::uint64_t count) {
    std::size_t width = 1;
    while (width < 8 && count >> (8 * width - 1) != 0) {
        ++width;
    }
    return width;
}

std::size_t delta_width_of(std::int64_t delta) {
    std::size_t width = 1;
    while (width < 8 && (delta >> (8 * width - 1)) != 0 && (delta >> (8 * width - 1)) != -1) {
        ++width;
    }
    return width;
}

}  // namespace

std::uint64_t clusters_in(const cluster_runs& runs) {
    std::uint64_t sum = 0;
    for (const cluster_run& run : runs) {
        sum += run.count;
    }
    return sum;
}

run_list::run_list(const cluster_runs& runs) {
    for (const cluster_run& run : runs) {
        add(run.lcn, run.count);
    }
}

run_list& run_list::add(std::uint64_t lcn, std::uint64_t count) {
    if (lcn == hole) {
        return add_hole(count);
    }
    const auto delta = static_cast<std::int64_t>(lcn - m_lcn);
    return add_fields(count, count_width_of(count), delta, delta_width_of(delta));
}

run_list& run_list::add_hole(std::uint64_t count) {
    return add_fields(count, count_width_of(count), 0, 0);
}

run_list& run_list::add_fields(std::uint64_t count, std::size_t count_width, std::int64_t lcn_delta,
                               std::size_t delta_width) {
    m_bytes.push_back(static_cast<std::uint8_t>((delta_width & 15) << 4 | (count_width & 15)));
    for (std::size_t i = 0; i < count_width; ++i) {
        m_bytes.push_back(i < 8 ? static_cast<std::uint8_t>(count >> (8 * i)) : std::uint8_t{0});
    }
    for (std::size_t i = 0; i < delta_width; ++i) {
        m_bytes.push_back(static_cast<std::uint8_t>(lcn_delta >> (i < 8 ? 8 * i : 63)));
    }
    if (delta_width != 0) {
        m_lcn += static_cast<std::uint64_t>(lcn_delta);
    }
    return *this;
}

run_list& run_list::add_raw(std::span<const std::uint8_t> content) {
    m_bytes.insert(m_bytes.end(), content.begin(), content.end());
    return *this;
}

bytes run_list::terminated() const {
    bytes result = m_bytes;
    result.push_back(0);
    return result;
}

}  // namespace support

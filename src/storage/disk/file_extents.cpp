#include "storage/disk/file_extents.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>

std::uint64_t file_extents::next_data(int fd, std::uint64_t offset, std::uint64_t end) {
    const auto at = static_cast<off_t>(offset);
    if (at < 0 || (offset >= m_data_start && offset < m_data_end)) return offset;
    const off_t data = ::lseek(fd, at, SEEK_DATA);
    if (data == -1 && errno == ENXIO) return end;  // a hole up to the end of the file
    const off_t hole = data >= at ? ::lseek(fd, data, SEEK_HOLE) : -1;
    const bool is_known = hole > data;
    m_data_start = is_known ? static_cast<std::uint64_t>(data) : 0;
    m_data_end =
        is_known ? static_cast<std::uint64_t>(hole) : std::numeric_limits<std::uint64_t>::max();
    return is_known ? std::min(m_data_start, end) : offset;
}

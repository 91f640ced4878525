#include "storage/vmdk_extent.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "foundation/posix_file.h"
#include "foundation/ql_string.h"

namespace {

// The rest of a division by a size from the file; 0 for a size of 0.
std::uint64_t rest(std::uint64_t a, std::uint64_t b) { return b != 0 ? a % b : 0; }

}  // namespace

vmdk_extent::~vmdk_extent() {
    if (fd != -1) ::close(fd);
}

bool vmdk_extent::open(const std::wstring& path, bool write) {
    path_wide = path;
    path_utf8 = ql::to_utf8(path);
    write_access = write;
    fd = ql::open_file(path_utf8, write_access ? O_RDWR : O_RDONLY);
    if (fd == -1) return false;
    const std::int64_t size = ql::seek_size(fd);
    if (size == -1) return false;
    file_size = static_cast<std::uint64_t>(size);
    ready = read_metadata();
    return ready;
}

bool vmdk_extent::find_grain(std::uint64_t offset, std::uint64_t& position) const {
    const std::uint32_t directory_index =
        static_cast<std::uint32_t>(ql::quotient(offset, table_span));
    if (directory_index >= table_of_entry.size()) return false;
    const std::vector<std::uint32_t>& table = grain_tables[table_of_entry[directory_index]];
    const std::uint64_t grain_index = ql::quotient(rest(offset, table_span), grain_bytes);
    if (grain_index >= table.size()) return false;
    const std::uint64_t sector = table[grain_index];
    if (sector == 0) return false;
    position = rest(offset, grain_bytes) + (sector << 9);
    return true;
}

std::uint64_t vmdk_extent::grain_left(std::uint64_t offset) const {
    return grain_bytes - rest(offset, grain_bytes);
}

bool vmdk_extent::read(std::uint8_t* buffer, std::uint64_t offset, std::uint32_t& count) {
    std::uint64_t position = 0;
    if (!find_grain(offset, position) || position >= file_size) return false;
    const std::uint64_t held = file_size - position;
    const auto wanted = static_cast<std::uint32_t>(std::min<std::uint64_t>(count, held));
    const ssize_t brought = ::pread(fd, buffer, wanted, static_cast<off_t>(position));
    if (brought < 1) return false;
    const std::size_t fresh = static_cast<std::size_t>(brought);
    std::memset(buffer + fresh, 0, wanted - fresh);
    count = wanted;
    return true;
}

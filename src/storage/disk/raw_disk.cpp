#include "storage/disk/raw_disk.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <limits>
#include <new>

#include "foundation/streams/posix_file.h"
#include "foundation/text/ql_string.h"
#include "storage/vmdk/vmdk_chain.h"

namespace {

constexpr std::uint32_t assumed_sector_size = 512;
constexpr std::uint32_t drive_number_limit = 25;  // above it there is no drive at all
constexpr std::uint32_t named_drive_limit = 20;   // "/dev/sda" to "/dev/sdt"

// Arguments of the constructors.
constexpr bool read_only = false;
constexpr bool open_now = false;
constexpr bool reserved = false;
constexpr std::uint32_t plain_path = 0;
constexpr auto drive_kind_code = static_cast<std::uint32_t>(disk_kind::physical_drive);

int open_flags(bool write_access) { return write_access ? O_RDWR : O_RDONLY; }

// Sets the bytes to zero that a read of `wanted` bytes did not deliver; `brought` is its result.
void zero_rest(std::uint8_t* buffer, std::size_t wanted, ssize_t brought) {
    const std::size_t fresh = static_cast<std::size_t>(std::max<ssize_t>(brought, 0));
    std::memset(buffer + fresh, 0, wanted - fresh);
}

}  // namespace

CRawDisk::CRawDisk(const std::wstring& path, bool write, bool no_open, std::uint32_t path_kind)
    : write_access(write), path_utf8(ql::to_utf8(path)), path_wide(path) {
    const bool is_name = path_kind == 0 || path_kind == 2;
    if (!is_name || no_open) return;
    kind = disk_kind::file;
    ok = open_path();
    if (ok) size_bytes = ql::seek_size(fd);  // -1 for a source that can't seek: all reads fail
}

CRawDisk::CRawDisk(std::uint32_t drive, bool write, bool no_open, bool /*reserved_1*/,
                   std::uint32_t drive_kind, bool /*reserved_2*/)
    : write_access(write) {
    if (drive >= drive_number_limit || no_open) return;
    kind = static_cast<disk_kind>(drive_kind);
    if (drive >= named_drive_limit) return;
    drive_number = static_cast<std::int32_t>(drive);
    path_utf8 = std::string("/dev/sd") + static_cast<char>('a' + drive);
    path_wide = ql::to_wide(path_utf8);
    if (!open_path()) {
        const int error = errno;
        static_cast<void>(
            std::fprintf(stderr, "prob opening %s, error %d\n", path_utf8.c_str(), error));
        return;
    }
    size_bytes = ql::seek_size(fd);
    ok = size_bytes != -1;
}

CRawDisk::CRawDisk(const std::vector<std::wstring>& files, bool write, bool no_open)
    : write_access(write) {
    if (no_open) return;
    kind = disk_kind::vmdk;
    vmdk = std::make_unique<vmdk_chain>();
    vmdk->write_access = write;
    if (!vmdk->add_files(files) || !vmdk->link() || !vmdk->ready) return;
    const vmdk_extent& base = *vmdk->base;
    fd = base.fd;
    path_utf8 = base.path_utf8;
    path_wide = base.path_wide;
    sector_size = assumed_sector_size;
    size_bytes = static_cast<std::int64_t>(base.capacity() * assumed_sector_size);
    ok = true;
}

CRawDisk::CRawDisk(const std::wstring& path) : CRawDisk(path, read_only, open_now, plain_path) {}

CRawDisk::CRawDisk(std::uint32_t drive)
    : CRawDisk(drive, read_only, open_now, reserved, drive_kind_code, reserved) {}

CRawDisk::CRawDisk(const std::vector<std::wstring>& files) : CRawDisk(files, read_only, open_now) {}

CRawDisk::~CRawDisk() {
    if (vmdk == nullptr && fd != -1) ::close(fd);
}

// Opens path_utf8; the sector size of a device is never queried.
bool CRawDisk::open_path() {
    fd = ql::open_file(path_utf8, open_flags(write_access));
    if (fd == -1) return false;
    sector_size = assumed_sector_size;
    return true;
}

std::uint32_t CRawDisk::deliverable(std::uint32_t count, std::uint64_t offset) const {
    if (!ok || (native_handle == -1 && fd == -1)) return 0;
    // Signed: an offset with the top bit set is below every size and fails later, in the seek.
    if (size_bytes <= static_cast<std::int64_t>(offset)) return 0;
    if (kind != disk_kind::file) return count;
    const std::uint64_t left = static_cast<std::uint64_t>(size_bytes) - offset;
    return static_cast<std::uint32_t>(std::min<std::uint64_t>(count, left));
}

std::uint64_t CRawDisk::next_held(std::uint64_t offset, std::uint64_t end) const {
    if (offset >= end) return end;
    if (vmdk != nullptr) return vmdk->next_held(offset, end);
    const bool is_open_file = kind == disk_kind::file && ok;
    return is_open_file ? m_extents.next_data(fd, offset, end) : offset;
}

bool CRawDisk::read_bytes(void* buffer, std::uint32_t& count, std::uint64_t offset) {
    const std::uint32_t wanted = deliverable(count, offset);
    if (buffer == nullptr || wanted == 0) return false;
    switch (kind) {
        case disk_kind::file:
            if (!read_file(buffer, wanted, offset)) return false;
            count = wanted;
            return true;
        case disk_kind::physical_drive:
            return read_sector_aligned(buffer, count, offset);
        case disk_kind::vmdk:
            return vmdk != nullptr && vmdk->read(static_cast<std::uint8_t*>(buffer), offset, count);
        case disk_kind::none:
            break;
    }
    return false;
}

bool CRawDisk::read_file(void* buffer, std::uint32_t wanted, std::uint64_t offset) {
    // Seeks and reads in one call, which fails if the seek would fail, or without a descriptor.
    const ssize_t brought = m_reads.read(fd, buffer, wanted, offset);
    if (brought == -1) return false;
    zero_rest(static_cast<std::uint8_t*>(buffer), wanted, brought);
    return true;
}

// A raw drive delivers whole sectors. A system error is treated as a successful read of no bytes,
// so that an examiner gets zeros for a bad sector; a read fails only at the end of the device.
bool CRawDisk::read_sector_aligned(void* buffer, std::uint32_t count, std::uint64_t offset) {
    if (read_locked || sector_size == 0) return false;
    const std::uint32_t lead = static_cast<std::uint32_t>(offset) % sector_size;
    const std::uint32_t span = count + lead;  // wraps near 4 GiB; the copy below is bounded
    const std::uint32_t tail = span % sector_size;
    const std::uint32_t length = tail == 0 ? span : span + sector_size - tail;
    std::uint8_t* const caller = static_cast<std::uint8_t*>(buffer);

    std::unique_ptr<std::uint8_t[]> bounce;
    if (tail != 0 || lead != 0) {
        bounce.reset(new (std::nothrow) std::uint8_t[length]);
        if (bounce == nullptr) return false;
    }
    std::uint8_t* const target = bounce != nullptr ? bounce.get() : caller;

    if (::lseek(fd, static_cast<off_t>(offset - lead), SEEK_SET) == -1) return false;
    const ssize_t brought = ::read(fd, target, length);
    if (static_cast<std::uint32_t>(brought) == 0) return false;
    zero_rest(target, length, brought);
    if (bounce == nullptr) return true;

    const std::uint32_t copied = length > lead ? std::min(count, length - lead) : 0;
    std::memcpy(caller, target + lead, copied);
    std::memset(caller + copied, 0, count - copied);
    return true;
}

bool CRawDisk::has_waited() const {
    return vmdk != nullptr ? vmdk->has_waited() : m_reads.has_waited();
}

void CRawDisk::announce(std::uint64_t offset, std::uint64_t count) {
    const std::uint64_t size = size_in_bytes();
    if (offset >= size) return;
    count = std::min(count, size - offset);
    if (vmdk != nullptr) {
        vmdk->announce(offset, count);
    } else if (kind == disk_kind::file) {
        m_reads.announce(fd, offset, count);
    }
}

std::uint64_t CRawDisk::held_bytes() const {
    if (vmdk == nullptr) return size_in_bytes();
    return std::min(size_in_bytes(), vmdk->file_bytes());
}

std::uint64_t CRawDisk::unheld_bytes(std::uint64_t offset, std::uint64_t count) const {
    if (deliverable(1, offset) == 0) return 0;
    const std::uint64_t size = size_in_bytes();
    // An offset with the top bit set is below every size, and a chain reads zeros there.
    const std::uint64_t limit = offset < size ? size : std::numeric_limits<std::uint64_t>::max();
    return next_held(offset, offset + std::min(count, limit - offset)) - offset;
}

std::uint64_t CRawDisk::most_walked_bytes() const {
    constexpr std::uint64_t times = 64;
    constexpr std::uint64_t always_walked = std::uint64_t{1} << 28;
    const std::uint64_t held = held_bytes();
    const bool fits = held < std::numeric_limits<std::uint64_t>::max() / times - always_walked;
    return fits ? held * times + always_walked : std::numeric_limits<std::uint64_t>::max();
}

std::uint64_t CRawDisk::size_in_bytes() const {
    return ok ? static_cast<std::uint64_t>(size_bytes) : 0;
}

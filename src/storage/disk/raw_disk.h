// All bytes of the source are read through this class.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "storage/disk/file_extents.h"
#include "storage/hints/hinted_reads.h"

class vmdk_chain;

// How CRawDisk reads its source.
enum class disk_kind : std::uint32_t {
    file = 0,            // seek and read, clamped to the size
    physical_drive = 3,  // reads on sector boundaries
    vmdk = 4,            // reads of a VMDK chain
    none = 8,            // not opened: every read fails
};

// One open source of bytes: an image or device node opened as a file, a drive named by number, or a
// chain of VMDK files. Does not interpret partitions or file systems. The program never opens it
// for writing. Reads are unbuffered.
class CRawDisk {
public:
    // Opens a file, image or device node by name. `ok` is true if it is open. `path_kind` is 0 or
    // 2; both open a file.
    CRawDisk(const std::wstring& path, bool write_access, bool no_open, std::uint32_t path_kind);
    // Opens drive 0 to 19, "/dev/sda" to "/dev/sdt". If it cannot be opened, writes a message to
    // standard error. `drive_kind` is 3.
    CRawDisk(std::uint32_t drive, bool write_access, bool no_open, bool reserved_1,
             std::uint32_t drive_kind, bool reserved_2);
    // Opens a chain of VMDK files.
    CRawDisk(const std::vector<std::wstring>& files, bool write_access, bool no_open);
    // The same three for reading, as the program opens its sources.
    explicit CRawDisk(const std::wstring& path);
    explicit CRawDisk(std::uint32_t drive);
    explicit CRawDisk(const std::vector<std::wstring>& files);
    ~CRawDisk();
    CRawDisk(const CRawDisk&) = delete;
    CRawDisk& operator=(const CRawDisk&) = delete;

    // Reads at the absolute byte `offset` of the source with one read call.
    //
    // count  in: bytes to read; out: fewer if the source ends before them
    //
    // Returns true if `buffer` contains `count` bytes; bytes that a short read did not deliver are
    // zero. Returns false if the source is not open, `count` is 0, `offset` (as a signed number) is
    // not below the size, or the read fails.
    bool read_bytes(void* buffer, std::uint32_t& count, std::uint64_t offset);

    // Returns the number of bytes that read_bytes delivers for `count` at `offset` if no system
    // call fails: 0 if it refuses the request by its bounds, fewer than `count` at the end of a
    // file. Drives and chains are not clamped.
    std::uint32_t deliverable(std::uint32_t count, std::uint64_t offset) const;

    // Returns true if the last read of a file or chain had to wait for the device. A caller that
    // knows what it will read next then announces it; see look_ahead.
    bool has_waited() const;
    // Asks the system to fetch bytes that will be read soon, as far as the source has them. Changes
    // no result. Does nothing for a drive, after a failed read, and after a refused hint.
    void announce(std::uint64_t offset, std::uint64_t count);

    // Returns the first byte position in [`offset`, `end`) that the source may store, or `end`.
    // Every byte before it reads as zero, regardless of where a request starts and ends. Holes of a
    // sparse file, and those that no file of a chain fills, are not stored. A drive may store all
    // of its bytes.
    std::uint64_t next_held(std::uint64_t offset, std::uint64_t end) const;
    // Returns how many of the `count` bytes from `offset` on are readable zeros that the source
    // does not hold; 0 if a read there fails.
    std::uint64_t unheld_bytes(std::uint64_t offset, std::uint64_t count) const;

    // Size in bytes; 0 if not open, and 2^64 - 1 if the source cannot seek to its end.
    std::uint64_t size_in_bytes() const;
    // Maximum number of bytes that the source can store: its size, but for a chain at most the
    // total size of its files, because the size of the disk is only stated in their headers.
    std::uint64_t held_bytes() const;
    // Bytes after which a walk over the clusters of one attribute ends. By then it has read many
    // times as much as the source stores. Only a crafted volume names its clusters that often.
    std::uint64_t most_walked_bytes() const;

    std::unique_ptr<vmdk_chain> vmdk;
    std::wstring volume_name;
    std::int32_t drive_number = -1;
    bool write_access;
    bool read_locked = false;
    std::int64_t native_handle = -1;
    std::int32_t fd = -1;  // with a VMDK chain: that of the base extent, which the chain closes
    std::uint32_t cylinders_hi = 0;
    std::uint32_t cylinders_lo = 0;
    std::uint32_t tracks_per_cylinder = 0;
    std::uint32_t sectors_per_track = 0;
    std::uint32_t sector_size = 0;  // 512 once open
    std::uint32_t offset_hi = 0;    // bits 32 to 59 of the volume offset; VMDK only
    std::uint32_t offset_lo = 0;    // bits 0 to 27
    std::string path_utf8;
    std::wstring path_wide;
    disk_kind kind = disk_kind::none;
    bool ok = false;
    std::int64_t size_bytes = 0;

private:
    mutable file_extents m_extents;
    hinted_reads m_reads;

    bool open_path();
    bool read_file(void* buffer, std::uint32_t wanted, std::uint64_t offset);
    bool read_sector_aligned(void* buffer, std::uint32_t count, std::uint64_t offset);
};

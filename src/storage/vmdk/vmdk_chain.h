// Hosted sparse VMDK files that are read as one disk.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "storage/vmdk/vmdk_extent.h"

// A base file and its delta files. Each grain is read from the newest file that contains it; grains
// that no file contains read as zeros. Owns its extents.
class vmdk_chain {
public:
    // Opens one file and adds it under its CID. Returns false if it is not a readable sparse
    // extent. A second file with the same CID is opened but not used.
    bool add_file(const std::wstring& path);
    // Adds an open extent under its CID; a second one with the same CID is kept but not used.
    void add_extent(std::unique_ptr<vmdk_extent> extent);
    // Adds each file in order. Returns false at the first one that fails.
    bool add_files(const std::vector<std::wstring>& paths);

    // Links children to parents by their CIDs. Returns false if there is no base or a parent is
    // missing. `ready` remains false if the links form a ring.
    bool link();

    // Reads at byte `offset` of the disk. Returns false if the chain is not ready, `buffer` is
    // null, `count` is 0 or grains have no size. Otherwise returns true with all of `count`
    // delivered; bytes that cannot be read are zero.
    bool read(std::uint8_t* buffer, std::uint64_t offset, std::uint32_t& count);

    // Returns true if the last read had to wait for the device of a file.
    bool has_waited() const { return m_has_waited; }
    // Asks the system to fetch bytes of the disk that will be read soon, from the files that hold
    // them.
    void announce(std::uint64_t offset, std::uint64_t count);

    // Returns the first byte position in [`offset`, `end`) that a file of the chain may store,
    // hidden or not, or `end`. Every byte before it reads as zero, regardless of where a read
    // starts. Returns `offset` if reads there fail. `offset` is below `end`.
    std::uint64_t next_held(std::uint64_t offset, std::uint64_t end) const;

    // The total size of all files of the chain. Their grains are not larger, whatever capacity the
    // headers state.
    std::uint64_t file_bytes() const;

    // By CID, in plain byte order.
    std::map<std::string, std::unique_ptr<vmdk_extent>> extents;
    vmdk_extent* newest = nullptr;  // the last of the chain, where lookups start
    vmdk_extent* base = nullptr;    // the file without a parent
    bool write_access = false;
    bool ready = false;
    std::vector<vmdk_extent*> order;  // base first, then each child

    // Sets `extent` as the base if it has no parent, otherwise links it with its parent, which
    // keeps only the last child. Returns false if the parent is missing.
    bool join_to_parent(vmdk_extent& extent);
    // Walks from `base` along `child` and sets `newest`, `order` and `ready`.
    void walk_children();

private:
    struct grain_part {
        vmdk_extent* holder = nullptr;  // null if no file contains the grain
        std::uint64_t size = 0;         // 0 if grains have no size
    };
    grain_part part_at(std::uint64_t offset, std::uint64_t most) const;

    bool m_has_waited = false;
    std::vector<std::unique_ptr<vmdk_extent>> m_unused;  // second files of a CID
};

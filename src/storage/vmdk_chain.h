// Hosted sparse VMDK files read as one disk.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "storage/vmdk_extent.h"

// A base file and the delta files that hang off it. For each grain the newest file that holds it
// wins; what no file holds reads as zeros. Owns its extents.
class vmdk_chain {
public:
    // Opens one file and adds it under its CID. False when it is no readable sparse extent. A file
    // whose CID is there already is opened and not used.
    bool add_file(const std::wstring& path);
    // Adds an open extent under its CID; the second one of a CID is kept and not used.
    void add_extent(std::unique_ptr<vmdk_extent> extent);
    // Adds each file in order; false at the first that fails.
    bool add_files(const std::vector<std::wstring>& paths);

    // Joins children to parents by their CIDs. False when there is no base or a parent is missing.
    // `ready` stays clear when the links make a ring.
    bool link();

    // Reads at byte `offset` of the disk. False when the chain is not ready, `buffer` is null,
    // `count` is 0 or grains have no size; else true with all of `count` delivered, zeros where
    // nothing can be read.
    bool read(std::uint8_t* buffer, std::uint64_t offset, std::uint32_t& count);

    // Returns the first byte position from `offset` on, and before `end`, that a file of the chain
    // may hold, hidden or not; `end` if there is none. Every byte before it reads as zero, wherever
    // a read starts. Returns `offset` if reads there fail. `offset` is below `end`.
    std::uint64_t next_held(std::uint64_t offset, std::uint64_t end) const;

    // The sizes of all files of the chain together. Their grains hold no more, whatever capacity
    // the headers claim.
    std::uint64_t file_bytes() const;

    // By CID, in plain byte order.
    std::map<std::string, std::unique_ptr<vmdk_extent>> extents;
    vmdk_extent* newest = nullptr;  // the last of the chain, where look-ups start
    vmdk_extent* base = nullptr;    // the file without a parent
    bool write_access = false;
    bool ready = false;
    std::vector<vmdk_extent*> order;  // base first, then each child

    // Makes `extent` the base if it has no parent, else links it with its parent, which keeps the
    // last child that it is given. False when the parent is not there.
    bool join_to_parent(vmdk_extent& extent);
    // Walks from `base` through `child` and sets `newest`, `order` and `ready`.
    void walk_children();

private:
    vmdk_extent* holder_of(std::uint64_t offset) const;

    std::vector<std::unique_ptr<vmdk_extent>> m_unused;  // second files of a CID
};

// The check of the option stage: opens the files, follows the CID chain and tells on `out` what is
// missing. `result` is the user's list with the missing parents appended.
// False when a file can't be opened, a parent had to be added or the chain is broken.
bool check_vmdk_chain(const std::vector<std::wstring>& paths, std::ostream& out,
                      std::vector<std::wstring>& result);

// Follows the parent references of an MFT entry up to the root.
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "ntfs/volume/ntfs.h"

namespace {

// Joins segments, which start with the deepest, to a path from the root. Each segment is followed
// by a backslash; the name of the root, ".", is skipped.
std::wstring join_from_root(const std::vector<std::wstring>& segments) {
    std::wstring path;
    for (auto segment = segments.rbegin(); segment != segments.rend(); ++segment) {
        if (*segment == L".") continue;
        path += *segment;
        path += L'\\';
    }
    return path;
}

}  // namespace

bool CNtfs::get_paths_of_inode(std::uint64_t inode, std::vector<std::wstring> partial,
                               std::vector<std::wstring>& paths) {
    name_entry_map names;
    {
        std::vector<std::uint8_t> record;
        if (!read_whole_record(inode, record)) return false;
        if (!get_file_names(names, inode, record)) return false;
    }
    const auto follow = [&](const NTFS_NAME_ENTRY& entry, std::vector<std::wstring> segments) {
        if (segments.size() != 1 || segments.front() != entry.name) segments.push_back(entry.name);
        const std::uint64_t parent = entry.parent_entry();
        if (parent == root_entry) {
            paths.push_back(join_from_root(segments));
        } else {
            // If a parent cannot be read, this name has no path.
            static_cast<void>(get_paths_of_inode(parent, std::move(segments), paths));
        }
    };
    const auto last = std::prev(names.end());
    for (auto name = names.begin(); name != last; ++name)
        follow(name->second, partial);
    follow(last->second, std::move(partial));
    return true;
}

#include "ntfs/entry_paths/entry_paths.h"

#include <memory>

#include "ntfs/volume/ntfs.h"
#include "storage/opening/source_opening.h"

bool paths_for_entry(const volume_source& source, std::uint64_t inode, const std::wstring& prefix,
                     std::vector<std::wstring>& paths) {
    std::unique_ptr<CNtfs> ntfs;
    if (!attach_image(ntfs, source.image_path, source.volume_offset)) return false;
    std::vector<std::wstring> found;
    if (!ntfs->get_paths_of_inode(inode, {}, found)) return false;
    for (std::wstring& path : found) {
        path.erase(path.find_last_not_of(L'\\') + 1);
        paths.push_back((prefix.empty() ? L"\\" : prefix) + path);
    }
    return true;
}

bool entry_is_directory(const volume_source& source, std::uint64_t inode) {
    std::unique_ptr<CNtfs> ntfs;
    return attach_image(ntfs, source.image_path, source.volume_offset) && ntfs->is_directory(inode);
}

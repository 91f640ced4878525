// Path lookups with their trace, and a small volume for them.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <memory>
#include <string>
#include <string_view>

#include "ntfs/lookup/path_lookup.h"
#include "ntfs/volume/ntfs.h"
#include "run/settings/cmd_params.h"
#include "support/ntfs_image.h"
#include "support/temp_dir.h"
#include "unit/ntfs/open_volume.h"

namespace lookups {

inline constexpr std::uint64_t all_ones = ~std::uint64_t{0};

// The results and the trace of one lookup.
struct lookup {
    bool result = false;
    std::uint64_t inode = 1234;
    std::uint64_t parent = 5678;
    std::wstring resolved = L"unchanged";
    std::string trace;
};

// Looks a path up; `ntfs` may be null.
inline lookup look_up(CNtfs* ntfs, const std::wstring& path, bool follow_links = true) {
    support::temp_dir dir;
    const std::string file = dir.file("trace");
    lookup out;
    cmd_params params;
    params.diags_on = 1;
    params.diags_stream = std::make_unique<std::ofstream>(file);
    out.result =
        resolve_path(out.inode, out.parent, out.resolved, ntfs, path, follow_links, params);
    params.diags_stream.reset();
    out.trace = support::read_file(file);
    return out;
}

inline lookup look_up(open_volume& volume, const std::wstring& path, bool follow_links = true) {
    EXPECT_TRUE(volume.opened);
    return look_up(&volume.ntfs, path, follow_links);
}

// Returns the entry of a path, or 0 if it is not found.
inline std::uint64_t entry_at(open_volume& volume, const std::wstring& path) {
    const lookup found = look_up(volume, path);
    return found.result ? found.inode : 0;
}

// Returns a volume with these entries:
//
//   64 temp          65 temp\sub      66 temp\sub\file.txt
//   67 hello.txt     68 Empty (a directory)
inline support::ntfs_image sample() {
    support::ntfs_image image;
    image.directory(5, u"temp", 64);
    image.directory(64, u"sub", 65);
    image.file(65, u"file.txt", 66);
    image.file(5, u"hello.txt", 67);
    image.directory(5, u"Empty", 68);
    return image;
}

// Adds a link to the root directory, as entry 70.
inline void add_link(support::ntfs_image& image, std::u16string_view name, std::uint32_t tag,
                     std::u16string_view substitute, const support::reparse_options& options) {
    image.directory(5, name, 70).reparse(tag, substitute, options);
}

}  // namespace lookups

// A saved volume, and the paths of its entries.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "foundation/text/ql_string.h"
#include "ntfs/entry_paths/entry_paths.h"
#include "support/ntfs_image.h"
#include "support/temp_dir.h"

namespace saved {

// A saved image, with the paths of its entries.
class saved_volume {
public:
    explicit saved_volume(const support::ntfs_image& image)
        : m_path(image.save(m_dir.file("volume.dd"))) {}

    volume_source source(std::uint64_t offset = 0) const { return {ql::to_wide(m_path), offset}; }

    std::vector<std::wstring> paths(std::uint64_t inode, bool expected = true,
                                    const std::wstring& prefix = L"") const {
        std::vector<std::wstring> found;
        EXPECT_EQ(paths_for_entry(source(), inode, prefix, found), expected);
        return found;
    }

private:
    support::temp_dir m_dir;
    std::string m_path;
};

// Returns a volume with these entries:
//
//   64 docs          65 docs\deep     66 docs\deep\a.txt
//   67 top.txt       68 other
inline support::ntfs_image sample() {
    support::ntfs_image image;
    image.directory(5, u"docs", 64);
    image.directory(64, u"deep", 65);
    image.file(65, u"a.txt", 66);
    image.file(5, u"top.txt", 67);
    image.directory(5, u"other", 68);
    return image;
}

}  // namespace saved

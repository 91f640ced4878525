// Saves an image of the builder and opens it in the same way as the program.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "foundation/text/ql_string.h"
#include "ntfs/volume/ntfs.h"
#include "storage/disk/raw_disk.h"
#include "storage/opening/source_opening.h"
#include "support/ntfs_image.h"
#include "support/temp_dir.h"

// A saved volume with a reader. `opened` is true if the reader accepted it.
class open_volume {
public:
    explicit open_volume(const support::ntfs_image& image)
        : path(image.save(m_dir.file("volume.dd"))),
          ntfs(std::make_unique<CRawDisk>(ql::to_wide(path), false, false, 0), 0,
               source_kind::file) {
        opened = ntfs.validate();
    }

private:
    support::temp_dir m_dir;

public:
    const std::string path;
    CNtfs ntfs;
    bool opened = false;

    // Returns the record of an entry as the reader returns it; empty if it cannot be read.
    std::vector<std::uint8_t> record(std::uint64_t inode) {
        std::vector<std::uint8_t> bytes;
        if (!ntfs.read_record(inode, bytes)) bytes.clear();
        return bytes;
    }
};

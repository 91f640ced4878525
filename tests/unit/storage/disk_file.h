// An image saved to a file of its own and opened as a source.
#pragma once

#include <string>

#include "storage/disk/raw_disk.h"
#include "support/byte_image.h"
#include "support/temp_dir.h"

// Paths of tests are ASCII.
inline std::wstring widened(const std::string& path) { return {path.begin(), path.end()}; }

struct disk_file {
    explicit disk_file(const support::byte_image& image)
        : path(image.save(dir.file("disk.dd"))), disk(widened(path), false, false, 0) {}

    support::temp_dir dir;
    std::string path;
    CRawDisk disk;
};

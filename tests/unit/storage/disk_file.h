// Images that are saved to a file of their own and opened as a source.
#pragma once

#include <unistd.h>

#include <cstdint>
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

// A file that is read like a drive.
struct drive_file : disk_file {
    explicit drive_file(const support::byte_image& image) : disk_file(image) {
        disk.kind = disk_kind::physical_drive;
    }
    std::int64_t position() const { return ::lseek(disk.fd, 0, SEEK_CUR); }
};

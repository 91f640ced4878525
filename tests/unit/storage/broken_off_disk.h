// A source of which only the first 4 KiB can be read: longer reads fail.
#pragma once

#include <memory>
#include <vector>

#include "storage/disk/raw_disk.h"
#include "support/byte_image.h"
#include "support/temp_dir.h"
#include "support/vmdk_image.h"
#include "unit/storage/disk_file.h"

// A delta file contains the start of the disk. The rest is read from its base, whose grains have no
// size.
struct broken_off_disk {
    explicit broken_off_disk(const support::byte_image& image) {
        constexpr support::vmdk_options options = {.capacity = 0x1000, .grain_size = 8};
        support::vmdk_image base(options);
        base.cid(1).grain(2, support::pattern(4096)).put(20, 0, 8);
        support::vmdk_image delta(options);
        delta.cid(2).parent(1, "base").grain(0, image.get_bytes(0, 4096));
        disk = std::make_unique<CRawDisk>(
            std::vector<std::wstring>{widened(base.save(dir.file("base"))),
                                      widened(delta.save(dir.file("delta")))},
            false, false);
    }

    support::temp_dir dir;
    std::unique_ptr<CRawDisk> disk;
};

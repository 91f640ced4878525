// A volume reader on an image that need not be a valid volume.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "foundation/text/ql_string.h"
#include "ntfs/volume/ntfs.h"
#include "storage/disk/raw_disk.h"
#include "storage/opening/source_opening.h"
#include "support/byte_image.h"
#include "support/temp_dir.h"

// The constructor does not validate the volume.
class image_volume {
    support::temp_dir m_dir;

public:
    explicit image_volume(const support::byte_image& image, std::uint64_t volume_offset = 0)
        : ntfs(std::make_unique<CRawDisk>(ql::to_wide(image.save(m_dir.file("image.dd"))), false,
                                          false, 0),
               volume_offset, source_kind::file) {}

    bool validate() { return ntfs.validate(); }

    CNtfs ntfs;
};

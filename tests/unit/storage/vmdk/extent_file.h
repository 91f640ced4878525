// A VMDK file that is opened as an extent, and reads of it.
#pragma once

#include <cstdint>
#include <string>

#include "storage/vmdk/vmdk_extent.h"
#include "support/byte_image.h"
#include "support/temp_dir.h"
#include "support/vmdk_image.h"
#include "unit/storage/disk_file.h"

namespace extent_files {

inline constexpr std::uint64_t grain_size = 4096;
// Offsets of header fields.
inline constexpr std::uint64_t capacity_at = 12, grain_size_at = 20, descriptor_at = 28,
                               descriptor_size_at = 36, table_entries_at = 44, directory_at = 56,
                               overhead_at = 64;

// Grains of 4 KiB, tables of 128 entries: one sector, and 512 KiB of the disk.
inline constexpr support::vmdk_options small = {.grain_size = 8, .table_entries = 128};
inline constexpr std::uint64_t table_span = 128 * grain_size;

// An image that is saved and opened. `result` is that of the call.
struct extent_file {
    explicit extent_file(const support::byte_image& image)
        : path(image.save(dir.file("disk.vmdk"))) {
        result = extent.open(widened(path), false);
    }
    explicit extent_file(const support::vmdk_image& image) : extent_file(image.build()) {}

    support::temp_dir dir;
    std::string path;
    vmdk_extent extent;
    bool result = false;
};

// A disk of two tables with a pattern in grains 0, 2 and 130.
inline support::vmdk_image valid_image() {
    support::vmdk_image image(small);
    image.grain(0, support::pattern(grain_size, 10)).grain(2, support::pattern(grain_size, 12));
    return image.grain(130, support::pattern(grain_size, 13));
}

// The result of a read, the count and the whole buffer.
struct outcome {
    bool result = false;
    std::uint32_t count = 0;
    support::bytes buffer;
};

inline outcome read(vmdk_extent& extent, std::uint64_t offset, std::uint32_t count) {
    outcome got{false, count, support::bytes(count, 0xEE)};
    got.result = extent.read(got.buffer.data(), offset, got.count);
    return got;
}

// Returns `count` bytes from `at` on.
inline support::bytes part(const support::bytes& whole, std::size_t at, std::size_t count) {
    const auto first = whole.begin() + static_cast<std::ptrdiff_t>(at);
    return {first, first + static_cast<std::ptrdiff_t>(count)};
}

}  // namespace extent_files

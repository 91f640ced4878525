// Maps bytes of a disk to bytes of its VMDK file, entry by entry from the file's bytes.
#pragma once

#include <cstdint>
#include <optional>
#include <utility>

#include "support/byte_image.h"

// A file whose header is valid. Bytes past its end read as zeros.
class vmdk_model {
public:
    explicit vmdk_model(support::byte_image file) : m_file(std::move(file)) {}

    std::uint64_t grain_bytes() const { return m_file.get(20, 8) * 512; }
    std::uint64_t num_directory_entries() const {
        return (m_file.get(directory(), 4) * 512 - directory()) / 4;
    }

    // Returns the position in the file of byte `offset` of the disk, if its grain is allocated.
    std::optional<std::uint64_t> position(std::uint64_t offset) const {
        const std::uint64_t grain = offset / grain_bytes();
        const std::uint64_t table_entries = m_file.get(44, 4);
        const std::uint64_t index = grain / table_entries % (std::uint64_t{1} << 32);
        if (index >= num_directory_entries()) return std::nullopt;
        const std::uint64_t table = m_file.get(directory() + 4 * index, 4) * 512;
        const std::uint64_t sector = m_file.get(table + 4 * (grain % table_entries), 4);
        if (sector == 0) return std::nullopt;
        return sector * 512 + offset % grain_bytes();
    }

    bool holds(std::uint64_t offset) const {
        const auto found = position(offset);
        return found && *found < m_file.size();
    }

private:
    std::uint64_t directory() const { return m_file.get(56, 8) * 512; }

    support::byte_image m_file;
};

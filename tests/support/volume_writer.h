// Converts an ntfs_image to bytes. Internal to the builders.
#pragma once

#include <cstdint>
#include <span>

#include "support/ntfs_image.h"

namespace support {

class volume_writer {
public:
    // `volume` is a copy, which the writer may change.
    explicit volume_writer(ntfs_image& volume) : m_volume(volume) {}
    byte_image write();

private:
    std::uint64_t sectors_per_cluster() const;
    std::uint64_t mft_capacity() const;
    bytes used_cluster_bits(std::uint64_t clusters) const;
    bool is_free(std::uint64_t entry, std::uint32_t type_code, std::u16string_view name) const;
    void add_indexes();
    void add_stored(std::uint64_t entry, std::u16string_view name, const bytes& content);
    void add_plain_system_files();
    void add_security();
    void add_mft();
    void settle_size();
    void add_bitmap();
    bytes record_bytes(std::uint64_t number) const;
    void write_mft(byte_image& image) const;
    void write_record(byte_image& image, std::uint64_t number, const bytes& record) const;
    void write_mirror(byte_image& image) const;
    void write_boot_sectors(byte_image& image) const;

    ntfs_image& m_volume;
    std::uint64_t m_clusters = 0;  // of the volume
    cluster_runs m_mirror_runs, m_bitmap_runs;
};

// Returns the content of $UpCase: 65536 units, each the upper case of its index for Latin, Greek
// and Cyrillic letters.
bytes upcase_table();
// Returns the content of $AttrDef: 160 bytes for each attribute type.
bytes attribute_definitions();

}  // namespace support

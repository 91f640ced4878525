// A small valid volume in memory, in which a target replaces records and clusters.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "foundation/bytes/ql_bytes.h"
#include "fuzz_support.h"
#include "ntfs/volume/ntfs.h"
#include "run/settings/quorvel_opts.h"

namespace fuzz {

class record_volume {
public:
    static constexpr std::size_t record_size = 1024;
    static constexpr std::size_t area_size = 16 * 4096;
    static constexpr std::uint64_t directory = 24;  // \dir, whose index blocks are the area
    static constexpr std::uint64_t first_file = 25;
    static constexpr std::uint64_t last_file = 31;  // all of them in \dir

    // `cluster_size`: 512, 1024, 2048 or 4096 bytes.
    explicit record_volume(std::uint32_t cluster_size);

    // Restores the valid volume.
    void reset();
    // Replaces the record of an entry; shorter content leaves the end of the record unchanged.
    // With `guarded`, `content` has the actual bytes of the record, and the update sequence is
    // added.
    void put_record(std::uint64_t entry, bytes content, bool guarded);
    // Replaces the start of the clusters that the index of \dir and the stream $SDS of $Secure use.
    void put_area(bytes content);
    std::uint64_t area_lcn() const { return m_area_lcn; }

    // Returns the volume, opened and validated, or null if it is not valid any more.
    std::unique_ptr<CNtfs> open() const;

private:
    void put(std::uint64_t at, bytes content);

    struct change {
        std::uint64_t at;
        std::size_t size;
    };

    std::uint32_t m_cluster_size;
    std::uint64_t m_area_lcn = 0;
    std::vector<std::uint64_t> m_record_positions;
    std::vector<std::uint8_t> m_sound;
    std::vector<change> m_changes;
    memory_file m_file;
};

// Returns a valid volume. Bits 0 and 1 of `choice` select the cluster size.
record_volume& valid_volume(std::uint8_t choice);

// Reads an entry's rows, attributes, names and children.
void read_entry(CNtfs& ntfs, std::uint64_t entry);
// Lists an entry; the bits of `form` select the report form and its options.
void list_entry(CNtfs& ntfs, std::uint64_t entry, std::uint8_t form);
// Reads the entry's streams of at most 1 MiB: a stream of holes is as long as its attribute states.
void stream_entry(CNtfs& ntfs, std::uint64_t entry);

}  // namespace fuzz

// Announces the records that are read next.
#pragma once

#include <algorithm>
#include <cstdint>

#include "ntfs/volume/ntfs.h"
#include "storage/disk/announcement.h"
#include "storage/disk/look_ahead.h"

// Knows the list of entries whose records are read in order. As soon as a read has to wait for the
// device, the records that follow are announced, up to 256 at a time.
template <typename Iterator>
class record_hints {
public:
    // The entries from `first` up to `last`, of which `skipped` is not read. They and `ntfs` must
    // outlive this object.
    record_hints(CNtfs& ntfs, Iterator first, Iterator last, std::uint64_t skipped)
        : m_ntfs(ntfs), m_next(first), m_last(last), m_skipped(skipped) {}

    // Called before each entry of the list is read, or skipped.
    void before_read() {
        CRawDisk* const disk = m_ntfs.disk();
        if (disk == nullptr) return;
        const look_ahead::range wanted = m_look_ahead.before_read(m_number++, disk->has_waited());
        announcement batch(*disk);
        for (; m_next_number < wanted.end && m_next != m_last; ++m_next_number, ++m_next) {
            if (m_next_number < wanted.begin || *m_next == m_skipped) continue;
            batch.add(m_ntfs.get_file_pos_for_inode(*m_next) + m_ntfs.m_volume_offset,
                      std::min(m_ntfs.m_bytes_per_file_record, largest_first_read));
        }
    }

private:
    static constexpr std::uint64_t most_ahead = 256;
    static constexpr std::uint32_t largest_first_read = 0x10000;  // of a record; see record_reader

    CNtfs& m_ntfs;
    look_ahead m_look_ahead{most_ahead};
    std::uint64_t m_number = 0;       // of the entry that is read next
    Iterator m_next;                  // the first entry that is neither announced nor passed
    std::uint64_t m_next_number = 0;  // its number
    Iterator m_last;
    std::uint64_t m_skipped;
};

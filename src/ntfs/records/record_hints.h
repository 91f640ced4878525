// Announces the records that are read next.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "ntfs/volume/ntfs.h"
#include "storage/disk/announcement.h"

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
        if (m_num_ahead == 0 && m_next != m_last) {
            CRawDisk* const disk = m_ntfs.disk();
            if (disk == nullptr || !disk->has_waited()) {
                ++m_next;
                return;
            }
            announce(*disk);
        } else if (m_num_ahead < most_ahead / 2 && m_next != m_last) {
            announce(*m_ntfs.disk());
        }
        if (m_num_ahead != 0) --m_num_ahead;
    }

private:
    static constexpr std::size_t most_ahead = 256;
    static constexpr std::uint32_t largest_first_read = 0x10000;  // of a record; see record_reader

    void announce(CRawDisk& disk) {
        announcement batch(disk);
        for (; m_next != m_last && m_num_ahead < most_ahead; ++m_next, ++m_num_ahead) {
            if (*m_next == m_skipped) continue;
            batch.add(m_ntfs.get_file_pos_for_inode(*m_next) + m_ntfs.m_volume_offset,
                      std::min(m_ntfs.m_bytes_per_file_record, largest_first_read));
        }
    }

    CNtfs& m_ntfs;
    Iterator m_next;  // the first entry that is not announced
    Iterator m_last;
    std::uint64_t m_skipped;
    std::size_t m_num_ahead = 0;  // entries that are announced and not yet read
};

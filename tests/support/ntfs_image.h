// A whole NTFS volume, sound by default.
//
//   ntfs_image volume{{.cluster = 4096}};
//   volume.file(5, u"report.txt", 64).data("abc");
//   volume.put(volume.record_pos(64) + 510, 0xdead, 2);  // after the fixups
//   const std::string path = volume.save(dir.file("torn.dd"));
//
// What is there without asking: the boot sector and its copy in the last sector; $MFT with $DATA
// and $BITMAP; $MFTMirr; $LogFile (empty); $Volume; $AttrDef; the root directory (entry 5, named
// ".", its index naming itself); $Bitmap; $Boot; $BadClus; $Secure; $UpCase; $Extend. The root's
// index names only itself and what file() and directory() add, unless `list_system_files` is set.
// Entries that nobody asked for are formatted and not in use.
//
// What a system file holds is added when the volume is built, unless the test has given its entry
// an attribute of that type and name: entry(0).data_runs(...) replaces the $DATA of $MFT.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "support/byte_image.h"
#include "support/directory_index.h"
#include "support/record_builder.h"
#include "support/run_list.h"
#include "support/sds.h"

namespace support {

struct ntfs_geometry {
    std::uint32_t sector = 512;        // bytes
    std::uint32_t cluster = 4096;      // bytes
    std::uint32_t record = 1024;       // bytes of a file record
    std::uint32_t index_block = 4096;  // bytes
    std::uint32_t fixup_stride = 512;  // bytes that a word of an update sequence guards; NTFS keeps
                                       // to 512 on media with larger sectors, too
    std::uint64_t mft_lcn = 0;         // 0: cluster 4, or the first one behind $Boot
    std::uint64_t mirror_lcn = 0;      // 0: wherever there is room
    std::uint64_t clusters = 0;        // of the volume; 0: as many as are used, 1 MiB at least
    std::uint64_t mft_records = 64;    // room at the start; grows in pieces (fragments) on demand
    std::uint32_t hidden_sectors = 0;  // sectors ahead of the volume, as the boot sector tells
    std::uint64_t serial = 0x1122334455667788;
    bool list_system_files = false;  // names $MFT and the others in the root's index
    bool format_unused = true;       // false: unused entries of $MFT are zeros
};

class ntfs_image {
public:
    explicit ntfs_image(const ntfs_geometry& geometry = {});

    const ntfs_geometry& geometry() const { return m_geometry; }

    // --- entries ---
    // The record of an entry, created in use and without attributes on first use. The reference
    // stays valid as long as the volume.
    record_builder& entry(std::uint64_t number);
    bool has_entry(std::uint64_t number) const { return m_entries.count(number) != 0; }
    // The reference (with its sequence number) of an entry that exists, or would get by default.
    std::uint64_t reference(std::uint64_t number) const;

    // A file / a directory with $STANDARD_INFORMATION and $FILE_NAME, named in the index of
    // `parent`. `number` must be free; 0 takes the one behind the highest, from 24 on. The name's
    // options serve the attribute and the index entry alike; the parent's sequence number is the
    // one that it has now. A directory gets an index of its own, the directory flag in its name,
    // and no archive attribute. The index entry follows a later sequence() of the record.
    record_builder& file(std::uint64_t parent, std::u16string_view name, std::uint64_t number = 0,
                         const file_name_options& options = {},
                         const standard_information_options& information = {});
    record_builder& directory(std::uint64_t parent, std::u16string_view name,
                              std::uint64_t number = 0, const file_name_options& options = {},
                              const standard_information_options& information = {});
    // One more name of an entry: a hard link, or the DOS name beside a Win32 name. In the entry and
    // in the index of `parent`.
    ntfs_image& link(std::uint64_t number, std::uint64_t parent, std::u16string_view name,
                     const file_name_options& options = {});
    // The index of a directory; makes one for an entry that has none (and sets its directory flag).
    directory_index& index(std::uint64_t number);

    // --- clusters ---
    // Takes `count` clusters behind everything that was taken so far and returns the first LCN.
    std::uint64_t alloc(std::uint64_t count);
    // Leaves `count` clusters free before the next alloc().
    ntfs_image& leave_gap(std::uint64_t count);
    // Marks clusters as taken; alloc() goes around them.
    ntfs_image& reserve(std::uint64_t lcn, std::uint64_t count);
    ntfs_image& write_clusters(std::uint64_t lcn, std::span<const std::uint8_t> content);
    // Allocates for `content`, writes it, and returns its runs: one, or `pieces` of about the same
    // size with a free cluster between them.
    cluster_runs store(std::span<const std::uint8_t> content, std::uint64_t pieces = 1);
    // Writes content over given runs, in VCN order; holes swallow their part.
    ntfs_image& write_runs(const cluster_runs& runs, std::span<const std::uint8_t> content);
    // Clusters needed for so many bytes.
    std::uint64_t clusters_for(std::uint64_t size) const;

    // Stores `content` compressed in units of 2^unit clusters and adds it to `record` as $DATA of
    // that name: a unit that shrinks is followed by a hole, one of zeros is a hole, others are
    // stored as they are. Sets flags, sizes and the unit in the header.
    ntfs_image& compressed_stream(record_builder& record, std::u16string_view name,
                                  std::span<const std::uint8_t> content, std::uint8_t unit = 4);

    // --- $MFT ---
    // Where $MFT lies, in VCN order. Call it before anything that asks for positions of records,
    // and before alloc(). The first run's LCN goes into the boot sector. entry() throws
    // std::out_of_range for entries behind the runs; records in holes are not written.
    ntfs_image& mft_runs(const cluster_runs& runs);
    const cluster_runs& mft_runs() const { return m_mft_runs; }
    // Byte position of a record, from the start of the volume. For a record that lies in several
    // runs: of its first byte. Throws std::out_of_range for an entry behind the end of $MFT, which
    // grows with entry(), and std::logic_error for one in a hole.
    std::uint64_t record_pos(std::uint64_t number) const;

    // --- security ---
    // The descriptors of $Secure; $SDS, $SII and $SDH are written from them.
    sds_stream& security();

    // --- damage ---
    // Overwrites bytes of the finished volume, which grows when they lie behind its end.
    ntfs_image& put(std::uint64_t at, std::uint64_t value, std::size_t width);
    ntfs_image& put_bytes(std::uint64_t at, std::span<const std::uint8_t> content);
    // Cuts the finished image off at `size` bytes.
    ntfs_image& truncate(std::uint64_t size);

    // --- results ---
    // The volume; can be called again, with the same result.
    byte_image build() const;
    // Writes the volume to `path` and returns `path`.
    std::string save(const std::string& path) const;

    // An attribute list for an entry: all its attributes and those of the records whose base it is.
    // Resident; `in_clusters` puts it into clusters instead.
    ntfs_image& make_attribute_list(std::uint64_t number, bool in_clusters = false);

private:
    friend class volume_writer;
    friend class directory_writer;

    void cover_record(std::uint64_t number);
    std::uint64_t next_free_entry() const;
    void add_system_entries();

    ntfs_geometry m_geometry;
    std::map<std::uint64_t, record_builder> m_entries;
    std::map<std::uint64_t, directory_index> m_indexes;
    byte_image m_content;                           // clusters that were written
    std::map<std::uint64_t, std::uint64_t> m_used;  // LCN to count of what is taken
    std::uint64_t m_next_lcn = 0;
    cluster_runs m_mft_runs;
    bool m_mft_fixed = false;  // mft_runs() was called
    std::uint64_t m_mirror_lcn = 0;
    sds_stream m_security;
    std::vector<std::pair<std::uint64_t, bytes>> m_patches;
    std::uint64_t m_truncated = ~0ull;
};

}  // namespace support

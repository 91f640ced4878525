// A complete NTFS volume, valid by default.
//
//   ntfs_image volume{{.cluster = 4096}};
//   volume.file(5, u"report.txt", 64).data("abc");
//   volume.put(volume.record_pos(64) + 510, 0xdead, 2);  // after the fixups
//   const std::string path = volume.save(dir.file("torn.dd"));
//
// Every volume contains the boot sector and its copy in the last sector; $MFT with $DATA and
// $BITMAP; $MFTMirr; $LogFile (empty); $Volume; $AttrDef; the root directory (entry 5, named ".",
// with itself in its index); $Bitmap; $Boot; $BadClus; $Secure; $UpCase; $Extend. The root's index
// names only itself and the entries that file() and directory() add, unless `list_system_files` is
// set. Unused entries are formatted and not in use.
//
// The content of a system file is added when the volume is built, unless the test has already added
// an attribute of that type and name to its entry: entry(0).data_runs(...) replaces the $DATA of
// $MFT.
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
    std::uint32_t fixup_stride = 512;  // bytes per word of an update sequence; NTFS keeps this
                                       // at 512 on media with larger sectors, too
    std::uint64_t mft_lcn = 0;         // 0: cluster 4, or the first one after $Boot
    std::uint64_t mirror_lcn = 0;      // 0: any free cluster
    std::uint64_t clusters = 0;        // of the volume; 0: as many as are used, at least 1 MiB
    std::uint64_t mft_records = 64;    // initial capacity; grows in fragments on demand
    std::uint32_t hidden_sectors = 0;  // sectors before the volume, as stated in the boot sector
    std::uint64_t serial = 0x1122334455667788;
    bool list_system_files = false;  // names $MFT and the others in the root's index
    bool format_unused = true;       // false: unused entries of $MFT are zeros
};

class ntfs_image {
public:
    explicit ntfs_image(const ntfs_geometry& geometry = {});

    const ntfs_geometry& geometry() const { return m_geometry; }

    // --- entries ---
    // Returns the record of an entry. The first call creates it, in use and without attributes. The
    // C++ reference is valid as long as the volume.
    record_builder& entry(std::uint64_t number);
    bool has_entry(std::uint64_t number) const { return m_entries.count(number) != 0; }
    // Returns the file reference, with sequence number, of an entry, which need not exist yet.
    std::uint64_t reference(std::uint64_t number) const;

    // Add a file or a directory with $STANDARD_INFORMATION and $FILE_NAME, and name it in the index
    // of `parent`. `number` must be free; 0 means one more than the highest, at least 24. The
    // name's options apply to the attribute and to the index entry; the parent's sequence number is
    // its current one. A directory gets an index of its own, the directory flag in its name, and no
    // archive attribute. The index entry is updated by a later sequence() of the record.
    record_builder& file(std::uint64_t parent, std::u16string_view name, std::uint64_t number = 0,
                         const file_name_options& options = {},
                         const standard_information_options& information = {});
    record_builder& directory(std::uint64_t parent, std::u16string_view name,
                              std::uint64_t number = 0, const file_name_options& options = {},
                              const standard_information_options& information = {});
    // Adds a name to an entry and to the index of `parent`: a hard link, or the DOS name that
    // accompanies a Win32 name.
    ntfs_image& link(std::uint64_t number, std::uint64_t parent, std::u16string_view name,
                     const file_name_options& options = {});
    // Returns the index of a directory. Creates one for an entry without an index, and sets its
    // directory flag.
    directory_index& index(std::uint64_t number);

    // --- clusters ---
    // Allocates `count` clusters after all allocated ones and returns the first LCN.
    std::uint64_t alloc(std::uint64_t count);
    // Leaves `count` clusters free before the next alloc().
    ntfs_image& leave_gap(std::uint64_t count);
    // Marks clusters as allocated; alloc() skips them.
    ntfs_image& reserve(std::uint64_t lcn, std::uint64_t count);
    ntfs_image& write_clusters(std::uint64_t lcn, std::span<const std::uint8_t> content);
    // Allocates clusters for `content`, writes it and returns its runs: one, or `pieces` of about
    // equal size with a free cluster between them.
    cluster_runs store(std::span<const std::uint8_t> content, std::uint64_t pieces = 1);
    // Writes content to the given runs, in VCN order. The parts in holes are dropped.
    ntfs_image& write_runs(const cluster_runs& runs, std::span<const std::uint8_t> content);
    // Returns the number of clusters that `size` bytes need.
    std::uint64_t clusters_for(std::uint64_t size) const;

    // Compresses `content` in units of 2^unit clusters and adds it to `record` as $DATA of that
    // name: a unit that shrinks is followed by a hole, a unit of zeros is a hole, others are stored
    // uncompressed. Sets flags, sizes and the unit in the header.
    ntfs_image& compressed_stream(record_builder& record, std::u16string_view name,
                                  std::span<const std::uint8_t> content, std::uint8_t unit = 4);

    // --- $MFT ---
    // Sets the runs of $MFT, in VCN order. Call this before alloc() and before any function that
    // returns positions of records. The first run's LCN is stored in the boot sector. entry()
    // throws std::out_of_range for entries past the runs; records in holes are not written.
    ntfs_image& mft_runs(const cluster_runs& runs);
    const cluster_runs& mft_runs() const { return m_mft_runs; }
    // Returns the byte position of a record, from the start of the volume; if it is in several
    // runs, that of its first byte. Throws std::out_of_range for an entry past the end of $MFT,
    // which grows with entry(), and std::logic_error for one in a hole.
    std::uint64_t record_pos(std::uint64_t number) const;

    // --- security ---
    // Returns the descriptors of $Secure. $SDS, $SII and $SDH are written from them.
    sds_stream& security();

    // --- damage ---
    // Overwrites bytes of the finished volume, which is extended if it ends before them.
    ntfs_image& put(std::uint64_t at, std::uint64_t value, std::size_t width);
    ntfs_image& put_bytes(std::uint64_t at, std::span<const std::uint8_t> content);
    // Truncates the finished image to `size` bytes.
    ntfs_image& truncate(std::uint64_t size);

    // --- results ---
    // Returns the volume. Repeated calls return the same result.
    byte_image build() const;
    // Writes the volume to `path` and returns `path`.
    std::string save(const std::string& path) const;

    // Adds an attribute list to an entry, with all its attributes and those of its extension
    // records. It is resident, or stored in clusters with `in_clusters`.
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
    byte_image m_content;                           // clusters that have been written
    std::map<std::uint64_t, std::uint64_t> m_used;  // LCN to number of allocated clusters
    std::uint64_t m_next_lcn = 0;
    cluster_runs m_mft_runs;
    bool m_mft_fixed = false;  // mft_runs() was called
    std::uint64_t m_mirror_lcn = 0;
    sds_stream m_security;
    std::vector<std::pair<std::uint64_t, bytes>> m_patches;
    std::uint64_t m_truncated = ~0ull;
};

}  // namespace support

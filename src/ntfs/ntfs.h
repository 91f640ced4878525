// One open NTFS volume.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <ostream>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "foundation/security_descriptor.h"
#include "ntfs/attrib_store.h"
#include "ntfs/data_run_list.h"
#include "ntfs/file_record.h"
#include "ntfs/mft_info.h"
#include "ntfs/ntfs_boot.h"
#include "storage/raw_disk.h"

class name_entry_list;

// One directory known to path look-up.
struct NTFS_DIR_CACHE_ENTRY {
    std::uint64_t inode = 0;
    std::set<std::uint64_t> parents;
    bool has_names = true;
    bool deleted = false;  // the record was not in use
    std::set<std::uint64_t> children;
    std::map<std::string, std::uint64_t> names;  // lower-cased name to the child's entry
};

// The volume reader: geometry, file records, attributes, attribute data, directory indexes. It
// prints nothing; operations report by their results. Bad on-disk data costs what depends on it
// and is never fatal. Not copyable; lives for one path of a run.
class CNtfs {
public:
    // Takes the source over, which may be null. `kind` is one of source_kind.
    CNtfs(std::unique_ptr<CRawDisk> disk, std::uint64_t volume_offset, std::uint32_t kind);
    ~CNtfs();
    CNtfs(const CNtfs&) = delete;
    CNtfs& operator=(const CNtfs&) = delete;

    // --- volume (ntfs.cpp) ---

    // Reads the boot sector and MFT record 0 and computes the geometry. Once it has succeeded it
    // only writes `mft_file_pos`, the byte position of $MFT in the volume. False when the source is
    // not open, the boot sector is not NTFS, or record 0 can't be used.
    bool validate(std::uint64_t& mft_file_pos);
    bool is_open() const { return m_disk != nullptr && m_Validated; }
    // The source when it is open, else null. Lives as long as this volume.
    CRawDisk* disk() const;
    std::uint16_t get_bytes_per_sector() const { return m_boot.bytes_per_sector(); }
    // Bytes in a file record; 1024 while it is not known.
    std::uint32_t get_mft_record_size() const {
        return m_mft_record_size != 0 ? m_mft_record_size : 1024;
    }
    std::uint64_t get_total_mft_entries() const { return m_Validated ? m_total_mft_entries : 0; }
    // The cluster size without its sign, as the divisor of byte positions; may be 0.
    std::uint32_t cluster_size() const { return static_cast<std::uint32_t>(m_cluster_size); }
    // Clusters in 4096 bytes: 1 for larger clusters, 0 for a cluster size of 0.
    std::uint32_t clusters_per_4k() const;
    // 4096-byte blocks in a cluster; 0 for smaller clusters.
    std::uint32_t blocks_per_cluster() const;

    // Reads at `position` + `volume_offset`; `count` comes back as the bytes read. False, with
    // `count` as it was, for a null disk or buffer, a count of 0, and when nothing was read.
    static bool read_at(CRawDisk* source, std::uint64_t position, std::uint64_t volume_offset,
                        void* buffer, std::uint32_t& count);
    // Reads whole clusters from `lcn` on. `count` in: bytes wanted; out: bytes read. False unless
    // validated, for a `count` that is no whole number of clusters, and when nothing was read.
    bool read_clusters(std::uint64_t lcn, void* buffer, std::uint32_t& count);
    // Returns how many runs of one list are taken: as many as fit into memory of the size of the
    // source, and 65536 in any case. A longer list names clusters over and over, or nothing.
    std::size_t most_runs() const;

    // --- file records (mft_records.cpp) ---

    // Byte position of an entry, relative to the volume, through the runs of $MFT; 0 when not
    // validated or beyond the runs. Arithmetic is modulo 2^64.
    std::uint64_t get_file_pos_for_inode(std::uint64_t inode) const;
    // Reads one record and applies its update sequence. Accepts valid FILE records and whatever
    // begins with "INDX".
    //
    // buffer    replaced by the bytes of the record, as far as they are needed; bytes past its end
    //           are zero
    // position  out: byte position in the volume
    // size      in: bytes that the record may have (not with `allocate`); out: bytes of the
    //           record that the source has
    //
    // Returns false if the record cannot be read or is not a record, if `size` is smaller than a
    // record, and, except for entry 0, if the volume is not validated. With `allocate` the buffer
    // is empty then.
    bool read_file_record(std::uint64_t inode, std::vector<std::uint8_t>& buffer,
                          std::uint64_t& position, std::int64_t& size, bool allocate);
    // Reads get_mft_record_size() bytes, as far as they are needed, and applies the update sequence
    // under the rules of check_fixup, which also accepts "BAAD" and sets the `kind`, one of
    // record_kind. `position` is the byte position in the volume. Returns false if the volume is
    // not validated, if nothing can be read, and if check_fixup does.
    bool read_record_vector(std::uint64_t inode, std::vector<std::uint8_t>& record,
                            std::uint64_t& position, std::uint32_t& kind);
    // True when the record can be read and is a directory.
    bool is_directory(std::uint64_t inode);
    // The parser for $MFT and $Bitmap, attribute list included. `keep` adds to `out` instead of
    // starting anew. Always true: what is bad is missing in `out`.
    bool parse_inode(ql::bytes record, NTFS_INODE_INFO& out, std::uint64_t inode, bool keep);

    // --- attributes (attrib_categorize.cpp, attrib_rows.cpp, file_names.cpp) ---

    // Sorts all attributes of an entry, extension records included, into `store`. False when the
    // record can't be used.
    bool categorize_entry(NTFS_ENTRY_STORE& store, mft_entries_ctx& ctx, std::uint64_t inode,
                          bool keep_values);
    // The entry as flat rows: record head, 0x10 rows, 0x30 rows, then all other attributes by id.
    // False, with no rows, when the record can't be used.
    bool get_attrib_rows(std::uint64_t inode, std::vector<NTFS_ATTRIB_ROW>& rows);
    // The $FILE_NAME attributes of `record` and of its extension records. DOS names are left out
    // unless `all_namespaces`; names under another parent than `parent_filter` are left out unless
    // that is no_parent_filter. True when `names` is not empty.
    bool get_file_names(name_entry_map& names, std::uint64_t inode, ql::bytes record,
                        bool all_namespaces = false,
                        std::uint64_t parent_filter = no_parent_filter);
    bool get_file_names(name_entry_list& names, std::uint64_t inode, ql::bytes record,
                        bool all_namespaces, std::uint64_t parent_filter);

    // --- attribute data (attrib_data.cpp) ---

    // Reads `size` bytes at `offset` of the runs; `size` comes back as delivered. False for an
    // empty target or list, or when nothing was read.
    bool read_attrib_bytes(const data_run_list& runs, std::uint64_t offset,
                           std::span<std::uint8_t> target, std::int64_t& size, bool skip_sparse);
    // The same with `status`, bits of read_status, in and out. Reads whole clusters, holes as
    // zeros; ends at the first cluster that no run covers, and at the first that can't be read.
    // What is missing of a cluster at the end of the source is zero.
    bool read_runs_raw(const data_run_list& runs, std::uint64_t offset,
                       std::span<std::uint8_t> target, std::int64_t& size, std::uint64_t& status);
    // Writes the data of a row to `out`, decompressed when the attribute is compressed. `out2` is
    // only cleared. False without data.
    bool stream_attribute(const NTFS_ATTRIB_ROW& row, std::ostream& out, std::ostream& out2,
                          mft_entries_ctx& ctx);
    // Writes `size` bytes of a compressed attribute, unit by unit. A unit that gives nothing ends
    // the data. `allocated` bounds what is read of the last unit. False when nothing was written.
    bool stream_compressed(std::ostream& out, const data_run_list& runs, std::uint64_t size,
                           std::uint64_t allocated);

    // --- directory indexes (index_reader.cpp, index_blocks.cpp) ---

    // Adds the entry numbers that the $I30 index of a directory names, stale ones included; with
    // `include_slack` also those that collect_entries takes for damage otherwise. False when the
    // directory's record or its index can't be read.
    bool get_children(std::uint64_t inode, std::set<std::uint64_t>& children, bool include_slack);
    // The same in place of what `children` held, in ascending order and each number once.
    bool get_sorted_children(std::uint64_t inode, std::vector<std::uint64_t>& children,
                             bool include_slack);
    // Reads the blocks of an index into one buffer; see index_block_stream. Blocks that cannot be
    // read are zero.
    //
    // block_count  in: blocks wanted, 0xFFFFFFFF for all; out: blocks in `out`
    // first_block  blocks before the first one wanted
    //
    // Returns false if the runs hold no block there, and if there is no memory for the blocks that
    // they state. get_children does without the buffer.
    bool read_index_blocks(std::vector<std::uint8_t>& out, std::uint32_t& block_count,
                           const data_run_list& runs, std::uint32_t first_block);

    // --- inode to path (inode_to_path.cpp) ---

    // Appends each path of an entry, segments joined and closed by backslashes, by walking the
    // parent references upwards. `partial` holds the segments so far, the deepest first. A cycle of
    // parents never ends.
    bool get_paths_of_inode(std::uint64_t inode, std::vector<std::wstring> partial,
                            std::vector<std::wstring>& paths);

    // --- security table (security_table.cpp) ---

    // Loads the descriptors of $Secure:$SDS once. True when the table has entries.
    bool load_security_table();
    // The entry of a security id; null when there is none.
    const NTFS_SECURITY_ITEM* security_item(std::uint32_t id) const;

    NTFS_BOOT m_boot;
    std::map<std::uint32_t, NTFS_SECURITY_ITEM> m_security_table;
    std::unique_ptr<CRawDisk> m_disk;
    std::uint32_t m_source_kind;
    bool m_Validated = false;
    std::vector<std::uint8_t> m_mft_record;     // record 0, update sequence applied
    NTFS_INODE_INFO m_mft_info;                 // its runs map MFT entries to clusters
    std::vector<NTFS_DATA> m_bitmap_runs;       // of entry 6; kept for reference
    std::uint32_t m_bytes_per_file_record = 0;  // stride of MFT entries, as record 0 states it
    std::uint64_t m_total_mft_entries = 0;
    std::int32_t m_cluster_size = 0;  // bytes
    std::uint64_t m_total_clusters = 0;
    std::uint32_t m_mft_cluster_per_record_fixed = 0;
    std::uint64_t m_mft_file_pos = 0;  // bytes from the start of the volume
    std::uint32_t m_sectors_per_cluster = 0;
    std::uint64_t m_volume_offset = 0;    // bytes from the start of the source
    std::uint32_t m_mft_record_size = 0;  // bytes, as the boot sector states it
    std::map<std::uint64_t, NTFS_DIR_CACHE_ENTRY> m_children_cache;

private:
    bool read_boot_sector();
    void compute_geometry();
    bool open_mft();
    std::uint64_t count_mft_clusters() const;
    void read_bitmap_runs();
    const NTFS_DATA* find_mft_run(std::uint64_t vcn, std::uint64_t& first_vcn) const;
    // read_file_record into memory of its own, for what asks neither for the position nor the size.
    bool read_own_record(std::uint64_t inode, std::vector<std::uint8_t>& record);
    bool collect_children(std::uint64_t inode, std::vector<std::uint64_t>& children,
                          bool include_slack);
    bool collect_allocation(const record_attrib& attribute, std::vector<std::uint64_t>& children,
                            bool include_slack);
    bool collect_listed(const record_attrib& attribute, bool root_missing, std::uint64_t inode,
                        std::vector<std::uint64_t>& children, bool include_slack);
};

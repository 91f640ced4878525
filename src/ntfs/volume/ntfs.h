// One open NTFS volume.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <ostream>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "foundation/security/security_descriptor.h"
#include "ntfs/format/file_record.h"
#include "ntfs/format/ntfs_boot.h"
#include "ntfs/runs/data_run_list.h"
#include "ntfs/volume/mft_info.h"
#include "ntfs/volume/name_entry.h"
#include "storage/disk/raw_disk.h"

class mft_entries_ctx;
class name_entry_list;
struct NTFS_ATTRIB_ROW;
struct NTFS_ENTRY_STORE;
struct whole_record;

// One directory in the cache of path lookup.
struct NTFS_DIR_CACHE_ENTRY {
    std::uint64_t inode = 0;
    std::set<std::uint64_t> parents;
    bool has_names = true;
    bool deleted = false;  // the record is not in use
    std::set<std::uint64_t> children;
    std::map<std::string, std::uint64_t> names;  // lower-cased name to the child's entry
};

// The volume reader: geometry, file records, attributes, attribute data, directory indexes. It
// prints nothing; operations report failure by their result. Damaged on-disk data affects only the
// results that depend on it. Not copyable; one object is used for one path of a run.
class CNtfs {
public:
    // Takes ownership of the source, which may be null. `kind` is one of source_kind.
    CNtfs(std::unique_ptr<CRawDisk> disk, std::uint64_t volume_offset, std::uint32_t kind);
    ~CNtfs();
    CNtfs(const CNtfs&) = delete;
    CNtfs& operator=(const CNtfs&) = delete;

    // --- volume (volume/ntfs.cpp; validate: validation/volume_validation.cpp) ---

    // Reads the boot sector and MFT record 0, computes the geometry, and sets `mft_file_pos` to the
    // byte position of $MFT in the volume. After the first success, only sets `mft_file_pos`.
    // Returns false if the source is not open, the boot sector is not NTFS, or record 0 cannot be
    // used; in the last case `mft_file_pos` is set.
    bool validate(std::uint64_t& mft_file_pos);
    // Does the same for callers that do not need `mft_file_pos`.
    bool validate();
    bool is_open() const { return m_disk != nullptr && m_Validated; }
    // The source if it is open, else null; valid as long as this object.
    CRawDisk* disk() const;
    std::uint16_t get_bytes_per_sector() const { return m_boot.bytes_per_sector(); }
    // Bytes in a file record as the boot sector states it; 1024 if it is 0 or not yet known.
    std::uint32_t get_mft_record_size() const {
        return m_mft_record_size != 0 ? m_mft_record_size : 1024;
    }
    std::uint64_t get_total_mft_entries() const { return m_Validated ? m_total_mft_entries : 0; }
    // The cluster size in bytes, as an unsigned number; may be 0.
    std::uint32_t cluster_size() const { return static_cast<std::uint32_t>(m_cluster_size); }
    // Clusters in 4096 bytes: 1 if a cluster is larger, 0 if the cluster size is 0.
    std::uint32_t clusters_per_4k() const;
    // 4096-byte blocks in a cluster: 0 if a cluster is smaller.
    std::uint32_t blocks_per_cluster() const;

    // Reads at `position` + `volume_offset`. `count`, in: bytes wanted; out: bytes read. Returns
    // false, with `count` unchanged, if the source or buffer is null, if `count` is 0, or if
    // nothing is read.
    static bool read_at(CRawDisk* source, std::uint64_t position, std::uint64_t volume_offset,
                        void* buffer, std::uint32_t& count);
    // Reads whole clusters starting at `lcn`. `count`, in: bytes wanted; out: bytes read. Returns
    // false, with `count` unchanged, if the volume is not validated, if `count` is not a multiple
    // of the cluster size, or if nothing is read.
    bool read_clusters(std::uint64_t lcn, void* buffer, std::uint32_t& count);
    // Returns how many runs of one list are accepted: as many as use no more memory than the source
    // stores, and at least 65536. A longer list names clusters repeatedly, or has empty runs.
    std::size_t most_runs() const;

    // --- file records (records/mft_records.cpp; parse_inode: validation/mft_parse.cpp) ---

    // Returns the byte position of an entry in the volume, computed modulo 2^64 from the runs of
    // $MFT. Returns 0 if the volume is not validated or if no run contains the entry.
    std::uint64_t get_file_pos_for_inode(std::uint64_t inode) const;
    // Reads one record and applies its update sequence. Accepts valid FILE records, and records
    // with the keyword "INDX".
    //
    // buffer    replaced by the bytes of the record that are needed; bytes past its end are zero
    // position  out: byte position in the volume
    // size      in: largest accepted record, in bytes (ignored with `allocate`); out: bytes of the
    //           record that the source has
    //
    // Returns false if the record cannot be read or is not a record, if `size` is smaller than a
    // record, and, except for entry 0, if the volume is not validated. In this case `buffer` is
    // empty with `allocate`, and otherwise unspecified.
    bool read_file_record(std::uint64_t inode, std::vector<std::uint8_t>& buffer,
                          std::uint64_t& position, std::int64_t& size, bool allocate);
    // Reads the bytes of a record that are needed, at most get_mft_record_size(), and applies the
    // update sequence. Sets `kind` to one of record_kind by the rules of check_fixup, which also
    // accepts "BAAD", and `position` to the byte position in the volume. Returns false if the
    // volume is not validated, if nothing can be read, or if check_fixup does.
    bool read_record_vector(std::uint64_t inode, std::vector<std::uint8_t>& record,
                            std::uint64_t& position, std::uint32_t& kind);
    // Reads a record as read_file_record does without `allocate`, if it is not larger than
    // get_mft_record_size(). Returns the number of bytes of the record that the source has, or
    // nullopt if read_file_record returns false.
    std::optional<std::int64_t> read_record(std::uint64_t inode, std::vector<std::uint8_t>& record);
    // Does the same for a caller that does not need the number of bytes. Sets `whole` to the record
    // for an attrib_pass over the same entry; for entry 0, to no record.
    bool read_record(std::uint64_t inode, std::vector<std::uint8_t>& record, whole_record& whole);
    // Reads a record of any size with the values of resident attributes, as read_file_record does
    // with `allocate`. Returns false, with `record` empty, if that does.
    bool read_whole_record(std::uint64_t inode, std::vector<std::uint8_t>& record);
    // Reads the record of an entry that an attribute list names, as read_record_vector does.
    // Returns false if that does, or if the record has no attributes to search.
    bool read_listed_record(std::uint64_t inode, std::vector<std::uint8_t>& record);
    // Returns true if the record can be read and is a directory.
    bool is_directory(std::uint64_t inode);
    // Parses the record of $MFT or $Bitmap and the extension records that its attribute list names.
    // Clears `out` first unless `keep`. Always returns true: bad attributes are skipped.
    bool parse_inode(ql::bytes record, NTFS_INODE_INFO& out, std::uint64_t inode, bool keep);

    // --- attributes (attributes/attrib_categorize.cpp, attrib_rows.cpp, file_names.cpp) ---

    // Sorts all attributes of an entry, including those in extension records, into `store`. Returns
    // false, with `store` cleared, if the volume is not open or the record cannot be used.
    bool categorize_entry(NTFS_ENTRY_STORE& store, mft_entries_ctx& ctx, std::uint64_t inode,
                          bool keep_values);
    // Replaces `rows` with those of an entry: record header, 0x10 rows, 0x30 rows, then all other
    // attributes by id. Returns false, with no rows, if the volume is not open or the record cannot
    // be used.
    bool get_attrib_rows(std::uint64_t inode, std::vector<NTFS_ATTRIB_ROW>& rows);
    // Replaces `names` with the $FILE_NAME attributes of `record` and of its extension records,
    // without DOS names unless `all_namespaces`, and without names under other parents than
    // `parent_filter` unless that is no_parent_filter. Returns false if `names` is empty.
    bool get_file_names(name_entry_map& names, std::uint64_t inode, ql::bytes record,
                        bool all_namespaces = false,
                        std::uint64_t parent_filter = no_parent_filter);
    bool get_file_names(name_entry_list& names, std::uint64_t inode, ql::bytes record,
                        const name_filter& filter);

    // --- attribute data (attributes/attrib_data.cpp) ---

    // Reads `size` bytes at `offset` of the runs, at most as many as `target` has, and sets `size`
    // to the number of bytes read. Returns false, with `size` unchanged, if the target or the list
    // is empty, if `size` is below 1, or if nothing is read. With `skip_sparse`, sparse runs are
    // skipped.
    bool read_attrib_bytes(const data_run_list& runs, std::uint64_t offset,
                           std::span<std::uint8_t> target, std::int64_t& size, bool skip_sparse);
    // Does the same with `status`, bits of read_status, in and out. Reads whole clusters; holes are
    // zeros. Stops at the first cluster that no run covers or that cannot be read. If the source
    // ends inside the first cluster, or inside the cluster in which the range ends, the rest of
    // that cluster is zero.
    bool read_runs_raw(const data_run_list& runs, std::uint64_t offset,
                       std::span<std::uint8_t> target, std::int64_t& size, std::uint64_t& status);
    // Writes the data of a row to `out`, decompressed if the attribute is compressed. Clears the
    // error state of both streams; nothing is written to `out2`. Returns false if there is no data,
    // or if a stream has no buffer.
    bool stream_attribute(const NTFS_ATTRIB_ROW& row, std::ostream& out, std::ostream& out2,
                          mft_entries_ctx& ctx);
    // Writes `size` bytes of a compressed attribute, unit by unit. Stops at a unit without data.
    // `allocated` limits how much of the last unit is read. Returns false if nothing is written.
    bool stream_compressed(std::ostream& out, const data_run_list& runs, std::uint64_t size,
                           std::uint64_t allocated);

    // --- directory indexes (index/index_reader.cpp; read_index_blocks: index/index_blocks.cpp) ---

    // Adds the entry numbers in the $I30 index of a directory, including stale ones. With
    // `include_slack`, collect_entries continues where it otherwise ends. Returns false if the
    // directory's record or its index cannot be read.
    bool get_children(std::uint64_t inode, std::set<std::uint64_t>& children, bool include_slack);
    // Does the same without `include_slack`.
    bool get_children(std::uint64_t inode, std::set<std::uint64_t>& children);
    // Replaces `children` with the same entry numbers in ascending order, without duplicates.
    // Returns the same as get_children.
    bool get_sorted_children(std::uint64_t inode, std::vector<std::uint64_t>& children);
    // Reads the blocks of an index into one buffer; see index_block_stream. Blocks that cannot be
    // read are zero.
    //
    // block_count  in: blocks wanted, 0xFFFFFFFF for all; out: blocks in `out`
    // first_block  blocks before the first one wanted
    //
    // Returns false if the runs contain no block there, or state more than the source holds.
    // get_children does not use this buffer.
    bool read_index_blocks(std::vector<std::uint8_t>& out, std::uint32_t& block_count,
                           const data_run_list& runs, std::uint32_t first_block);

    // --- inode to path (lookup/inode_to_path.cpp) ---

    // Appends each path of an entry, a backslash after each segment, by following the parent
    // references up to the root. `partial` contains the segments found so far, the deepest first.
    // Does not return if the parent references form a cycle. Returns false if the entry has no
    // readable record or no name.
    bool get_paths_of_inode(std::uint64_t inode, std::vector<std::wstring> partial,
                            std::vector<std::wstring>& paths);

    // --- security table (security/security_table.cpp) ---

    // Loads the descriptors of $Secure:$SDS, unless they are loaded. Returns false if the table is
    // empty.
    bool load_security_table();
    // Returns the table entry of a security id, or null; valid until the table changes.
    const NTFS_SECURITY_ITEM* security_item(std::uint32_t id) const;

    NTFS_BOOT m_boot;
    std::map<std::uint32_t, NTFS_SECURITY_ITEM> m_security_table;
    std::unique_ptr<CRawDisk> m_disk;
    std::uint32_t m_source_kind;
    bool m_Validated = false;
    std::vector<std::uint8_t> m_mft_record;     // record 0 with its update sequence applied
    NTFS_INODE_INFO m_mft_info;                 // its runs map MFT entries to clusters
    std::vector<NTFS_DATA> m_bitmap_runs;       // of entry 6, $Bitmap
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
    // The steps of validate (validation/volume_validation.cpp).
    bool read_boot_sector();
    void compute_geometry();
    bool open_mft();
    void read_bitmap_runs();
};

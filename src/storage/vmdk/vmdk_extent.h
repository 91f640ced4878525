// One hosted sparse VMDK file: header, embedded descriptor, grain directory and grain tables.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "foundation/bytes/ql_bytes.h"
#include "storage/hints/hinted_reads.h"
#include "storage/vmdk/vmdk_grain_map.h"

class vmdk_metadata_reader;

// The file, in sectors of 512 bytes: header; descriptor (text); grain directory, whose entries are
// the sectors of grain tables; grain tables, whose entries are the sectors of grains; grains. The
// extent covers the whole capacity of its disk. Header:
//
//    0  "KDMV"                       44  u32  entries in a grain table
//   12  u64  capacity                56  u64  grain directory
//   20  u64  size of a grain         64  u64  overhead: size of all that precedes the grains
//   28  u64  descriptor
//   36  u64  size of the descriptor
//
// Flags and compression are not checked: the bytes of grains are used unchanged. A file may be
// shorter than its header says: the missing bytes of descriptor, directory, tables and grains are
// zero.
class vmdk_extent {
public:
    vmdk_extent() = default;
    ~vmdk_extent();  // closes the file
    vmdk_extent(const vmdk_extent&) = delete;
    vmdk_extent& operator=(const vmdk_extent&) = delete;

    // Opens the file and reads all of its metadata; called once. Returns `ready`: false for another
    // magic number, an empty grain directory, tables without entries, and a failed read.
    bool open(const std::wstring& path, bool write_access);

    // Fields of the sparse extent header; sector counts are in units of 512 bytes.
    std::uint64_t capacity() const { return ql::le64(header, 12); }
    std::uint64_t grain_size() const { return ql::le64(header, 20); }
    std::uint64_t descriptor_offset() const { return ql::le64(header, 28); }
    std::uint64_t descriptor_size() const { return ql::le64(header, 36); }
    std::uint32_t entries_per_table() const { return ql::le32(header, 44); }
    std::uint64_t grain_dir_offset() const { return ql::le64(header, 56); }
    std::uint64_t overhead() const { return ql::le64(header, 64); }

    // Returns true if the file contains the grain of byte `offset` of the disk. Like the other
    // functions of grains, only for an open extent.
    bool has_grain(std::uint64_t offset) const { return sector_of_grain(offset) != 0; }
    // Finds the position in the file of byte `offset` of the disk. Returns false if the file does
    // not contain its grain.
    bool find_grain(std::uint64_t offset, std::uint64_t& position) const;

    // Returns the first byte position of the disk in [`offset`, `end`) that this file may store, or
    // `end`. Grains past the end of the file are not stored. Returns `offset` if grains have no
    // size. `offset` is below `end`.
    std::uint64_t next_held(std::uint64_t offset, std::uint64_t end) const;

    // Returns the number of bytes from `offset` to the end of its grain; 0 if the grain size is 0.
    std::uint64_t grain_left(std::uint64_t offset) const;

    // Reads `count` bytes, at most grain_left(offset), and sets `count` to the number of bytes
    // delivered. Returns false, with `count` unchanged, for a hole, a position past the end of the
    // file or a failed read.
    bool read(std::uint8_t* buffer, std::uint64_t offset, std::uint32_t& count);
    // Returns true if the last read had to wait for the device.
    bool has_waited() const { return m_reads.has_waited(); }
    // Asks the system to fetch `count` bytes, at most grain_left(offset), which will be read soon.
    void announce(std::uint64_t offset, std::uint64_t count);

    std::array<std::uint8_t, 513> header{};
    std::string encoding;  // values of the descriptor, quotes included
    std::string parent_cid;
    std::string cid;
    std::string parent_file_hint;
    vmdk_extent* child = nullptr;  // links in the chain, not owned
    vmdk_extent* parent = nullptr;
    std::uint64_t first_table_offset = 0;  // bytes in the file
    vmdk_grain_map grains;
    std::uint64_t first_sector_offset = 0;  // bytes in the file
    std::vector<std::uint8_t> first_sector;
    std::vector<std::uint64_t> partition_offsets;  // bytes
    std::vector<std::uint32_t> partition_sector_sizes;
    std::uint32_t sector_size = 512;
    std::uint64_t file_size = 0;
    std::uint64_t table_span = 0;   // bytes of disk that one grain table covers
    std::uint64_t grain_bytes = 0;  // bytes in a grain
    bool ready = false;
    std::int32_t fd = -1;
    bool write_access = false;
    std::string path_utf8;
    std::wstring path_wide;

private:
    hinted_reads m_reads;

    std::uint32_t sector_of_grain(std::uint64_t offset) const;
    std::uint64_t next_stored_grain(std::uint64_t offset, std::uint64_t end) const;

    // Defined in vmdk_extent_metadata.cpp, with their documentation.
    bool read_metadata();
    bool read_header(vmdk_metadata_reader& reader);
    bool read_descriptor(vmdk_metadata_reader& reader);
    bool take_descriptor_text(ql::bytes part, std::string& line);
    void take_descriptor_line(const std::string& line);
    bool read_directory(vmdk_metadata_reader& reader);
    bool read_first_sector(vmdk_metadata_reader& reader);
};

// One file record of $MFT, attribute by attribute.
//
//    0  "FILE"                      24  u32  bytes in use
//    4  u16  update sequence offset 28  u32  bytes allocated
//    6  u16  its word count         32  u64  base record reference
//    8  u64  log sequence number    40  u16  next attribute id
//   16  u16  sequence number        44  u32  own number
//   18  u16  link count             48  the update sequence array
//   20  u16  first attribute        56  the first attribute (later in large records)
//   22  u16  flags: 1 in use, 2 directory
//
// Everything is valid by default; a test states only what differs:
//
//   volume.entry(64).standard_information().file_name(5, u"a.txt").data("abc").stream(u"zone",
//   "x");
//
// All functions that add something return the builder. Attributes are numbered in the order of the
// calls and laid out by type (those of one type in the order of the calls), unless keep_order() or
// raw_attribute() is used: then all are in the order of the calls.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "support/byte_image.h"
#include "support/filetime.h"
#include "support/run_list.h"

namespace support {

// Attribute type codes.
namespace type {
inline constexpr std::uint32_t standard_information = 0x10, attribute_list = 0x20, file_name = 0x30,
                               object_id = 0x40, security_descriptor = 0x50, volume_name = 0x60,
                               volume_information = 0x70, data = 0x80, index_root = 0x90,
                               index_allocation = 0xA0, bitmap = 0xB0, reparse_point = 0xC0,
                               ea_information = 0xD0, ea = 0xE0, logged_utility_stream = 0x100,
                               end = 0xFFFFFFFF;
}  // namespace type

// File attribute flags.
namespace flag {
inline constexpr std::uint32_t read_only = 1, hidden = 2, system = 4, archive = 0x20,
                               sparse = 0x200, reparse = 0x400, compressed = 0x800,
                               not_indexed = 0x2000, encrypted = 0x4000, directory = 0x10000000,
                               index_view = 0x20000000;
}  // namespace flag

enum name_space : std::uint8_t { posix = 0, win32 = 1, dos = 2, win32_and_dos = 3 };

// Returns a file reference: the entry number in the low 48 bits, then the sequence number.
constexpr std::uint64_t file_reference(std::uint64_t entry, std::uint16_t sequence) {
    return (entry & 0xFFFFFFFFFFFFull) | std::uint64_t{sequence} << 48;
}
// Returns the default sequence number of an entry: 1 for $MFT and for entries from 16 on, else the
// entry number.
constexpr std::uint16_t default_sequence(std::uint64_t entry) {
    return entry == 0 || entry >= 16 ? std::uint16_t{1} : static_cast<std::uint16_t>(entry);
}

struct standard_information_options {
    file_times times = {};
    std::uint32_t attributes = flag::archive;
    std::uint32_t security_id = 0;  // in the long form
    std::size_t length = 72;        // 48 ends after the class id; other lengths truncate or pad
    std::uint32_t owner_id = 0;
    std::uint64_t quota = 0, usn = 0;
};

struct file_name_options {
    name_space space = win32;
    file_times times = {};
    std::optional<std::uint16_t> parent_sequence = {};  // default default_sequence(parent)
    std::uint64_t allocated = 0;
    std::uint64_t real = 0;
    std::uint32_t flags = flag::archive;
    std::uint32_t reparse_tag = 0;
    std::optional<std::uint8_t> name_length = {};  // units, as stored; default the size of the name
};

// Returns the 66 bytes and the name of a $FILE_NAME attribute, which index entries repeat.
bytes file_name_value(std::uint64_t parent_entry, std::u16string_view name,
                      const file_name_options& options = {});
bytes standard_information_value(const standard_information_options& options = {});

struct resident_options {
    std::uint16_t flags = 0;  // 1 compressed, 0x4000 encrypted, 0x8000 sparse
    std::optional<std::uint16_t> id = {};
    std::uint8_t indexed = 0;  // byte 22
};

// The fields of a non-resident header (64 bytes, 72 with `unit`). Sizes that are not set follow
// from the runs: `allocated` is all clusters; `real` and `initialized` are the same.
struct nonresident_options {
    std::optional<std::uint64_t> allocated = {}, real = {}, initialized = {};
    std::optional<std::uint64_t> compressed = {};  // written if `unit` is not 0 or this is set
    std::uint8_t unit = 0;                         // log2 of clusters in a compression unit
    std::uint16_t flags = 0;
    std::uint64_t start_vcn = 0;
    std::optional<std::uint64_t> last_vcn = {};
    std::optional<std::uint16_t> id = {};
    std::optional<std::uint16_t> run_offset = {};  // as stored; does not move the list
    std::uint32_t cluster = 0;                     // bytes; 0: the cluster size of the volume
};

// One entry of an attribute list: type, length, name, start VCN, record reference, attribute id.
struct list_entry {
    std::uint32_t type = 0;
    std::u16string name = {};
    std::uint64_t start_vcn = 0;
    std::uint64_t record = 0;  // a file_reference
    std::uint16_t id = 0;
    std::optional<std::uint16_t> length = {};      // as stored; also the space used
    std::optional<std::uint8_t> name_offset = {};  // default 26
};
bytes attribute_list_value(const std::vector<list_entry>& entries);

// The layout of the names in the buffer of a reparse point.
struct reparse_options {
    std::u16string print = {};
    bool relative = false;     // symbolic links: flag word 1
    bool print_first = false;  // print name before the substitute name
    bool terminated = true;    // zero units after the names
    // Stored offsets and lengths in bytes, if they differ from the actual ones.
    std::optional<std::uint16_t> substitute_offset = {}, substitute_length = {};
    std::optional<std::uint16_t> print_offset = {}, print_length = {};
    std::optional<std::uint16_t> data_length = {};
};
inline constexpr std::uint32_t mount_point_tag = 0xA0000003, symbolic_link_tag = 0xA000000C;
// Returns the tag, data length, zero, the four name fields (and the flags of a symbolic link) and
// the names. Unknown tags have the layout of a mount point.
bytes reparse_value(std::uint32_t tag, std::u16string_view substitute,
                    const reparse_options& options = {});

class record_builder {
public:
    // Sizes are in bytes. The update sequence protects the last two bytes of each `fixup_stride`,
    // which is 512 in NTFS regardless of the sector size; a record smaller than a stride has one
    // word in addition to the check value. `cluster_size` determines the sizes in non-resident
    // headers.
    explicit record_builder(std::uint64_t number, std::size_t record_size = 1024,
                            std::size_t fixup_stride = 512, std::size_t cluster_size = 4096);

    // --- header ---
    record_builder& flags(std::uint16_t value);  // 1 in use, 2 directory
    record_builder& sequence(std::uint16_t value);
    record_builder& base(std::uint64_t reference);    // see file_reference; makes it an extension
    record_builder& link_count(std::uint16_t value);  // default the number of names in this record
    record_builder& keyword(std::string_view four_characters);
    // Also the position of the first attribute, if it is after the default end of the update
    // sequence.
    record_builder& first_attribute(std::uint16_t offset);
    record_builder& usa_offset(std::uint16_t value);   // as stored; the array moves there too
    record_builder& usa_count(std::uint16_t value);    // as stored; number of strides with fixups
    record_builder& check_value(std::uint16_t value);  // first update sequence word; default 1
    record_builder& bytes_in_use(std::uint32_t value);
    record_builder& bytes_allocated(std::uint32_t value);
    record_builder& own_number(std::uint32_t value);

    // --- attributes ---
    record_builder& standard_information(const standard_information_options& options = {});
    record_builder& file_name(std::uint64_t parent_entry, std::u16string_view name,
                              const file_name_options& options = {});
    record_builder& object_id(std::span<const std::uint8_t> sixteen_or_more);
    record_builder& reparse(std::uint32_t tag, std::u16string_view substitute,
                            const reparse_options& options = {});
    // Adds the unnamed $DATA.
    record_builder& data(std::string_view content);
    record_builder& data(const bytes& content);
    record_builder& data_runs(const cluster_runs& runs, const nonresident_options& options = {});
    // Adds a named $DATA.
    record_builder& stream(std::u16string_view name, std::string_view content);
    record_builder& stream(std::u16string_view name, const bytes& content);
    record_builder& stream_runs(std::u16string_view name, const cluster_runs& runs,
                                const nonresident_options& options = {});
    // Add an attribute list with its entries in the record, or in clusters that the caller has
    // written (attribute_list_value returns the bytes, `options.real` is their number).
    record_builder& attribute_list(const std::vector<list_entry>& entries);
    record_builder& attribute_list_runs(const cluster_runs& runs,
                                        const nonresident_options& options = {});
    // Adds an attribute of any type.
    record_builder& resident(std::uint32_t type_code, std::u16string_view name, const bytes& value,
                             const resident_options& options = {});
    record_builder& nonresident(std::uint32_t type_code, std::u16string_view name,
                                const cluster_runs& runs, const nonresident_options& options = {});
    // Adds an attribute with a given run list; `runs` only determine the sizes.
    record_builder& nonresident(std::uint32_t type_code, std::u16string_view name,
                                const bytes& list, const cluster_runs& runs,
                                const nonresident_options& options = {});
    // Adds raw bytes in place of an attribute and its header.
    record_builder& raw_attribute(const bytes& content);

    // --- changes ---
    // Overwrites bytes of the last attribute added, at an offset from its header.
    record_builder& edit(std::size_t at, std::uint64_t value, std::size_t width);
    // Sets the id of the last attribute added.
    record_builder& id(std::uint16_t value);
    // Sets the id of the next attribute; later ones are numbered from it.
    record_builder& next_id(std::uint16_t value);
    record_builder& keep_order();
    // Omits the end marker after the attributes.
    record_builder& without_end_marker();
    // Remove all attributes, or those of one type. The header is kept.
    record_builder& clear();
    record_builder& remove(std::uint32_t type_code);
    // Overwrite bytes of the record, before or after the fixups are applied.
    record_builder& put_before_fixup(std::size_t offset, std::uint64_t value, std::size_t width);
    record_builder& put(std::size_t offset, std::uint64_t value, std::size_t width);
    // Applies no fixups: the update sequence is zero.
    record_builder& without_fixups();

    // --- results ---
    std::uint64_t number() const { return m_number; }
    std::uint64_t reference() const { return file_reference(m_number, m_sequence); }
    std::uint16_t sequence() const { return m_sequence; }
    bool is_in_use() const { return (m_flags & 1) != 0; }
    std::uint64_t base_reference() const { return m_base; }  // 0 in a base record
    // Returns the byte offset in the record of the `index`-th attribute of that type and name, in
    // the current layout; directory indexes (ntfs_image.h) are added only when the volume is built.
    // Throws std::out_of_range if it does not exist.
    std::size_t attribute_offset(std::uint32_t type_code, std::u16string_view name = u"",
                                 std::size_t index = 0) const;
    // Returns true if a call has added an attribute of that type and name.
    bool has_attribute(std::uint32_t type_code, std::u16string_view name = u"") const;
    // Returns the record. Throws std::length_error if the attributes do not fit.
    bytes build() const;
    // Returns the record as it is in memory, with the last words of the sectors restored.
    bytes build_before_fixup() const;
    // Returns the number of free bytes for attributes.
    std::size_t space_left() const;

    // Returns the entries that an attribute list has for the attributes of this record.
    std::vector<list_entry> list_entries() const;

private:
    struct attribute {
        std::uint32_t type_code = 0;
        std::u16string name = {};
        std::uint16_t id = 0;
        std::uint64_t start_vcn = 0;
        bytes content = {};  // header and value, padded, with the id
        bool raw = false;
    };
    struct change {
        std::size_t offset;
        std::uint64_t value;
        std::size_t width;
    };

    record_builder& add(attribute made, std::optional<std::uint16_t> id);
    std::vector<const attribute*> in_order() const;
    std::size_t end_of_attributes() const;
    bytes lay_out() const;
    std::size_t first_offset() const;
    std::size_t array_offset() const;
    std::size_t array_words() const;
    std::uint16_t counted_links() const;
    void put_header(bytes& record, std::size_t used) const;
    void fix_up(bytes& record) const;

    std::uint64_t m_number;
    std::size_t m_record_size, m_fixup_stride, m_cluster_size;
    std::uint16_t m_sequence;
    std::uint16_t m_flags = 1;
    std::uint64_t m_base = 0;
    std::string m_keyword = "FILE";
    std::uint16_t m_check_value = 1;
    std::uint16_t m_next_id = 0;
    std::optional<std::uint16_t> m_link_count, m_first_attribute, m_usa_offset, m_usa_count;
    std::optional<std::uint32_t> m_bytes_in_use, m_bytes_allocated, m_own_number;
    bool m_keep_order = false, m_end_marker = true, m_fixups = true;
    std::vector<attribute> m_attributes;
    std::vector<change> m_before_fixup, m_after_fixup;
};

// Replaces the last two bytes of each `stride` of `block` by `check_value` and stores the replaced
// bytes in the array at `array_offset`. `words` includes the check value; words for strides past
// the end of the block are omitted.
void apply_fixups(std::span<std::uint8_t> block, std::size_t stride, std::size_t array_offset,
                  std::size_t words, std::uint16_t check_value);

}  // namespace support

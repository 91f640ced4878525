// One pass over an MFT entry: the base record, then the extension records that its lists name.
//
// The pass copies the parts of each attribute that stores and rows need. It keeps about 1 MiB of
// extension records, so memory does not grow with the number of records that a list names.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <memory_resource>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "ntfs/format/file_record.h"
#include "ntfs/runs/data_run_list.h"
#include "run/settings/cmd_params.h"

class CNtfs;

struct kept_attrib;
struct whole_record;

// Selects what a pass keeps of the attributes.
struct attrib_pass_options {
    // A resident attribute with a value is never joined to another attribute with the same key.
    bool keep_values = true;
    // The values of resident attributes are copied. If false, only those of $OBJECT_ID are.
    bool with_values = true;
    // Run lists are decoded, and those of joined attributes merged.
    bool with_runs = true;
    // $STANDARD_INFORMATION and $FILE_NAME attributes are kept.
    bool with_names = true;
    // Of all other types, only those that a listing shows are kept: $OBJECT_ID, $DATA and
    // $INDEX_ALLOCATION.
    bool only_listed = false;
    // Called with each attribute that is stored under a new key, while its record is in memory.
    std::function<void(std::uint64_t key, const kept_attrib& kept, const record_attrib& attribute)>
        on_insert = {};
    // Receives the reasons of failures; may be null.
    cmd_params* trace = nullptr;
};

// One attribute of the entry, with the runs of all attributes that were joined to it.
struct kept_attrib {
    std::uint32_t type = 0;
    // The first bytes of the attribute; zero past its length.
    std::array<std::uint8_t, 72> head{};
    std::wstring name;
    std::vector<std::uint8_t> value;  // of a resident attribute, as far as its record was read
    data_run_list runs;               // of a non-resident attribute

    // Returns the attribute's header; valid as long as this object.
    record_attrib header() const { return {head, 0}; }
};

// A $STANDARD_INFORMATION value; a shorter one is filled with zeros.
using kept_std_info = std::array<std::uint8_t, 72>;

// A $FILE_NAME attribute.
struct kept_name {
    std::uint16_t attrib_id = 0;
    std::array<std::uint8_t, 68> value{};  // start of the value
    std::wstring name;
};

// The $FILE_NAME attributes of an entry in the order of their keys. If two have the same key, the
// first is kept. Most entries have one name, for which no key is computed.
class kept_names {
public:
    explicit kept_names(std::pmr::memory_resource* memory) : m_by_key(memory) {}

    // Adds a $FILE_NAME attribute of the entry `inode`, whose number ends the key.
    void add(const record_attrib& attribute, std::uint64_t inode);
    void clear() {
        m_only.reset();
        m_by_key.clear();
    }

    // Calls `visit` with each name in the order of the keys.
    template <class Visitor>
    void for_each(Visitor visit) const {
        if (m_only.has_value()) visit(*m_only);
        for (const auto& name : m_by_key)
            visit(name.second);
    }

private:
    std::optional<kept_name> m_only;
    std::pmr::map<std::string, kept_name> m_by_key;
};

class attrib_pass {
public:
    attrib_pass(CNtfs& ntfs, const attrib_pass_options& options)
        : m_ntfs(ntfs), m_options(options) {}
    ~attrib_pass() = default;
    attrib_pass(const attrib_pass&) = delete;
    attrib_pass& operator=(const attrib_pass&) = delete;

    // Reads the entry and sorts its attributes, replacing the results of an earlier run. Returns
    // false, with no attributes, if its record cannot be used; the trace says why. An extension
    // record that cannot be used is skipped, and a damaged attribute ends the walk of its record;
    // neither is a failure.
    //
    // record_size  bytes in a file record
    // known        the base record, if it has just been read, to save a second read; may be null or
    //              another record. It must stay valid as long as the results of this run.
    bool run(std::uint64_t inode, std::uint32_t record_size, const whole_record* known = nullptr);

    // Frees the records of the last run if they are large; base_record() is then empty.
    void free_large_records();

    // The entry of the last run.
    std::uint64_t inode() const { return m_inode; }
    // Bytes in a file record, as passed to the last run.
    std::uint32_t record_size() const { return m_record_size; }
    // The bytes of the base record that were read, with the update sequence applied.
    ql::bytes base_record() const { return m_base; }

    // $STANDARD_INFORMATION values by attribute id.
    const std::pmr::map<std::uint16_t, kept_std_info>& std_infos() const { return m_std_infos; }
    const kept_names& file_names() const { return m_file_names; }
    // All other attributes by id << 48 | type; the type of an unknown one is 0xFFFFFFFF.
    const std::pmr::map<std::uint64_t, kept_attrib>& attributes() const { return m_attributes; }
    bool seen_unnamed_data() const { return m_seen_unnamed_data; }

private:
    enum class fetched { failed, bad, usable };

    // A record of an entry that a list names.
    struct extension_record {
        std::uint64_t position;  // in the volume
        std::vector<std::uint8_t> bytes;
    };

    fetched fetch(std::uint64_t position, std::vector<std::uint8_t>& record) const;
    fetched fetch_base(const whole_record* known);
    const extension_record* extension(std::uint64_t entry);
    void forget();
    void walk_base();
    std::uint64_t left(const record_attrib& attribute) const;
    bool lacks_value(const record_attrib& attribute) const;
    bool take(const record_attrib& attribute);
    void take_std_info(const record_attrib& attribute);
    void take_data(const record_attrib& attribute);
    void insert_or_join(const record_attrib& attribute);
    void insert(std::uint64_t key, const record_attrib& attribute);
    void join(kept_attrib& kept, const record_attrib& attribute) const;
    void expand(const record_attrib& attribute);
    void take_listed(const list_entry& entry, const extension_record& record);

    CNtfs& m_ntfs;
    const attrib_pass_options m_options;
    std::uint32_t m_record_size = 0;
    std::uint64_t m_inode = 0;
    bool m_seen_unnamed_data = false;
    std::vector<std::uint8_t> m_base_bytes;  // the last base record that a run read itself
    ql::bytes m_base;
    std::map<std::uint64_t, extension_record> m_extensions;  // the latest, by entry number
    std::size_t m_extension_bytes = 0;                       // in m_extensions
    std::set<std::uint64_t> m_listed;    // positions in the volume of run lists that were taken
    std::vector<record_attrib> m_lists;  // of the base record

    // Memory for the maps. It is enough for an ordinary entry; the others use the heap as well.
    std::array<std::byte, 4096> m_arena_bytes;
    std::pmr::monotonic_buffer_resource m_arena{m_arena_bytes.data(), m_arena_bytes.size()};
    std::pmr::map<std::uint16_t, kept_std_info> m_std_infos{&m_arena};
    kept_names m_file_names{&m_arena};
    std::pmr::map<std::uint64_t, kept_attrib> m_attributes{&m_arena};
};

// Returns the name of an attribute. Returns an empty name if it has none, or if the offset of the
// name plus its number of 16-bit units is more than `left`, the bytes from the start of the
// attribute to the end of its record. This is the name in a row: unlike name_inside, it may extend
// past the end of the attribute, and past that of the record.
std::wstring attribute_name(const record_attrib& attribute, std::uint64_t left);

// Returns the value of a $VOLUME_NAME attribute in UTF-8; empty if the attribute is not resident.
std::string volume_name_value(const record_attrib& attribute);

// Replaces `name` with the name in a $FILE_NAME attribute, truncated at the end of the record.
void read_file_name(const record_attrib& attribute, std::wstring& name);

// Returns the key by which an entry's attributes are sorted: the id, then the type.
std::uint64_t attribute_key(const record_attrib& attribute);

// One pass over an MFT entry: the base record, then the extension records that its lists name.
//
// The pass keeps no copies: what it finds stays where it lies in the records, which the pass holds
// until its next run. Stores and rows are built from it.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <memory_resource>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "ntfs/data_run_list.h"
#include "ntfs/file_record.h"
#include "run/cmd_params.h"

class CNtfs;

// What a pass does with the attributes it finds.
struct attrib_pass_options {
    // Resident attributes with a value are never joined with another one of their key.
    bool keep_values = true;
    // Run lists are decoded, and those of joined attributes merged.
    bool with_runs = true;
    // $STANDARD_INFORMATION and $FILE_NAME attributes are kept.
    bool with_names = true;
    // Where reasons are traced; null for nowhere.
    cmd_params* trace = nullptr;
};

// One attribute of the entry, with the runs of all attributes that were joined to it.
struct kept_attrib {
    record_attrib attribute;
    data_run_list runs;  // when non-resident
};

// The $FILE_NAME attributes of an entry in the order of their keys. Of two with one key the first
// stays. The only name of an entry, which is the usual case, has no use for a key and gets none.
class kept_names {
public:
    explicit kept_names(std::pmr::memory_resource* memory) : m_by_key(memory) {}

    // Adds a $FILE_NAME attribute of the entry `inode`, whose number ends the key.
    void add(const record_attrib& attribute, std::uint64_t inode);
    void clear() {
        m_only.reset();
        m_by_key.clear();
    }

    // Calls `visit` with each attribute in the order of their keys.
    template <class Visitor>
    void for_each(Visitor visit) const {
        if (m_only.has_value()) visit(*m_only);
        for (const auto& name : m_by_key)
            visit(name.second);
    }

private:
    std::optional<record_attrib> m_only;
    std::pmr::map<std::string, record_attrib> m_by_key;
};

class attrib_pass {
public:
    attrib_pass(CNtfs& ntfs, const attrib_pass_options& options)
        : m_ntfs(ntfs), m_options(options) {}
    ~attrib_pass() = default;
    attrib_pass(const attrib_pass&) = delete;
    attrib_pass& operator=(const attrib_pass&) = delete;

    // Reads the entry and sorts its attributes. False when its record can't be used; the trace
    // tells why. An extension record that can't be used is left out, and a damaged attribute ends
    // the walk of its record; neither is a failure. What an earlier run found is gone.
    // `record_size`: bytes in a file record.
    bool run(std::uint64_t inode, std::uint32_t record_size);

    // The base record, update sequence applied.
    ql::bytes base_record() const { return m_base; }

    // $STANDARD_INFORMATION attributes by attribute id.
    const std::pmr::map<std::uint16_t, record_attrib>& std_infos() const { return m_std_infos; }
    const kept_names& file_names() const { return m_file_names; }
    // All other attributes by id << 48 | type; types without a meaning stand under 0xFFFFFFFF.
    const std::pmr::map<std::uint64_t, kept_attrib>& attributes() const { return m_attributes; }
    bool seen_unnamed_data() const { return m_seen_unnamed_data; }

private:
    enum class fetched { failed, bad, usable };

    fetched fetch(std::uint64_t inode, std::vector<std::uint8_t>& record) const;
    const std::vector<std::uint8_t>* extension(std::uint64_t entry);
    void forget();
    void walk_base();
    bool take(const record_attrib& attribute);
    void take_data(const record_attrib& attribute);
    void insert_or_join(const record_attrib& attribute);
    void insert(std::uint64_t key, const record_attrib& attribute);
    void join(kept_attrib& kept, const record_attrib& attribute) const;
    void expand(const record_attrib& list);
    void take_listed(const list_entry& entry, ql::bytes record);

    CNtfs& m_ntfs;
    const attrib_pass_options m_options;
    std::uint32_t m_record_size = 0;
    std::uint64_t m_inode = 0;
    bool m_seen_unnamed_data = false;
    std::vector<std::uint8_t> m_base;
    std::map<std::uint64_t, std::vector<std::uint8_t>> m_extensions;  // by entry number
    std::set<const std::uint8_t*> m_listed;  // attributes in them that were taken
    std::vector<record_attrib> m_lists;      // of the base record

    // The maps of an ordinary entry fit into this; those of others go on in the heap.
    std::array<std::byte, 2048> m_arena_bytes;
    std::pmr::monotonic_buffer_resource m_arena{m_arena_bytes.data(), m_arena_bytes.size()};
    std::pmr::map<std::uint16_t, record_attrib> m_std_infos{&m_arena};
    kept_names m_file_names{&m_arena};
    std::pmr::map<std::uint64_t, kept_attrib> m_attributes{&m_arena};
};

// The name of an attribute; empty when it has none, or when its offset and its number of 16-bit
// units together pass the end of the record.
std::wstring attribute_name(const record_attrib& attribute);

// The value of an unnamed $VOLUME_NAME attribute in UTF-8; empty when it is not resident.
std::string volume_name_value(const record_attrib& attribute);

// True when attribute_name is not empty.
bool has_name(const record_attrib& attribute);

// The name in a $FILE_NAME attribute, which the end of the record may cut.
std::wstring file_name_of(const record_attrib& attribute);
// The same in place of what `name` held.
void read_file_name(const record_attrib& attribute, std::wstring& name);

// Key of an attribute in the order of an entry's attributes: the id, then the type.
std::uint64_t attribute_key(const record_attrib& attribute);

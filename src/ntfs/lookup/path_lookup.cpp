#include "ntfs/lookup/path_lookup.h"

#include <algorithm>
#include <vector>

#include "foundation/text/ql_string.h"
#include "foundation/text/split_text.h"
#include "ntfs/format/reparse_point.h"
#include "ntfs/records/record_hints.h"
#include "ntfs/volume/ntfs.h"
#include "run/settings/cmd_params.h"

namespace {

constexpr std::uint64_t no_entry = ~std::uint64_t{0};

unsigned long long number(std::uint64_t value) { return value; }

// Removes the name of a device from the start of a path: a shadow copy, or a snapshot by its id.
// Returns the rest from the first backslash after the name, or an empty path without a backslash.
std::wstring without_source_prefix(const std::wstring& path) {
    static const std::wstring shadow_copy = L"\\\\?\\GLOBALROOT\\Device\\HarddiskVolumeShadowCopy";
    std::wstring start = path.substr(0, shadow_copy.size());
    std::wstring wanted = shadow_copy;
    ql::lower_wide(start);
    ql::lower_wide(wanted);

    std::size_t prefix_end = 0;
    if (start == wanted) {
        prefix_end = shadow_copy.size();
    } else if (path.size() >= 48 && path.starts_with(L"\\\\.\\") &&
               path.compare(4, 7, L"snapid_") == 0) {
        prefix_end = 47;
    } else {
        return path;
    }
    const std::size_t rest = path.find(L'\\', prefix_end);
    return rest == std::wstring::npos ? std::wstring() : path.substr(rest);
}

std::vector<std::wstring> split(const std::wstring& path, wchar_t separator) {
    const wchar_t delimiters[] = {separator, 0};
    return split_any(path, delimiters);
}

// Returns the index of the first segment after a drive letter, if there is one.
std::size_t first_segment(const std::vector<std::wstring>& segments) {
    return !segments.empty() && segments[0].size() > 1 && segments[0][1] == L':' ? 1 : 0;
}

// Returns the name that a segment is looked up by: without its stream suffix, trimmed, with ASCII
// letters in lower case.
std::string search_key(const std::wstring& segment) {
    std::wstring name = segment.substr(0, segment.find(L':'));
    ql::trim_wide(name);
    ql::lower_wide(name);
    return ql::to_utf8(name);
}

// One walk from the root along the segments of a path.
class path_walk {
public:
    path_walk(CNtfs& ntfs, std::vector<std::wstring> segments, cmd_params& trace)
        : m_ntfs(ntfs), m_trace(trace), m_segments(std::move(segments)) {}

    // Returns false if a segment is not found; `inode` is then the last entry that was found.
    bool run(std::uint64_t& inode, bool follow_links);

    std::uint64_t parent() const { return m_grandparent; }
    // The directory in which the next segment is looked up.
    std::uint64_t directory() const { return m_directory; }
    const std::vector<std::wstring>& segments() const { return m_segments; }

private:
    bool find_child(const std::string& key, std::uint64_t& child);
    NTFS_DIR_CACHE_ENTRY* with_children();
    void read_names(NTFS_DIR_CACHE_ENTRY& directory);
    void add_names(NTFS_DIR_CACHE_ENTRY& directory, std::uint64_t child);
    bool restart_at_link(std::uint64_t child);
    bool read_record(std::uint64_t inode);

    CNtfs& m_ntfs;
    cmd_params& m_trace;
    std::vector<std::wstring> m_segments;
    std::size_t m_next = 0;                  // index of the next segment
    std::uint64_t m_directory = root_entry;  // in which the next segment is looked up
    std::uint64_t m_grandparent = 0;         // the directory that contains m_directory
    std::vector<std::uint8_t> m_record;      // of the entry that was read last
    std::int64_t m_record_bytes = 0;         // bytes of it that the source has
    name_entry_map m_names;
};

bool path_walk::run(std::uint64_t& inode, bool follow_links) {
    m_next = first_segment(m_segments);
    while (m_next < m_segments.size()) {
        const std::string key = search_key(m_segments[m_next]);
        m_trace.diag("seg: %s", key.c_str());
        if (!find_child(key, inode)) return false;
        if (follow_links && restart_at_link(inode)) continue;
        m_trace.diag("info: inode found for seg: %s : 0x%llx", key.c_str(), number(inode));
        m_grandparent = m_directory;
        m_directory = inode;
        ++m_next;
    }
    return true;
}

bool path_walk::find_child(const std::string& key, std::uint64_t& child) {
    const auto cached = m_ntfs.m_children_cache.find(m_directory);
    NTFS_DIR_CACHE_ENTRY* entry =
        cached != m_ntfs.m_children_cache.end() && !cached->second.children.empty()
            ? &cached->second
            : with_children();
    if (entry == nullptr) return false;
    if (entry->names.empty()) {
        read_names(*entry);
    } else {
        m_trace.diag("info: cache lookup");
    }
    if (entry->names.empty()) {
        m_trace.diag("err: no child names");
        return false;
    }
    const auto found = entry->names.find(key);
    if (found == entry->names.end()) {
        m_trace.diag("err: no child nodes");
        return false;
    }
    child = found->second;
    return true;
}

// Returns the cache entry of the directory with its children. A directory that was found as a child
// of another one already has an entry, and keeps it even if it has no children. Returns null for a
// directory without an entry and without children.
NTFS_DIR_CACHE_ENTRY* path_walk::with_children() {
    m_trace.diag("info: get children nodes");
    auto cached = m_ntfs.m_children_cache.find(m_directory);
    if (cached != m_ntfs.m_children_cache.end()) {
        m_ntfs.get_children(m_directory, cached->second.children);
    } else {
        std::set<std::uint64_t> children;
        if (!m_ntfs.get_children(m_directory, children) || children.empty()) {
            m_trace.diag("info: none found");
            return nullptr;
        }
        NTFS_DIR_CACHE_ENTRY entry;
        entry.inode = m_directory;
        entry.parents = {m_directory};
        entry.children = std::move(children);
        cached = m_ntfs.m_children_cache.emplace(m_directory, std::move(entry)).first;
    }
    m_trace.diag("info: # children [%d]", static_cast<int>(cached->second.children.size()));
    return &cached->second;
}

void path_walk::read_names(NTFS_DIR_CACHE_ENTRY& directory) {
    m_trace.diag("info: get children names");
    record_hints hints(m_ntfs, directory.children.begin(), directory.children.end(), m_directory);
    for (const std::uint64_t child : directory.children) {
        hints.before_read();
        if (child == m_directory) continue;  // an index may list its own directory
        if (!read_record(child)) {
            m_trace.diag("err: readFR: inode 0x%llx", number(child));
        } else if (m_record_bytes < std::int64_t{m_ntfs.m_mft_record_size}) {
            m_trace.diag("err: paramsFR: inode 0x%llx", number(child));
        } else {
            add_names(directory, child);
        }
    }
}

void path_walk::add_names(NTFS_DIR_CACHE_ENTRY& directory, std::uint64_t child) {
    if (!m_ntfs.get_file_names(m_names, child, m_record)) {
        m_trace.diag("err: namelookup: inode 0x%llx", number(child));
    }
    for (const auto& [key, entry] : m_names) {
        std::string name = ql::to_utf8(entry.name);
        ql::lower(name);
        directory.names.emplace(std::move(name), child);
    }
    const file_record head{m_record};
    if (!head.is_directory()) return;
    NTFS_DIR_CACHE_ENTRY found;
    found.inode = child;
    found.parents = {m_directory};
    found.deleted = !head.in_use();
    m_ntfs.m_children_cache.try_emplace(child, std::move(found));
}

// If `child` is a junction or symbolic link, replaces the path with the print name of its target
// and the segments after it, restarts at the root and returns true. A relative target starts at the
// root as well.
bool path_walk::restart_at_link(std::uint64_t child) {
    record_attrib attribute;
    if (!read_record(child) ||
        !find_attrib(m_record, attrib_type::reparse_point, attribute,
                     m_ntfs.get_mft_record_size()) ||
        attribute.nonresident()) {
        return false;
    }
    const std::size_t value_at = attribute.at + attribute.value_offset();
    const std::size_t record_size = m_ntfs.m_mft_record_size;
    const reparse_point point{attribute.value_to_record_end(),
                              record_size - std::min(record_size, value_at)};
    if (point.data_length() == 0 || point.substitute_length() == 0) return false;

    std::wstring path = reparse_print_name(point);
    for (std::size_t i = m_next + 1; i < m_segments.size(); ++i) {
        path += L'\\';
        path += m_segments[i];
    }
    m_segments = split(path, L'\\');
    m_next = first_segment(m_segments);
    m_directory = root_entry;
    m_grandparent = 0;
    m_trace.diag("info: restart segments [link]");
    return true;
}

bool path_walk::read_record(std::uint64_t inode) {
    const auto size = m_ntfs.read_record(inode, m_record);
    m_record_bytes = size.value_or(0);
    return size.has_value();
}

std::wstring join(const std::vector<std::wstring>& segments, bool is_rooted) {
    std::wstring path;
    if (is_rooted) path += L'\\';
    for (const std::wstring& segment : segments) {
        if (&segment != &segments.front()) path += L'\\';
        path += segment;
    }
    return path;
}

}  // namespace

wchar_t path_separator(const std::wstring& path) {
    return path.find(L'/') != std::wstring::npos ? L'/' : L'\\';
}

bool resolve_path(std::uint64_t& inode, std::uint64_t& parent_inode, std::wstring& resolved_path,
                  CNtfs* ntfs, const std::wstring& path, bool follow_links, cmd_params& trace) {
    inode = 0;
    parent_inode = no_entry;
    if (ntfs == nullptr || path.empty()) return false;

    const std::wstring in_volume = without_source_prefix(path);
    trace.diag("anal: %S", in_volume.c_str());
    const wchar_t separator = path_separator(in_volume);
    std::vector<std::wstring> segments = split(in_volume, separator);
    const bool is_rooted = !in_volume.empty() && in_volume.front() == separator;
    if (is_rooted) trace.diag("root dir");
    if (segments.empty()) {
        trace.diag("path empty");
        if (!is_rooted) return false;
        inode = root_entry;
        resolved_path = L"\\";
        return true;
    }

    parent_inode = root_entry;
    inode = root_entry;
    resolved_path.clear();
    path_walk walk(*ntfs, std::move(segments), trace);
    if (!walk.run(inode, follow_links)) {
        trace.diag("inode not found for %S", in_volume.c_str());
        parent_inode = walk.directory();
        return false;
    }
    parent_inode = walk.parent();
    resolved_path = join(walk.segments(), is_rooted);
    return true;
}

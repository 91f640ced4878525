#include "storage/vmdk/vmdk_check.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <new>
#include <optional>
#include <utility>

#include "foundation/streams/posix_file.h"
#include "foundation/text/ql_string.h"
#include "foundation/text/split_path.h"
#include "storage/vmdk/vmdk_chain.h"

namespace {

enum class pass_result { complete, incomplete, parent_added };

bool contains(const std::wstring& text, const std::wstring& part) {
    return text.find(part) != std::wstring::npos;
}

std::wstring without_quotes(const std::string& utf8) {
    std::wstring text = ql::to_wide(utf8);
    ql::remove_char(text, L'"');
    return text;
}

// A folder opens like a file; a closing separator is ignored.
bool can_be_opened(std::wstring path) {
    ql::strip_trailing_separators(path);
    const int fd = ql::open_file(ql::to_utf8(path), O_RDONLY);
    if (fd == -1) return false;
    ::close(fd);
    return true;
}

// Follows the chain of the files in `result` from the start in each pass, and adds at most one
// missing parent per pass. `prefix` is the folder of the first file that was named with one.
class chain_check {
public:
    chain_check(std::ostream& out, std::vector<std::wstring>& result)
        : m_out(out), m_result(result) {}

    pass_result pass() {
        vmdk_chain chain;
        if (!open_files(chain)) return pass_result::incomplete;
        const std::optional<const vmdk_extent*> child = find_orphan(chain);
        if (!child) return pass_result::incomplete;
        if (*child != nullptr && !is_parent_listed(chain, **child)) {
            return add_parent(**child) ? pass_result::parent_added : pass_result::incomplete;
        }
        return chain.base != nullptr ? pass_result::complete : pass_result::incomplete;
    }

private:
    bool open_files(vmdk_chain& chain) {
        for (const std::wstring& path : m_result) {
            const std::size_t slash = path.rfind(L'/');
            if (m_prefix.empty() && slash != std::wstring::npos) {
                m_prefix = path.substr(0, slash + 1);
            }
            std::unique_ptr<vmdk_extent> extent(new (std::nothrow) vmdk_extent);
            if (extent == nullptr) {
                m_out << "prob creating virtual vmware disk mapping" << std::endl;
                return false;
            }
            if (!extent->open(path, chain.write_access)) {
                m_out << ql::to_utf8(path) << " can't be opened" << std::endl;
                return false;
            }
            chain.add_extent(std::move(extent));
        }
        return true;
    }

    // Links the files in order of their CIDs, up to the first one whose parent is missing, and
    // returns it; null if there is no such file. Returns nullopt, after a message, for a file that
    // is its own parent.
    std::optional<const vmdk_extent*> find_orphan(vmdk_chain& chain) {
        for (const auto& [cid, extent] : chain.extents) {
            if (!chain.join_to_parent(*extent)) return extent.get();
            if (extent->parent != nullptr && extent->cid == extent->parent_cid) {
                m_out << "Child VMDK CID errors, aborting" << std::endl;
                return std::nullopt;
            }
        }
        return nullptr;
    }

    // The parent may be in the list under another CID: its name is compared. An empty hint is a
    // part of every name.
    static bool is_parent_listed(const vmdk_chain& chain, const vmdk_extent& child) {
        const std::wstring hint = without_quotes(child.parent_file_hint);
        if (chain.base != nullptr) return contains(chain.base->path_wide, hint);
        if (chain.extents.size() < 2) return false;
        return std::any_of(chain.extents.begin(), chain.extents.end(), [&](const auto& item) {
            return contains(item.second->path_wide, hint);
        });
    }

    std::wstring parent_path(const vmdk_extent& child) const {
        const bool is_windows = child.encoding.find("windows") != std::string::npos;
        const char separator = is_windows ? '\\' : '/';
        const bool has_folder = child.parent_file_hint.find(separator) != std::string::npos;
        std::wstring path = has_folder ? L"" : m_prefix;
        path += ql::to_wide(child.parent_file_hint);
        ql::remove_char(path, L'"');
        return path;
    }

    // Appends the parent that the child's hint names. Returns false if it does not exist, or was
    // already added and is not the parent.
    bool add_parent(const vmdk_extent& child) {
        std::wstring path = parent_path(child);
        std::string hint = child.parent_file_hint;
        if (!can_be_opened(path)) {
            if (m_prefix.empty() || contains(path, m_prefix)) {
                m_out << "Child VMDK points to a parent VMDK that doesn't exist, aborting"
                      << std::endl;
                return false;
            }
            // The folder does not exist: the next pass tries the same name next to the listed
            // files.
            if (!path.empty()) {
                path = m_prefix + split_path(path).name;
                hint = "\"" + ql::to_utf8(path) + "\"";
            }
        }
        m_out << "=> vmdk file: " << child.path_utf8 << std::endl
              << " depends on parent vmdk " << hint << std::endl;
        if (std::find(m_result.begin(), m_result.end(), path) != m_result.end()) return false;
        m_result.push_back(path);
        return true;
    }

    std::ostream& m_out;
    std::vector<std::wstring>& m_result;
    std::wstring m_prefix;
};

}  // namespace

bool check_vmdk_chain(const std::vector<std::wstring>& paths, std::ostream& out,
                      std::vector<std::wstring>& result) {
    result = paths;
    chain_check check(out, result);
    bool is_users_list = true;
    pass_result outcome = check.pass();
    for (; outcome == pass_result::parent_added; outcome = check.pass())
        is_users_list = false;
    return is_users_list && outcome == pass_result::complete;
}

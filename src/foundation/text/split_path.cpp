#include "foundation/text/split_path.h"

#include <utility>

namespace {

// Splits `path` at `separator_pos`. A name of ".." is replaced by ".", and `parent_step` is
// appended to the directory.
path_parts cut_at(const std::wstring& path, std::size_t separator_pos, const wchar_t* parent_step) {
    path_parts parts{path.substr(0, separator_pos), path.substr(separator_pos + 1)};
    if (parts.name == L"..") {
        parts.name = L".";
        parts.dir += parent_step;
    }
    return parts;
}

}  // namespace

path_parts split_path(const std::wstring& path) {
    const std::size_t backslash = path.rfind(L'\\');
    if (backslash != std::wstring::npos && backslash > 0) return cut_at(path, backslash, L"\\..");
    const std::size_t slash = path.rfind(L'/');
    if (backslash == std::wstring::npos && slash != std::wstring::npos && slash > 0)
        return cut_at(path, slash, L"//..");
    return {L".", path};
}

bool split_path(const std::wstring& path, std::wstring& dir_out, std::wstring& name_out) {
    if (path.empty()) return false;
    path_parts parts = split_path(path);  // `path` may be one of the outputs
    dir_out = std::move(parts.dir);
    name_out = std::move(parts.name);
    return true;
}

#include "foundation/text/split_path.h"

#include <utility>

namespace {

// Splits `path` at `separator_pos`. A name of ".." is replaced by "." in the directory
// `parent_step` above.
void cut_at(const std::wstring& path, std::size_t separator_pos, const wchar_t* parent_step,
            std::wstring& dir_out, std::wstring& name_out) {
    std::wstring dir = path.substr(0, separator_pos);
    std::wstring name = path.substr(separator_pos + 1);
    if (name == L"..") {
        name = L".";
        dir += parent_step;
    }
    dir_out = std::move(dir);
    name_out = std::move(name);
}

}  // namespace

bool split_path(const std::wstring& path, std::wstring& dir_out, std::wstring& name_out) {
    if (path.empty()) return false;
    const std::size_t backslash = path.rfind(L'\\');
    const std::size_t slash = path.rfind(L'/');
    if (backslash != std::wstring::npos && backslash > 0) {
        cut_at(path, backslash, L"\\..", dir_out, name_out);
    } else if (backslash == std::wstring::npos && slash != std::wstring::npos && slash > 0) {
        cut_at(path, slash, L"//..", dir_out, name_out);
    } else {
        name_out = path;
        dir_out = L".";
    }
    return true;
}

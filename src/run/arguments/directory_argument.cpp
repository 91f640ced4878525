#include "run/arguments/directory_argument.h"

#include "foundation/text/ql_string.h"

std::string normalise_directory(std::string path) {
    const std::size_t drive = path.find(":\\");
    if (drive != std::string::npos) path.erase(drive - 1, drive + 1);
    ql::replace_char(path, '/', '\\');
    if (path.size() > 3 && path.back() == '\\') path.pop_back();
    return path;
}

std::wstring entry_path_prefix(const std::wstring& directory) {
    const std::size_t colon = directory.find(L':');
    if (colon == std::wstring::npos) return directory;
    return directory.substr(0, colon + 2);
}

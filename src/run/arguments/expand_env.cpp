#include "run/arguments/expand_env.h"

#include <algorithm>
#include <cstdlib>
#include <vector>

#include "foundation/text/ql_string.h"

namespace {

// References in longer texts are not expanded.
constexpr std::size_t longest_searched = 512;

// Contains no reference, so that the next search may start before it.
constexpr const char* shadow_copy_device = "\\\\?\\GLOBALROOT\\Device\\HarddiskVolumeShadowCopy";

bool is_shadow_copy_name(std::string name) {
    ql::lower(name);
    return name == "vss";
}

}  // namespace

std::string expand_env(std::string text, bool allow_vss) {
    std::vector<std::string> seen;  // each form of the text since the last reference was skipped
    std::size_t at = 0;
    while (text.size() <= longest_searched) {
        const std::size_t open = text.find('%', at);
        if (open == std::string::npos) break;
        const std::size_t close = text.find('%', open + 1);
        if (close == std::string::npos) break;

        const std::size_t length = close + 1 - open;
        const std::string name = text.substr(open + 1, length - 2);
        if (const char* value = std::getenv(name.c_str()); value != nullptr) {
            seen.push_back(text);
            std::string expanded = text;
            expanded.replace(open, length, value);
            if (std::find(seen.begin(), seen.end(), expanded) == seen.end()) {
                text = std::move(expanded);
                continue;
            }
            at = close + 1;
        } else if (allow_vss && is_shadow_copy_name(name)) {
            text.replace(open, length, shadow_copy_device);
        } else {
            at = close + 1;
        }
        seen.clear();
    }
    return text;
}

// A map from directories to values, by path.
//
// A listing has a row for each directory before the rows in it, whatever its filters are. So the
// directory of a row is the nearest listed one above it; if that is not the text before the last
// backslash, the name contains a backslash.
#pragma once

#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace convert {

// Returns the text up to the last backslash of a path, or an empty text if the path has no
// backslash. Of the path of a directory, remove the one at its end first.
inline std::string_view directory_of(std::string_view path) {
    return path.substr(0, path.rfind('\\') + 1);
}

// Removes the backslash at the end of the path of a directory.
inline std::string_view without_end(std::string_view path) {
    if (path.ends_with('\\')) path.remove_suffix(1);
    return path;
}

template <typename Value>
class path_map {
public:
    using item = std::pair<const std::string, Value>;

    // Returns the directory, whose path ends in a backslash. Adds it if it is new.
    item& add(std::string_view directory) {
        return *m_items.try_emplace(std::string(directory)).first;
    }

    // Returns the nearest directory above a path without a backslash at its end, or null. It is
    // valid as long as this object.
    item* find_above(std::string_view path) {
        for (std::string_view above = directory_of(path); !above.empty();
             above = directory_of(without_end(above))) {
            // Rows often follow another one of their directory.
            if (m_last != nullptr && m_last->first == above) return m_last;
            const auto found = m_items.find(std::string(above));
            if (found != m_items.end()) return m_last = &*found;
        }
        return nullptr;
    }

    std::size_t size() const { return m_items.size(); }
    auto begin() { return m_items.begin(); }
    auto end() { return m_items.end(); }
    auto begin() const { return m_items.begin(); }
    auto end() const { return m_items.end(); }

private:
    std::unordered_map<std::string, Value> m_items;
    item* m_last = nullptr;
};

}  // namespace convert

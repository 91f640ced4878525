#include "convert/comparison/entry_comparison.h"

#include <algorithm>
#include <map>
#include <optional>
#include <string_view>
#include <tuple>
#include <utility>

namespace convert {

namespace {

using row_list = std::vector<const compared_row*>;

// The rows of one sequence number and one flag "in use".
struct version {
    row_list old_rows, new_rows;
};

// What two links have in common. Links without such a key are not paired by it.
using link_key =
    std::optional<std::tuple<row_type, std::uint64_t, std::uint64_t, std::string_view>>;

link_key by_path(const compared_row& link) {
    return std::tuple{link.row.type, 0u, 0u, std::string_view(link.row.path)};
}

link_key by_directory_and_name(const compared_row& link) {
    if (!link.directory) return std::nullopt;
    return std::tuple{link.row.type, link.directory->entry, link.directory->sequence, link.name()};
}

link_key by_name(const compared_row& link) {
    return std::tuple{link.row.type, 0u, 0u, link.name()};
}

link_key by_type(const compared_row& link) {
    return std::tuple{link.row.type, 0u, 0u, std::string_view()};
}

class version_comparison {
public:
    explicit version_comparison(const change_visitor& visit) : m_visit(visit) {}

    bool compare(const version& rows) {
        row_list old_links = entries_of(rows.old_rows);
        row_list new_links = entries_of(rows.new_rows);
        for (const auto key_of : {by_path, by_directory_and_name, by_name, by_type})
            pair_links(old_links, new_links, key_of);
        for (const auto& [before, after] : m_pairs) {
            if (!pass_link(*before, *after)) return false;
        }
        return pass_all(old_links, {}) && pass_all({}, new_links) && compare_streams(rows);
    }

    // Passes rows that exist in one listing only.
    bool pass_all(const row_list& old_rows, const row_list& new_rows) {
        return std::all_of(old_rows.begin(), old_rows.end(),
                           [this](const auto* row) {
                               return pass({&row->row, nullptr});
                           }) &&
               std::all_of(new_rows.begin(), new_rows.end(), [this](const auto* row) {
                   return pass({nullptr, &row->row});
               });
    }

private:
    static row_list entries_of(const row_list& rows) {
        row_list found;
        std::copy_if(rows.begin(), rows.end(), std::back_inserter(found),
                     [](const compared_row* row) { return row->row.is_entry(); });
        return found;
    }

    // Moves pairs of links that have the same key from the lists to m_pairs.
    void pair_links(row_list& old_links, row_list& new_links,
                    link_key (*key_of)(const compared_row&)) {
        std::multimap<link_key, const compared_row*> by_key;
        for (const compared_row* link : old_links)
            by_key.emplace(key_of(*link), link);
        row_list unpaired;
        for (const compared_row* link : new_links) {
            const link_key key = key_of(*link);
            const auto found = by_key.lower_bound(key);  // the first of equal keys
            if (!key || found == by_key.end() || found->first != key) {
                unpaired.push_back(link);
                continue;
            }
            m_pairs.emplace_back(found->second, link);
            by_key.erase(found);
        }
        new_links = std::move(unpaired);
        old_links.clear();
        for (const auto& [key, link] : by_key)
            old_links.push_back(link);
    }

    bool pass(const row_change& change) { return !change.any() || m_visit(change); }

    // The directory of a link is another one if its entry is, or, if that is not known, its path.
    bool pass_link(const compared_row& before, const compared_row& after) {
        row_change change{&before.row, &after.row};
        if (before.row.path != after.row.path) {
            change.renamed = before.name() != after.name();
            change.moved = before.directory && after.directory
                               ? before.directory != after.directory
                               : before.directory_path() != after.directory_path();
        }
        change.resized = before.row.allocated_size != after.row.allocated_size;
        change.times = changed_times(before.row, after.row);
        return pass(change);
    }

    // A stream by the path of its entry in the new listing, its type and its name.
    using stream_key = std::tuple<std::string_view, row_type, std::string_view>;

    bool compare_streams(const version& rows) {
        std::map<std::string_view, std::string_view> new_paths;
        for (const auto& [before, after] : m_pairs)
            new_paths.emplace(before->entry_path(), after->entry_path());
        std::multimap<stream_key, const compared_row*> new_streams;
        for (const compared_row* row : rows.new_rows) {
            if (!row->row.is_entry())
                new_streams.emplace(
                    stream_key{row->entry_path(), row->row.type, row->stream_name()}, row);
        }
        for (const compared_row* row : rows.old_rows) {
            if (row->row.is_entry()) continue;
            const auto moved = new_paths.find(row->entry_path());
            const auto path = moved != new_paths.end() ? moved->second : row->entry_path();
            const stream_key key{path, row->row.type, row->stream_name()};
            const auto found = new_streams.lower_bound(key);
            const bool exists = found != new_streams.end() && found->first == key;
            if (!pass_stream(*row, exists ? found->second : nullptr)) return false;
            if (exists) new_streams.erase(found);
        }
        return std::all_of(new_streams.begin(), new_streams.end(), [this](const auto& stream) {
            return pass({nullptr, &stream.second->row});
        });
    }

    // A stream has the times of its entry, whose row shows them.
    bool pass_stream(const compared_row& before, const compared_row* after) {
        row_change change{&before.row, after != nullptr ? &after->row : nullptr};
        change.resized = after != nullptr && before.row.allocated_size != after->row.allocated_size;
        return pass(change);
    }

    const change_visitor& m_visit;
    std::vector<std::pair<const compared_row*, const compared_row*>> m_pairs;
};

}  // namespace

bool compare_entry(const std::vector<compared_row>& rows, const change_visitor& visit) {
    std::map<std::pair<std::uint16_t, bool>, version> versions;
    for (const compared_row& row : rows) {
        version& found = versions[{row.row.sequence, !row.row.is_deleted()}];
        (row.side == listing_side::old_listing ? found.old_rows : found.new_rows).push_back(&row);
    }
    return std::all_of(versions.begin(), versions.end(), [&](const auto& item) {
        const auto& [key, found] = item;
        const bool in_use = key.second;
        version_comparison comparison(visit);
        if (!found.old_rows.empty() && !found.new_rows.empty()) return comparison.compare(found);
        return !in_use || comparison.pass_all(found.old_rows, found.new_rows);
    });
}

}  // namespace convert

// Volumes with an index in clusters, for tests that state a wrong size of it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "support/directory_index.h"
#include "support/ntfs_image.h"

namespace e2e {

inline constexpr std::uint64_t root = 5;
inline constexpr std::uint64_t directory = 40;
inline constexpr std::uint64_t first_file = 64;
inline constexpr std::uint64_t clusters = 1536;  // 6 MiB
inline constexpr std::uint64_t cluster = 4096;
inline constexpr std::uint64_t longest_run = 0xFFFFFFFF;
inline constexpr std::size_t files_per_block = 4;

inline std::u16string name_of(std::size_t i) {
    return std::u16string(1, static_cast<char16_t>(u'a' + i));
}

// A volume of whole clusters with \dir, whose children are in index blocks alone.
class indexed_volume {
public:
    explicit indexed_volume(std::size_t num_blocks = 3, std::uint64_t index_lcn = 200)
        : image({.clusters = clusters + 16}), lcn(index_lcn) {
        image.directory(root, u"dir", directory);
        image.reserve(lcn, num_blocks);
        for (std::size_t block = 0; block < num_blocks; ++block)
            add_block(block);
    }

    // The blocks under the runs given.
    support::byte_image with_index(const support::cluster_runs& runs) {
        image.entry(directory).nonresident(support::type::index_allocation, u"$I30", runs);
        return built();
    }
    support::byte_image built() const {
        support::byte_image bytes = image.build();
        return bytes.resize(clusters * cluster);
    }

    support::ntfs_image image;
    std::uint64_t lcn;

private:
    void add_block(std::size_t block) {
        std::vector<support::index_entry> entries;
        for (std::size_t i = block * files_per_block; i < (block + 1) * files_per_block; ++i) {
            image.entry(first_file + i).standard_information().file_name(directory, name_of(i));
            entries.push_back({.reference = image.reference(first_file + i),
                               .key = support::file_name_value(directory, name_of(i))});
        }
        support::bytes content = support::index_entries(entries);
        const support::bytes end = support::index_end_entry();
        content.insert(content.end(), end.begin(), end.end());
        image.write_clusters(lcn + block, support::index_block(content, {.vcn = block}));
    }
};

// The bare paths of \dir and its files from number `first` to before `end`.
inline std::string paths(std::size_t first, std::size_t end) {
    std::string text = "\\dir\\\n";
    for (std::size_t i = first; i < end; ++i)
        text += std::string("\\dir\\") + static_cast<char>('a' + i) + "\n";
    return text;
}

}  // namespace e2e

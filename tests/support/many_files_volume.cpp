// The volume of many files, declared in sample_volume.h: system files from ntfs_image, the
// directories written past it one by one.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>

#include "support/byte_writer.h"
#include "support/index_tree.h"
#include "support/sample_volume.h"

namespace support {

namespace {

constexpr std::uint64_t record_size = 1024, cluster = 4096, root = 5, first_entry = 64;
constexpr std::size_t flush_size = 1 << 20;

// The number with leading zeros, as wide as the highest of `count` numbers or as `least_width`.
std::u16string padded(std::uint64_t number, std::uint64_t count, std::size_t least_width) {
    const std::size_t width =
        std::max(least_width, std::to_string(count == 0 ? 0 : count - 1).size());
    const std::string digits = std::to_string(number);
    return std::u16string(width - digits.size(), u'0') +
           std::u16string(digits.begin(), digits.end());
}

file_times times_of(std::uint64_t entry) {
    const std::uint64_t start = filetime(2022, 1, 1) + entry * 10000000;
    return {start, start + 1, start + 2, start + 3};
}

// Writes bytes that follow each other from one place of a file on.
class appender {
public:
    appender(int fd, std::uint64_t at) : m_fd(fd), m_at(at) {}

    void add(const bytes& content) {
        append(m_pending, content);
        if (m_pending.size() >= flush_size) {
            flush();
        }
    }

    void flush() {
        if (::pwrite(m_fd, m_pending.data(), m_pending.size(), static_cast<off_t>(m_at)) !=
            static_cast<ssize_t>(m_pending.size())) {
            throw std::runtime_error("can't write the volume");
        }
        m_at += m_pending.size();
        m_pending.clear();
    }

private:
    int m_fd;
    std::uint64_t m_at;
    bytes m_pending;
};

// Entry numbers and cluster numbers of everything.
struct many_layout {
    std::uint64_t directories, files;
    std::uint64_t records = 0;         // in the second run of $MFT
    std::uint64_t records_lcn = 0;     // where that run starts, with the record of first_entry
    std::uint64_t index_clusters = 0;  // of each directory
    std::uint64_t indexes_lcn = 0;

    std::u16string directory_name(std::uint64_t number) const {
        return u"dir" + padded(number, directories, 5);
    }
    std::u16string file_name(std::uint64_t number) const {
        return u"file" + padded(number, files, 4) + u".txt";
    }
    std::uint64_t entry_of(std::uint64_t directory) const {
        return first_entry + directory * (files + 1);
    }
};

index_tree tree_of(const many_layout& layout, std::uint64_t directory) {
    const std::uint64_t entry = layout.entry_of(directory);
    std::vector<index_entry> entries;
    entries.reserve(static_cast<std::size_t>(layout.files));
    for (std::uint64_t file = 0; file < layout.files; ++file) {
        const std::uint64_t child = entry + 1 + file;
        entries.push_back(
            {.reference = file_reference(child, 1),
             .key = file_name_value(entry, layout.file_name(file), {.times = times_of(child)})});
    }
    return {std::move(entries), {.root_room = [](std::size_t) { return std::size_t{400}; }}};
}

bytes directory_record(const many_layout& layout, std::uint64_t directory, const index_tree& tree) {
    const std::uint64_t entry = layout.entry_of(directory);
    record_builder record(entry);
    record.flags(3)
        .standard_information({.times = times_of(entry), .attributes = 0})
        .file_name(root, layout.directory_name(directory),
                   {.times = times_of(entry), .flags = flag::directory})
        .resident(
            type::index_root, u"$I30",
            index_root_value(tree.root.build(), {.header_flags = tree.blocks.empty() ? 0u : 1u}));
    if (!tree.blocks.empty()) {
        const std::uint64_t lcn = layout.indexes_lcn + directory * layout.index_clusters;
        bytes bitmap(round_up(tree.blocks.size(), 64) / 8);
        for (std::size_t block = 0; block < tree.blocks.size(); ++block) {
            bitmap[block / 8] = static_cast<std::uint8_t>(bitmap[block / 8] | 1u << block % 8);
        }
        record.nonresident(type::index_allocation, u"$I30", {{lcn, tree.blocks.size()}})
            .resident(type::bitmap, u"$I30", bitmap);
    }
    return record.build();
}

bytes file_record(const many_layout& layout, std::uint64_t directory, std::uint64_t file) {
    const std::uint64_t directory_entry = layout.entry_of(directory);
    const std::uint64_t entry = directory_entry + 1 + file;
    return record_builder(entry)
        .standard_information({.times = times_of(entry)})
        .file_name(directory_entry, layout.file_name(file), {.times = times_of(entry)})
        .data("file " + std::to_string(entry))
        .build();
}

// The part of the volume that ntfs_image makes; settles where the rest goes.
ntfs_image base_volume(many_layout& layout) {
    ntfs_image volume{{.mft_records = first_entry, .list_system_files = true}};
    layout.records = layout.directories * (layout.files + 1);
    const std::uint64_t record_clusters = volume.clusters_for(layout.records * record_size);
    layout.records_lcn = volume.alloc(record_clusters);
    layout.index_clusters = tree_of(layout, 0).blocks.size();
    layout.indexes_lcn = volume.alloc(layout.directories * layout.index_clusters);
    for (std::uint64_t directory = 0; directory < layout.directories; ++directory) {
        const std::uint64_t entry = layout.entry_of(directory);
        volume.index(root).add(
            file_reference(entry, 1),
            file_name_value(root, layout.directory_name(directory),
                            {.times = times_of(entry), .flags = flag::directory}));
    }
    const cluster_runs small = volume.mft_runs();
    cluster_runs all = small;
    all.push_back({layout.records_lcn, record_clusters});
    volume.entry(0).data_runs(all, {.real = (first_entry + layout.records) * record_size});

    bytes bits(round_up(first_entry + layout.records, 64) / 8);
    for (std::uint64_t entry = 0; entry < first_entry + layout.records; ++entry) {
        const bool in_use = entry < 24 || entry >= first_entry;
        bits[entry / 8] =
            static_cast<std::uint8_t>(bits[entry / 8] | (in_use ? 1u : 0u) << entry % 8);
    }
    volume.entry(0).nonresident(type::bitmap, u"", volume.store(bits), {.real = bits.size()});
    return volume;
}

void write_directories(int fd, const many_layout& layout) {
    appender records(fd, layout.records_lcn * cluster), indexes(fd, layout.indexes_lcn * cluster);
    for (std::uint64_t directory = 0; directory < layout.directories; ++directory) {
        const index_tree tree = tree_of(layout, directory);
        records.add(directory_record(layout, directory, tree));
        for (std::uint64_t file = 0; file < layout.files; ++file) {
            records.add(file_record(layout, directory, file));
        }
        for (std::size_t block = 0; block < tree.blocks.size(); ++block) {
            const index_node& node = tree.blocks[block];
            indexes.add(index_block(node.build(),
                                    {.vcn = block, .header_flags = node.end_sub_node ? 1u : 0u}));
        }
    }
    records.flush();
    indexes.flush();
}

}  // namespace

void save_many_files_volume(const std::string& path, std::uint64_t directories,
                            std::uint64_t files_per_directory) {
    many_layout layout{.directories = directories, .files = files_per_directory};
    base_volume(layout).save(path);
    const int fd = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
    if (fd < 0) {
        throw std::runtime_error("can't open " + path);
    }
    try {
        write_directories(fd, layout);
    } catch (...) {
        ::close(fd);
        throw;
    }
    if (::close(fd) != 0) {
        throw std::runtime_error("can't write " + path);
    }
}

}  // namespace support

// The volume of many files, as declared in sample_volume.h. ntfs_image builds the system files; the
// directories are written to the file one by one.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <numeric>
#include <random>
#include <stdexcept>

#include "support/byte_writer.h"
#include "support/index_tree.h"
#include "support/sample_volume.h"

namespace support {

namespace {

constexpr std::uint64_t record_size = 1024, cluster = 4096, root = 5, first_entry = 64;
constexpr std::uint32_t security_id = 0x100;
constexpr std::uint64_t first_extension = 24;  // of $MFT
constexpr std::size_t flush_size = 1 << 20;
constexpr std::size_t largest_resident_bitmap = 64;  // bytes
// Number of $MFT fragments; each needs up to 4 bytes in a run list.
constexpr std::size_t runs_in_base = 16, runs_in_extension = 210;

// Returns the number with leading zeros, as wide as the highest of `count` numbers or
// `least_width`.
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

// Writes pieces of a file. Adjacent pieces are written by one call.
class appender {
public:
    explicit appender(int fd) : m_fd(fd) {}

    void add(std::uint64_t at, const bytes& content) {
        if (at != m_at + m_pending.size() || m_pending.size() >= flush_size) {
            flush();
            m_at = at;
        }
        append(m_pending, content);
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
    std::uint64_t m_at = 0;
    bytes m_pending;
};

// Entry numbers and cluster numbers of the volume.
struct many_layout {
    many_files_options options;
    std::uint64_t records = 0;               // of $MFT from first_entry on
    std::vector<std::uint32_t> places = {};  // of the records in use; empty if they are in order
    std::uint64_t piece_clusters = 0;        // of each fragment with records
    cluster_runs pieces = {};  // the runs of the records; the first includes that of first_entry
    std::uint64_t index_clusters = 0;  // of each directory
    std::uint64_t indexes_lcn = 0;
    std::uint64_t bitmap_clusters = 0;  // of each directory; 0: its bitmap is in its record
    std::uint64_t bitmaps_lcn = 0;

    std::u16string directory_name(std::uint64_t number) const {
        return u"dir" + padded(number, options.directories, 5);
    }
    std::u16string file_name(std::uint64_t number) const {
        return u"file" + padded(number, options.files, 4) + u".txt";
    }
    std::uint64_t used_records() const { return options.directories * (options.files + 1); }
    std::uint64_t entry_of(std::uint64_t directory) const {
        return nth_entry(directory * (options.files + 1));
    }
    std::uint64_t entry_of(std::uint64_t directory, std::uint64_t file) const {
        return nth_entry(directory * (options.files + 1) + 1 + file);
    }
    // The entry of the record in use with this number.
    std::uint64_t nth_entry(std::uint64_t number) const {
        return first_entry + (places.empty() ? number : places[static_cast<std::size_t>(number)]);
    }
    std::uint64_t record_pos(std::uint64_t entry) const {
        const std::uint64_t at = (entry - first_entry) * record_size;
        const std::uint64_t piece_size = piece_clusters * cluster;
        return pieces[static_cast<std::size_t>(at / piece_size)].lcn * cluster + at % piece_size;
    }
    // The scattered blocks of the directories are interleaved.
    std::uint64_t index_lcn(std::uint64_t directory, std::uint64_t block) const {
        return indexes_lcn + (options.scattered_indexes ? block * options.directories + directory
                                                        : directory * index_clusters + block);
    }
    cluster_runs index_runs(std::uint64_t directory) const {
        if (!options.scattered_indexes) return {{index_lcn(directory, 0), index_clusters}};
        cluster_runs runs;
        for (std::uint64_t block = 0; block < index_clusters; ++block)
            runs.push_back({index_lcn(directory, block), 1});
        return runs;
    }
};

index_tree tree_of(const many_layout& layout, std::uint64_t directory) {
    const std::uint64_t entry = layout.entry_of(directory);
    std::vector<index_entry> entries;
    entries.reserve(static_cast<std::size_t>(layout.options.files));
    for (std::uint64_t file = 0; file < layout.options.files; ++file) {
        const std::uint64_t child = layout.entry_of(directory, file);
        entries.push_back(
            {.reference = file_reference(child, 1),
             .key = file_name_value(entry, layout.file_name(file), {.times = times_of(child)})});
    }
    // A long run list leaves space for only an end entry in the root of the index.
    const std::size_t root_space = layout.options.scattered_indexes ? 24 : 400;
    return {std::move(entries), {.root_space = [root_space](std::size_t) { return root_space; }}};
}

bytes index_bitmap(const index_tree& tree) {
    bytes bitmap(round_up(tree.blocks.size(), 64) / 8);
    for (std::size_t block = 0; block < tree.blocks.size(); ++block) {
        bitmap[block / 8] = static_cast<std::uint8_t>(bitmap[block / 8] | 1u << block % 8);
    }
    return bitmap;
}

bytes directory_record(const many_layout& layout, std::uint64_t directory, const index_tree& tree) {
    const std::uint64_t entry = layout.entry_of(directory);
    record_builder record(entry);
    record.flags(3)
        .standard_information(
            {.times = times_of(entry), .attributes = 0, .security_id = security_id})
        .file_name(root, layout.directory_name(directory),
                   {.times = times_of(entry), .flags = flag::directory})
        .resident(
            type::index_root, u"$I30",
            index_root_value(tree.root.build(), {.header_flags = tree.blocks.empty() ? 0u : 1u}));
    if (tree.blocks.empty()) return record.build();
    record.nonresident(type::index_allocation, u"$I30", layout.index_runs(directory));
    const bytes bitmap = index_bitmap(tree);
    if (layout.bitmap_clusters == 0) {
        record.resident(type::bitmap, u"$I30", bitmap);
    } else {
        const std::uint64_t lcn = layout.bitmaps_lcn + directory * layout.bitmap_clusters;
        record.nonresident(type::bitmap, u"$I30", cluster_runs{{lcn, layout.bitmap_clusters}},
                           {.real = bitmap.size()});
    }
    return record.build();
}

bytes file_record(const many_layout& layout, std::uint64_t directory, std::uint64_t file) {
    const std::uint64_t directory_entry = layout.entry_of(directory);
    const std::uint64_t entry = layout.entry_of(directory, file);
    record_builder record(entry);
    record.standard_information({.times = times_of(entry), .security_id = security_id})
        .file_name(directory_entry, layout.file_name(file), {.times = times_of(entry)})
        .data("file " + std::to_string(entry));
    for (std::uint64_t stream = 0; stream < layout.options.streams; ++stream) {
        record.stream(u"s" + padded(stream, layout.options.streams, 1), "stream");
    }
    return record.build();
}

// Returns the only descriptor of the volume, which all files share.
bytes common_descriptor() {
    const bytes administrators = sid("S-1-5-32-544");
    return security_descriptor{.owner = administrators,
                               .group = administrators,
                               .dacl = acl({ace(0, 0, 0x1F01FF, administrators)})}
        .build();
}

// Draws the places of the records in use among all records: the first ones of a random permutation.
std::vector<std::uint32_t> random_places(const many_layout& layout) {
    std::vector<std::uint32_t> places(static_cast<std::size_t>(layout.records));
    std::iota(places.begin(), places.end(), std::uint32_t{0});
    std::mt19937_64 random(1);
    const auto used = static_cast<std::size_t>(layout.used_records());
    for (std::size_t at = 0; at < used; ++at)
        std::swap(places[at], places[at + random() % (places.size() - at)]);
    places.resize(used);
    return places;
}

// Allocates clusters for the records of directories and files: one run, or at least as many
// fragments as the options request, each followed by a free cluster.
void take_records(ntfs_image& volume, many_layout& layout) {
    const std::uint64_t clusters = volume.clusters_for(layout.records * record_size);
    const std::uint64_t fragments = std::max<std::uint64_t>(layout.options.mft_fragments, 1);
    layout.piece_clusters = std::max<std::uint64_t>(clusters / fragments, 1);
    for (std::uint64_t taken = 0; taken < clusters; taken += layout.piece_clusters) {
        const std::uint64_t count = std::min(layout.piece_clusters, clusters - taken);
        layout.pieces.push_back({volume.alloc(count), count});
        volume.leave_gap(fragments > 1 ? 1 : 0);
    }
}

// Allocates clusters for the indexes of all directories.
void take_indexes(ntfs_image& volume, many_layout& layout) {
    const index_tree tree = tree_of(layout, 0);
    layout.index_clusters = tree.blocks.size();
    layout.indexes_lcn = volume.alloc(layout.options.directories * layout.index_clusters);
    const std::size_t bitmap_size = index_bitmap(tree).size();
    if (bitmap_size <= largest_resident_bitmap) return;
    layout.bitmap_clusters = volume.clusters_for(bitmap_size);
    layout.bitmaps_lcn = volume.alloc(layout.options.directories * layout.bitmap_clusters);
}

// Adds $DATA of $MFT: in its own record, or the run of the first entries there and the others in
// extension records, which are among the first entries.
void add_mft_data(ntfs_image& volume, const many_layout& layout) {
    const std::uint64_t entries = first_entry + layout.records;
    cluster_runs all = volume.mft_runs();
    const std::uint64_t first_clusters = clusters_in(all);
    all.insert(all.end(), layout.pieces.begin(), layout.pieces.end());
    const std::uint64_t allocated = clusters_in(all) * cluster;
    nonresident_options first_part{.allocated = allocated,
                                   .real = entries * record_size,
                                   .initialized = entries * record_size,
                                   .last_vcn = {}};
    if (layout.pieces.size() <= runs_in_base) {
        volume.entry(0).data_runs(all, first_part);
        return;
    }
    first_part.last_vcn = first_clusters - 1;
    volume.entry(0).data_runs(volume.mft_runs(), first_part);
    std::uint64_t vcn = first_clusters;
    std::uint64_t extension = first_extension;
    for (std::size_t at = 0; at < layout.pieces.size(); at += runs_in_extension) {
        const std::size_t count = std::min(runs_in_extension, layout.pieces.size() - at);
        const auto from = layout.pieces.begin() + static_cast<std::ptrdiff_t>(at);
        const cluster_runs part(from, from + static_cast<std::ptrdiff_t>(count));
        if (extension == first_entry) {
            throw std::runtime_error("no space for the fragments of $MFT");
        }
        volume.entry(extension++)
            .base(file_reference(0, 1))
            .data_runs(part, {.allocated = 0, .real = 0, .initialized = 0, .start_vcn = vcn});
        vcn += clusters_in(part);
    }
}

// Adds $BITMAP of $MFT.
void add_mft_bitmap(ntfs_image& volume, const many_layout& layout) {
    const std::uint64_t entries = first_entry + layout.records;
    bytes bits(round_up(entries, 64) / 8);
    const auto mark = [&bits](std::uint64_t entry) {
        bits[entry / 8] = static_cast<std::uint8_t>(bits[entry / 8] | 1u << entry % 8);
    };
    for (std::uint64_t entry = 0; entry < first_entry; ++entry) {
        if (volume.has_entry(entry) || entry < 24) mark(entry);
    }
    for (std::uint64_t number = 0; number < layout.used_records(); ++number)
        mark(layout.nth_entry(number));
    volume.entry(0).nonresident(type::bitmap, u"", volume.store(bits), {.real = bits.size()});
}

// Builds the part of the volume that ntfs_image supports, and lays out the rest.
ntfs_image base_volume(many_layout& layout) {
    ntfs_image volume{{.mft_records = first_entry, .list_system_files = true}};
    volume.security().add(security_id, common_descriptor());
    layout.records = layout.used_records() * std::max<std::uint64_t>(layout.options.scatter, 1);
    if (layout.options.scatter > 1) layout.places = random_places(layout);
    take_records(volume, layout);
    take_indexes(volume, layout);
    for (std::uint64_t directory = 0; directory < layout.options.directories; ++directory) {
        const std::uint64_t entry = layout.entry_of(directory);
        volume.index(root).add(
            file_reference(entry, 1),
            file_name_value(root, layout.directory_name(directory),
                            {.times = times_of(entry), .flags = flag::directory}));
    }
    add_mft_data(volume, layout);
    add_mft_bitmap(volume, layout);
    if (layout.pieces.size() > runs_in_base) volume.make_attribute_list(0, true);
    return volume;
}

// Writes records of deleted files to all places. Those of the records in use are overwritten.
void write_unused_records(int fd, const many_layout& layout) {
    appender records(fd);
    for (std::uint64_t entry = first_entry; entry < first_entry + layout.records; ++entry) {
        record_builder record(entry);
        record.flags(0)
            .standard_information({.times = times_of(entry), .security_id = security_id})
            .data("deleted");
        records.add(layout.record_pos(entry), record.build());
    }
    records.flush();
}

void write_directories(int fd, const many_layout& layout) {
    appender records(fd), indexes(fd), bitmaps(fd);
    for (std::uint64_t directory = 0; directory < layout.options.directories; ++directory) {
        const index_tree tree = tree_of(layout, directory);
        const std::uint64_t entry = layout.entry_of(directory);
        records.add(layout.record_pos(entry), directory_record(layout, directory, tree));
        for (std::uint64_t file = 0; file < layout.options.files; ++file) {
            records.add(layout.record_pos(layout.entry_of(directory, file)),
                        file_record(layout, directory, file));
        }
        for (std::size_t block = 0; block < tree.blocks.size(); ++block) {
            const index_node& node = tree.blocks[block];
            indexes.add(layout.index_lcn(directory, block) * cluster,
                        index_block(node.build(),
                                    {.vcn = block, .header_flags = node.end_sub_node ? 1u : 0u}));
        }
        if (layout.bitmap_clusters != 0) {
            const std::uint64_t lcn = layout.bitmaps_lcn + directory * layout.bitmap_clusters;
            bitmaps.add(lcn * cluster, index_bitmap(tree));
        }
    }
    records.flush();
    indexes.flush();
    bitmaps.flush();
}

}  // namespace

void save_many_files_volume(const std::string& path, const many_files_options& options) {
    many_layout layout{.options = options};
    base_volume(layout).save(path);
    const int fd = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
    if (fd < 0) {
        throw std::runtime_error("can't open " + path);
    }
    try {
        if (!layout.places.empty()) write_unused_records(fd, layout);
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

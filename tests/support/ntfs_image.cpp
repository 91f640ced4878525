#include "support/ntfs_image.h"

#include <algorithm>
#include <stdexcept>

#include "support/byte_writer.h"
#include "support/lznt1_compressor.h"
#include "support/volume_writer.h"

namespace support {

namespace {

constexpr std::uint64_t boot_size = 8192;  // of $Boot
constexpr std::uint64_t root = 5, first_free_entry = 24;

file_name_options as_directory(file_name_options options) {
    options.flags = (options.flags & ~flag::archive) | flag::directory;
    return options;
}

standard_information_options as_directory(standard_information_options options) {
    options.attributes &= ~flag::archive;
    return options;
}

}  // namespace

ntfs_image::ntfs_image(const ntfs_geometry& geometry) : m_geometry(geometry) {
    const std::uint64_t boot_clusters = clusters_for(boot_size);
    reserve(0, boot_clusters);
    const std::uint64_t per_record = std::max<std::uint64_t>(1, geometry.record / geometry.cluster);
    const std::uint64_t count =
        round_up(clusters_for(geometry.mft_records * geometry.record), per_record);
    const std::uint64_t lcn =
        geometry.mft_lcn != 0 ? geometry.mft_lcn : std::max<std::uint64_t>(4, boot_clusters);
    m_mft_runs = {{lcn, count}};
    reserve(lcn, count);
    m_next_lcn = lcn + count;
    add_system_entries();
}

void ntfs_image::add_system_entries() {
    constexpr std::uint32_t attributes = flag::hidden | flag::system;
    const std::u16string_view names[] = {u"$MFT",     u"$MFTMirr", u"$LogFile", u"$Volume",
                                         u"$AttrDef", u".",        u"$Bitmap",  u"$Boot",
                                         u"$BadClus", u"$Secure",  u"$UpCase",  u"$Extend"};
    for (std::uint64_t number = 0; number < std::size(names); ++number) {
        const bool is_directory = number == root || number == 11;
        const std::uint32_t kind = is_directory  ? flag::directory
                                   : number == 9 ? flag::index_view
                                                 : 0;
        const file_name_options options{.space = win32_and_dos, .flags = attributes | kind};
        entry(number)
            .standard_information({.attributes = attributes})
            .file_name(root, names[number], options);
        if (is_directory) {
            index(number);
        }
        if (number == root || m_geometry.list_system_files) {
            index(root).add_live(number, file_name_value(root, names[number], options));
        }
    }
    entry(9).flags(9);  // in use, has view indexes
    for (std::uint64_t number = 12; number < 16; ++number) {
        entry(number).standard_information({.attributes = attributes}).data("");
    }
}

record_builder& ntfs_image::entry(std::uint64_t number) {
    const auto found = m_entries.find(number);
    if (found != m_entries.end()) {
        return found->second;
    }
    cover_record(number);
    return m_entries
        .try_emplace(number, number, m_geometry.record, m_geometry.fixup_stride, m_geometry.cluster)
        .first->second;
}

std::uint64_t ntfs_image::reference(std::uint64_t number) const {
    const auto found = m_entries.find(number);
    return found != m_entries.end() ? found->second.reference()
                                    : file_reference(number, default_sequence(number));
}

std::uint64_t ntfs_image::next_free_entry() const {
    return std::max(first_free_entry, m_entries.empty() ? 0 : m_entries.rbegin()->first + 1);
}

record_builder& ntfs_image::file(std::uint64_t parent, std::u16string_view name,
                                 std::uint64_t number, const file_name_options& options,
                                 const standard_information_options& information) {
    number = number != 0 ? number : next_free_entry();
    if (has_entry(number)) {
        throw std::invalid_argument("support: entry " + std::to_string(number) + " is taken");
    }
    record_builder& made = entry(number).standard_information(information);
    link(number, parent, name, options);
    return made;
}

record_builder& ntfs_image::directory(std::uint64_t parent, std::u16string_view name,
                                      std::uint64_t number, const file_name_options& options,
                                      const standard_information_options& information) {
    record_builder& made =
        file(parent, name, number, as_directory(options), as_directory(information));
    index(made.number());
    return made;
}

ntfs_image& ntfs_image::link(std::uint64_t number, std::uint64_t parent, std::u16string_view name,
                             const file_name_options& options) {
    file_name_options complete = options;
    if (!complete.parent_sequence) {
        complete.parent_sequence = static_cast<std::uint16_t>(reference(parent) >> 48);
    }
    entry(number).file_name(parent, name, complete);
    index(parent).add_live(number, file_name_value(parent, name, complete));
    return *this;
}

directory_index& ntfs_image::index(std::uint64_t number) {
    const auto [found, is_new] = m_indexes.try_emplace(number);
    if (is_new) {
        entry(number).flags(3);
    }
    return found->second;
}

std::uint64_t ntfs_image::clusters_for(std::uint64_t size) const {
    return (size + m_geometry.cluster - 1) / m_geometry.cluster;
}

std::uint64_t ntfs_image::alloc(std::uint64_t count) {
    for (const auto& [lcn, size] : m_used) {  // in ascending order
        if (lcn < m_next_lcn + count && m_next_lcn < lcn + size) {
            m_next_lcn = lcn + size;
        }
    }
    const std::uint64_t first = m_next_lcn;
    reserve(first, count);
    m_next_lcn += count;
    return first;
}

ntfs_image& ntfs_image::leave_gap(std::uint64_t count) {
    m_next_lcn += count;
    return *this;
}

ntfs_image& ntfs_image::reserve(std::uint64_t lcn, std::uint64_t count) {
    std::uint64_t& size = m_used[lcn];
    size = std::max(size, count);
    return *this;
}

ntfs_image& ntfs_image::write_clusters(std::uint64_t lcn, std::span<const std::uint8_t> content) {
    m_content.put_bytes(lcn * m_geometry.cluster, content);
    return *this;
}

cluster_runs ntfs_image::store(std::span<const std::uint8_t> content, std::uint64_t pieces) {
    cluster_runs runs;
    std::uint64_t left = clusters_for(content.size());
    for (; pieces > 0 && left > 0; --pieces) {
        const std::uint64_t count = (left + pieces - 1) / pieces;
        if (!runs.empty()) {
            leave_gap(1);
        }
        runs.push_back({alloc(count), count});
        left -= count;
    }
    write_runs(runs, content);
    return runs;
}

ntfs_image& ntfs_image::write_runs(const cluster_runs& runs,
                                   std::span<const std::uint8_t> content) {
    for (const cluster_run& run : runs) {
        const auto size = static_cast<std::size_t>(
            std::min<std::uint64_t>(content.size(), run.count * m_geometry.cluster));
        if (run.lcn != hole) {
            write_clusters(run.lcn, content.first(size));
        }
        content = content.subspan(size);
    }
    return *this;
}

ntfs_image& ntfs_image::compressed_stream(record_builder& record, std::u16string_view name,
                                          std::span<const std::uint8_t> content,
                                          std::uint8_t unit) {
    const std::uint64_t unit_clusters = std::uint64_t{1} << unit;
    const auto unit_size = static_cast<std::size_t>(unit_clusters * m_geometry.cluster);
    cluster_runs runs;
    for (std::size_t at = 0; at < content.size(); at += unit_size) {
        const auto plain = content.subspan(at, std::min(unit_size, content.size() - at));
        const bytes packed = lznt1_compress(plain);
        const std::uint64_t packed_clusters = clusters_for(packed.size());
        if (std::all_of(plain.begin(), plain.end(), [](std::uint8_t b) { return b == 0; })) {
            runs.push_back({hole, unit_clusters});
        } else if (packed_clusters < unit_clusters) {
            runs.push_back({alloc(packed_clusters), packed_clusters});
            write_clusters(runs.back().lcn, packed);
            runs.push_back({hole, unit_clusters - packed_clusters});
        } else {
            runs.push_back({alloc(unit_clusters), unit_clusters});
            write_clusters(runs.back().lcn, plain);
        }
    }
    record.stream_runs(name, runs, {.real = content.size(), .unit = unit, .flags = 1});
    return *this;
}

ntfs_image& ntfs_image::mft_runs(const cluster_runs& runs) {
    for (const cluster_run& run : m_mft_runs) {
        m_used.erase(run.lcn);
    }
    m_mft_runs = runs;
    m_mft_fixed = true;
    for (const cluster_run& run : runs) {
        if (run.lcn != hole) {
            reserve(run.lcn, run.count);
        }
    }
    return *this;
}

void ntfs_image::cover_record(std::uint64_t number) {
    const std::uint64_t capacity = clusters_in(m_mft_runs) * m_geometry.cluster / m_geometry.record;
    if (number < capacity) {
        return;
    }
    if (m_mft_fixed) {
        throw std::out_of_range("support: entry " + std::to_string(number) + " is not in $MFT");
    }
    const std::uint64_t more = std::max<std::uint64_t>(64, number + 1 - capacity);
    const std::uint64_t per_record =
        std::max<std::uint64_t>(1, m_geometry.record / m_geometry.cluster);
    const std::uint64_t count = round_up(clusters_for(more * m_geometry.record), per_record);
    const std::uint64_t lcn = alloc(count);
    if (m_mft_runs.back().lcn + m_mft_runs.back().count == lcn) {
        m_mft_runs.back().count += count;
    } else {
        m_mft_runs.push_back({lcn, count});
    }
}

std::uint64_t ntfs_image::record_pos(std::uint64_t number) const {
    const std::uint64_t offset = number * m_geometry.record;
    std::uint64_t vcn = offset / m_geometry.cluster;
    for (const cluster_run& run : m_mft_runs) {
        if (vcn < run.count) {
            if (run.lcn == hole) {
                throw std::logic_error("support: entry " + std::to_string(number) + " is a hole");
            }
            return (run.lcn + vcn) * m_geometry.cluster + offset % m_geometry.cluster;
        }
        vcn -= run.count;
    }
    throw std::out_of_range("support: entry " + std::to_string(number) + " is not in $MFT");
}

sds_stream& ntfs_image::security() { return m_security; }

ntfs_image& ntfs_image::put(std::uint64_t at, std::uint64_t value, std::size_t width) {
    bytes content;
    append(content, value, width);
    return put_bytes(at, content);
}

ntfs_image& ntfs_image::put_bytes(std::uint64_t at, std::span<const std::uint8_t> content) {
    m_patches.push_back({at, bytes(content.begin(), content.end())});
    return *this;
}

ntfs_image& ntfs_image::truncate(std::uint64_t size) {
    m_truncated = size;
    return *this;
}

ntfs_image& ntfs_image::make_attribute_list(std::uint64_t number, bool in_clusters) {
    std::vector<list_entry> entries = entry(number).list_entries();
    for (const auto& [other, record] : m_entries) {
        if (other != number && (record.base_reference() & 0xFFFFFFFFFFFF) == number &&
            record.base_reference() != 0) {
            const std::vector<list_entry> more = record.list_entries();
            entries.insert(entries.end(), more.begin(), more.end());
        }
    }
    std::stable_sort(entries.begin(), entries.end(), [](const list_entry& a, const list_entry& b) {
        return a.type != b.type   ? a.type < b.type
               : a.name != b.name ? a.name < b.name
                                  : a.start_vcn < b.start_vcn;
    });
    entry(number).remove(type::attribute_list);
    if (in_clusters) {
        const bytes value = attribute_list_value(entries);
        entry(number).attribute_list_runs(store(value), {.real = value.size()});
    } else {
        entry(number).attribute_list(entries);
    }
    return *this;
}

byte_image ntfs_image::build() const {
    ntfs_image work = *this;  // building adds attributes and allocates clusters
    return volume_writer(work).write();
}

std::string ntfs_image::save(const std::string& path) const { return build().save(path); }

}  // namespace support

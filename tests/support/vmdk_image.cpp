#include "support/vmdk_image.h"

#include <algorithm>
#include <cstdio>

#include "support/byte_writer.h"

namespace support {

namespace {

constexpr std::uint64_t sector = 512;
constexpr std::uint64_t descriptor_at = 1;  // sectors

std::uint64_t sectors_for(std::uint64_t size) { return (size + sector - 1) / sector; }

std::string hex8(std::uint32_t value) {
    char text[9];
    std::snprintf(text, sizeof text, "%08x", value);
    return text;
}

std::string last_component(const std::string& path) {
    return path.substr(path.find_last_of('/') + 1);
}

}  // namespace

// The layout of the file, in sectors.
struct vmdk_image::layout {
    std::uint64_t tables = 0;         // number of tables
    std::uint64_t table_sectors = 0;  // of each
    std::uint64_t redundant_directory = 0, directory = 0, overhead = 0;
    std::map<std::uint64_t, std::uint64_t> grains;  // grain to sector

    std::uint64_t directory_sectors() const { return sectors_for(4 * tables); }
};

vmdk_image::vmdk_image(const vmdk_options& options) : m_options(options) {}

vmdk_image& vmdk_image::content(const byte_image& disk) {
    const std::uint64_t grain_bytes = m_options.grain_size * sector;
    for (std::uint64_t at = 0; at < disk.size(); at += grain_bytes) {
        const bytes part = disk.get_bytes(at, static_cast<std::size_t>(grain_bytes));
        if (std::any_of(part.begin(), part.end(), [](std::uint8_t b) { return b != 0; })) {
            m_grains[at / grain_bytes] = part;
        }
    }
    m_content_sectors = std::max(m_content_sectors, sectors_for(disk.size()));
    return *this;
}

vmdk_image& vmdk_image::grain(std::uint64_t number, std::span<const std::uint8_t> content) {
    bytes& stored = m_grains[number];
    stored.assign(content.begin(), content.end());
    stored.resize(static_cast<std::size_t>(m_options.grain_size * sector));
    m_content_sectors = std::max(m_content_sectors, (number + 1) * m_options.grain_size);
    return *this;
}

vmdk_image& vmdk_image::grain_entry(std::uint64_t number, std::uint32_t value) {
    m_entries[number] = value;
    m_content_sectors = std::max(m_content_sectors, (number + 1) * m_options.grain_size);
    return *this;
}

vmdk_image& vmdk_image::without_table(std::uint64_t table) {
    m_missing_tables.push_back(table);
    return *this;
}

vmdk_image& vmdk_image::cid(std::uint32_t value) {
    m_cid = value;
    return *this;
}
vmdk_image& vmdk_image::parent(std::uint32_t parent_cid, std::string_view file_name_hint) {
    m_parent_cid = parent_cid;
    m_parent_hint = file_name_hint;
    return *this;
}
vmdk_image& vmdk_image::create_type(std::string_view value) {
    m_create_type = value;
    return *this;
}
vmdk_image& vmdk_image::extent_line(std::string_view line) {
    m_extent_line = line;
    return *this;
}
vmdk_image& vmdk_image::line(std::string_view text) {
    m_lines.emplace_back(text);
    return *this;
}
vmdk_image& vmdk_image::descriptor(std::string_view text) {
    m_descriptor = text;
    return *this;
}

std::string vmdk_image::descriptor() const {
    if (m_descriptor) {
        return *m_descriptor;
    }
    std::string text = "# Disk DescriptorFile\nversion=1\n";
    text += "CID=" + hex8(m_cid) + "\nparentCID=" + hex8(m_parent_cid) + "\n";
    text += "createType=\"" + m_create_type + "\"\n";
    if (!m_parent_hint.empty()) {
        text += "parentFileNameHint=\"" + m_parent_hint + "\"\n";
    }
    for (const std::string& line : m_lines) {
        text += line + "\n";
    }
    text += "\n# Extent description\n";
    text += m_extent_line.value_or("RW " + std::to_string(capacity()) + " SPARSE \"disk.vmdk\"");
    text += "\n\n# The Disk Data Base\n#DDB\n\nddb.adapterType = \"ide\"\n";
    text += "ddb.geometry.cylinders = \"" + std::to_string(capacity() / (16 * 63) + 1) + "\"\n";
    text += "ddb.geometry.heads = \"16\"\nddb.geometry.sectors = \"63\"\n";
    return text;
}

std::uint64_t vmdk_image::capacity() const {
    return m_options.capacity != 0 ? m_options.capacity
                                   : round_up(m_content_sectors, m_options.grain_size);
}

vmdk_image::layout vmdk_image::lay_out() const {
    layout result;
    const std::uint64_t covered = m_options.grain_size * m_options.table_entries;
    result.tables = std::max<std::uint64_t>(1, (capacity() + covered - 1) / covered);
    result.table_sectors = sectors_for(std::uint64_t{4} * m_options.table_entries);
    const std::uint64_t one_set = result.directory_sectors() + result.tables * result.table_sectors;
    const std::uint64_t start = descriptor_at + m_options.descriptor_sectors;
    result.redundant_directory = m_options.redundant ? start : 0;
    result.directory = start + (m_options.redundant ? one_set : 0);
    result.overhead = round_up(result.directory + one_set, m_options.grain_size);

    std::uint64_t next =
        m_options.first_grain_sector != 0 ? m_options.first_grain_sector : result.overhead;
    const auto place = [&](std::uint64_t number) {
        if (m_entries.count(number) == 0) {
            result.grains[number] = next;
            next += m_options.grain_size;
        }
    };
    if (m_options.shuffle_grains) {
        for (auto grain = m_grains.rbegin(); grain != m_grains.rend(); ++grain) {
            place(grain->first);
        }
    } else {
        for (const auto& [number, content] : m_grains) {
            place(number);
        }
    }
    return result;
}

std::uint64_t vmdk_image::directory_sector() const { return lay_out().directory; }

std::uint64_t vmdk_image::table_sector(std::uint64_t table) const {
    const layout where = lay_out();
    return where.directory + where.directory_sectors() + table * where.table_sectors;
}

std::uint64_t vmdk_image::grain_sector(std::uint64_t number) const {
    const layout where = lay_out();
    const auto found = where.grains.find(number);
    return found == where.grains.end() ? 0 : found->second;
}

vmdk_image& vmdk_image::put(std::uint64_t at, std::uint64_t value, std::size_t width) {
    bytes content;
    append(content, value, width);
    m_patches.push_back({at, content});
    return *this;
}

vmdk_image& vmdk_image::put_text(std::uint64_t at, std::string_view text) {
    m_patches.push_back({at, as_bytes(text)});
    return *this;
}

void vmdk_image::put_header(byte_image& file, const layout& where) const {
    file.put_text(0, "KDMV").put(4, m_options.version, 4).put(8, m_options.flags, 4);
    file.put(12, capacity(), 8).put(20, m_options.grain_size, 8);
    file.put(28, descriptor_at, 8).put(36, m_options.descriptor_sectors, 8);
    file.put(44, m_options.table_entries, 4);
    file.put(48, where.redundant_directory, 8).put(56, where.directory, 8);
    file.put(64, where.overhead, 8).put_text(73, "\n \r\n");
}

// Writes a directory at sector `at`, followed by its tables.
void vmdk_image::put_tables(byte_image& file, const layout& where, std::uint64_t at) const {
    const std::uint64_t first_table = at + where.directory_sectors();
    for (std::uint64_t table = 0; table < where.tables; ++table) {
        const bool missing =
            std::count(m_missing_tables.begin(), m_missing_tables.end(), table) != 0;
        const std::uint64_t place = missing ? 0 : first_table + table * where.table_sectors;
        file.put(at * sector + 4 * table, place, 4);
    }
    const auto put_entry = [&](std::uint64_t grain, std::uint64_t value) {
        const std::uint64_t table = grain / m_options.table_entries;
        const std::uint64_t slot = grain % m_options.table_entries;
        file.put((first_table + table * where.table_sectors) * sector + 4 * slot, value, 4);
    };
    for (const auto& [grain, place] : where.grains) {
        put_entry(grain, place);
    }
    for (const auto& [grain, value] : m_entries) {
        put_entry(grain, value);
    }
}

byte_image vmdk_image::build() const {
    const layout where = lay_out();
    byte_image file(where.overhead * sector);
    put_header(file, where);
    const std::string text = descriptor();
    file.put_text(descriptor_at * sector,
                  std::string_view(text).substr(0, m_options.descriptor_sectors * sector));
    if (m_options.redundant) {
        put_tables(file, where, where.redundant_directory);
    }
    put_tables(file, where, where.directory);
    for (const auto& [grain, place] : where.grains) {
        file.put_bytes(place * sector, m_grains.at(grain));
    }
    for (const auto& [at, content] : m_patches) {
        file.put_bytes(at, content);
    }
    return file;
}

std::string vmdk_image::save(const std::string& path) const {
    if (m_extent_line || m_descriptor) {
        return build().save(path);
    }
    vmdk_image named = *this;
    named.extent_line("RW " + std::to_string(capacity()) + " SPARSE \"" + last_component(path) +
                      "\"");
    return named.build().save(path);
}

std::vector<std::string> save_vmdk_chain(const std::string& directory, const std::string& stem,
                                         std::vector<vmdk_image> base_and_deltas) {
    std::vector<std::string> paths;
    for (std::size_t i = 0; i < base_and_deltas.size(); ++i) {
        char suffix[16] = "";
        if (i > 0) {
            std::snprintf(suffix, sizeof suffix, "-%06u", static_cast<unsigned>(i % 1000000));
            base_and_deltas[i].parent(0x10000000u + static_cast<std::uint32_t>(i) - 1,
                                      last_component(paths.back()));
        }
        base_and_deltas[i].cid(0x10000000u + static_cast<std::uint32_t>(i));
        paths.push_back(base_and_deltas[i].save(directory + "/" + stem + suffix + ".vmdk"));
    }
    return paths;
}

}  // namespace support

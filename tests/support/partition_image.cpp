#include "support/partition_image.h"

#include <algorithm>
#include <span>
#include <stdexcept>

#include "support/byte_writer.h"

namespace support {

namespace {

constexpr std::uint64_t table_at = 446, slot_size = 16;
constexpr std::uint64_t gpt_header_size = 92;

unsigned hex_digit(char c) {
    if (c >= '0' && c <= '9') {
        return static_cast<unsigned>(c - '0');
    }
    const char lower = static_cast<char>(c | 0x20);
    if (lower < 'a' || lower > 'f') {
        throw std::invalid_argument("support: not a GUID");
    }
    return static_cast<unsigned>(lower - 'a') + 10;
}

// Returns a unique GUID for the `index`-th partition, or for the disk.
guid made_guid(std::uint8_t kind, std::size_t index) {
    guid result{};
    result.fill(kind);
    result[15] = static_cast<std::uint8_t>(index + 1);
    return result;
}

bytes gpt_entries(const std::vector<gpt_slot>& slots, const gpt_options& options) {
    byte_image entries(std::uint64_t{options.entry_count} * options.entry_size);
    for (std::size_t i = 0; i < slots.size(); ++i) {
        const gpt_slot& slot = slots[i];
        byte_image entry;
        entry.put_bytes(0, parse_guid(slot.type));
        entry.put_bytes(16, made_guid(0xA0, i));
        entry.put(32, slot.first, 8).put(40, slot.last, 8).put(48, slot.attributes, 8);
        entry.put_utf16(56, slot.name);
        entry.resize(std::min<std::uint64_t>(std::max<std::uint64_t>(entry.size(), 128),
                                             options.entry_size));
        entries.put_image(i * options.entry_size, entry);
    }
    return entries.bytes();
}

// Writes one of the two headers; `other` is the LBA of its counterpart.
void put_gpt_header(byte_image& disk, const gpt_options& options, std::uint64_t lba,
                    std::uint64_t other, std::uint64_t entries_lba, std::uint64_t last_lba,
                    const bytes& entries) {
    byte_image header(gpt_header_size);
    header.put_text(0, options.signature.substr(0, 8)).put(8, 0x10000, 4);
    header.put(12, gpt_header_size, 4).put(24, lba, 8).put(32, other, 8);
    const std::uint64_t table_sectors = (entries.size() + options.sector - 1) / options.sector;
    header.put(40, options.entries_lba + table_sectors, 8);
    header.put(48, last_lba > table_sectors ? last_lba - table_sectors - 1 : 0, 8);
    header.put_bytes(56, made_guid(0xD0, 0)).put(72, entries_lba, 8);
    header.put(80, options.entry_count, 4).put(84, options.entry_size, 4);
    header.put(88, crc32(entries), 4);
    header.put(16, crc32(header.bytes()), 4);
    disk.put_image(lba * options.sector, header);
    disk.put_bytes(entries_lba * options.sector, entries);
}

}  // namespace

void put_boot_record(byte_image& disk, std::uint64_t at, const std::vector<mbr_slot>& slots,
                     std::uint64_t signature_at) {
    for (std::size_t i = 0; i < std::min<std::size_t>(slots.size(), 4); ++i) {
        const std::uint64_t slot_at = at + table_at + slot_size * i;
        disk.put(slot_at, slots[i].state, 1).put(slot_at + 4, slots[i].type, 1);
        disk.put(slot_at + 8, slots[i].first, 4).put(slot_at + 12, slots[i].count, 4);
    }
    disk.put(at + signature_at, 0xAA55, 2);
}

void put_extended_chain(byte_image& disk, std::uint32_t base,
                        const std::vector<logical_volume>& volumes, std::uint32_t sector,
                        std::uint8_t link_type) {
    for (std::size_t i = 0; i < volumes.size(); ++i) {
        const logical_volume& volume = volumes[i];
        std::vector<mbr_slot> slots = {{volume.type, volume.first - volume.record, volume.count}};
        if (i + 1 < volumes.size()) {
            const logical_volume& next = volumes[i + 1];
            slots.push_back({link_type, next.record - base, next.first - next.record + next.count});
        }
        put_boot_record(disk, std::uint64_t{volume.record} * sector, slots);
    }
}

guid parse_guid(std::string_view text) {
    bytes raw;
    std::string digits;
    for (const char c : text) {
        if (c != '-') {
            digits.push_back(c);
        }
    }
    if (digits.size() != 32) {
        throw std::invalid_argument("support: not a GUID");
    }
    for (std::size_t i = 0; i < 32; i += 2) {
        raw.push_back(
            static_cast<std::uint8_t>(hex_digit(digits[i]) << 4 | hex_digit(digits[i + 1])));
    }
    constexpr std::size_t stored_order[16] = {3, 2, 1, 0, 5, 4, 7, 6, 8, 9, 10, 11, 12, 13, 14, 15};
    guid result{};
    for (std::size_t i = 0; i < 16; ++i) {
        result[i] = raw[stored_order[i]];
    }
    return result;
}

std::uint32_t crc32(std::span<const std::uint8_t> content) {
    std::uint32_t crc = ~0u;
    for (const std::uint8_t b : content) {
        crc ^= b;
        for (int bit = 0; bit < 8; ++bit) {
            crc = crc >> 1 ^ (crc & 1 ? 0xEDB88320u : 0u);
        }
    }
    return ~crc;
}

void put_gpt(byte_image& disk, const std::vector<gpt_slot>& slots, const gpt_options& options) {
    const std::uint64_t sectors = disk.size() / options.sector;
    const std::uint64_t last_lba = sectors == 0 ? 0 : sectors - 1;
    if (options.protective) {
        const auto covered = static_cast<std::uint32_t>(std::min<std::uint64_t>(last_lba, ~0u));
        put_boot_record(disk, 0, {{0xEE, 1, std::max(covered, 1u)}});
    }
    const bytes entries = gpt_entries(slots, options);
    put_gpt_header(disk, options, options.header_lba, last_lba, options.entries_lba, last_lba,
                   entries);
    const std::uint64_t table_sectors = (entries.size() + options.sector - 1) / options.sector;
    if (options.backup && last_lba > options.entries_lba + 2 * table_sectors) {
        put_gpt_header(disk, options, last_lba, options.header_lba, last_lba - table_sectors,
                       last_lba, entries);
    }
}

void embed(byte_image& disk, std::uint64_t at, const byte_image& volume) {
    disk.put_image(at, volume);
}

}  // namespace support

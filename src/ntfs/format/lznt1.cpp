#include "ntfs/format/lznt1.h"

#include <algorithm>
#include <array>
#include <bit>

namespace {

constexpr std::int32_t chunk_plain_size = 4096;

// A back reference: a copy of the `length` bytes that start `displacement` bytes back.
struct back_reference {
    std::int32_t displacement = 0;
    std::int32_t length = 0;
};

// Splits a token. The number of its bits that are displacement grows with the output position: 4 up
// to position 16, 5 up to 32, ... Returns false if the displacement is past the start of the
// output.
bool split_token(std::uint16_t token, std::int32_t position, back_reference& out) {
    if (position == 0) return false;
    const auto extra_bits = std::bit_width(static_cast<std::uint32_t>(position - 1) >> 4);
    out.displacement = (token >> (12 - extra_bits)) + 1;
    out.length = (token & (4095 >> extra_bits)) + 3;
    return out.displacement <= position;
}

// The output of one chunk.
struct chunk_output {
    std::span<std::uint8_t> target;
    std::int32_t position = 0;

    bool full() const { return static_cast<std::size_t>(position) >= target.size(); }
    void push(std::uint8_t byte) { target[static_cast<std::size_t>(position++)] = byte; }

    // Copies byte by byte, because source and target may overlap.
    void repeat(const back_reference& reference) {
        for (std::int32_t i = 0; i < reference.length && !full(); ++i) {
            push(target[static_cast<std::size_t>(position - reference.displacement)]);
        }
    }
};

// Expands a chunk until all its bytes are read or `out` is full. Returns false at a token that
// points before the start of the chunk.
bool expand(ql::bytes source, std::size_t source_size, chunk_output& out) {
    std::size_t at = 0;
    do {
        const unsigned flags = ql::le8(source, at++);
        for (unsigned item = 0; item < 8; ++item) {
            if (at >= source_size) return true;
            if ((flags >> item & 1u) != 0) {
                back_reference reference;
                if (!split_token(ql::le16(source, at), out.position, reference)) return false;
                out.repeat(reference);
                at += 2;
            }
            if (out.full()) return true;
            if ((flags >> item & 1u) == 0) out.push(ql::le8(source, at++));
        }
    } while (at < source_size && !out.full());
    return true;
}

// Writes the plain bytes of a unit, at most `remaining` in all.
struct unit_output {
    std::ostream& stream;
    std::uint64_t remaining;
    std::uint32_t& written;

    // Writes `count` bytes, or as many as remain: those of `content`, then zeros. Returns the
    // number of bytes written.
    std::uint64_t write(ql::bytes content, std::uint64_t count) {
        count = std::min(count, remaining);
        const ql::bytes part = ql::clip(content, 0, count);
        stream.write(reinterpret_cast<const char*>(part.data()),
                     static_cast<std::streamsize>(part.size()));
        for (std::uint64_t i = part.size(); i < count; ++i)
            stream.put('\0');
        remaining -= count;
        written += static_cast<std::uint32_t>(count);
        return count;
    }
};

// Header of a chunk. Bits 0 to 11: stored length, with the header, minus 3. Bit 15: compressed.
struct chunk_header {
    std::uint16_t raw;

    std::uint32_t length() const { return raw & 0x0fffu; }
    bool compressed() const { return (raw & 0x8000u) != 0; }
    bool is_gap() const { return !compressed() && length() == 0; }
    bool is_plain() const { return !compressed() && length() == 0x0fffu; }
};

bool ends_in_zero_chunk(ql::bytes unit) {
    const std::size_t count = std::min<std::size_t>(unit.size(), chunk_plain_size);
    const ql::bytes tail = unit.last(count);
    return std::all_of(tail.begin(), tail.end(), [](std::uint8_t byte) { return byte == 0; });
}

bool decompress_chunks(unit_output& out, ql::bytes unit) {
    std::array<std::uint8_t, chunk_plain_size> plain{};
    for (std::size_t at = 0; at < unit.size();) {
        const chunk_header header{ql::le16(unit, at)};
        if (header.is_gap()) {
            at = (at / chunk_plain_size + 1) * chunk_plain_size;
            continue;
        }
        if (header.is_plain()) {
            at += 2 + out.write(ql::clip(unit, at + 2), chunk_plain_size);
            continue;
        }
        std::int32_t room = chunk_plain_size;
        if (header.compressed() &&
            lznt1_chunk(unit.subspan(at + 2), static_cast<std::int32_t>(header.length() + 1), plain,
                        room, chunk_plain_size)) {
            out.write(plain, chunk_plain_size);
            at += header.length() + 3;
            continue;
        }
        // A compressed unit ends in zeros. Any other unit is not compressed: write it unchanged.
        if (ends_in_zero_chunk(unit)) return false;
        out.write(unit, unit.size());
        return true;
    }
    return true;
}

}  // namespace

bool lznt1_chunk(ql::bytes source, std::int32_t source_size, std::span<std::uint8_t> target,
                 std::int32_t& target_size, std::int32_t plain_size) {
    constexpr std::int32_t largest_plain_size = 16384;
    constexpr std::int32_t short_source_size = 9;
    if (source.data() == nullptr || plain_size > largest_plain_size) return false;
    if (target.empty() || target_size <= 0) return false;

    if (source_size < short_source_size && plain_size > 0) {
        const auto count = std::min(target.size(), static_cast<std::size_t>(plain_size));
        std::fill_n(target.begin(), count, std::uint8_t{0});
    }
    const auto room = std::min(target.size(), static_cast<std::size_t>(target_size));
    chunk_output out{target.first(room)};
    const auto size = static_cast<std::size_t>(std::max(source_size, 0));
    const bool sound = expand(source, size, out);
    target_size = sound ? plain_size : 0;
    return sound;
}

bool decompress_unit(std::ostream& out, std::uint32_t& written, ql::bytes unit,
                     std::uint64_t remaining, std::uint64_t status) {
    written = 0;
    if (unit.empty() || remaining == 0) return false;
    if ((status & read_status::to_stream) == 0) return false;

    unit_output plain{out, remaining, written};
    const bool starts_plain_chunk = unit[0] == 0xFF && ql::le8(unit, 1) == 0x3F;
    if (starts_plain_chunk || (status & read_status::sparse_seen) != 0) {
        return decompress_chunks(plain, unit);
    }
    plain.write(unit, unit.size());
    return true;
}

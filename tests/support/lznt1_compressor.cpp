#include "support/lznt1_compressor.h"

#include <algorithm>

#include "support/byte_writer.h"

namespace support {

namespace {

constexpr std::size_t chunk_size = 4096;

// A token's 16 bits are shared between displacement (high) and length (low). How many go to the
// displacement depends on the place in the chunk: 4 at first, one more whenever the place passes
// 16, 32, 64 and so on.
unsigned displacement_bits(std::size_t place) {
    unsigned bits = 4;
    while (place > std::size_t{1} << bits) {
        ++bits;
    }
    return bits;
}

struct match {
    std::size_t distance = 0, length = 0;
};

// The longest earlier occurrence of what stands at `place`; it may overlap its own copy.
match longest_match(std::span<const std::uint8_t> chunk, std::size_t place) {
    const unsigned bits = displacement_bits(place);
    const std::size_t farthest = std::min(place, std::size_t{1} << bits);
    const std::size_t longest =
        std::min(chunk.size() - place, (std::size_t{1} << (16 - bits)) - 1 + 3);
    match best;
    for (std::size_t distance = 1; distance <= farthest && best.length < longest; ++distance) {
        std::size_t length = 0;
        while (length < longest && chunk[place + length] == chunk[place + length - distance]) {
            ++length;
        }
        if (length > best.length) {
            best = {distance, length};
        }
    }
    return best;
}

// The groups of a chunk: each a flag byte, then eight literals or tokens.
bytes tokens_of(std::span<const std::uint8_t> chunk, bool with_matches) {
    bytes out;
    std::size_t place = 0;
    while (place < chunk.size()) {
        const std::size_t flags_at = out.size();
        out.push_back(0);
        for (unsigned item = 0; item < 8 && place < chunk.size(); ++item) {
            const match found = with_matches && place > 0 ? longest_match(chunk, place) : match{};
            if (found.length < 3) {
                out.push_back(chunk[place++]);
                continue;
            }
            out[flags_at] = static_cast<std::uint8_t>(out[flags_at] | 1u << item);
            const unsigned length_bits = 16 - displacement_bits(place);
            append(out, (found.distance - 1) << length_bits | (found.length - 3), 2);
            place += found.length;
        }
    }
    return out;
}

void append_stored(bytes& out, std::span<const std::uint8_t> chunk) {
    append(out, 0x3000 | (chunk.size() + 2 - 3), 2);
    out.insert(out.end(), chunk.begin(), chunk.end());
}

void append_compressed(bytes& out, const bytes& tokens) {
    append(out, 0xB000 | (tokens.size() + 2 - 3), 2);
    out.insert(out.end(), tokens.begin(), tokens.end());
}

template <typename Append>
bytes each_chunk(std::span<const std::uint8_t> content, Append append) {
    bytes out;
    for (std::size_t at = 0; at < content.size(); at += chunk_size) {
        append(out, content.subspan(at, std::min(chunk_size, content.size() - at)));
    }
    return out;
}

}  // namespace

bytes lznt1_compress(std::span<const std::uint8_t> content) {
    return each_chunk(content, [](bytes& out, std::span<const std::uint8_t> chunk) {
        const bytes tokens = tokens_of(chunk, true);
        if (tokens.size() < chunk.size()) {
            append_compressed(out, tokens);
        } else {
            append_stored(out, chunk);
        }
    });
}

bytes lznt1_literals(std::span<const std::uint8_t> content) {
    // The header can tell of 4095 + 1 bytes of tokens; 4096 literals with their flag bytes are
    // more. Chunks of 3640 literals and 455 flag bytes fill it.
    bytes out;
    for (std::size_t at = 0; at < content.size(); at += 3640) {
        append_compressed(
            out, tokens_of(content.subspan(at, std::min<std::size_t>(3640, content.size() - at)),
                           false));
    }
    return out;
}

bytes lznt1_stored(std::span<const std::uint8_t> content) {
    return each_chunk(content, append_stored);
}

}  // namespace support

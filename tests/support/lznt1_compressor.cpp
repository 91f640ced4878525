#include "support/lznt1_compressor.h"

#include <algorithm>

#include "support/byte_writer.h"

namespace support {

namespace {

constexpr std::size_t chunk_size = 4096;

// Returns the number of displacement bits in a token. The 16 bits are displacement (high) and
// length (low). The number depends on the position in the chunk: 4 at first, one more whenever the
// position exceeds 16, 32, 64 and so on.
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

// Finds earlier occurrences within a chunk. Positions must be passed in ascending order.
class match_finder {
public:
    explicit match_finder(std::span<const std::uint8_t> chunk)
        : m_chunk(chunk), m_latest(65536, nowhere), m_earlier(chunk.size(), nowhere) {}

    // Returns the longest earlier occurrence of the bytes at `place`; it may overlap them.
    match longest(std::size_t place) {
        learn(place);
        const unsigned bits = displacement_bits(place);
        const std::size_t farthest = std::size_t{1} << bits;
        const std::size_t longest =
            std::min(m_chunk.size() - place, (std::size_t{1} << (16 - bits)) - 1 + 3);
        match best;
        std::size_t at = m_chunk.size() - place < 3 ? nowhere : m_latest[first_two(place)];
        for (; at != nowhere && place - at <= farthest; at = m_earlier[at]) {
            const auto there = m_chunk.begin() + static_cast<std::ptrdiff_t>(at);
            const auto here = m_chunk.begin() + static_cast<std::ptrdiff_t>(place);
            const auto end = here + static_cast<std::ptrdiff_t>(longest);
            const auto length =
                static_cast<std::size_t>(std::mismatch(here, end, there).first - here);
            if (length > best.length) {
                best = {place - at, length};
            }
        }
        return best;
    }

private:
    static constexpr std::size_t nowhere = ~std::size_t{0};

    std::size_t first_two(std::size_t place) const {
        return static_cast<std::size_t>(m_chunk[place] << 8 | m_chunk[place + 1]);
    }

    // Chains all positions before `place` by their first two bytes, the latest one first.
    void learn(std::size_t place) {
        for (; m_learnt < place && m_learnt + 1 < m_chunk.size(); ++m_learnt) {
            std::size_t& latest = m_latest[first_two(m_learnt)];
            m_earlier[m_learnt] = latest;
            latest = m_learnt;
        }
    }

    std::span<const std::uint8_t> m_chunk;
    std::vector<std::size_t> m_latest, m_earlier;
    std::size_t m_learnt = 0;
};

// Returns the groups of a chunk: each is a flag byte, then eight literals or tokens.
bytes tokens_of(std::span<const std::uint8_t> chunk, bool with_matches) {
    bytes out;
    match_finder finder(chunk);
    std::size_t place = 0;
    while (place < chunk.size()) {
        const std::size_t flags_at = out.size();
        out.push_back(0);
        for (unsigned item = 0; item < 8 && place < chunk.size(); ++item) {
            const match found = with_matches ? finder.longest(place) : match{};
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
    // The header can describe at most 4095 + 1 bytes of tokens; 4096 literals with their flag bytes
    // need more. 3640 literals and 455 flag bytes are just below the maximum.
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

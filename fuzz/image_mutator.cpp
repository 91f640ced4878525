// A mutator for whole images, which are mostly zeros. It changes fields in parts that are not zero,
// and copies whole records. Half of the mutations are libFuzzer's own.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <random>
#include <span>

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t max_size);

namespace {

constexpr std::size_t block_size = 512;
constexpr std::size_t record_size = 1024;

using random_source = std::minstd_rand;
using image = std::span<std::uint8_t>;

std::size_t below(random_source& random, std::size_t limit) {
    return limit == 0 ? 0 : random() % limit;
}

// Returns an offset near a byte that is not zero, or any offset if a few tries find none.
std::size_t field_place(image bytes, random_source& random) {
    std::size_t at = 0;
    for (int attempt = 0; attempt < 64; ++attempt) {
        at = below(random, bytes.size());
        if (bytes[at] != 0) break;
    }
    const std::size_t shifted = at + below(random, 5);
    return std::min(shifted < 2 ? 0 : shifted - 2, bytes.size() - 1);
}

void change_field(image bytes, random_source& random) {
    constexpr std::uint64_t values[] = {
        0,          1,          2,           5,          24,          25,      0x10,
        0x30,       0x42,       0x80,        0x90,       0xA0,        0xFF,    0x100,
        0x400,      0x1000,     0x7FFF,      0x8000,     0xFFFF,      0x10000, 0x7FFFFFFF,
        0x80000000, 0xFFFFFFFF, 0x100000000, ~0ull >> 1, ~0ull << 63, ~0ull};
    const std::size_t at = field_place(bytes, random);
    const std::size_t width = std::min(std::size_t{1} << below(random, 4), bytes.size() - at);
    const bool adds = below(random, 3) == 0;
    std::uint64_t value = 0;
    std::memcpy(&value, &bytes[at], width);
    value = adds ? value + below(random, 33) - 16 : values[below(random, std::size(values))];
    std::memcpy(&bytes[at], &value, width);
}

// Copies a record, or part of one, to another offset.
void copy_piece(image bytes, random_source& random) {
    const std::size_t unit = below(random, 2) == 0 ? record_size : 8;
    const std::size_t most = unit == record_size ? record_size : 16 * unit;
    const std::size_t from = field_place(bytes, random) / unit * unit;
    const std::size_t to = field_place(bytes, random) / unit * unit;
    const std::size_t size = std::min({most, bytes.size() - from, bytes.size() - to});
    std::memmove(&bytes[to], &bytes[from], size);
}

}  // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size,
                                               std::size_t max_size, unsigned int seed) {
    constexpr std::size_t options_size = 6;
    random_source random(seed);
    if (size < block_size || below(random, 4) == 0) return LLVMFuzzerMutate(data, size, max_size);
    if (below(random, 4) == 0) {
        LLVMFuzzerMutate(data, options_size, options_size);
        return size;
    }
    const image bytes(data + options_size, size - options_size);
    for (std::size_t left = 1 + below(random, 4); left > 0; --left) {
        if (below(random, 8) == 0) {
            copy_piece(bytes, random);
        } else {
            change_field(bytes, random);
        }
    }
    return size;
}

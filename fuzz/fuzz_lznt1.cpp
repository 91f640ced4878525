// LZNT1: one chunk with arbitrary sizes, and whole units with any read status.
//
// Input: u8 action, u64 remaining bytes (at most 1 MiB), u16 plain size, u16 capacity, u16 source
// size, then the compressed bytes.
#include <sstream>

#include "fuzz_support.h"
#include "ntfs/format/lznt1.h"

namespace {

// Units of valid volumes have at most 1 MiB.
constexpr std::uint64_t largest_unit = 1 << 20;

void expand_unit(fuzz::bytes unit, std::uint64_t remaining, std::uint64_t status) {
    std::ostringstream plain;
    std::uint32_t written = 0;
    const bool done = decompress_unit(plain, written, unit, remaining, status);
    fuzz::require(written <= remaining, "a unit never gives more than was asked for");
    fuzz::require(plain.view().size() == written, "what is counted is what was written");
    if ((status & read_status::to_stream) == 0)
        fuzz::require(!done && written == 0, "nothing is written without the stream bit");
}

void expand_chunk(fuzz::bytes source, std::int32_t source_size, std::size_t room,
                  std::int32_t plain_size) {
    std::vector<std::uint8_t> target(room, 0xA5);
    auto target_size = static_cast<std::int32_t>(room);
    const bool done = lznt1_chunk(source, source_size, target, target_size, plain_size);
    if (done) fuzz::require(target_size == plain_size, "a sound chunk has the size asked for");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::input in(data, size);
    const std::uint8_t what = in.u8();
    const std::uint64_t remaining = in.u64() % (largest_unit + 1);
    const auto plain_size = static_cast<std::int16_t>(in.u16());
    const std::uint16_t room = in.u16();
    const auto source_size = static_cast<std::int16_t>(in.u16());
    const fuzz::bytes packed = in.rest();

    if ((what & 1) != 0) {
        expand_chunk(packed, source_size, room, plain_size);
        expand_chunk(packed, static_cast<std::int32_t>(packed.size()), 4096, 4096);
    } else {
        const std::uint64_t status = (what & 2) != 0 ? 0 : read_status::to_stream;
        expand_unit(packed, remaining, status);
        expand_unit(packed, remaining, status | read_status::sparse_seen);
    }
    return 0;
}

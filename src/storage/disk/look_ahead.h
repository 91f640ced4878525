// Decides which of many reads in a row are announced.
#pragma once

#include <cstdint>

// The pieces that are read in a row have numbers from 0 on. As soon as a read has to wait for the
// device, the pieces after it are announced, and then more each time half of them have been read.
// After some thousand pieces one is read without being announced, which shows whether the device
// still has to be waited for.
class look_ahead {
public:
    // Numbers of pieces, from `begin` up to `end`; none if they are equal.
    struct range {
        std::uint64_t begin = 0;
        std::uint64_t end = 0;
    };

    // `most`: how many pieces are announced before they are read, at least 2.
    explicit look_ahead(std::uint64_t most) : m_most(most) {}

    // Called before piece `number` is read. Returns the pieces to announce now. `has_waited` is
    // true if the last read had to wait. Numbers may be skipped, but do not decrease.
    range before_read(std::uint64_t number, bool has_waited);

private:
    std::uint64_t m_most;
    std::uint64_t m_start = 0;  // the first piece that was announced without a break
    std::uint64_t m_end = 0;    // the first one that is not
};

// Counts of the rows for the user.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "convert/listing/listing_row.h"

namespace convert {

struct row_counts {
    std::uint64_t rows = 0;
    std::uint64_t directories = 0;
    std::uint64_t deleted = 0;
    std::uint64_t set_back = 0;
    std::uint64_t malformed = 0;

    void add(const listing_row& row);
    // Returns "rows: 12, directories: 3, deleted: 1, set back: 0", and the malformed rows, if any.
    std::string text() const;
};

// Shows rows and rate on standard error once a second, if it is a terminal.
class progress {
public:
    progress();
    // Clears the line.
    ~progress();
    progress(const progress&) = delete;
    progress& operator=(const progress&) = delete;

    // Call it after each row.
    void show(std::uint64_t rows);
    void clear();

private:
    using clock = std::chrono::steady_clock;

    bool m_terminal;
    bool m_shown = false;
    clock::time_point m_start = clock::now();
    clock::time_point m_last = m_start;
};

}  // namespace convert

#include "convert/command/row_counts.h"

#include <unistd.h>

#include <iostream>

namespace convert {

void row_counts::add(const listing_row& row) {
    ++rows;
    if (row.type == row_type::directory) ++directories;
    if (row.is_deleted()) ++deleted;
    if (row.set_back) ++set_back;
}

std::string row_counts::text() const {
    std::string result =
        "rows: " + std::to_string(rows) + ", directories: " + std::to_string(directories) +
        ", deleted: " + std::to_string(deleted) + ", set back: " + std::to_string(set_back);
    if (malformed > 0) result += ", malformed: " + std::to_string(malformed);
    return result;
}

progress::progress() : m_terminal(::isatty(STDERR_FILENO) == 1) {}

progress::~progress() { clear(); }

void progress::show(std::uint64_t rows) {
    constexpr std::uint64_t rows_between_looks_at_the_clock = 1024;
    if (!m_terminal || rows % rows_between_looks_at_the_clock != 0) return;
    const clock::time_point now = clock::now();
    if (now - m_last < std::chrono::seconds(1)) return;
    m_last = now;
    const std::chrono::duration<double> elapsed = now - m_start;
    const auto rate = static_cast<std::uint64_t>(static_cast<double>(rows) / elapsed.count());
    std::cerr << "\r\x1B[K" << rows << " rows, " << rate << " a second" << std::flush;
    m_shown = true;
}

void progress::clear() {
    if (m_shown) std::cerr << "\r\x1B[K" << std::flush;
    m_shown = false;
}

}  // namespace convert

#include "convert/sorting/record_sorter.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <utility>

namespace convert {

namespace {

std::uint64_t prefix_of(std::string_view record) {
    std::uint64_t prefix = 0;
    for (std::size_t i = 0; i < sizeof prefix; ++i) {
        const char byte = i < record.size() ? record[i] : '\0';
        prefix = prefix << 8 | static_cast<unsigned char>(byte);
    }
    return prefix;
}

// std::string_view compares bytes as unsigned numbers.
struct later_head {
    const std::vector<std::string_view>& heads;
    bool operator()(std::size_t a, std::size_t b) const { return heads[b] < heads[a]; }
};

}  // namespace

record_sorter::record_sorter(std::string folder, const sort_limits& limits)
    : m_folder(std::move(folder)), m_limits(limits) {}

bool record_sorter::fail() {
    m_failure = "cannot use a temporary file in " + m_folder + ": " + std::strerror(errno);
    return false;
}

std::string_view record_sorter::record_of(const item& which) const {
    return std::string_view(m_bytes).substr(which.offset, which.length);
}

bool record_sorter::add(std::string_view record) {
    const std::size_t used = m_bytes.size() + m_items.size() * sizeof(item);
    if (used + record.size() > m_limits.bytes_in_memory && !m_items.empty() && !spill())
        return false;
    m_items.push_back({prefix_of(record), m_bytes.size(), record.size()});
    m_bytes += record;
    return true;
}

void record_sorter::sort_memory() {
    std::sort(m_items.begin(), m_items.end(), [this](const item& a, const item& b) {
        return a.prefix != b.prefix ? a.prefix < b.prefix : record_of(a) < record_of(b);
    });
}

bool record_sorter::visit_memory(const visitor& visit) {
    sort_memory();
    return std::all_of(m_items.begin(), m_items.end(),
                       [&](const item& next) { return visit(record_of(next)); });
}

// Moves the records in memory to a file.
bool record_sorter::spill() {
    temporary_file file;
    if (!file.create(m_folder)) return fail();
    if (!visit_memory([&](std::string_view record) { return file.write(record); })) return fail();
    m_bytes.clear();
    m_items.clear();
    return add_file(std::move(file), 0);
}

// Adds a file to a level. Files of a full level are merged into one of the next, so that the number
// of files grows with the logarithm of the records.
bool record_sorter::add_file(temporary_file file, std::size_t level) {
    if (!file.rewind()) return fail();
    if (m_levels.size() == level) m_levels.emplace_back();
    m_levels[level].push_back(std::move(file));
    if (m_levels[level].size() < m_limits.files_of_a_level) return true;
    temporary_file merged;
    if (!merged.create(m_folder)) return fail();
    const auto write = [&](std::string_view record) { return merged.write(record); };
    if (!merge(m_levels[level], write)) return fail();
    m_levels[level].clear();
    return add_file(std::move(merged), level + 1);
}

bool record_sorter::merge(std::vector<temporary_file>& files, const visitor& visit) {
    std::vector<std::string_view> heads(files.size());
    std::vector<std::size_t> heap;
    const later_head later{heads};
    const auto read = [&](std::size_t i) {
        if (!files[i].read(heads[i])) return !files[i].failed();
        heap.push_back(i);
        std::push_heap(heap.begin(), heap.end(), later);
        return true;
    };
    for (std::size_t i = 0; i < files.size(); ++i) {
        if (!read(i)) return fail();
    }
    while (!heap.empty()) {
        std::pop_heap(heap.begin(), heap.end(), later);
        const std::size_t first = heap.back();
        heap.pop_back();
        if (!visit(heads[first])) return false;
        if (!read(first)) return fail();
    }
    return true;
}

bool record_sorter::visit_sorted(const visitor& visit) {
    if (m_levels.empty()) return visit_memory(visit);
    if (!m_items.empty() && !spill()) return false;
    m_bytes = {};
    m_items = {};
    std::vector<temporary_file> files;
    for (std::vector<temporary_file>& level : m_levels)
        std::move(level.begin(), level.end(), std::back_inserter(files));
    return merge(files, visit);
}

}  // namespace convert

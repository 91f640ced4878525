// Sorts any number of records with limited memory: those that do not fit are kept in temporary
// files.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "convert/sorting/temporary_file.h"

namespace convert {

struct sort_limits {
    std::size_t bytes_in_memory = std::size_t{24} << 20;  // of records; one more may exceed it
    std::size_t files_of_a_level = 16;                    // more than this are merged into one
};

// Sorts records as byte strings, where a byte is 0 to 255, as memcmp does. After a function has
// returned false, only failure() may be called.
class record_sorter {
public:
    // The temporary files are created in `folder`.
    explicit record_sorter(std::string folder, const sort_limits& limits = {});

    // Adds a record of less than 4 GiB.
    [[nodiscard]] bool add(std::string_view record);

    // Returns false to end the visit.
    using visitor = std::function<bool(std::string_view record)>;
    // Passes all records to `visit` in their order. Call it once, last. Returns false if a
    // temporary file fails or `visit` returns false; failure() is empty then.
    [[nodiscard]] bool visit_sorted(const visitor& visit);

    // Says which operation failed.
    const std::string& failure() const { return m_failure; }

private:
    struct item {
        std::uint64_t prefix = 0;  // the first 8 bytes as a number, which decides most comparisons
        std::size_t offset = 0;    // in m_bytes
        std::size_t length = 0;
    };

    std::string_view record_of(const item& which) const;
    void sort_memory();
    bool visit_memory(const visitor& visit);
    bool spill();
    bool add_file(temporary_file file, std::size_t level);
    bool merge(std::vector<temporary_file>& files, const visitor& visit);
    bool fail();

    std::string m_folder;
    sort_limits m_limits;
    std::string m_bytes;
    std::vector<item> m_items;
    std::vector<std::vector<temporary_file>> m_levels;
    std::string m_failure;
};

}  // namespace convert

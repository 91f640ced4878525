// A set of MFT entries that is small if their numbers are close to each other.
#pragma once

#include <bitset>
#include <cstdint>
#include <map>
#include <utility>

namespace convert {

class entry_set {
public:
    // Returns false if the set already contains the entry with this sequence number.
    bool insert(std::uint64_t entry, std::uint16_t sequence) {
        auto bit = m_pages[{entry / entries_a_page, sequence}][entry % entries_a_page];
        if (bit) return false;
        bit = true;
        ++m_size;
        return true;
    }
    std::uint64_t size() const { return m_size; }

private:
    static constexpr std::uint64_t entries_a_page = 512;

    std::map<std::pair<std::uint64_t, std::uint16_t>, std::bitset<entries_a_page>> m_pages;
    std::uint64_t m_size = 0;
};

}  // namespace convert

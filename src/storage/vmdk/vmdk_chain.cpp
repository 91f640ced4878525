#include "storage/vmdk/vmdk_chain.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

namespace {

// CID of a base's parent. Upper-case letters do not match.
constexpr char no_parent_cid[] = "ffffffff";

}  // namespace

bool vmdk_chain::add_file(const std::wstring& path) {
    auto extent = std::make_unique<vmdk_extent>();
    if (!extent->open(path, write_access)) return false;
    add_extent(std::move(extent));
    return true;
}

void vmdk_chain::add_extent(std::unique_ptr<vmdk_extent> extent) {
    std::unique_ptr<vmdk_extent>& place = extents[extent->cid];
    (place == nullptr ? place : m_unused.emplace_back()) = std::move(extent);
}

bool vmdk_chain::add_files(const std::vector<std::wstring>& paths) {
    for (const std::wstring& path : paths) {
        if (!add_file(path)) return false;
    }
    return true;
}

bool vmdk_chain::join_to_parent(vmdk_extent& extent) {
    if (extent.parent_cid == no_parent_cid) {
        base = &extent;
        order.push_back(&extent);
        return true;
    }
    const auto parent = extents.find(extent.parent_cid);
    if (parent == extents.end()) return false;
    extent.parent = parent->second.get();
    extent.parent->child = &extent;
    return true;
}

bool vmdk_chain::link() {
    order.clear();
    base = nullptr;
    bool linked = true;
    for (const auto& [key, extent] : extents) {
        if (!join_to_parent(*extent)) linked = false;
    }
    if (!linked || base == nullptr) return false;
    walk_children();
    return true;
}

void vmdk_chain::walk_children() {
    newest = base;
    for (std::size_t steps = 1; steps <= extents.size(); ++steps) {
        if (newest->child == nullptr) {
            ready = true;
            return;
        }
        newest = newest->child;
        order.push_back(newest);
    }
}

std::uint64_t vmdk_chain::file_bytes() const {
    std::uint64_t total = 0;
    for (const auto& [cid, extent] : extents)
        total += extent->file_size;
    return total;
}

// Returns the part of a grain from `offset` on, of at most `most` bytes, and the newest file that
// contains it.
vmdk_chain::grain_part vmdk_chain::part_at(std::uint64_t offset, std::uint64_t most) const {
    vmdk_extent* holder = newest;
    while (holder != nullptr && !holder->has_grain(offset))
        holder = holder->parent;
    const std::uint64_t left = (holder != nullptr ? holder : base)->grain_left(offset);
    return {holder, std::min(left, most)};
}

std::uint64_t vmdk_chain::next_held(std::uint64_t offset, std::uint64_t end) const {
    constexpr std::uint64_t most = std::numeric_limits<std::uint64_t>::max();
    if (!ready) return offset;
    // In growing steps, so that no file is searched far past a position that another one stores.
    for (std::uint64_t reach = 1 << 20;; reach = reach > most / 16 ? most : reach * 16) {
        const std::uint64_t limit = end - offset > reach ? offset + reach : end;
        std::uint64_t first = limit;
        for (const vmdk_extent* extent = newest; extent != nullptr; extent = extent->parent) {
            if (first > offset) first = extent->next_held(offset, first);
        }
        if (first < limit || limit == end) return first;
    }
}

bool vmdk_chain::read(std::uint8_t* buffer, std::uint64_t offset, std::uint32_t& count) {
    if (!ready || buffer == nullptr || count == 0) return false;
    m_has_waited = false;
    for (std::uint32_t done = 0; done < count;) {
        const grain_part part = part_at(offset, count - done);
        std::uint32_t step = static_cast<std::uint32_t>(part.size);
        if (step == 0) return false;
        // A grain that cannot be read is zero, like one that no file contains.
        if (part.holder != nullptr && part.holder->read(buffer + done, offset, step)) {
            m_has_waited |= part.holder->has_waited();
        } else {
            std::memset(buffer + done, 0, step);
        }
        done += step;
        offset += step;
    }
    return true;
}

void vmdk_chain::announce(std::uint64_t offset, std::uint64_t count) {
    if (!ready) return;
    while (count != 0) {
        const grain_part part = part_at(offset, count);
        if (part.size == 0) return;
        if (part.holder != nullptr) part.holder->announce(offset, part.size);
        offset += part.size;
        count -= part.size;
    }
}

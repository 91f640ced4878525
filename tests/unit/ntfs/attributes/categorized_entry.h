// Passes over the entries of a test volume, and their results.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <memory>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "ntfs/attributes/attrib_store.h"
#include "ntfs/attributes/entry_context.h"
#include "ntfs/volume/ntfs.h"
#include "support/ntfs_image.h"
#include "support/temp_dir.h"
#include "unit/ntfs/open_volume.h"

namespace entry_passes {

// Returns the key of an attribute.
constexpr std::uint64_t key_of(std::uint16_t id, std::uint32_t type) {
    return std::uint64_t{id} << 48 | type;
}

// The result of one pass over an entry, with its trace.
struct pass_result {
    bool result = false;
    NTFS_ENTRY_STORE store;
    std::string trace;
};

// Categorises an entry of a volume.
inline pass_result categorized(open_volume& volume, std::uint64_t inode, bool keep_values = true) {
    support::temp_dir dir;
    const std::string file = dir.file("trace");
    pass_result out;
    mft_entries_ctx ctx;
    ctx.diags_on = 1;
    ctx.diags_stream = std::make_unique<std::ofstream>(file);
    out.result = volume.ntfs.categorize_entry(out.store, ctx, inode, keep_values);
    ctx.diags_stream.reset();
    out.trace = support::read_file(file);
    return out;
}

// Returns the label of each attribute with its key.
inline std::vector<std::pair<std::uint64_t, std::string>> labels_of(const NTFS_ENTRY_STORE& store) {
    std::vector<std::pair<std::uint64_t, std::string>> labels;
    for (const auto& [key, item] : store.attributes)
        labels.emplace_back(key, item.label);
    return labels;
}

// LCN, VCN and number of clusters of a run.
using run_tuple = std::tuple<std::uint64_t, std::uint64_t, std::uint32_t>;

inline std::vector<run_tuple> runs_of(const data_run_list& runs) {
    std::vector<run_tuple> out;
    for (const data_run& run : runs)
        out.emplace_back(run.lcn, run.vcn, run.num_clusters);
    return out;
}

// Categorises an entry 64 with the attributes that `fill` adds.
template <class Fill>
pass_result categorized_entry(Fill fill, bool keep_values = true) {
    support::ntfs_image image;
    fill(image.entry(64));
    open_volume volume(image);
    EXPECT_TRUE(volume.opened);
    return categorized(volume, 64, keep_values);
}

}  // namespace entry_passes

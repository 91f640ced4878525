// Directory indexes: the root and the allocation blocks of \dir in a valid volume, their entries,
// and the lookup of names in them.
//
// Input: u8 cluster size (bits 0 and 1), no blocks (bit 2), whether the target adds the update
// sequences of the blocks (bit 3), u8 report form, u16 size of the root's value, the value, then
// the blocks.
#include "ntfs/index/index_reader.h"
#include "ntfs/lookup/path_lookup.h"
#include "record_volume.h"
#include "support/record_builder.h"

namespace {

constexpr std::uint64_t entry = fuzz::record_volume::directory;
constexpr std::size_t longest_root = 600;
constexpr std::size_t block_size = 4096;

std::vector<std::uint8_t> directory_record(fuzz::bytes root, bool with_blocks,
                                           std::uint32_t cluster_size, std::uint64_t lcn) {
    support::record_builder record(entry, fuzz::record_volume::record_size, 512, cluster_size);
    record.flags(3).standard_information().file_name(5, u"dir");
    record.resident(support::type::index_root, u"$I30", {root.begin(), root.end()});
    if (with_blocks) {
        record.nonresident(support::type::index_allocation, u"$I30",
                           {{lcn, fuzz::record_volume::area_size / cluster_size}});
    }
    return record.build();
}

// Returns the blocks with valid update sequences over the input's bytes.
std::vector<std::uint8_t> guarded_blocks(fuzz::bytes blocks) {
    std::vector<std::uint8_t> made(blocks.begin(), blocks.end());
    for (std::size_t at = 0; at + block_size <= made.size(); at += block_size) {
        const std::span<std::uint8_t> one(made.data() + at, block_size);
        one[4] = 40;
        one[5] = 0;
        one[6] = 9;
        one[7] = 0;
        support::apply_fixups(one, 512, 40, 9, 1);
    }
    return made;
}

void look_up(CNtfs& ntfs) {
    cmd_params untraced;
    for (const wchar_t* path : {L"\\dir\\f5", L"/dir/dir/x", L"c:\\dir\\F6:stream"}) {
        std::uint64_t inode = 0;
        std::uint64_t parent = 0;
        std::wstring resolved;
        resolve_path(inode, parent, resolved, &ntfs, path, true, untraced);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::input in(data, size);
    const std::uint8_t options = in.u8();
    const std::uint8_t form = in.u8();
    const fuzz::bytes root = in.take(in.u16() % (longest_root + 1));
    const fuzz::bytes blocks = in.rest();

    for (const bool include_slack : {false, true}) {
        std::vector<std::uint64_t> children;
        collect_entries(children, root, include_slack);
        collect_entries(children, blocks, include_slack);
    }

    fuzz::record_volume& volume = fuzz::valid_volume(options);
    const std::uint32_t cluster_size = 512u << (options & 3u);
    volume.put_record(
        entry, directory_record(root, (options & 4) == 0, cluster_size, volume.area_lcn()), false);
    if ((options & 8) != 0) {
        volume.put_area(guarded_blocks(blocks));
    } else {
        volume.put_area(blocks);
    }
    const auto ntfs = volume.open();
    fuzz::require(ntfs != nullptr, "the volume opens");
    for (const bool include_slack : {false, true}) {
        std::set<std::uint64_t> children;
        ntfs->get_children(entry, children, include_slack);
    }
    fuzz::list_entry(*ntfs, entry, form);
    look_up(*ntfs);
    return 0;
}

// Run lists: both decoders, the compact form, the mapping of cluster numbers, and merging.
//
// Input: u64 virtual cluster number, u32 length of the attribute, then the run list.
#include "fuzz_support.h"
#include "ntfs/runs/data_run_list.h"

namespace {

// A non-resident attribute at the start of a record, with its run list after a header of 64 bytes.
std::vector<std::uint8_t> attribute_with(fuzz::bytes list, std::uint32_t length) {
    constexpr std::size_t header_size = 64;
    std::vector<std::uint8_t> record(header_size);
    record[0] = 0x80;
    record[4] = static_cast<std::uint8_t>(length);
    record[5] = static_cast<std::uint8_t>(length >> 8);
    record[6] = static_cast<std::uint8_t>(length >> 16);
    record[7] = static_cast<std::uint8_t>(length >> 24);
    record[8] = 1;
    record[32] = header_size;
    record.insert(record.end(), list.begin(), list.end());
    return record;
}

void map_clusters(const data_run_list& runs, std::uint64_t vcn) {
    std::uint32_t index = 0;
    std::uint64_t lcn = 0;
    if (vcn_to_lcn(runs, vcn, index, lcn))
        fuzz::require(index < runs.size(), "the index of a run is within the list");
    for (const std::uint32_t cluster_size : {0u, 512u, 65536u}) {
        const std::uint64_t all = run_bytes(runs, cluster_size, false);
        const std::uint64_t without_holes = run_bytes(runs, cluster_size, true);
        fuzz::require(without_holes <= all, "holes do not reduce the size of a list");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::input in(data, size);
    const std::uint64_t vcn = in.u64();
    const std::uint32_t length = in.u32();
    const fuzz::bytes list = in.rest();

    std::vector<NTFS_DATA> decoded;
    decode_mft_runs(list, decoded, 0x80, true);
    decode_mft_runs(list, decoded, 0xB0, false);

    const std::vector<std::uint8_t> record = attribute_with(list, length);
    const record_attrib attribute{record, 0};
    decoded.clear();
    fuzz::require(decode_attrib_runs(attribute, decoded) == (length != 0),
                  "only an attribute of length 0 is rejected");
    data_run_list runs;
    to_data_run_list(decoded, runs);
    map_clusters(runs, vcn);

    const data_run_list at_once = attribute_runs(attribute);
    fuzz::require(at_once.size() == runs.size(), "both decoders return the same number of runs");
    for (std::size_t i = 0; i < runs.size(); ++i) {
        fuzz::require(at_once[i].lcn == runs[i].lcn && at_once[i].vcn == runs[i].vcn &&
                          at_once[i].num_clusters == runs[i].num_clusters &&
                          at_once[i].sparse == runs[i].sparse,
                      "both decoders return the same runs");
    }

    const auto middle = runs.begin() + static_cast<std::ptrdiff_t>(runs.size() / 2);
    data_run_list stored(runs.begin(), middle);
    merge_runs(data_run_list(middle, runs.end()), stored);
    map_clusters(stored, vcn);
    merge_runs(runs, stored);
    map_clusters(stored, vcn);
    return 0;
}

#include "ntfs/runs/data_run_list.h"

#include <algorithm>

namespace {

constexpr std::uint64_t all_ones = ~std::uint64_t{0};

// The offset field of a run element.
struct run_step {
    std::uint64_t magnitude = 0;
    bool negative = false;

    std::uint64_t apply(std::uint64_t lcn) const {
        return negative ? lcn - magnitude : lcn + magnitude;  // modulo 2^64
    }
};

// Reads the signed field of `width` bytes at `at`, modulo 2^64 if it has more than eight bytes.
run_step read_step(ql::bytes list, std::size_t at, unsigned width) {
    if (width == 0) return {};
    const std::uint64_t value = ql::le_uint(list, at, std::min(width, 8u));
    const std::uint64_t mask = width >= 8 ? all_ones : (std::uint64_t{1} << width * 8) - 1;
    const bool negative = (ql::le8(list, at + width - 1) & 0x80u) != 0;
    return {negative ? (~value + 1) & mask : value, negative};
}

// One element in the walk of decode_attrib_runs; `lcn` and `vcn` are the running values.
struct attrib_run {
    std::uint64_t lcn = 0;
    std::uint64_t vcn = 0;  // of its first cluster
    std::uint32_t num_clusters = 0;
    run_step step;
    unsigned offset_width = 0;
    std::size_t size = 0;         // bytes of the element
    std::size_t list_at = 0;      // from the start of the run list
    bool has_next_three = false;  // at least three bytes of the attribute follow the element
};

// Calls `store` with each element of an attribute's run list, up to the first that extends past the
// end of the attribute.
template <typename Store>
void walk_attrib_runs(const record_attrib& attribute, ql::bytes list, Store store) {
    attrib_run run;
    run.vcn = attribute.starting_vcn();
    // If the list offset is past the end of the attribute, the length is negative and no run is
    // read.
    auto left = static_cast<std::int32_t>(attribute.length() - attribute.run_list_offset());
    for (;;) {
        const unsigned header = ql::le8(list, run.list_at);
        const unsigned length_width = header & 0x0fu;
        run.offset_width = header >> 4;
        if (header == 0) return;
        const auto size = static_cast<std::int32_t>(1 + length_width + run.offset_width);
        if (size > left) return;

        run.size = static_cast<std::size_t>(size);
        run.num_clusters = static_cast<std::uint32_t>(
            ql::le_uint(list, run.list_at + 1, std::min(length_width, 4u)));
        run.step = read_step(list, run.list_at + 1 + length_width, run.offset_width);
        run.lcn = run.step.apply(run.lcn);
        run.has_next_three = left - size > 2;
        store(run);

        run.vcn += run.num_clusters;
        run.list_at += run.size;
        left -= size;
    }
}

// Returns `count` bytes at `at`; those past the end of the list are zero.
std::vector<std::uint8_t> copy_bytes(ql::bytes list, std::size_t at, std::size_t count) {
    const ql::bytes part = ql::clip(list, at, count);
    std::vector<std::uint8_t> copy(part.begin(), part.end());
    copy.resize(count);
    return copy;
}

// Returns true for a run with an offset of 0, except for a first run with an offset field, which
// starts at LCN 0.
bool is_sparse(std::uint64_t lcn_delta, std::size_t index, unsigned offset_width) {
    return lcn_delta == 0 && (index > 0 || offset_width == 0);
}

// Returns the VCN after the last one of a run, modulo 2^64.
std::uint64_t end_vcn(const data_run& run) { return run.vcn + run.num_clusters; }

// Returns true if the run contains `vcn`. An empty run contains none.
bool holds(const data_run& run, std::uint64_t vcn) { return vcn >= run.vcn && vcn < end_vcn(run); }

// Returns the place of `vcn` in `run`.
run_place place_in(const data_run_list& runs, data_run_list::const_iterator run,
                   std::uint64_t vcn) {
    return {.run_index = static_cast<std::uint32_t>(run - runs.begin()),
            .lcn = run->sparse == 0 ? run->lcn - run->vcn + vcn : 0};
}

// Returns the place of `vcn` in the first run that contains it, or nullopt.
std::optional<run_place> scan_for(const data_run_list& runs, std::uint64_t vcn) {
    const auto run =
        std::find_if(runs.begin(), runs.end(), [vcn](const data_run& r) { return holds(r, vcn); });
    if (run == runs.end()) return std::nullopt;
    return place_in(runs, run, vcn);
}

// Returns the length field as decode_mft_runs reads it: byte i is or-ed into bit 8 * i modulo 32,
// so the fifth byte is combined with the first.
std::uint32_t read_folded_length(ql::bytes list, std::size_t at, unsigned width) {
    std::uint32_t length = 0;
    for (unsigned i = width; i-- > 0;) {
        length |= static_cast<std::uint32_t>(ql::le8(list, at + i)) << i * 8 % 32;
    }
    return length;
}

}  // namespace

bool decode_attrib_runs(const record_attrib& attribute, std::vector<NTFS_DATA>& out) {
    out.clear();
    if (attribute.length() == 0) return false;
    const ql::bytes list = attribute.from(attribute.run_list_offset());
    walk_attrib_runs(attribute, list, [&](const attrib_run& run) {
        NTFS_DATA& data = out.emplace_back();
        data.lcn = run.lcn;
        data.lcn_delta = run.step.magnitude;
        data.negative_delta = run.step.negative ? 1 : 0;
        data.num_clusters = run.num_clusters;
        data.vcn = run.vcn;
        data.attrib_type = attribute.type();
        data.run_offset = attribute.run_list_offset() + run.list_at;
        data.raw = copy_bytes(list, run.list_at, run.size);
        if (run.has_next_three) data.raw_next = copy_bytes(list, run.list_at + run.size, 3);
    });
    return true;
}

bool decode_mft_runs(ql::bytes list, std::vector<NTFS_DATA>& out, std::uint32_t attrib_type,
                     bool clear_first, std::size_t most_runs) {
    if (clear_first) out.clear();
    std::uint64_t lcn = 0;
    std::size_t at = 0;
    for (unsigned header = ql::le8(list, at); header != 0 && most_runs != 0; --most_runs) {
        const unsigned length_width = header & 0x0fu;
        const unsigned offset_width = header >> 4;
        lcn = read_step(list, at + 1 + length_width, offset_width).apply(lcn);

        NTFS_DATA& data = out.emplace_back();
        data.lcn = offset_width != 0 ? lcn : all_ones;
        data.lcn_delta = all_ones;
        data.num_clusters = read_folded_length(list, at + 1, length_width);
        data.attrib_type = attrib_type;
        at += 1 + length_width + offset_width;
        header = ql::le8(list, at);
    }
    return ql::le8(list, 0) != 0;
}

void to_data_run_list(const std::vector<NTFS_DATA>& decoded, data_run_list& out) {
    out.clear();
    out.reserve(decoded.size());
    for (const NTFS_DATA& data : decoded) {
        const unsigned offset_width = data.raw.empty() ? 0u : data.raw[0] >> 4u;
        const bool sparse = is_sparse(data.lcn_delta, out.size(), offset_width);
        out.push_back({sparse ? 0 : data.lcn, data.vcn, static_cast<std::uint8_t>(sparse ? 1 : 0),
                       data.num_clusters});
    }
}

data_run_list attribute_runs(const record_attrib& attribute, std::size_t most_runs) {
    data_run_list out;
    const ql::bytes list = attribute.from(attribute.run_list_offset());
    walk_attrib_runs(attribute, list, [&](const attrib_run& run) {
        if (out.size() >= most_runs) return;
        const bool sparse = is_sparse(run.step.magnitude, out.size(), run.offset_width);
        out.push_back({sparse ? 0 : run.lcn, run.vcn, static_cast<std::uint8_t>(sparse ? 1 : 0),
                       run.num_clusters});
    });
    return out;
}

std::uint64_t run_bytes(const data_run_list& runs, std::uint32_t cluster_size, bool skip_sparse) {
    std::uint64_t clusters = 0;
    for (const data_run& run : runs) {
        if (run.sparse == 0 || !skip_sparse) clusters += run.num_clusters;
    }
    // A size that does not fit is the largest number.
    const bool fits = cluster_size == 0 || clusters <= all_ones / cluster_size;
    return fits ? clusters * cluster_size : all_ones;
}

bool vcn_to_lcn(const data_run_list& runs, std::uint64_t vcn, std::uint32_t& run_index,
                std::uint64_t& lcn) {
    const auto place = scan_for(runs, vcn);
    run_index = place ? place->run_index : 0;
    lcn = place ? place->lcn : 0;
    return place.has_value();
}

run_lookup::run_lookup(const data_run_list& runs)
    : m_runs(runs),
      m_in_order(
          std::adjacent_find(runs.begin(), runs.end(), [](const data_run& a, const data_run& b) {
              return end_vcn(a) < a.vcn || end_vcn(a) > b.vcn;
          }) == runs.end()) {}

std::optional<run_place> run_lookup::find(std::uint64_t vcn) const {
    if (!m_in_order) return scan_for(m_runs, vcn);
    // If several runs have the same VCN, all except the last are empty.
    auto run =
        std::upper_bound(m_runs.begin(), m_runs.end(), vcn,
                         [](std::uint64_t wanted, const data_run& r) { return wanted < r.vcn; });
    if (run == m_runs.begin() || !holds(*--run, vcn)) return std::nullopt;
    return place_in(m_runs, run, vcn);
}

void merge_runs(const data_run_list& added, data_run_list& stored) {
    stored.insert(stored.end(), added.begin(), added.end());
    // The sort is stable: of runs with the same VCN, the stored one is first, and std::unique keeps
    // it.
    std::stable_sort(stored.begin(), stored.end(),
                     [](const data_run& a, const data_run& b) { return a.vcn < b.vcn; });
    const auto same_vcn = [](const data_run& a, const data_run& b) { return a.vcn == b.vcn; };
    stored.erase(std::unique(stored.begin(), stored.end(), same_vcn), stored.end());

    std::uint64_t vcn = 0;
    for (data_run& run : stored) {
        run.vcn = vcn;
        vcn += run.num_clusters;
    }
}

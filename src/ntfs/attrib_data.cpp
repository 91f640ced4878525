#include <algorithm>
#include <cstdint>
#include <optional>
#include <sstream>

#include "ntfs/lznt1.h"
#include "ntfs/ntfs.h"

namespace {

constexpr std::uint64_t unit_clusters = 16;

struct cluster_place {
    std::uint64_t lcn = 0;
    bool sparse = false;
};

// The clusters that a read of `size` bytes at `offset` touches, in order, as far as the runs go.
class cluster_walk {
public:
    cluster_walk(const data_run_list& runs, std::uint64_t offset, std::uint64_t size,
                 std::uint32_t cluster_size, bool skip_sparse)
        : m_runs(runs),
          m_lookup(runs),
          m_first_vcn(offset / cluster_size),
          m_end_vcn((offset + size) / cluster_size),
          m_head(offset % cluster_size),
          m_tail((offset + size) % cluster_size),
          m_vcn(m_first_vcn),
          m_skip_sparse(skip_sparse) {}

    // The next cluster; none behind the last, or at the first that no run covers.
    std::optional<cluster_place> next() {
        for (; m_vcn >= m_first_vcn && m_vcn <= m_end_vcn; ++m_vcn) {
            std::uint32_t run = 0;
            cluster_place place;
            if (!m_lookup.find(m_vcn, run, place.lcn)) break;
            place.sparse = m_runs[run].sparse != 0;
            if (place.sparse && m_skip_sparse) {
                leave_out();
                continue;
            }
            ++m_vcn;
            return place;
        }
        return std::nullopt;
    }

    std::uint64_t first_vcn() const { return m_first_vcn; }
    // Bytes of the first cluster in front of `offset`.
    std::uint64_t head() const { return m_head; }
    // Bytes wanted of the end cluster.
    std::uint64_t tail() const { return m_tail; }

private:
    void leave_out() {
        if (m_vcn == m_first_vcn) m_head = 0;
        if (m_vcn == m_end_vcn) m_tail = 0;
    }

    const data_run_list& m_runs;
    run_lookup m_lookup;
    std::uint64_t m_first_vcn;
    std::uint64_t m_end_vcn;
    std::uint64_t m_head;
    std::uint64_t m_tail;
    std::uint64_t m_vcn;
    bool m_skip_sparse;
};

// True for a row whose data is stored in compression units.
bool is_compressed(const NTFS_ATTRIB_ROW& row) {
    return row.attrib_flags == 1 && ql::le8(row.body, row_body::compression_unit) != 0 &&
           ql::le64(row.body, row_body::compressed_size) != 0;
}

void write_bytes(std::ostream& out, ql::bytes content) {
    out.write(reinterpret_cast<const char*>(content.data()),
              static_cast<std::streamsize>(content.size()));
}

}  // namespace

bool CNtfs::read_attrib_bytes(const data_run_list& runs, std::uint64_t offset,
                              std::span<std::uint8_t> target, std::int64_t& size,
                              bool skip_sparse) {
    std::uint64_t status = skip_sparse ? read_status::skip_sparse : 0;
    return read_runs_raw(runs, offset, target, size, status);
}

bool CNtfs::read_runs_raw(const data_run_list& runs, std::uint64_t offset,
                          std::span<std::uint8_t> target, std::int64_t& size,
                          std::uint64_t& status) {
    const std::uint32_t cluster = cluster_size();
    if (cluster == 0 || size <= 0 || !fits_source(cluster)) return false;
    const bool skip_sparse = (status & read_status::skip_sparse) != 0;
    const auto wanted = std::min(static_cast<std::uint64_t>(size), std::uint64_t{target.size()});
    cluster_walk walk(runs, offset, wanted, cluster, skip_sparse);
    status |= read_status::always;
    if (walk.first_vcn() % 65536 == 0) {
        status |= read_status::aligned;
        if (wanted == unit_clusters * cluster) status |= read_status::whole_unit;
    }

    std::vector<std::uint8_t> buffer(cluster);
    std::uint64_t done = 0;
    bool is_first = true;
    for (auto place = walk.next(); place && done < wanted; is_first = false) {
        const auto following = walk.next();  // settles head and tail
        std::uint32_t got = cluster;
        if (place->sparse) {
            std::fill(buffer.begin(), buffer.end(), std::uint8_t{0});
            status |= read_status::sparse_seen;
        } else if (!read_clusters(place->lcn, buffer.data(), got)) {
            break;
        } else {
            std::fill(buffer.begin() + got, buffer.end(), std::uint8_t{0});
        }

        std::uint64_t from = 0;
        std::uint64_t count = got;
        if (is_first) {
            from = walk.head();
            count = std::min(cluster - from, wanted);
        } else if (!following && walk.tail() != 0) {
            count = walk.tail();
        }
        count = std::min(count, target.size() - done);
        std::copy_n(buffer.begin() + static_cast<std::ptrdiff_t>(from), count,
                    target.begin() + static_cast<std::ptrdiff_t>(done));
        done += count;
        place = following;
    }

    if (skip_sparse) status &= ~read_status::sparse_seen;
    if (done == 0) return false;
    size = static_cast<std::int64_t>(done);
    return true;
}

bool CNtfs::stream_attribute(const NTFS_ATTRIB_ROW& row, std::ostream& out, std::ostream& out2,
                             mft_entries_ctx& ctx) {
    out.clear();
    out2.clear();
    ctx.byte_count = 0;
    if (row.runs.empty() && row.value.empty()) {
        ctx.diag("err: no data");
        return false;
    }
    if (!out || !out2) return false;
    return row.value.empty() ? stream_runs(row, out, ctx) : stream_value(row, out, ctx);
}

bool CNtfs::stream_value(const NTFS_ATTRIB_ROW& row, std::ostream& out, mft_entries_ctx& ctx) {
    const std::uint32_t length = ql::le32(row.body, row_body::value_length);
    ctx.diag("info: data size 0x%llx", static_cast<unsigned long long>(length));
    if (length == 0) return false;
    const ql::bytes value = ql::clip(row.value, 0, length);
    write_bytes(out, value);
    ctx.byte_count += value.size();
    return true;
}

bool CNtfs::stream_runs(const NTFS_ATTRIB_ROW& row, std::ostream& out, mft_entries_ctx& ctx) {
    std::uint64_t size = announced_size(row);
    ctx.diag("info: data size 0x%llx", static_cast<unsigned long long>(size));
    size = std::min(size, run_bytes(row.runs, cluster_size(), false));
    if (is_compressed(row)) {
        const std::uint64_t allocated = ql::le64(row.body, row_body::allocated_size);
        if (!stream_compressed(out, row.runs, size, allocated)) return false;
        ctx.byte_count += size;
        return true;
    }

    std::vector<std::uint8_t> chunk;
    if (!make_unit_buffer(size, chunk)) return false;
    for (std::uint64_t offset = 0; offset < size;) {
        auto count =
            static_cast<std::int64_t>(std::min<std::uint64_t>(chunk.size(), size - offset));
        std::uint64_t status = 0;
        if (!read_runs_raw(row.runs, offset, chunk, count, status)) break;
        const auto got = static_cast<std::size_t>(count);
        write_bytes(out, ql::clip(chunk, 0, got));
        ctx.byte_count += got;
        offset += got;
    }
    return true;
}

// A buffer of 16 clusters, or of `limit` bytes when that is less. False when it would be larger
// than any unit of a sound volume and than the source.
bool CNtfs::make_unit_buffer(std::uint64_t limit, std::vector<std::uint8_t>& buffer) const {
    constexpr std::uint64_t largest_usual_unit = unit_clusters * 65536;
    const std::uint64_t size = std::min(unit_clusters * cluster_size(), limit);
    if (size > largest_usual_unit && !fits_source(size)) return false;
    buffer.resize(size);
    return true;
}

bool CNtfs::stream_compressed(std::ostream& out, const data_run_list& runs, std::uint64_t size,
                              std::uint64_t allocated) {
    std::vector<std::uint8_t> unit;
    if (!make_unit_buffer(run_bytes(runs, cluster_size(), false), unit)) return false;
    const std::uint64_t extra = allocated - std::min(allocated, size);
    bool any_written = false;
    std::uint64_t position = 0;
    std::uint64_t wanted = unit.size();
    for (std::uint64_t left = size; left != 0;) {
        auto count = static_cast<std::int64_t>(wanted);
        std::uint64_t status = 0;
        if (!read_runs_raw(runs, position, unit, count, status)) break;
        const auto got = static_cast<std::size_t>(count);

        std::ostringstream plain;
        std::uint32_t written = 0;
        status |= read_status::to_stream;
        if (!decompress_unit(plain, written, ql::clip(unit, 0, got), left, status)) break;
        if (written == 0) break;
        out << plain.view();
        any_written = true;

        left -= std::min<std::uint64_t>(left, got);
        position += got;
        // Behind the data a unit goes on to its allocated end.
        if (left < unit.size()) wanted = left + std::min(extra, unit.size() - left);
    }
    return any_written;
}

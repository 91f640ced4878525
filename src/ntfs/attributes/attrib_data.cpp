#include "ntfs/attributes/attrib_data.h"

#include <algorithm>
#include <array>
#include <ostream>
#include <sstream>
#include <string_view>
#include <vector>

#include "ntfs/format/lznt1.h"
#include "ntfs/runs/cluster_walk.h"
#include "ntfs/volume/ntfs.h"
#include "ntfs/volume/read_budget.h"

namespace {

constexpr std::uint64_t unit_clusters = 16;

// Returns true if the data of the row is stored in compression units.
bool is_compressed(const NTFS_ATTRIB_ROW& row) {
    return row.attrib_flags == 1 && ql::le8(row.body, row_body::compression_unit) != 0 &&
           ql::le64(row.body, row_body::compressed_size) != 0;
}

// Returns true if a compression unit of `size` bytes may be read into memory. On a valid volume a
// unit has at most 1 MiB. A larger one is read only if the source stores that many bytes.
bool fits_unit(const CNtfs& ntfs, std::uint64_t size) {
    constexpr std::uint64_t largest_usual_unit = unit_clusters * 65536;
    const CRawDisk* const disk = ntfs.disk();
    return size <= largest_usual_unit || (disk != nullptr && size <= disk->held_bytes());
}

// Writes to an output stream. Stops inside a hole that is many times larger than the source.
class stream_sink : public data_sink {
public:
    stream_sink(std::ostream& out, const CRawDisk* disk)
        : m_out(out), m_zeros_left(disk != nullptr ? disk->most_walked_bytes() : 0) {}

    bool put(ql::bytes content) override {
        m_out.write(reinterpret_cast<const char*>(content.data()),
                    static_cast<std::streamsize>(content.size()));
        return true;
    }
    bool put_zeros(std::uint64_t count) override {
        static constexpr std::array<std::uint8_t, 4096> zeros{};
        while (count != 0 && m_out && m_zeros_left != 0) {
            const ql::bytes part = ql::clip(zeros, 0, std::min(count, m_zeros_left));
            put(part);
            count -= part.size();
            m_zeros_left -= part.size();
        }
        return count == 0;
    }

private:
    std::ostream& m_out;
    std::uint64_t m_zeros_left;
};

// Reads the clusters of one attribute.
class cluster_reader {
public:
    // `runs` must outlive this object.
    cluster_reader(CNtfs& ntfs, const data_run_list& runs) : m_ntfs(ntfs), m_lookup(runs) {}

    // Reads the clusters that contain `range`, one at a time. Calls `take(content, count)` for
    // each: the cluster yields `count` bytes, the first of which are `content` and the others zero.
    // Stops at the first cluster that no run covers or that cannot be read.
    //
    //   - The first cluster yields all its bytes from the start of the range, even if the source
    //     ends inside it.
    //   - The last cluster yields its bytes up to the end of the range.
    //   - Each other cluster yields the bytes that were read.
    //
    // `status`, in and out: bits of read_status. Returns the number of bytes passed to `take`.
    template <typename Take>
    std::uint64_t read(const data_range& range, std::uint64_t& status, Take take);

    const run_lookup& lookup() const { return m_lookup; }
    const data_run_list& runs() const { return m_lookup.runs(); }

private:
    CNtfs& m_ntfs;
    const run_lookup m_lookup;
    std::vector<std::uint8_t> m_buffer;  // one cluster
};

template <typename Take>
std::uint64_t cluster_reader::read(const data_range& range, std::uint64_t& status, Take take) {
    const std::uint32_t cluster = m_ntfs.cluster_size();
    const CRawDisk* const disk = m_ntfs.disk();
    const bool skip_sparse = (status & read_status::skip_sparse) != 0;
    cluster_walk walk(m_lookup, range, cluster, skip_sparse);
    status |= read_status::always;
    if (walk.first_vcn() % 65536 == 0) {
        status |= read_status::aligned;
        if (range.size == unit_clusters * cluster) status |= read_status::whole_unit;
    }

    std::uint64_t done = 0;
    bool is_first = true;
    for (auto place = walk.next(); place && done < range.size; is_first = false) {
        const auto following = walk.next();  // before head() and tail(), which it may change
        std::uint32_t got = cluster;
        if (place->sparse) {
            m_buffer.clear();
            status |= read_status::sparse_seen;
        } else {
            const std::uint64_t position = place->lcn * cluster + m_ntfs.m_volume_offset;
            m_buffer.resize(disk != nullptr ? disk->deliverable(cluster, position) : 0);
            if (!m_ntfs.read_clusters(place->lcn, m_buffer.data(), got)) break;
        }

        std::uint64_t from = 0;
        std::uint64_t count = got;
        if (is_first) {
            from = walk.head();
            count = std::min(cluster - from, range.size);
        } else if (!following && walk.tail() != 0) {
            count = walk.tail();
        }
        count = std::min(count, range.size - done);
        take(ql::clip(m_buffer, from, count), count);
        done += count;
        place = following;
    }
    if (skip_sparse) status &= ~read_status::sparse_seen;
    return done;
}

// Passes the data of a non-resident attribute to a sink.
class run_streamer {
public:
    run_streamer(CNtfs& ntfs, const data_run_list& runs, data_sink& sink)
        : m_ntfs(ntfs), m_clusters(ntfs, runs), m_sink(sink) {}

    // Passes `size` bytes, 16 clusters at a time. Stops at the first chunk that cannot be read.
    // Returns the number of bytes passed.
    std::uint64_t stream_plain(std::uint64_t size);
    // Passes `size` bytes of compressed data, unit by unit. Stops at a unit without data.
    // `allocated` limits how much of the last unit is read. Returns false if nothing was passed.
    bool stream_compressed(std::uint64_t size, std::uint64_t allocated);

private:
    std::uint64_t stream_chunk(std::uint64_t offset, std::uint64_t size);
    std::uint64_t known_zeros(std::uint64_t offset, std::uint64_t size) const;
    bool stream_unit(ql::bytes unit, std::uint64_t left, std::uint64_t status);

    CNtfs& m_ntfs;
    cluster_reader m_clusters;
    data_sink& m_sink;
    bool m_is_wanted = true;  // false once the sink ends the stream
};

std::uint64_t run_streamer::stream_plain(std::uint64_t size) {
    const std::uint64_t chunk = unit_clusters * m_ntfs.cluster_size();
    read_budget budget(m_ntfs.disk());
    std::uint64_t offset = 0;
    while (m_is_wanted && offset < size && !budget.is_used_up()) {
        // Pass all whole chunks of a hole at once.
        std::uint64_t done = known_zeros(offset, size - offset) / chunk * chunk;
        if (done != 0) {
            m_is_wanted = m_sink.put_zeros(done);
        } else {
            done = stream_chunk(offset, std::min(chunk, size - offset));
            budget.use(done);
        }
        if (done == 0) break;
        offset += done;
    }
    return offset;
}

std::uint64_t run_streamer::stream_chunk(std::uint64_t offset, std::uint64_t size) {
    std::uint64_t status = 0;
    return m_clusters.read({offset, size}, status, [this](ql::bytes content, std::uint64_t count) {
        m_is_wanted =
            m_is_wanted && m_sink.put(content) && m_sink.put_zeros(count - content.size());
    });
}

// Returns how many bytes from `offset` are known to be zero without a read: the rest of a hole, or
// clusters that the source does not store. Returns 0 if `offset` is not at the start of a cluster.
std::uint64_t run_streamer::known_zeros(std::uint64_t offset, std::uint64_t size) const {
    const std::uint32_t cluster = m_ntfs.cluster_size();
    if (offset % cluster != 0) return 0;
    const std::uint64_t vcn = offset / cluster;
    const auto place = m_clusters.lookup().find(vcn);
    if (!place) return 0;
    const data_run_list& runs = m_clusters.runs();
    const data_run& run = runs[place->run_index];
    // A run that is later in the data but earlier in the list takes precedence there.
    std::uint64_t end_vcn = run.vcn + run.num_clusters;
    const bool is_in_order = m_clusters.lookup().is_in_order();
    for (std::uint32_t i = 0; i < place->run_index && !is_in_order; ++i) {
        if (runs[i].vcn > vcn) end_vcn = std::min(end_vcn, runs[i].vcn);
    }
    const std::uint64_t left = std::min((end_vcn - vcn) * cluster, size);
    if (run.sparse != 0) return left;
    const CRawDisk* const disk = m_ntfs.disk();
    if (disk == nullptr) return 0;
    const std::uint64_t start = place->lcn * cluster + m_ntfs.m_volume_offset;
    return disk->unheld_bytes(start, left) / cluster * cluster;
}

bool run_streamer::stream_compressed(std::uint64_t size, std::uint64_t allocated) {
    const std::uint64_t unit_size =
        std::min(unit_clusters * m_ntfs.cluster_size(),
                 run_bytes(m_clusters.runs(), m_ntfs.cluster_size(), false));
    if (unit_size == 0 || !fits_unit(m_ntfs, unit_size)) return false;
    const std::uint64_t extra = allocated - std::min(allocated, size);
    std::vector<std::uint8_t> unit;
    bool any_passed = false;
    std::uint64_t position = 0;
    std::uint64_t wanted = unit_size;
    for (std::uint64_t left = size; left != 0 && m_is_wanted;) {
        unit.clear();
        std::uint64_t status = 0;
        const std::uint64_t got = m_clusters.read(
            {position, wanted}, status, [&unit](ql::bytes content, std::uint64_t count) {
                unit.insert(unit.end(), content.begin(), content.end());
                unit.resize(unit.size() + count - content.size());
            });
        if (got == 0 || !stream_unit(unit, left, status)) break;
        any_passed = true;
        left -= std::min(left, got);
        position += got;
        // The last unit extends past the data, up to its allocated end.
        if (left < unit_size) wanted = left + std::min(extra, unit_size - left);
    }
    return any_passed;
}

// Passes the decompressed bytes of one unit. Returns false if the unit has no such bytes.
bool run_streamer::stream_unit(ql::bytes unit, std::uint64_t left, std::uint64_t status) {
    std::ostringstream plain;
    std::uint32_t written = 0;
    if (!decompress_unit(plain, written, unit, left, status | read_status::to_stream)) return false;
    const std::string_view text = plain.view();
    if (written == 0) return false;
    m_is_wanted = m_sink.put({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
    return true;
}

// Returns true for a resident row with data, even if the source ends before the value.
bool has_value(const NTFS_ATTRIB_ROW& row) {
    const std::uint32_t length = ql::le32(row.body, row_body::value_length);
    return !row.value.empty() ||
           (row.runs.empty() && row.nonresident == 0 && length != 0 && length < row.record_size);
}

bool stream_value(const NTFS_ATTRIB_ROW& row, data_sink& sink, mft_entries_ctx& ctx) {
    const std::uint32_t length = ql::le32(row.body, row_body::value_length);
    ctx.diag("info: data size 0x%llx", static_cast<unsigned long long>(length));
    if (length == 0) return false;
    const ql::bytes value = ql::clip(row.value, 0, length);
    // A value that the end of the record cuts off ends in zeros. A length that no record has is not
    // that of a value: the row of an object id has the id in its place.
    const std::uint64_t size = length < row.record_size ? length : value.size();
    if (sink.put(value)) sink.put_zeros(size - value.size());
    ctx.byte_count += size;
    return true;
}

bool stream_runs(CNtfs& ntfs, const NTFS_ATTRIB_ROW& row, data_sink& sink, mft_entries_ctx& ctx) {
    std::uint64_t size = announced_size(row);
    ctx.diag("info: data size 0x%llx", static_cast<unsigned long long>(size));
    size = std::min(size, run_bytes(row.runs, ntfs.cluster_size(), false));
    run_streamer streamer(ntfs, row.runs, sink);
    if (!is_compressed(row)) {
        ctx.byte_count += streamer.stream_plain(size);
        return true;
    }
    const std::uint64_t allocated = ql::le64(row.body, row_body::allocated_size);
    if (!streamer.stream_compressed(size, allocated)) return false;
    ctx.byte_count += size;
    return true;
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
    if (cluster_size() == 0 || size <= 0) return false;
    const auto wanted = std::min(static_cast<std::uint64_t>(size), std::uint64_t{target.size()});
    cluster_reader clusters(*this, runs);
    auto place = target.begin();
    const std::uint64_t done =
        clusters.read({offset, wanted}, status, [&place](ql::bytes content, std::uint64_t count) {
            place = std::copy(content.begin(), content.end(), place);
            place = std::fill_n(place, count - content.size(), std::uint8_t{0});
        });
    if (done == 0) return false;
    size = static_cast<std::int64_t>(done);
    return true;
}

bool stream_row(CNtfs& ntfs, const NTFS_ATTRIB_ROW& row, data_sink& sink, mft_entries_ctx& ctx) {
    ctx.byte_count = 0;
    if (has_value(row)) return stream_value(row, sink, ctx);
    if (!row.runs.empty()) return stream_runs(ntfs, row, sink, ctx);
    ctx.diag("err: no data");
    return false;
}

bool CNtfs::stream_attribute(const NTFS_ATTRIB_ROW& row, std::ostream& out, std::ostream& out2,
                             mft_entries_ctx& ctx) {
    out.clear();
    out2.clear();
    ctx.byte_count = 0;
    if ((has_value(row) || !row.runs.empty()) && (!out || !out2)) return false;
    stream_sink sink(out, disk());
    return stream_row(*this, row, sink, ctx);
}

bool CNtfs::stream_compressed(std::ostream& out, const data_run_list& runs, std::uint64_t size,
                              std::uint64_t allocated) {
    stream_sink sink(out, disk());
    return run_streamer(*this, runs, sink).stream_compressed(size, allocated);
}

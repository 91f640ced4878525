// quorvel-micro: times the parts of a listing one by one, on a volume that it builds.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <memory>
#include <ostream>
#include <streambuf>
#include <string>
#include <vector>

#include "foundation/text/ql_string.h"
#include "foundation/time/date_style.h"
#include "ntfs/attributes/attrib_rows.h"
#include "ntfs/attributes/name_entry_list.h"
#include "ntfs/volume/ntfs.h"
#include "report/format/stamp_text.h"
#include "report/walk/entry_rows.h"
#include "report/writers/csv_listing.h"
#include "report/writers/text_listing.h"
#include "report/writers/xml_listing.h"
#include "run/settings/quorvel_opts.h"
#include "support/sample_volume.h"
#include "support/temp_dir.h"

namespace {

constexpr std::uint64_t files = 100;
constexpr std::uint64_t directory = 64;  // its files follow it
constexpr bool unpaired = false;         // date and time are separate columns

// A volume with one directory of `files` files, open and validated.
class open_volume {
public:
    open_volume() {
        const std::string path = m_folder.file("volume.dd");
        support::save_many_files_volume(path, {.directories = 1, .files = files});
        ntfs = std::make_unique<CNtfs>(std::make_unique<CRawDisk>(ql::to_wide(path)), 0, 33);
        ntfs->validate();
        record.resize(ntfs->get_mft_record_size());
    }

    bool read(std::uint64_t entry) { return ntfs->read_record(entry, record).has_value(); }

    std::unique_ptr<CNtfs> ntfs;
    std::vector<std::uint8_t> record;  // of the last entry that was read

private:
    support::temp_dir m_folder;
};

// Returns the entry numbers of the files in turn, without an end.
class file_numbers {
public:
    std::uint64_t next() { return directory + 1 + m_count++ % files; }

private:
    std::uint64_t m_count = 0;
};

void read_records(benchmark::State& state) {
    open_volume volume;
    file_numbers numbers;
    for (auto _ : state)
        benchmark::DoNotOptimize(volume.read(numbers.next()));
}
BENCHMARK(read_records);

void categorise_entries(benchmark::State& state) {
    open_volume volume;
    file_numbers numbers;
    listing_rows rows(*volume.ntfs);
    for (auto _ : state)
        benchmark::DoNotOptimize(rows.read(numbers.next()));
}
BENCHMARK(categorise_entries);

void read_names(benchmark::State& state) {
    open_volume volume;
    volume.read(directory + 1);
    name_entry_list names;
    for (auto _ : state) {
        benchmark::DoNotOptimize(volume.ntfs->get_file_names(
            names, directory + 1, volume.record, {.all_namespaces = true, .parent = directory}));
    }
}
BENCHMARK(read_names);

// Converts a name as stored on disk to wide text, to a lower-case key and to UTF-8.
void convert_names(benchmark::State& state) {
    std::vector<std::uint8_t> units;
    for (const char c : std::string("Quarterly Report 2022.docx")) {
        units.push_back(static_cast<std::uint8_t>(c));
        units.push_back(0);
    }
    std::wstring wide;
    std::wstring key;
    std::string utf8;
    for (auto _ : state) {
        ql::utf16_to_wide(units, static_cast<std::int64_t>(units.size()), wide);
        key = wide;
        ql::lower_wide(key);
        utf8.clear();
        ql::append_utf8(utf8, wide);
        benchmark::DoNotOptimize(key.data());
        benchmark::DoNotOptimize(utf8.data());
    }
}
BENCHMARK(convert_names);

// Formats timestamps that are 100 microseconds or a day apart.
void render_stamps(benchmark::State& state) {
    ql::date_style style;
    ql::parse_date_style(style, "yyyy-mm-dd", "hh:mm:ss.xxx", unpaired);
    stamp_text stamp(style);
    const auto step = static_cast<std::uint64_t>(state.range(0));
    std::uint64_t count = 0;
    for (auto _ : state) {
        stamp.render(132'500'000'000'000'000 + count++ % 10'000 * step);
        benchmark::DoNotOptimize(stamp.time.view().data());
    }
}
BENCHMARK(render_stamps)->Arg(1'000)->Arg(864'000'000'000);

// Builds the rows of a file in the directory, whose record has been read.
void add_rows(entry_rows& rows, const open_volume& volume, std::uint64_t entry,
              dir_entry_set& entries) {
    static const shared_path path{L"\\dir00000"};
    rows.add({.record = volume.record,
              .entry_num = entry,
              .parent_num = directory,
              .path = path,
              .append_name = true},
             entries);
}

// Builds the rows of the whole directory; times are those of all its files.
void make_rows(benchmark::State& state) {
    open_volume volume;
    quorvel_opts opts;
    entry_rows rows(*volume.ntfs, opts);
    for (auto _ : state) {
        for (std::uint64_t entry = directory + 1; entry <= directory + files; ++entry) {
            if (!volume.read(entry)) state.SkipWithError("a record can't be read");
            add_rows(rows, volume, entry, opts.entries);
        }
        rows.recycle(opts.entries);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(files));
}
BENCHMARK(make_rows);

// Discards everything.
class nowhere : public std::streambuf {
protected:
    std::streamsize xsputn(const char*, std::streamsize count) override { return count; }
    int_type overflow(int_type c) override { return traits_type::not_eof(c); }
};

nowhere nowhere_buffer;
std::ostream nowhere_stream(&nowhere_buffer);

using writer = void (*)(quorvel_opts& opts, dir_entry_set& recurse_list);

void write_text(quorvel_opts& opts, dir_entry_set& recurse_list) {
    write_text_listing(nowhere_stream, recurse_list, opts, L"\\dir00000", directory, false);
}
void write_csv(quorvel_opts& opts, dir_entry_set& recurse_list) {
    write_csv_listing(nowhere_stream, recurse_list, opts, L"\\dir00000", directory);
}
void write_xml(quorvel_opts& opts, dir_entry_set& recurse_list) {
    write_xml_listing(nowhere_stream, recurse_list, opts, L"\\dir00000", directory);
}

// Writes the rows of the whole directory with all timestamps; times are those of all its files.
void write_rows(benchmark::State& state, writer write) {
    open_volume volume;
    quorvel_opts opts;
    opts.alldates = 1;
    ql::parse_date_style(opts.date_style, opts.date_format, opts.time_format, unpaired);
    entry_rows rows(*volume.ntfs, opts);
    for (std::uint64_t entry = directory + 1; entry <= directory + files; ++entry) {
        volume.read(entry);
        add_rows(rows, volume, entry, opts.entries);
    }
    dir_entry_set recurse_list;
    for (auto _ : state)
        write(opts, recurse_list);
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(files));
}
BENCHMARK_CAPTURE(write_rows, text, write_text);
BENCHMARK_CAPTURE(write_rows, csv, write_csv);
BENCHMARK_CAPTURE(write_rows, xml, write_xml);

}  // namespace

BENCHMARK_MAIN();

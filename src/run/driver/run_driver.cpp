#include "run/driver/run_driver.h"

#include <fstream>
#include <iostream>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "foundation/streams/print_error.h"
#include "foundation/streams/uni_streams.h"
#include "foundation/text/ql_number.h"
#include "foundation/text/ql_string.h"
#include "ntfs/entry_paths/entry_paths.h"
#include "run/arguments/arguments.h"
#include "run/arguments/directory_argument.h"
#include "run/arguments/expand_env.h"
#include "run/driver/report_head.h"
#include "run/driver/run_guard.h"
#include "run/driver/run_path.h"
#include "run/driver/usage.h"
#include "run/options/common_options.h"
#include "run/options/option_words.h"
#include "run/settings/quorvel_opts.h"
#include "storage/volumes/source_check.h"

namespace {

constexpr int status_done = 0;
constexpr int status_failed = -1;
constexpr bool allow_vss = true;  // in the directory argument

// The state of a run from its first step to its last. The output files are declared after the
// settings, whose `out` points to one of them.
struct run_state {
    std::vector<std::string> args;  // options are removed as they are read
    quorvel_opts opts;
    std::string head;  // the report head
    std::string xml_file;
    std::string mft_arg;  // empty without "-mft"
    std::uint64_t mft_entry = 0;
    std::string source_name;  // of the image
    uni::file_object results;
    std::ofstream xml_stream;
};

// What the command line names: a path, or the paths of the MFT entry.
struct listing_target {
    std::vector<std::wstring> paths;
    bool is_dir = false;  // all of them are one directory, which is listed once
};

// The callback for "-signal". It has nothing to do.
void on_exit() {}

int end_with_usage(int status) {
    usage();
    return status;
}

bool help_requested(std::vector<std::string>& args) {
    for (const char* option : {driver_option("-h"), driver_option("-help"), driver_option("/?"),
                               driver_option("--help")}) {
        if (has_option(option, args)) return true;
    }
    return args.size() <= 1;
}

void write_head(const run_state& run, std::ostream& out) { out << run.head << std::endl; }

// Reads "-xml". If it is the last argument, returns false and prints the report head and the reason
// on standard output.
bool read_xml_file(run_state& run) {
    if (option_value(driver_option("-xml"), run.xml_file, run.args)) {
        run.opts.xml = 1;
        return true;
    }
    if (!has_option(driver_option("-xml"), run.args)) return true;
    write_head(run, std::cout);
    std::cout << "Error: option requires an output file: -xml <output file>" << std::endl;
    return false;
}

bool read_common_options(run_state& run) {
    if (parse_common_options(run.opts, run.args, driver_option("-vmdk"))) return true;
    write_head(run, std::cout);
    return false;
}

// Directs the report to the results file or to standard output. Returns false, after an error
// message, if the results file cannot be opened.
bool open_output(run_state& run) {
    run.opts.out = &std::cout;
    const std::string& name = run.opts.results_file;
    if (name.empty()) return true;
    if (!run.results.open(name, uni::file_use::rewrite)) {
        print_error("prob opening results file: %s for writing\n", name.c_str());
        return false;
    }
    run.opts.out = run.results.attach_stream();
    return true;
}

// A list of bare paths has no report head.
void read_path_form(run_state& run) {
    if (has_option(driver_option("-filepath_only"), run.args)) {
        run.opts.filepath_only = 1;
    } else {
        write_head(run, *run.opts.out);
    }
}

// "-recurse" and "-level" set the number of levels below the directory. A value that is not a
// number means 0.
void read_levels(run_state& run, const char* option) {
    std::string value;
    if (!option_value(option, value, run.args)) return;
    std::uint32_t& levels = run.opts.levels;
    levels = ql::parse_count(value, levels) ? levels + 1 : 1;
}

void read_report_options(run_state& run) {
    quorvel_opts& opts = run.opts;
    if (has_option(driver_option("-indx"), run.args)) opts.show_indx = 1;
    std::string value;
    if (option_value(driver_option("-offset"), value, run.args))
        ql::parse_number(value, opts.volume_offset);
    if (option_value(driver_option("-mft"), run.mft_arg, run.args))
        ql::parse_number(run.mft_arg, run.mft_entry);
    if (has_option(driver_option("-objid"), run.args)) opts.show_objid = 1;
    if (has_option(driver_option("-alldates"), run.args)) {
        opts.no_whitespace = 1;
        opts.csv = 1;
        opts.alldates = 1;
    }
    read_levels(run, driver_option("-recurse"));
    read_levels(run, driver_option("-level"));
}

// "-ignore_image_size" is read only if there is a volume offset; otherwise it remains in the
// arguments.
bool read_ignore_image_size(run_state& run) {
    return run.opts.volume_offset != 0 && has_option(driver_option("-ignore_image_size"), run.args);
}

// Checks the image and determines the volume offset. Without an offset on the command line the
// image must be a bare volume; it is also accepted if the check rejects it because of its size.
bool find_image_volume(run_state& run) {
    std::uint64_t& offset = run.opts.volume_offset;
    const bool offset_given = offset != 0;
    const bool ignore_image_size = read_ignore_image_size(run);
    std::ostringstream messages;
    bool found_ntfs = false;
    const bool accepted =
        check_image(messages, run.source_name, offset, found_ntfs, ignore_image_size);
    if (accepted || (!offset_given && offset == 0 && found_ntfs)) return true;
    print_error("%s\n", messages.str().c_str());
    return false;
}

// Checks the drive of "-drivenum", if given. Listings never open a drive.
bool check_drive_option(run_state& run) {
    std::string value;
    if (!option_value(driver_option("-drivenum"), value, run.args)) return true;
    ql::parse_u32(value, run.opts.drive_number);
    const bool ignore_image_size = read_ignore_image_size(run);
    std::ostringstream messages;
    const bool accepted =
        check_drive(messages, run.opts.drive_number, run.opts.volume_offset, ignore_image_size);
    std::cerr << messages.str();
    return accepted;
}

bool find_source(run_state& run) {
    if (option_value(driver_option("-image"), run.source_name, run.args))
        return find_image_volume(run);
    return check_drive_option(run);
}

// Returns the first argument that is not part of an option, as a path inside the volume, or the
// root.
std::wstring read_directory(const run_state& run) {
    if (run.args.size() < 2) return L"\\";
    return ql::to_wide(normalise_directory(expand_env(run.args[1], allow_vss)));
}

// Bare paths exclude all other forms; XML takes precedence over CSV.
void choose_report_form(quorvel_opts& opts) {
    if (opts.filepath_only != 0) {
        opts.xml = 0;
        opts.csv = 0;
        opts.header_pending = 0;
        opts.show_objid = 0;
    } else if (opts.xml != 0) {
        opts.csv = 0;
    }
}

void print_paths_note(const listing_target& target) {
    std::cerr << "\n[Note: this MFT entry has multiple possible paths]\n\n";
    if (!target.is_dir) return;
    for (const std::wstring& path : target.paths)
        std::cerr << ql::to_utf8(path) << "\n";
    std::cerr << "\nWill output only first path\n";
}

// Finds the paths of the MFT entry. Returns nullopt, after an error message, if the entry cannot be
// read or has no name.
std::optional<listing_target> find_entry_paths(run_state& run, const std::wstring& directory) {
    const volume_source source{run.opts.image_path, run.opts.volume_offset};
    listing_target target;
    if (!paths_for_entry(source, run.mft_entry, entry_path_prefix(directory), target.paths)) {
        print_error("couldn't resolve MFT entry to filepath\n");
        return std::nullopt;
    }
    target.is_dir = entry_is_directory(source, run.mft_entry);
    run.opts.dir_entry_num = run.mft_entry;
    if (target.paths.size() >= 2) print_paths_note(target);
    return target;
}

std::optional<listing_target> find_paths(run_state& run, const std::wstring& directory) {
    if (!run.mft_arg.empty()) return find_entry_paths(run, directory);
    return listing_target{.paths = {directory}};
}

// Directs the report to the XML file, with a head of its own. If the file cannot be opened, the
// report is written to the previous output.
void open_xml_file(run_state& run) {
    if (run.opts.xml == 0 || run.xml_file.empty()) return;
    run.xml_stream.open(run.xml_file, std::ios::out | std::ios::trunc);
    if (!run.xml_stream.is_open()) return;
    write_head(run, run.xml_stream);
    run.opts.out = &run.xml_stream;
}

void list_paths(quorvel_opts& opts, const std::wstring& directory, listing_target target) {
    // An entry without paths is not listed, unless it is a directory: then the argument is listed.
    const std::size_t count = target.is_dir ? 1 : target.paths.size();
    if (target.paths.empty()) target.paths.push_back(directory);
    for (std::size_t i = 0; i < count; ++i) {
        opts.entries.clear();
        opts.directory = target.paths[i];
        run_path(opts);
    }
}

// Keeps the rows of the last listing until the process ends. The system frees its memory faster
// than the rows could be freed one by one.
void keep_until_exit(dir_entry_set& rows) {
    static dir_entry_set* const kept = new dir_entry_set;
    kept->swap(rows);
}

// Runs the steps from the checked source to the last path.
int list_source(run_state& run) {
    const std::wstring directory = read_directory(run);
    choose_report_form(run.opts);
    run.opts.image_path = ql::to_wide(run.source_name);
    std::optional<listing_target> target = find_paths(run, directory);
    if (!target) return status_failed;
    open_xml_file(run);
    list_paths(run.opts, directory, *std::move(target));
    keep_until_exit(run.opts.entries);
    return status_done;
}

}  // namespace

int run_program(int argc, const char* const* argv) {
    run_guard guard;  // outlives the settings and the output files
    run_state run;
    collect_args(run.args, argc, argv);
    if (run.args.empty()) return status_failed;
    if (help_requested(run.args)) return end_with_usage(status_done);

    run.head = report_head(run.args);
    if (!read_xml_file(run)) return status_failed;
    if (!read_common_options(run)) return status_failed;
    guard.arm(run.opts, on_exit);
    if (!open_output(run)) return status_failed;
    read_path_form(run);
    if (run.args.size() <= 1) return end_with_usage(status_failed);

    read_report_options(run);
    if (!find_source(run)) return status_failed;
    if (run.source_name.empty()) return end_with_usage(status_failed);
    return list_source(run);
}

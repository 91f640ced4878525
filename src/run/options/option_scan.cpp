#include "run/options/option_scan.h"

#include <algorithm>
#include <iostream>
#include <memory>
#include <optional>
#include <string_view>

#include "foundation/text/ql_string.h"
#include "foundation/text/split_text.h"
#include "foundation/time/date_style.h"
#include "run/arguments/arguments.h"
#include "run/filters/path_filters.h"
#include "run/options/date_window.h"
#include "run/options/option_words.h"
#include "run/options/results_file.h"
#include "run/settings/cmd_params.h"

namespace {

using words = std::vector<std::string>;

bool accept(cmd_params&, const std::string&, words&) { return true; }

bool pair_dates(cmd_params& params, const std::string&, words&) {
    params.pair_datetime = 1;
    return true;
}

// A trace file that cannot be opened is ignored without a message.
bool open_trace(cmd_params& params, const std::string& value, words&) {
    auto stream = std::make_unique<std::ofstream>(value, std::ios::out);
    if (!stream->is_open()) return true;
    params.diags_stream = std::move(stream);
    params.diags_file = value;
    params.diags_on = 1;
    *params.diags_stream << "->" << params.command_line << std::endl;
    return true;
}

bool trace_level_2(cmd_params& params, const std::string&, words&) {
    params.diags_level = 2;
    return true;
}

bool trace_level_3(cmd_params& params, const std::string&, words&) {
    params.diags_level = 3;
    return true;
}

// --- report forms ---

bool select_csv(cmd_params& params, const std::string&, words&) {
    params.xml = 0;
    params.csv = 1;
    params.list_csvl2t = 0;
    params.list_bodyfile = 0;
    params.list_multiline = 0;
    set_separator(params, ",");
    params.no_whitespace = params.pair_datetime == 0;
    return true;
}

bool select_csvgen(cmd_params& params, const std::string&, words&) {
    params.xml = 0;
    params.csv = 0;
    params.list_csvl2t = 0;
    params.list_csvgen = 1;
    params.list_bodyfile = 0;
    params.list_multiline = 0;
    set_separator(params, ",");
    params.no_whitespace = 1;
    return true;
}

bool select_csvl2t(cmd_params& params, const std::string&, words&) {
    params.xml = 0;
    params.csv = 0;
    params.list_csvl2t = 1;
    params.header_pending = 1;
    set_separator(params, ",");
    return true;
}

bool select_bodyfile(cmd_params& params, const std::string&, words&) {
    params.xml = 0;
    params.csv = 0;
    params.list_csvl2t = 0;
    params.list_bodyfile = 1;
    params.header_pending = 1;
    set_separator(params, "|");
    return true;
}

bool select_multiline(cmd_params& params, const std::string&, words&) {
    params.list_multiline = 1;
    params.header_pending = 1;
    set_separator(params, "");
    params.xml = 0;
    params.csv = 0;
    params.list_csvl2t = 0;
    return true;
}

// --- aliases: checked, but not used ---

bool has_pipe(const std::string& list) { return list.find('|') != std::string::npos; }

bool has_even_count(const std::string& list) {
    return split_list(list, '|', {.trim = true}).size() % 2 == 0;
}

bool reject_alias() {
    std::cerr << "imbalanced alias to true pathfiles, aborting\n";
    return false;
}

bool check_alias(cmd_params&, const std::string& value, words&) {
    return (has_pipe(value) && has_even_count(value)) || reject_alias();
}

// A single path needs no pair.
bool check_alias_path(cmd_params&, const std::string& value, words&) {
    return !has_pipe(value) || has_even_count(value) || reject_alias();
}

// --- output and filters ---

bool store_signal(cmd_params& params, const std::string& value, words&) {
    params.signal_text = value;
    return true;
}

bool reject_database(cmd_params&, const std::string&, words&) {
    std::cerr << "This option is not offered in this build\n";
    return false;
}

bool split_path_and_file(cmd_params& params, const std::string&, words&) {
    params.split_pathfile = 1;
    return true;
}

bool apply_results_file(cmd_params& params, const std::string& value, words& args) {
    params.results_file = results_file_name(value);
    return test_results_file(params.results_file, peek_option(driver_option("-append"), args, 1));
}

bool measure_time(cmd_params& params, const std::string&, words&) {
    params.profile = 1;
    return true;
}

bool add_filters(cmd_params& params, const std::string& value, words&) {
    parse_filter_list(params.filters, value);
    return true;
}

bool add_filter_signature(cmd_params& params, const std::string& value, words&) {
    parse_filter_signature(params.filters, value);
    return true;
}

bool apply_filter_root(cmd_params& params, const std::string& value, words&) {
    set_filter_root(params.filters, value);
    return true;
}

bool apply_window_start(cmd_params& params, const std::string& value, words&) {
    return set_window_start(params, value);
}

bool apply_window_stop(cmd_params& params, const std::string& value, words&) {
    return set_window_stop(params, value);
}

// --- presentation of values ---

bool numbers_in_base10(cmd_params& params, const std::string&, words&) {
    params.hex_numbers = 0;
    return true;
}

bool numbers_in_base16(cmd_params& params, const std::string&, words&) {
    params.hex_numbers = 1;
    return true;
}

bool apply_separator(cmd_params& params, const std::string& value, words&) {
    set_separator(params, value);
    return true;
}

bool drop_whitespace(cmd_params& params, const std::string&, words&) {
    params.no_whitespace = 1;
    params.csv_space_field = 0;
    ql::remove_char(params.csv_separator, ' ');
    return true;
}

// Sets a format, or reports that the default is used.
void apply_format(std::string& format, const std::string& value, bool accepted) {
    if (!accepted) {
        std::cerr << "invalid " << value << ", using default format\n";
        return;
    }
    format = value;
    ql::lower(format);
}

bool apply_date_format(cmd_params& params, const std::string& value, words&) {
    apply_format(params.date_format, value, value.size() == 8 || value.size() == 10);
    return true;
}

bool apply_time_format(cmd_params& params, const std::string& value, words&) {
    const bool length_fits = value.size() == 8 || (value.size() >= 12 && value.size() <= 18);
    apply_format(params.time_format, value, length_fits && value.find(':') != std::string::npos);
    return true;
}

bool be_quiet(cmd_params& params, const std::string&, words&) {
    params.progress_line = 0;
    return true;
}

using enum option_form;

constexpr const char* trace_option = "-diags";

// The table is in scan order: a later row sees, and may override, the settings of an earlier one,
// regardless of the order of the arguments.
constexpr option_spec vocabulary[] = {
    {"-pair_datetime", flag, pair_dates},
    {trace_option, value, open_trace},
    {"-l2", flag, trace_level_2, trace_option},
    {"-l3", flag, trace_level_3, trace_option},
    {"-csv", flag, select_csv},
    {"-csvgen", flag, select_csvgen},
    {"-csvl2t", flag, select_csvl2t},
    {"-bodyfile", flag, select_bodyfile},
    {"-multiline", flag, select_multiline},
    {"-alias", value, check_alias},
    {"-aliaspath", value, check_alias_path},
    {"-gzip", flag, accept},
    {"-zlib", flag, accept},
    {"-zlibex", value, accept},
    {"-threads", value, accept},
    {"-signal", value, store_signal},
    {"-hostname", value, accept},
    {"-username", value, accept},
    {"-cpuinst", value, accept},
    {"-cpu", value, accept},
    {"-fragment_files", value, accept},
    {"-separate_files", flag, accept},
    {"-outdir", value, accept},
    {"-enumdir", value, accept},
    {"-num_subdirs", value, accept},
    {common_option::pipe, flag, accept},
    {"-verbose", flag, accept},
    {"-v", flag, accept},
    {"-sqlite_log", value, reject_database},
    {"-sqlite", value, reject_database},
    {"-split_pathfile", flag, split_path_and_file},
    {"-out", value, apply_results_file},
    {"-outfile", value, apply_results_file},
    {"-profile", flag, measure_time},
    {"-filter", values, add_filters},
    {"-filter_sig", values, add_filter_signature},
    {"-filter_path", value, apply_filter_root},
    {"-cmd_start_time", value, apply_window_start},
    {"-cmd_stop_time", value, apply_window_stop},
    {"-base10", flag, numbers_in_base10},
    {"-base16", flag, numbers_in_base16},
    {"-csv_separator", value, apply_separator},
    {"-no_whitespace", flag, drop_whitespace},
    {common_option::date_format, value, apply_date_format},
    {"-timeformat", value, apply_time_format},
    {"-quiet", flag, be_quiet},
};

// Removes the next occurrence of the option from `args`. Returns its value, which is empty for a
// flag, or nullopt if the option is absent.
std::optional<std::string> take_option(const option_spec& option, words& args) {
    std::string found_value;
    const bool found = option.form == flag ? has_option(option.word, args)
                                           : option_value(option.word, found_value, args);
    return found ? std::optional(found_value) : std::nullopt;
}

enum class scan_step { absent, applied, run_ends };

// Finds one option and applies it, as often as it may be repeated.
scan_step read_option(const option_spec& option, cmd_params& params, words& args) {
    scan_step step = scan_step::absent;
    while (const std::optional<std::string> found_value = take_option(option, args)) {
        if (!option.apply(params, *found_value, args)) return scan_step::run_ends;
        step = scan_step::applied;
        if (option.form != values) break;
    }
    return step;
}

}  // namespace

std::span<const option_spec> common_options() { return vocabulary; }

std::vector<option_word> all_words() {
    std::vector<option_word> out(driver_words().begin(), driver_words().end());
    for (const option_spec& option : common_options())
        out.push_back({option.word, option.form});
    return out;
}

bool scan_options(cmd_params& params, std::vector<std::string>& args) {
    if (args.empty()) return false;
    if (params.command_line.empty()) join_args(params.command_line, args, '"');
    if (params.program_name.empty()) params.program_name = program_name_of(args[0]);

    std::string_view group;  // the option whose dependent options are looked up
    for (const option_spec& option : vocabulary) {
        if (option.needs != nullptr && group != option.needs) continue;
        const scan_step step = read_option(option, params, args);
        if (step == scan_step::run_ends) return false;
        if (step == scan_step::applied) group = option.needs == nullptr ? option.word : "";
    }
    ql::parse_date_style(params.date_style, params.date_format, params.time_format,
                         params.pair_datetime != 0);
    return true;
}

void set_separator(cmd_params& params, const std::string& text) {
    params.csv_separator = text;
    params.path_sep_from = 0;
    params.path_sep_to = 0;
    std::string lowered = text;
    ql::lower(lowered);
    if (lowered.find('|') != std::string::npos) {
        params.path_sep_from = '|';
        params.path_sep_to = ';';
    } else if (lowered.find(',') != std::string::npos) {
        params.path_sep_from = ',';
        params.path_sep_to = ' ';
    } else if (lowered == "tab" || lowered == "\\t") {
        params.csv_separator = "\t";
    }
}

std::string program_name_of(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
    name.erase(std::min(name.rfind('.'), name.size()));
    return name;
}

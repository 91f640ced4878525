// The common settings of a run, and its diagnostic trace.
#pragma once

#include <cstdint>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "foundation/time/date_style.h"
#include "run/settings/path_filter.h"

// The settings that the common options set. Also the trace to which the volume reader writes the
// reasons for its failures.
class cmd_params {
public:
    cmd_params();
    virtual ~cmd_params();
    cmd_params(const cmd_params&) = delete;
    cmd_params& operator=(const cmd_params&) = delete;

    // Writes the line "->text" to the trace file and flushes it; does nothing unless diags_on is
    // set. The text is truncated to the length of `format` plus 255 characters. `%S` formats wide
    // text; the C locale can only print ASCII, and any other character ends the line.
    void diag(const char* format, ...);

    std::string command_line;  // arguments with blanks in double quotes
    std::string program_name;  // file name of the program, without extension
    std::string results_file;  // "-out"
    std::string date_format = "yyyy-mm-dd";
    std::string time_format = "hh:mm:ss.xxx";
    ql::date_style date_style;
    std::uint8_t path_sep_from = '|';  // replaced in paths by the CSV report; 0 for nothing
    std::uint8_t path_sep_to = ';';
    std::string csv_separator = " | ";
    std::uint8_t no_whitespace = 0;
    std::uint8_t csv_space_field = 1;
    std::uint8_t hex_numbers = 1;
    std::uint8_t split_pathfile = 0;
    std::vector<std::wstring> vmdk_files;
    std::uint64_t vmdk_offset = 0;  // bytes, volume offset in the chain
    std::uint8_t xml = 0;
    std::uint8_t csv = 0;
    std::uint8_t list_csvl2t = 0;
    std::uint8_t list_csvgen = 0;
    std::uint8_t list_bodyfile = 0;
    std::uint8_t list_multiline = 0;
    std::uint8_t progress_line = 1;  // the terminal line is cleared at the end of the run
    std::uint8_t pair_datetime = 0;
    std::uint8_t header_pending = 1;
    std::uint8_t diags_on = 0;
    std::uint32_t diags_level = 0;
    std::unique_ptr<std::ofstream> diags_stream;
    std::string diags_file;
    std::uint8_t profile = 0;
    std::string signal_text;
    std::vector<path_filter> filters;
    std::uint8_t time_from_on = 0;  // start of the date window: FILETIME, 1 if displayable
    std::uint64_t time_from = 0;
    std::uint32_t time_from_alt = 0;
    std::uint8_t time_to_on = 0;  // end of the date window
    std::uint64_t time_to = 0;
    std::uint32_t time_to_alt = 0;
};

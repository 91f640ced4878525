#include "run/driver/report_head.h"

#include <unistd.h>

#include <array>
#include <string_view>

#include "foundation/text/ql_string.h"
#include "foundation/time/time_text.h"
#include "run/arguments/arguments.h"
#include "run/options/option_words.h"

namespace {

// Returns the current time in UTC, with the date in the format of the command line.
std::string run_time(const std::vector<std::string>& args) {
    std::string date_format = "mm/dd/yyyy";
    peek_option_value(common_option::date_format, date_format, args, 1);
    std::string date;
    std::string time;
    ql::format_date_time(date, time, ql::time::now(), date_format, "hh:mm:ss");
    return date + " " + time + " [UTC]";
}

std::string host_name() {
    std::array<char, 1025> name{};
    return gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "<unk>";
}

std::string this_system() {
    utsname system{};
    return uname(&system) == 0 ? system_text(system) : "";
}

std::string command_text(const std::vector<std::string>& args) {
    std::string text;
    join_args(text, args, '\'');
    return (peek_option(common_option::pipe, args, 1) ? "<filelist> ... | " : "") + text;
}

}  // namespace

std::string identification_line() { return "quorvel ver: 1.45"; }

std::string system_text(const utsname& system) {
    std::string text;
    for (const char* field : {system.sysname, system.version, system.release}) {
        std::string part = field;
        ql::replace_char(part, ';', ' ');
        text += part + ";";
    }
    const std::string_view machine = system.machine;
    return text + (machine.find("64") != std::string_view::npos ? "64" : "32");
}

std::string report_head(const std::vector<std::string>& args) {
    return identification_line() + "\n" +                              //
           "run time: " + run_time(args) + "; host: " + host_name() +  //
           "; system: " + this_system() + "\n" +                       //
           "\"command line: " + command_text(args) + "\"\n";
}

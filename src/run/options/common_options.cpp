#include "run/options/common_options.h"

#include <iostream>
#include <sstream>

#include "foundation/text/ql_number.h"
#include "foundation/text/ql_string.h"
#include "foundation/text/split_text.h"
#include "run/arguments/arguments.h"
#include "run/options/option_scan.h"
#include "run/options/option_words.h"
#include "run/settings/cmd_params.h"
#include "storage/vmdk/vmdk_chain.h"
#include "storage/vmdk/vmdk_check.h"
#include "storage/volumes/source_check.h"

namespace {

// Reads the files of the chain: the value of the first option is a list, that of each further one a
// path. Returns false if there is no such option.
bool read_vmdk_files(cmd_params& params, std::vector<std::string>& args, const char* vmdk_option) {
    std::string value;
    if (!option_value(vmdk_option, value, args)) return false;
    params.vmdk_files = split_any(ql::to_wide(value), L"|,;", {.trim = true});
    while (option_value(vmdk_option, value, args))
        params.vmdk_files.push_back(ql::to_wide(value));
    return true;
}

// Prints a C string: a NUL in a file's name ends the text.
void print_messages(const std::ostringstream& messages) {
    std::cerr << messages.str().c_str() << "\n";
}

void print_suggestion(const std::vector<std::wstring>& files, const char* vmdk_option) {
    if (files.empty()) return;
    std::string list;
    for (const std::wstring& file : files) {
        if (&file != &files.front()) list += " | ";
        ql::append_utf8(list, file);
    }
    std::cerr << "suggested array: " << vmdk_option << " \"" << list << "\"\n";
}

bool check_chain(const cmd_params& params, const char* vmdk_option) {
    std::ostringstream messages;
    std::vector<std::wstring> suggested;
    if (check_vmdk_chain(params.vmdk_files, messages, suggested)) return true;
    print_messages(messages);
    print_suggestion(suggested, vmdk_option);
    return false;
}

// Finds the volume of the chain. A volume that was found is used even if the check rejects it.
bool check_volume(cmd_params& params, std::vector<std::string>& args) {
    const bool ignore_image_size =
        params.vmdk_offset != 0 && has_option(driver_option("-ignore_image_size"), args);
    std::ostringstream messages;
    bool found_ntfs = false;
    const bool settled = check_vmdk_list(messages, params.vmdk_files, params.vmdk_offset,
                                         found_ntfs, ignore_image_size);
    if (settled || found_ntfs) return true;
    print_messages(messages);
    return false;
}

}  // namespace

bool parse_common_options(cmd_params& params, std::vector<std::string>& args,
                          const char* vmdk_option) {
    if (!scan_options(params, args)) return false;
    if (!read_vmdk_files(params, args, vmdk_option)) return true;

    std::string offset;
    if (option_value(driver_option("-offset"), offset, args))
        ql::parse_number(offset, params.vmdk_offset);
    return check_chain(params, vmdk_option) && check_volume(params, args);
}

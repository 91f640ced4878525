// The options that are read before the program's own: the common vocabulary and a VMDK chain.
#pragma once

#include <string>
#include <vector>

class cmd_params;

// Reads the common vocabulary, then the chain of `vmdk_option` ("-vmdk") with its "-offset" and
// "-ignore_image_size", all of which leave `args`. A chain is checked: its files, then its volume.
// False ends the run; the reason is on standard error.
bool parse_common_options(cmd_params& params, std::vector<std::string>& args,
                          const char* vmdk_option);

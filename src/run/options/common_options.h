// Options that are read before those of the program itself: the common vocabulary and the VMDK
// chain.
#pragma once

#include <string>
#include <vector>

class cmd_params;

// Reads the common vocabulary, then the chain of `vmdk_option` ("-vmdk") with its "-offset" and
// "-ignore_image_size", and removes them from `args`. Checks the files of the chain, then its
// volume. Returns false if the run must end; the reason is on standard error.
bool parse_common_options(cmd_params& params, std::vector<std::string>& args,
                          const char* vmdk_option);

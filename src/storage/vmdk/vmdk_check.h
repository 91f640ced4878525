// Checks the files of a VMDK chain before the run.
#pragma once

#include <ostream>
#include <string>
#include <vector>

// The check of the option stage: opens the files, follows the CID chain and writes the missing
// files to `out`. `result` is the user's list with the missing parents appended. Returns false if a
// file cannot be opened, a parent had to be added or the chain is broken.
bool check_vmdk_chain(const std::vector<std::wstring>& paths, std::ostream& out,
                      std::vector<std::wstring>& result);

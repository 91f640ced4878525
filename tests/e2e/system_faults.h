// Runs of the program with failing system calls, using the library of tests/support/fault_shim.c.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <limits>
#include <string>
#include <vector>

#include "support/run_program.h"

namespace e2e {

// An effect on calls of one kind.
struct system_fault {
    std::string call;  // "read", "write", "open", "stat" and so on; see fault_shim.c
    std::string path;  // the end of the file's name; "*" any; "1", "2" standard output, error
    // An errno such as "EIO"; "half", "less" or "nothing" for a short count; "unseekable" for an
    // open of a file that does not support seeking.
    std::string effect;
    std::uint64_t first = 1;  // the affected calls, counted from 1 among those that match
    std::uint64_t last = std::numeric_limits<std::uint32_t>::max();
    std::int64_t offset = 0;  // reads: at positions from this one up to `end`
    std::int64_t end = std::numeric_limits<std::int64_t>::max();
};

// Returns true if the library cannot be used: the calls of valgrind itself would fail.
inline bool takes_no_faults() {
    const std::vector<std::string> runner = support::runner();
    return !runner.empty() && runner[0].find("valgrind") != std::string::npos;
}

// Returns the options of a run with these faults, with a time limit. Calls that open or change
// files are logged to `log`.
inline support::program_options with_faults(const std::vector<system_fault>& faults,
                                            const std::string& log = {}) {
    support::program_options options;
    options.time_limit = 100;
    options.environment["LD_PRELOAD"] = QUORVEL_FAULT_SHIM;
    // AddressSanitizer checks that it is the first library. The fault library before it does not
    // need it.
    const char* asan = std::getenv("ASAN_OPTIONS");
    options.environment["ASAN_OPTIONS"] =
        std::string(asan != nullptr ? asan : "") + ":verify_asan_link_order=0";
    if (!log.empty()) options.environment["QUORVEL_FAULT_LOG"] = log;
    for (std::size_t i = 0; i < faults.size(); ++i) {
        const system_fault& fault = faults[i];
        options.environment["QUORVEL_FAULT_" + std::to_string(i)] =
            fault.call + " " + fault.path + " " + std::to_string(fault.first) + " " +
            std::to_string(fault.last) + " " + std::to_string(fault.offset) + " " +
            std::to_string(fault.end) + " " + fault.effect;
    }
    return options;
}

}  // namespace e2e

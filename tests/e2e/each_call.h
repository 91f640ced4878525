// Runs of a program in which one system call fails, for each call in turn.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <string>

#include "e2e/system_faults.h"
#include "support/temp_dir.h"

namespace e2e {

// Calls `run(options)` with the fault on the first matching call, then on the second, and so on,
// until a run ends before the fault takes effect: each run is checked by `run`. Returns the number
// of the calls. `log` is the path of a file for the log.
template <typename Run>
std::uint64_t with_each_call(system_fault fault, const std::string& log, Run run) {
    constexpr std::uint64_t most = 2000;
    for (std::uint64_t number = 1; number <= most; ++number) {
        SCOPED_TRACE(fault.call + " " + std::to_string(number) + ", " + fault.effect);
        fault.first = fault.last = number;
        std::filesystem::remove(log);
        run(with_faults({fault}, log));
        if (support::read_file(log).find("fault " + fault.call + " ") == std::string::npos)
            return number - 1;
    }
    ADD_FAILURE() << "a run of more than " << most << " calls";
    return most;
}

}  // namespace e2e

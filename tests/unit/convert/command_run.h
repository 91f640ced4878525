// Runs a routine of quorvel-convert that takes a command line, and shows what it wrote.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "convert/command/command_line.h"
#include "support/temp_dir.h"

namespace command_run {

struct outcome {
    int status;
    std::string standard_output, standard_error;
};

// Calls the routine and captures both outputs.
inline outcome run(int (*routine)(const convert::command_line&),
                   const convert::command_line& line) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const int status = routine(line);
    std::string output = testing::internal::GetCapturedStdout();
    return {status, std::move(output), testing::internal::GetCapturedStderr()};
}

// Returns the names of the files in a folder, sorted.
inline std::vector<std::string> names_in(const support::temp_dir& dir) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(dir.path()))
        names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace command_run

// Runs a routine of quorvel-convert that takes a command line, and shows what it wrote.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "convert/command/command_line.h"

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

}  // namespace command_run

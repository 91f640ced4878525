#include "run/driver/run_guard.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <type_traits>

#include "run/settings/cmd_params.h"
#include "support/temp_dir.h"

namespace {

const std::string clearing = "\x1b[2K\r    \r";

int exits = 0;
void count_exit() { ++exits; }

// Returns what a guard armed by `arm` writes to standard error when it is destroyed.
std::string output_of(const std::function<void(run_guard&)>& arm) {
    testing::internal::CaptureStderr();
    {
        run_guard guard;
        arm(guard);
    }
    return testing::internal::GetCapturedStderr();
}

// Returns true for "->", a decimal number and " secs", without a line end.
bool is_elapsed_time(const std::string& text) {
    if (!text.starts_with("->") || !text.ends_with(" secs")) return false;
    const std::string number = text.substr(2, text.size() - 7);
    char* end = nullptr;
    const double seconds = std::strtod(number.c_str(), &end);
    return !number.empty() && *end == '\0' && seconds >= 0 && seconds < 60;
}

TEST(RunGuard, CannotBeCopied) {
    EXPECT_FALSE(std::is_copy_constructible_v<run_guard>);
    EXPECT_FALSE(std::is_copy_assignable_v<run_guard>);
}

TEST(RunGuard, IsSilentUnlessArmed) {
    EXPECT_EQ(output_of([](run_guard&) {}), "");
}

TEST(RunGuard, ClearsTheTerminalLineAtTheEnd) {
    const cmd_params params;
    testing::internal::CaptureStderr();
    {
        run_guard guard;
        guard.arm(params, count_exit);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
        testing::internal::CaptureStderr();
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), clearing);
}

TEST(RunGuard, QuietDoesNotClearTheLine) {
    cmd_params params;
    params.progress_line = 0;
    EXPECT_EQ(output_of([&](run_guard& guard) { guard.arm(params, count_exit); }), "");
}

TEST(RunGuard, PrintsTheElapsedTimeAfterClearingTheLine) {
    cmd_params params;
    params.profile = 1;
    const std::string output = output_of([&](run_guard& guard) { guard.arm(params, count_exit); });
    ASSERT_TRUE(output.starts_with(clearing)) << output;
    EXPECT_TRUE(is_elapsed_time(output.substr(clearing.size()))) << output;
}

TEST(RunGuard, MeasuresFromTheCallOfArm) {
    using clock = std::chrono::steady_clock;
    constexpr std::chrono::milliseconds pause(200);
    cmd_params params;
    params.profile = 1;
    params.progress_line = 0;
    clock::time_point armed;
    const std::string output = output_of([&](run_guard& guard) {
        std::this_thread::sleep_for(pause);  // before the measurement starts
        armed = clock::now();
        guard.arm(params, count_exit);
        std::this_thread::sleep_for(pause);
    });
    const std::chrono::duration<double> at_most = clock::now() - armed;
    ASSERT_TRUE(is_elapsed_time(output)) << output;
    const double seconds = std::strtod(output.c_str() + 2, nullptr);
    const double rounding = 0.001;  // of a text with six digits
    EXPECT_GE(seconds, std::chrono::duration<double>(pause).count() - rounding);
    EXPECT_LE(seconds, at_most.count() + rounding);
}

TEST(RunGuard, AppendsTheElapsedTimeToTheTrace) {
    const support::temp_dir dir;
    const std::string file = dir.file("trace");
    const std::string output = output_of([&](run_guard& guard) {
        cmd_params params;  // destroyed, which closes its trace, before the guard
        params.diags_stream = std::make_unique<std::ofstream>(file);
        params.diags_on = 1;
        params.diags_file = file;
        params.profile = 1;
        params.progress_line = 0;
        *params.diags_stream << "->first\n";
        guard.arm(params, count_exit);
    });
    const std::string trace = support::read_file(file);
    ASSERT_TRUE(trace.starts_with("->first\n")) << trace;
    EXPECT_TRUE(is_elapsed_time(trace.substr(8))) << trace;
    EXPECT_EQ(trace.substr(8), output);
}

TEST(RunGuard, TraceIsUnchangedWithoutProfile) {
    const support::temp_dir dir;
    const std::string file = dir.write("trace", "->first\n");
    cmd_params params;
    params.diags_on = 1;
    params.diags_file = file;
    output_of([&](run_guard& guard) { guard.arm(params, count_exit); });
    EXPECT_EQ(support::read_file(file), "->first\n");
}

TEST(RunGuard, CallsTheHookWithASignalText) {
    cmd_params params;
    exits = 0;
    output_of([&](run_guard& guard) { guard.arm(params, count_exit); });
    EXPECT_EQ(exits, 0);
    params.signal_text = "HUP";
    output_of([&](run_guard& guard) { guard.arm(params, count_exit); });
    EXPECT_EQ(exits, 1);
    output_of([&](run_guard& guard) { guard.arm(params, nullptr); });
    EXPECT_EQ(exits, 1);
}

}  // namespace

// Actions at the end of a run.
#pragma once

#include <chrono>
#include <string>

class cmd_params;

// Clears the terminal's line and prints the elapsed time in its destructor, if armed. It must
// outlive the settings, so that the trace file is already closed.
class run_guard {
public:
    run_guard() = default;
    ~run_guard();
    run_guard(const run_guard&) = delete;
    run_guard& operator=(const run_guard&) = delete;

    // Copies from `params` what to do at the end, and starts the time measurement. `on_exit` is
    // called last if the settings contain a signal text.
    void arm(const cmd_params& params, void (*on_exit)());

private:
    void print_elapsed_time() const;

    bool m_clear_line = false;
    bool m_profile = false;
    std::string m_trace_file;  // empty without a trace
    std::string m_signal_text;
    void (*m_on_exit)() = nullptr;
    std::chrono::steady_clock::time_point m_start;
};

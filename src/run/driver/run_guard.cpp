#include "run/driver/run_guard.h"

#include <fstream>
#include <iostream>

#include "foundation/streams/print_error.h"
#include "run/settings/cmd_params.h"

run_guard::~run_guard() {
    if (m_clear_line) clear_line();
    if (m_profile) print_elapsed_time();
    if (!m_signal_text.empty() && m_on_exit != nullptr) m_on_exit();
}

void run_guard::arm(const cmd_params& params, void (*on_exit)()) {
    m_clear_line = params.progress_line != 0;
    m_profile = params.profile != 0;
    m_trace_file = params.diags_on != 0 ? params.diags_file : "";
    m_signal_text = params.signal_text;
    m_on_exit = on_exit;
    m_start = std::chrono::steady_clock::now();
}

void run_guard::print_elapsed_time() const {
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - m_start;
    std::cerr << "->" << elapsed.count() << " secs";
    std::ofstream trace(m_trace_file, std::ios::app);  // not opened if the name is empty
    trace << "->" << elapsed.count() << " secs";
}

// A run of the program that is compared in full: status, both outputs, and the head with its time.
#pragma once

#include <gtest/gtest.h>

#include <ctime>
#include <string>
#include <vector>

#include "e2e/report_head.h"
#include "support/run_program.h"

namespace e2e {

constexpr int status_failed = 255;  // -1 as an exit status

class whole_run {
public:
    explicit whole_run(const std::vector<std::string>& arguments,
                       const support::program_options& options = {})
        : m_words(arguments), m_before(std::time(nullptr)) {
        m_words.insert(m_words.begin(),
                       options.argument_zero.empty() ? QUORVEL_PROGRAM : options.argument_zero);
        m_result = support::run_built_program(QUORVEL_PROGRAM, arguments, options);
        m_after = std::time(nullptr) + 1;  // time() uses a coarser clock and can be late
    }

    int status() const { return m_result.status; }
    const std::string& out() const { return m_result.standard_output; }
    const std::string& errors() const { return m_result.standard_error; }

    // Returns the report head, and the empty line after it, with the time that `text` contains if
    // it is within the run, else with the time of its start. `date_format` is that of strftime;
    // `mark` precedes the command line.
    std::string head_in(const std::string& text, const char* date_format = "%m/%d/%Y",
                        const std::string& mark = "") const {
        const std::string command = "\"command line: " + mark + joined_words(m_words) + "\"\n\n";
        for (std::time_t moment = m_before; moment <= m_after; ++moment) {
            const std::string head =
                "quorvel ver: 1.45\n" + run_line(moment, date_format) + command;
            if (text.starts_with(head)) return head;
        }
        return "quorvel ver: 1.45\n" + run_line(m_before, date_format) + command;
    }
    std::string head() const { return head_in(out()); }

    // Expects the head and then `rest` on standard output, and exactly `errors` on standard error.
    void expect(int status, const std::string& rest, const std::string& errors) const {
        SCOPED_TRACE(testing::PrintToString(m_words));
        EXPECT_EQ(m_result.status, status);
        EXPECT_EQ(out(), head() + rest);
        EXPECT_EQ(m_result.standard_error, errors);
    }

    // Like expect(), without a head.
    void expect_bare(int status, const std::string& output, const std::string& errors) const {
        SCOPED_TRACE(testing::PrintToString(m_words));
        EXPECT_EQ(m_result.status, status);
        EXPECT_EQ(out(), output);
        EXPECT_EQ(m_result.standard_error, errors);
    }

private:
    std::vector<std::string> m_words;
    std::time_t m_before;
    std::time_t m_after = 0;
    support::program_result m_result;
};

// Returns standard error of a run that ends after print_error has printed a message with a line
// end.
inline std::string reported(const std::string& shown) {
    return terminal_clearing + shown + terminal_clearing;
}

// --- the text listing, with the default formats and the builder's default timestamps ---

inline const std::string text_header = "  last modified [UTC]  " + std::string(4, ' ') +
                                       "MFT & seq num" + std::string(5, ' ') + "  size " +
                                       std::string(7, ' ') + "  name\n\n";

inline std::string right(const std::string& text, std::size_t width) {
    return std::string(text.size() < width ? width - text.size() : 0, ' ') + text;
}

// A row of an entry with sequence number 1 (entries below 16: their number).
inline std::string text_row(std::uint64_t entry, const std::string& size, const std::string& label,
                            const std::string& path) {
    const std::uint64_t sequence = entry == 0 || entry >= 16 ? 1 : entry;
    return "2021-03-05 06:07:08.234" + right(std::to_string(entry), 12) + " " +
           right(std::to_string(sequence), 4) + " " + right(size, 12) + " " + label + path + "\n";
}

inline std::string file_row(std::uint64_t entry, std::uint64_t size, const std::string& path) {
    return text_row(entry, std::to_string(size), "       ", path);
}

inline std::string directory_row(std::uint64_t entry, const std::string& path) {
    return text_row(entry, " ", "  dir  ", path);
}

}  // namespace e2e

#include "convert/command/conversion.h"

#include <iostream>
#include <memory>

#include "convert/command/comparison_run.h"
#include "convert/command/listing_rows.h"
#include "convert/command/listing_source.h"
#include "convert/command/messages.h"
#include "convert/command/output_check.h"
#include "convert/command/row_counts.h"
#include "convert/command/user_options.h"
#include "convert/process/output_file.h"

namespace convert {

namespace {

int fail(const std::string& message) {
    print_message(message);
    return status_failed;
}

int print_command(const command_line& line) {
    std::cout << shell_command(quorvel_command(line.user_words)) << '\n' << std::flush;
    return std::cout.good() ? status_done : fail("cannot write standard output");
}

class conversion {
public:
    conversion(const command_line& line, listing_source& source)
        : m_line(line),
          m_rows(source),
          m_output(line.output, line.force ? existing_file::replace : existing_file::keep) {}

    int run() {
        if (!m_rows.read_head()) return status_failed;
        if (!m_output.open()) return fail(m_output.failure());
        m_writer = make_writer(*m_line.wanted, m_output, m_output.temporary_path());
        m_writer->set_head(m_rows.head());
        if (!m_writer->begin()) return fail_to_write();
        const auto write = [this](const listing_row& row) { return m_writer->write(row); };
        const auto outcome = m_rows.visit(write, m_counts);
        if (outcome == listing_rows::outcome::refused) return fail_to_write();
        if (outcome == listing_rows::outcome::failed) return status_failed;
        return finish();
    }

private:
    int fail_to_write() {
        const std::string failure = m_writer->failure();
        return fail(failure.empty() ? m_output.failure() : failure);
    }

    int finish() {
        if (!m_rows.finish(m_counts)) return status_failed;
        if (!m_writer->finish()) return fail_to_write();
        if (!m_output.commit()) return fail(m_output.failure());
        if (!m_writer->note().empty()) print_message(m_writer->note());
        if (m_line.summary) print_message(m_counts.text());
        return m_counts.malformed > 0 ? status_failed : status_done;
    }

    const command_line& m_line;
    listing_rows m_rows;
    output_file m_output;
    std::unique_ptr<row_writer> m_writer;
    row_counts m_counts;
};

}  // namespace

int convert_listing(const command_line& line) {
    if (line.print_command) return print_command(line);
    const std::string wrong_output = find_wrong_output(line);
    if (!wrong_output.empty()) {
        print_message(wrong_output);
        return status_wrong_use;
    }
    if (line.compares()) return compare_listings(line);
    listing_source source;
    const std::string failure = source.open(line);
    if (!failure.empty()) return fail(failure);
    return conversion(line, source).run();
}

}  // namespace convert

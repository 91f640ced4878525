#include "convert/command/conversion.h"

#include <cerrno>
#include <cstring>
#include <iostream>
#include <memory>

#include "convert/command/listing_source.h"
#include "convert/command/messages.h"
#include "convert/command/output_check.h"
#include "convert/command/row_counts.h"
#include "convert/command/user_options.h"
#include "convert/listing/listing_form.h"
#include "convert/listing/listing_reader.h"
#include "convert/process/output_file.h"

namespace convert {

namespace {

using head_kind = listing_reader::head_kind;
using item = listing_reader::item;

int fail(const std::string& message) {
    print_message(message);
    return status_failed;
}

std::vector<std::string> quorvel_command(const std::vector<std::string>& user_words) {
    std::vector<std::string> words = listing_words(make_separator());
    words.insert(words.begin(), "quorvel");
    words.insert(words.end(), user_words.begin(), user_words.end());
    return words;
}

int print_command(const command_line& line) {
    std::cout << shell_command(quorvel_command(line.user_words)) << '\n' << std::flush;
    return std::cout.good() ? status_done : fail("cannot write standard output");
}

// Returns why there are no rows to read.
std::string explain(head_kind kind, const std::string& name) {
    switch (kind) {
        case head_kind::empty:
            return name + " contains no rows";
        case head_kind::truncated:
            return name + " ends within its head";
        case head_kind::unreadable:
            return "cannot read " + name + ": " + std::strerror(errno);
        default:
            return name + " is not a readable listing; this command writes one: " +
                   shell_command(quorvel_command({"-image", "IMAGE"})) + " >LISTING";
    }
}

class conversion {
public:
    conversion(const command_line& line, listing_source& source)
        : m_line(line),
          m_source(source),
          m_reader(source.bytes()),
          m_output(line.output, line.force ? existing_file::replace : existing_file::keep) {}

    int run() {
        const head_kind head = m_reader.read_head();
        if (head != head_kind::rows) return fail_without_rows(head);
        if (!m_output.open()) return fail(m_output.failure());
        m_writer = make_writer(*m_line.wanted, m_output, m_output.temporary_path());
        m_writer->set_head(m_reader.head());
        if (!m_writer->begin()) return fail_to_write();
        if (!write_rows()) return status_failed;
        return finish();
    }

private:
    // The failure of quorvel explains why its output is not a listing.
    int fail_without_rows(head_kind head) {
        const std::string reason = explain(head, m_source.name());
        const std::string failure = m_source.finish();
        return fail(failure.empty() ? reason : failure);
    }

    int fail_to_write() {
        const std::string failure = m_writer->failure();
        return fail(failure.empty() ? m_output.failure() : failure);
    }

    // Writes the rows to the end of the listing. Returns false after a message if a row cannot be
    // read or written.
    bool write_rows() {
        listing_row row;
        progress shown;
        for (;;) {
            const item next = m_reader.next(row);
            if (next == item::end) return true;
            if (next == item::row) {
                m_counts.add(row);
                if (!m_writer->write(row)) {
                    shown.clear();
                    fail_to_write();
                    return false;
                }
                shown.show(m_counts.rows);
                continue;
            }
            shown.clear();
            if (!report(next)) return false;
        }
    }

    // Reports a row that cannot be read. Returns false if no row follows it.
    bool report(item what) {
        if (what == item::unreadable) {
            fail("cannot read " + m_source.name() + ": " + std::strerror(errno));
            return false;
        }
        const listing_reader::row_problem& problem = m_reader.problem();
        const std::string failure = what == item::truncated ? m_source.finish() : "";
        fail(!failure.empty() ? failure
                              : "row " + std::to_string(problem.number) + ", at byte " +
                                    std::to_string(problem.offset) + ": " + problem.reason);
        ++m_counts.malformed;
        return what != item::truncated;
    }

    int finish() {
        const std::string failure = m_source.finish();
        if (!failure.empty()) return fail(failure);
        if (m_counts.rows == 0) return fail(m_source.name() + " contains no rows");
        if (!m_writer->finish()) return fail_to_write();
        if (!m_output.commit()) return fail(m_output.failure());
        if (!m_writer->note().empty()) print_message(m_writer->note());
        if (m_line.summary) print_message(m_counts.text());
        return m_counts.malformed > 0 ? status_failed : status_done;
    }

    const command_line& m_line;
    listing_source& m_source;
    listing_reader m_reader;
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
    listing_source source;
    const std::string failure = source.open(line);
    if (!failure.empty()) return fail(failure);
    return conversion(line, source).run();
}

}  // namespace convert

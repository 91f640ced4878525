#include "convert/command/comparison_run.h"

#include <array>
#include <cstdint>
#include <memory>

#include "convert/command/listing_rows.h"
#include "convert/command/listing_source.h"
#include "convert/command/messages.h"
#include "convert/comparison/listing_comparison.h"
#include "convert/formats/change_writer.h"
#include "convert/process/output_file.h"
#include "convert/sorting/temporary_file.h"

namespace convert {

namespace {

constexpr std::size_t bytes_of_rows_in_memory = std::size_t{64} << 20;

int fail(const std::string& message) {
    print_message(message);
    return status_failed;
}

// The number of rows of each kind of change. A row may be of several kinds.
class change_counts {
public:
    void add(const row_change& change) {
        const auto kinds = kinds_of(change);
        for (std::size_t i = 0; i < kinds.size(); ++i)
            m_counts.at(i) += kinds.at(i) ? 1 : 0;
    }

    // Returns "created: 1, deleted: 0, ..."
    std::string text() const {
        std::string text;
        for (std::size_t i = 0; i < m_counts.size(); ++i)
            text += (i > 0 ? ", " : "") + std::string(change_names.at(i)) + ": " +
                    std::to_string(m_counts.at(i));
        return text;
    }

private:
    std::array<std::uint64_t, change_names.size()> m_counts{};
};

class comparison_run {
public:
    explicit comparison_run(const command_line& line)
        : m_line(line),
          m_comparison(temporary_folder(), {.bytes_in_memory = bytes_of_rows_in_memory}),
          m_output(line.output, line.force ? existing_file::replace : existing_file::keep) {
        if (line.wanted != nullptr)
            m_writer = std::make_unique<change_jsonl>(m_output);
        else
            m_writer = std::make_unique<change_table>(m_output);
    }

    int run() {
        if (!read(m_line.old_listing, listing_side::old_listing)) return status_failed;
        if (!read(m_line.new_listing, listing_side::new_listing)) return status_failed;
        return write();
    }

private:
    // Reads a listing. Returns false after a message on failure.
    bool read(const std::string& path, listing_side side) {
        listing_source source;
        const std::string failure = source.open_file(path);
        if (!failure.empty()) {
            print_message(failure);
            return false;
        }
        listing_rows rows(source, path + ": ");
        if (!rows.read_head()) return false;
        row_counts counts;
        const auto outcome =
            rows.visit([&](const listing_row& row) { return m_comparison.add(row, side); }, counts);
        if (outcome == listing_rows::outcome::refused) print_message(m_comparison.failure());
        m_malformed += counts.malformed;
        return outcome == listing_rows::outcome::end && rows.finish(counts);
    }

    int write() {
        if (!m_output.open() || !m_writer->begin()) return fail(m_output.failure());
        const bool written = m_comparison.visit_changes([this](const row_change& change) {
            m_changes.add(change);
            return m_writer->write(change);
        });
        if (!m_comparison.failure().empty()) return fail(m_comparison.failure());
        if (!written || !m_output.commit()) return fail(m_output.failure());
        if (m_line.summary) print_message(m_changes.text());
        return m_malformed > 0 ? status_failed : status_done;
    }

    const command_line& m_line;
    listing_comparison m_comparison;
    output_file m_output;
    std::unique_ptr<change_writer> m_writer;
    change_counts m_changes;
    std::uint64_t m_malformed = 0;
};

}  // namespace

int compare_listings(const command_line& line) { return comparison_run(line).run(); }

}  // namespace convert

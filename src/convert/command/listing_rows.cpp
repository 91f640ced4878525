#include "convert/command/listing_rows.h"

#include <cerrno>
#include <cstring>
#include <utility>

#include "convert/command/messages.h"
#include "convert/command/user_options.h"

namespace convert {

namespace {

using head_kind = listing_reader::head_kind;
using item = listing_reader::item;

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

}  // namespace

listing_rows::listing_rows(listing_source& source, std::string prefix)
    : m_source(source), m_prefix(std::move(prefix)), m_reader(source.bytes()) {}

bool listing_rows::read_head() {
    const head_kind kind = m_reader.read_head();
    if (kind == head_kind::rows) return true;
    const std::string reason = explain(kind, m_source.name());
    // The failure of quorvel explains why its output is not a listing.
    const std::string failure = m_source.finish();
    print_message(failure.empty() ? reason : failure);
    return false;
}

listing_rows::outcome listing_rows::visit(const visitor& visit, row_counts& counts) {
    listing_row row;
    progress shown;
    for (;;) {
        const item next = m_reader.next(row);
        if (next == item::end) return outcome::end;
        if (next == item::row) {
            counts.add(row);
            if (!visit(row)) return outcome::refused;
            shown.show(counts.rows);
            continue;
        }
        shown.clear();
        if (!report(next, counts)) return outcome::failed;
    }
}

// Reports a row that cannot be read. Returns false if no row follows it.
bool listing_rows::report(item what, row_counts& counts) {
    if (what == item::unreadable) {
        print_message("cannot read " + m_source.name() + ": " + std::strerror(errno));
        return false;
    }
    const listing_reader::row_problem& problem = m_reader.problem();
    const std::string failure = what == item::truncated ? m_source.finish() : "";
    print_message(!failure.empty()
                      ? failure
                      : m_prefix + "row " + std::to_string(problem.number) + ", at byte " +
                            std::to_string(problem.offset) + ": " + problem.reason);
    ++counts.malformed;
    return what != item::truncated;
}

bool listing_rows::finish(const row_counts& counts) {
    std::string failure = m_source.finish();
    if (failure.empty() && counts.rows == 0) failure = m_source.name() + " contains no rows";
    if (!failure.empty()) print_message(failure);
    return failure.empty();
}

}  // namespace convert

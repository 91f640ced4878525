#include "convert/listing/listing_reader.h"

#include <algorithm>

#include "convert/listing/listing_form.h"

namespace convert {

namespace {

constexpr std::size_t read_size = std::size_t{256} << 10;
constexpr std::size_t most_head_bytes = std::size_t{4} << 20;  // a command line has at most 2 MiB
constexpr std::string_view head_start = "quorvel ver: ";
constexpr std::string_view end_of_command = "\"\n\n";
constexpr std::string_view no_items_text = "no items\n\n";

// Returns true if `text` is the end of a command line and then any number of times "no items".
bool ends_without_rows(std::string_view text) {
    const std::size_t end = text.rfind(end_of_command);
    if (end == std::string_view::npos) return false;
    std::string_view rest = text.substr(end + end_of_command.size());
    while (rest.starts_with(no_items_text))
        rest.remove_prefix(no_items_text.size());
    return rest.empty();
}

}  // namespace

std::string_view listing_reader::window() const {
    return {m_buffer.data() + m_begin, m_end - m_begin};
}

void listing_reader::consume(std::size_t count) {
    m_begin += count;
    m_offset += count;
}

// Reads more bytes. Returns false at the end of the source and on failure.
bool listing_reader::fill() {
    if (m_at_end || m_unreadable) return false;
    std::move(m_buffer.data() + m_begin, m_buffer.data() + m_end, m_buffer.data());
    m_end -= m_begin;
    m_begin = 0;
    // A long row doubles the buffer, so that it is parsed again only a few times.
    if (m_buffer.size() < m_end + read_size)
        m_buffer.resize(std::max(m_buffer.size() * 2, read_size * 2));
    const auto taken = m_source.read(std::span(m_buffer).subspan(m_end));
    m_unreadable = !taken.has_value();
    m_at_end = taken == std::size_t{0};
    m_end += taken.value_or(0);
    return taken.value_or(0) > 0;
}

listing_reader::head_kind listing_reader::read_head() {
    while (fill() && window().size() < most_head_bytes) {
        if (take_header()) return head_kind::rows;
    }
    return m_unreadable ? head_kind::unreadable : kind_without_header();
}

// Takes the head and the header. Returns false if the bytes read do not contain them.
bool listing_reader::take_header() {
    if (!window().starts_with(head_start)) return false;
    const std::string separator(find_separator(window()));
    if (separator.empty()) return false;
    for (const bool with_object_id : {false, true}) {
        const std::string header = "\n" + listing_header(separator, with_object_id);
        const std::size_t at = window().find(header);
        if (at == std::string_view::npos) continue;
        m_head = window().substr(0, at + 1);
        consume(at + header.size());
        m_parser.emplace(separator, with_object_id);
        return true;
    }
    return false;
}

// The source has ended, or the head is too long.
listing_reader::head_kind listing_reader::kind_without_header() const {
    if (!m_at_end || !window().starts_with(head_start)) return head_kind::unknown;
    const std::string separator(find_separator(window()));
    if (separator.empty()) return head_kind::unknown;
    if (ends_without_rows(window())) return head_kind::empty;
    const std::size_t at = window().find("\ntype" + separator);
    if (at == std::string_view::npos) return head_kind::truncated;
    const std::string_view header = window().substr(at + 1);
    return listing_header(separator, true).starts_with(header) ? head_kind::truncated
                                                               : head_kind::unknown;
}

// Drops the rest of a malformed row. Returns false if no row follows it, or on failure.
bool listing_reader::skip_to_next_row() {
    for (;;) {
        consume(m_parser->find_next_row(window()));
        const bool certain = window().size() > row_parser::most_start_bytes;
        if (!certain && fill()) continue;
        if (window().empty()) return false;
        consume(1);  // the line feed
        m_skipping = false;
        return true;
    }
}

listing_reader::item listing_reader::fail(const parse_result& result) {
    const bool truncated = result.what == parse_result::kind::incomplete;
    m_problem.number = ++m_rows;
    m_problem.offset = m_offset + (truncated ? window().size() : result.reason_offset);
    m_problem.reason = truncated ? "the listing ends within the row" : result.reason;
    m_skipping = true;
    return truncated ? item::truncated : item::malformed;
}

listing_reader::item listing_reader::next(listing_row& row) {
    if (m_skipping && !skip_to_next_row()) return m_unreadable ? item::unreadable : item::end;
    for (;;) {
        const parse_result result = m_parser->parse(window(), row);
        if (result.what == parse_result::kind::malformed) return fail(result);
        consume(result.length);
        if (result.what == parse_result::kind::row) {
            ++m_rows;
            return item::row;
        }
        if (result.what == parse_result::kind::no_items || fill()) continue;
        if (m_unreadable) return item::unreadable;
        return window().empty() ? item::end : fail(result);
    }
}

}  // namespace convert

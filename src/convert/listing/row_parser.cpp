#include "convert/listing/row_parser.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <utility>

namespace convert {

namespace {

constexpr std::string_view no_items_text = "no items\n\n";
constexpr std::size_t object_id_length = 36;
constexpr std::array<row_type, 4> all_types = {row_type::file, row_type::directory, row_type::index,
                                               row_type::stream};

bool is_hex(char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'); }

bool is_object_id(std::string_view text) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool dash = i == 8 || i == 13 || i == 18 || i == 23;
        if (dash ? text[i] != '-' : !is_hex(text[i])) return false;
    }
    return text.size() == object_id_length;
}

// Reads the fields of one row. Once a field does not fit, every further call fails, and result()
// says why.
class field_cursor {
public:
    field_cursor(std::string_view text, std::string_view separator)
        : m_text(text), m_separator(separator) {}

    parse_result result() const {
        parse_result result;
        result.what = m_failure;
        result.reason = m_reason;
        result.reason_offset = m_at;
        return result;
    }

    std::string_view rest() const { return m_text.substr(m_at); }
    std::size_t offset() const { return m_at; }

    // Takes `expected`.
    bool take(std::string_view expected, const char* reason) {
        const std::string_view next = rest().substr(0, expected.size());
        if (next == expected) {
            m_at += expected.size();
            return true;
        }
        return expected.starts_with(next) ? fail_incomplete() : fail(reason);
    }

    bool take_separator(const char* reason) { return take(m_separator, reason); }

    // Takes all bytes to the next separator, and the separator.
    bool take_text(std::string& out, const char* reason) {
        const std::size_t length = rest().find(m_separator);
        if (length == std::string_view::npos) return fail_incomplete();
        const std::string_view field = rest().substr(0, length);
        if (field.find('\0') != std::string_view::npos) return fail(reason);
        out = field;
        m_at += length + m_separator.size();
        return true;
    }

    // Takes a decimal number without leading zeros, and the separator.
    template <typename Number>
    bool take_number(Number& out, const char* reason) {
        constexpr std::uint64_t most = std::numeric_limits<Number>::max();
        std::uint64_t value = 0;
        std::size_t at = m_at;
        for (; at < m_text.size() && m_text[at] >= '0' && m_text[at] <= '9'; ++at) {
            const auto digit = static_cast<std::uint64_t>(m_text[at] - '0');
            if (value > (most - digit) / 10) return fail(reason);
            value = value * 10 + digit;
        }
        if (at == m_text.size()) return fail_incomplete();
        if (at == m_at || (m_text[m_at] == '0' && at - m_at > 1)) return fail(reason);
        m_at = at;
        out = static_cast<Number>(value);
        return take_separator(reason);
    }

    // Takes a date and a time, each with its separator; both may be empty.
    bool take_time(std::optional<utc_time>& out, const char* reason) {
        out.reset();
        if (rest().empty()) return fail_incomplete();
        if (rest().front() == m_separator.front())
            return take_separator(reason) && take_separator(reason);
        const std::size_t length = date_length + m_separator.size() + time_length;
        if (rest().size() < length) return fail_incomplete();
        const std::string_view date = rest().substr(0, date_length);
        const std::string_view time = rest().substr(length - time_length, time_length);
        out = parse_utc_time(date, time);
        if (!out || rest().substr(date_length, m_separator.size()) != m_separator)
            return fail(reason);
        m_at += length;
        return take_separator(reason);
    }

    bool take_times(row_times& out, const char* reason) {
        return take_time(out.created, reason) && take_time(out.modified, reason) &&
               take_time(out.changed, reason) && take_time(out.accessed, reason);
    }

    // Takes an object id, if there is one, and the line feed.
    bool take_row_end(std::string& object_id, bool may_have_object_id) {
        object_id.clear();
        if (!rest().empty() && rest().front() != '\n' && may_have_object_id) {
            const std::string_view id = rest().substr(0, object_id_length);
            if (id.size() < object_id_length) return fail_incomplete();
            if (!is_object_id(id)) return fail("the row does not end with an object id");
            object_id = id;
            m_at += object_id_length;
        }
        return take("\n", "the row does not end after its last field");
    }

private:
    bool fail_incomplete() {
        if (m_text.size() >= row_parser::most_bytes) return fail("the row is too long");
        m_failure = parse_result::kind::incomplete;
        return false;
    }

    bool fail(const char* reason) {
        m_failure = parse_result::kind::malformed;
        m_reason = reason;
        return false;
    }

    std::string_view m_text;
    std::string_view m_separator;
    std::size_t m_at = 0;
    parse_result::kind m_failure = parse_result::kind::row;
    const char* m_reason = "";
};

// Takes the first field.
bool take_type(field_cursor& fields, row_type& out) {
    for (const row_type type : all_types) {
        const std::string_view name = type_name(type);
        // The first characters of the names differ.
        if (fields.rest().substr(0, 1) != name.substr(0, 1)) continue;
        out = type;
        return fields.take(name, "the row has an unknown type") &&
               fields.take_separator("the row has an unknown type");
    }
    return fields.take("file", "the row has an unknown type");
}

bool take_numbers(field_cursor& fields, listing_row& row) {
    return fields.take_number(row.allocated_size, "the size is not a decimal number") &&
           fields.take_number(row.attributes, "the attributes are not a decimal number") &&
           fields.take_number(row.entry, "the MFT entry is not a decimal number") &&
           fields.take_number(row.sequence, "the sequence number is not a decimal number") &&
           fields.take_number(row.flags, "the flags are not a decimal number");
}

// Returns true if the times of $FILE_NAME follow; false if the row lacks them, or if too few bytes
// follow to know. After the separator at the start of the rest, a row with them has a time or
// another separator, and one without them ends or has an object id.
bool has_name_times(std::string_view rest, std::string_view separator) {
    if (!rest.starts_with(separator)) return true;  // a date
    const std::string_view after = rest.substr(separator.size());
    return after.starts_with(separator.substr(0, 1));
}

bool take_name_times(field_cursor& fields, listing_row& row) {
    return fields.take_times(row.name, "a time of $FILE_NAME does not fit") &&
           fields.take_times(row.short_name, "a time of the short $FILE_NAME does not fit");
}

bool take_discrepancy(field_cursor& fields, listing_row& row) {
    row.set_back = fields.rest().starts_with("t");
    if (row.set_back && !fields.take("true", "the time discrepancy does not fit")) return false;
    return fields.take_separator("the time discrepancy does not fit");
}

// Takes what follows the times of $STANDARD_INFORMATION.
bool take_names(field_cursor& fields, listing_row& row, std::string_view separator) {
    row.name = {};
    row.short_name = {};
    if (has_name_times(fields.rest(), separator))
        return take_name_times(fields, row) && take_discrepancy(fields, row);
    row.set_back = false;
    return fields.take_separator("the time discrepancy does not fit");
}

// `text` starts with the text "no items" or a part of it, or is empty.
parse_result parse_no_items(std::string_view text) {
    parse_result result;
    if (text.size() < no_items_text.size()) return result;
    result.what = parse_result::kind::no_items;
    result.length = no_items_text.size();
    return result;
}

}  // namespace

row_parser::row_parser(std::string separator, bool with_object_id)
    : m_separator(std::move(separator)), m_with_object_id(with_object_id) {
    for (const row_type type : all_types)
        m_row_starts.push_back(type_name(type) + m_separator);
}

parse_result row_parser::parse(std::string_view text, listing_row& row) const {
    if (no_items_text.starts_with(text.substr(0, no_items_text.size())))
        return parse_no_items(text);
    field_cursor fields(text, m_separator);
    const bool taken = take_type(fields, row.type) &&
                       fields.take_text(row.path, "the path contains a zero byte") &&
                       fields.take_text(row.link_target, "the link contains a zero byte") &&
                       take_numbers(fields, row) &&
                       fields.take_times(row.standard,
                                         "a time of $STANDARD_INFORMATION does not "
                                         "fit") &&
                       take_names(fields, row, m_separator) &&
                       fields.take_row_end(row.object_id, m_with_object_id);
    parse_result result = fields.result();
    if (taken) result.length = fields.offset();
    return result;
}

bool row_parser::may_start_row(std::string_view text) const {
    return std::any_of(m_row_starts.begin(), m_row_starts.end(), [&](const std::string& start) {
        return text.starts_with(start) || start.starts_with(text);
    });
}

std::size_t row_parser::find_next_row(std::string_view text) const {
    for (std::size_t at = text.find('\n'); at != std::string_view::npos;
         at = text.find('\n', at + 1)) {
        if (may_start_row(text.substr(at + 1))) return at;
    }
    return text.size();
}

}  // namespace convert

// Reads a listing row by row.
//
// A listing is the head of quorvel, then, if there is a row, the header and the rows. For a path
// without rows it contains the text "no items", before or after rows of other paths. The listing of
// a directory begins with the row of the directory; nothing else separates directories.
//
// The reader keeps one row in memory, and some read-ahead.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "convert/listing/byte_source.h"
#include "convert/listing/listing_row.h"
#include "convert/listing/row_parser.h"

namespace convert {

class listing_reader {
public:
    // `source` must outlive the reader.
    explicit listing_reader(byte_source& source) : m_source(source) {}

    enum class head_kind {
        rows,       // rows follow
        empty,      // a listing without rows
        truncated,  // a listing that ends within its head or its header
        unknown,    // anything else, or a listing with other options
        unreadable,
    };
    // Reads the head and the header. Call it once, first.
    head_kind read_head();
    // Returns the head, from "quorvel ver:" to the empty line after the command line. Empty unless
    // the listing has rows or is empty.
    const std::string& head() const { return m_head; }

    enum class item {
        row,
        malformed,  // problem() describes it; the reader continues at the next row
        truncated,  // the listing ends within a row; problem() describes it
        end,
        unreadable,  // errno says why
    };
    // Reads the next row. Call it after read_head() has returned `rows`.
    item next(listing_row& row);

    struct row_problem {
        std::uint64_t number = 0;  // of the row, from 1; malformed rows are included
        std::uint64_t offset = 0;  // of the first byte that does not fit, in the listing
        std::string reason;
    };
    const row_problem& problem() const { return m_problem; }

private:
    std::string_view window() const;
    void consume(std::size_t count);
    bool fill();
    bool skip_to_next_row();
    bool take_header();
    head_kind kind_without_header() const;
    item fail(const parse_result& result);

    byte_source& m_source;
    std::vector<char> m_buffer;
    std::size_t m_begin = 0;     // of the bytes that are not consumed
    std::size_t m_end = 0;       // of the bytes read
    std::uint64_t m_offset = 0;  // of m_begin in the listing
    bool m_at_end = false;
    bool m_unreadable = false;
    bool m_skipping = false;  // the bytes up to the next row belong to a malformed row
    std::string m_head;
    std::optional<row_parser> m_parser;
    std::uint64_t m_rows = 0;
    row_problem m_problem;
};

}  // namespace convert

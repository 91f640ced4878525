// The reader of listings of quorvel-convert, the formats that write lines or a page, and the
// comparison of a listing with itself.
//
// Input: u8 bytes of a read, u8 1 for a column of object ids; then what follows the header, where
// the byte 0xFF is the separator.
#include "convert/comparison/listing_comparison.h"
#include "convert/formats/body_format.h"
#include "convert/formats/csv_format.h"
#include "convert/formats/html_format.h"
#include "convert/formats/jsonl_format.h"
#include "convert/listing/listing_form.h"
#include "convert/listing/listing_reader.h"
#include "convert/listing/name_text.h"
#include "fuzz_support.h"

namespace {

using convert::listing_reader;
using item = listing_reader::item;

const std::string separator = "@0123456789a";

// Of the page after its head.
constexpr std::string_view page_elements =
    " main section footer body html h2 h3 p a code bdi span b wbr div figure figcaption svg title "
    "desc line rect text details summary table caption thead tbody tr th td ";

// Returns at most `step` bytes at a time.
class text_source : public convert::byte_source {
public:
    text_source(std::string_view text, std::size_t step) : m_text(text), m_step(step) {}

    std::optional<std::size_t> read(std::span<char> out) override {
        const std::size_t count = std::min({out.size(), m_step, m_text.size()});
        std::copy_n(m_text.data(), count, out.data());
        m_text.remove_prefix(count);
        return count;
    }

private:
    std::string_view m_text;
    std::size_t m_step;
};

class text_sink : public convert::byte_sink {
public:
    bool write(std::string_view bytes) override {
        text += bytes;
        return true;
    }
    std::string text;
};

std::string start_of_listing(bool with_object_id) {
    std::string words;
    for (const std::string& word : convert::listing_words(separator))
        words += word + " ";
    return "quorvel ver: 1.45\nrun time: x\n\"command line: quorvel " + words + "\"\n\n" +
           convert::listing_header(separator, with_object_id);
}

void append_times(std::string& out, const convert::row_times& times) {
    for (const auto& time : {times.created, times.modified, times.changed, times.accessed}) {
        std::string text;
        if (time) convert::append_iso_time(text, *time);
        const std::string date = text.substr(0, convert::date_length);
        out += date + separator;
        out += (time ? text.substr(date.size() + 1, convert::time_length) : "") + separator;
    }
}

// Returns the row as quorvel prints it, with the columns of $FILE_NAME or without.
std::string printed(const convert::listing_row& row, bool with_names) {
    std::string out = convert::type_name(row.type) + separator + row.path + separator +
                      row.link_target + separator;
    for (const std::uint64_t number : {row.allocated_size, std::uint64_t{row.attributes}, row.entry,
                                       std::uint64_t{row.sequence}, std::uint64_t{row.flags}})
        out += std::to_string(number) + separator;
    append_times(out, row.standard);
    if (with_names) {
        append_times(out, row.name);
        append_times(out, row.short_name);
    }
    return out + (row.set_back ? "true" : "") + separator + row.object_id + "\n";
}

struct reading {
    std::vector<convert::listing_row> rows;
    std::string problems;
};

reading read_all(std::string_view text, std::size_t step) {
    text_source source(text, step);
    listing_reader reader(source);
    fuzz::require(reader.read_head() == listing_reader::head_kind::rows, "the head is read");
    reading result;
    convert::listing_row row;
    for (item what = reader.next(row); what != item::end; what = reader.next(row)) {
        fuzz::require(what != item::unreadable, "the source is readable");
        if (what == item::row) {
            result.rows.push_back(row);
            continue;
        }
        const listing_reader::row_problem& problem = reader.problem();
        result.problems += std::to_string(problem.number) + " " + std::to_string(problem.offset) +
                           " " + problem.reason + "\n";
        fuzz::require(problem.offset <= text.size(), "a problem is in the listing");
    }
    return result;
}

// Returns true if the text is "no items", any number of times.
bool is_no_items(std::string_view text) {
    constexpr std::string_view no_items = "no items\n\n";
    while (text.starts_with(no_items))
        text.remove_prefix(no_items.size());
    return text.empty();
}

// Each row is in the listing as it was read, in the same order. Without problems, nothing else is.
void check_rows(const reading& read, std::string_view text) {
    for (const convert::listing_row& row : read.rows) {
        const std::string full = printed(row, true);
        const std::string brief = printed(row, false);
        const std::size_t at = std::min(text.find(full), text.find(brief));
        fuzz::require(at != std::string_view::npos, "a row is in the listing");
        const bool is_full = text.substr(at).starts_with(full);
        fuzz::require(!read.problems.empty() || is_no_items(text.substr(0, at)),
                      "no byte is dropped without a message");
        text.remove_prefix(at + (is_full ? full : brief).size());
    }
    fuzz::require(!read.problems.empty() || is_no_items(text), "every row is read");
}

template <typename Writer>
void check_format(const std::vector<convert::listing_row>& rows) {
    text_sink sink;
    Writer writer(sink);
    bool written = writer.begin();
    for (const convert::listing_row& row : rows)
        written = writer.write(row) && written;
    fuzz::require(writer.finish() && written, "rows are written");
    fuzz::require(convert::is_valid_unicode(sink.text), "the output is valid UTF-8");
}

// No text of a row is markup: each "<" of the page begins an element that the page uses.
void check_page(const std::vector<convert::listing_row>& rows) {
    text_sink sink;
    convert::html_writer writer(sink);
    for (const convert::listing_row& row : rows)
        fuzz::require(writer.write(row), "a row is counted");
    fuzz::require(writer.finish(), "the page is written");
    fuzz::require(convert::is_valid_unicode(sink.text), "the page is valid UTF-8");
    const std::size_t main = sink.text.find("<main");
    for (std::size_t at = sink.text.find('<', main); at != std::string::npos;
         at = sink.text.find('<', at + 1)) {
        const std::size_t start = at + (sink.text.at(at + 1) == '/' ? 2 : 1);
        const std::string name =
            sink.text.substr(start, sink.text.find_first_of(" >/", start) - start);
        fuzz::require(page_elements.find(" " + name + " ") != std::string_view::npos,
                      "each element is one of the page");
    }
}

// A listing has no differences to itself.
void check_comparison(const std::vector<convert::listing_row>& rows) {
    convert::listing_comparison comparison("/none");
    for (const auto side :
         {convert::listing_side::old_listing, convert::listing_side::new_listing}) {
        for (const convert::listing_row& row : rows)
            fuzz::require(comparison.add(row, side), "the rows fit in memory");
    }
    const auto refuse = [](const convert::row_change&) { return false; };
    fuzz::require(comparison.visit_changes(refuse), "a listing has no differences to itself");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::input in(data, size);
    const std::size_t step = in.u8() + std::size_t{1};
    const std::string start = start_of_listing(in.u8() == 1);
    std::string body;
    for (const std::uint8_t byte : in.rest()) {
        if (byte == 0xFF)
            body += separator;
        else
            body += static_cast<char>(byte);
    }
    const std::string text = start + body;
    const reading whole = read_all(text, text.size());
    const reading pieces = read_all(text, step);
    fuzz::require(whole.rows == pieces.rows, "rows do not depend on the reads");
    fuzz::require(whole.problems == pieces.problems, "problems do not depend on the reads");
    check_rows(whole, body);
    check_format<convert::body_writer>(whole.rows);
    check_format<convert::csv_writer>(whole.rows);
    check_format<convert::jsonl_writer>(whole.rows);
    check_page(whole.rows);
    check_comparison(whole.rows);
    return 0;
}

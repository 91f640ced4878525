#include "convert/formats/timeline_format.h"

#include <array>

#include "convert/formats/csv_format.h"
#include "convert/listing/name_text.h"
#include "convert/sorting/big_endian.h"
#include "convert/sorting/temporary_file.h"
#include "foundation/text/number_text.h"

namespace convert {

namespace {

// An event is a record of the sort. Numbers are big-endian, so that records are sorted by them.
//
//    0  u64  time
//    8  u64  entry
//   16  u16  sequence number
//   18  u8   source: 0 SI, 1 FN
//   19  u8   1 if it comes from the row of a stream or an index
//   20       path, which contains no zero byte, and a zero byte
//    then
//    0  u8   letters
//    1  u8   row_type
//    2  u8   1 if deleted
//    3  u64  allocated size
constexpr std::size_t entry_offset = 8;
constexpr std::size_t sequence_offset = 16;
constexpr std::size_t source_offset = 18;
constexpr std::size_t stream_offset = 19;
constexpr std::size_t path_offset = 20;
constexpr std::size_t rest_length = 11;
constexpr char source_si = 0;
constexpr char source_fn = 1;

constexpr std::array<char, 4> letter_names = {'M', 'A', 'C', 'B'};

// What a row and one of its times add to the timeline.
struct event {
    std::uint64_t ticks;
    char source;
    unsigned letters;
};

void append_event(std::string& out, const listing_row& row, const event& added) {
    append_big_endian(out, added.ticks, 8);
    append_big_endian(out, row.entry, 8);
    append_big_endian(out, row.sequence, 2);
    out += added.source;
    out += static_cast<char>(row.is_entry() ? 0 : 1);
    out += row.path;
    out += '\0';
    out += static_cast<char>(added.letters);
    out += static_cast<char>(row.type);
    out += static_cast<char>(row.is_deleted() ? 1 : 0);
    append_big_endian(out, row.allocated_size, 8);
}

std::string_view path_in(std::string_view record) {
    return record.substr(path_offset, record.size() - path_offset - 1 - rest_length);
}

std::string_view rest_of(std::string_view record) {
    return record.substr(record.size() - rest_length);
}

bool is_stream(std::string_view record) { return record[stream_offset] != 0; }

// Returns true if both events are of one entry, time and source.
bool same_event(std::string_view a, std::string_view b) {
    return a.substr(0, stream_offset) == b.substr(0, stream_offset);
}

void append_letters(std::string& out, unsigned letters) {
    for (std::size_t i = 0; i < letter_names.size(); ++i)
        out += (letters >> i & 1u) != 0 ? letter_names.at(i) : '.';
}

void append_line(std::string& out, std::string_view record) {
    const std::string_view path = path_in(record);
    const std::string_view rest = rest_of(record);
    append_iso_time(out, {big_endian(record.substr(0, entry_offset))});
    out += ',';
    append_letters(out, static_cast<unsigned char>(rest[0]));
    out += record[source_offset] == source_si ? ",SI," : ",FN,";
    out += type_name(static_cast<row_type>(rest[1]));
    out += ',';
    append_csv_text(out, path);
    out += ',';
    if (!is_valid_unicode(path)) append_hex_bytes(out, path);
    out += ',';
    ql::append_decimal(out, big_endian(rest.substr(3, 8)));
    out += ',';
    ql::append_decimal(out, big_endian(record.substr(entry_offset, 8)));
    out += ',';
    ql::append_decimal(out, big_endian(record.substr(sequence_offset, 2)));
    out += rest[2] != 0 ? ",true\r\n" : ",false\r\n";
}

}  // namespace

timeline_writer::timeline_writer(byte_sink& sink, const sort_limits& limits)
    : m_sink(sink), m_sorter(temporary_folder(), limits) {}

bool timeline_writer::begin() {
    return m_sink.write(
        "time,macb,source,type,path,path_hex,allocated_size,entry,sequence,deleted\r\n");
}

bool timeline_writer::write(const listing_row& row) {
    if (row.standard.blank() && row.name.blank()) ++m_rows_without_time;
    return add_events(row, row.standard, source_si) && add_events(row, row.name, source_fn);
}

// Adds an event for each different time.
bool timeline_writer::add_events(const listing_row& row, const row_times& times, char source) {
    const std::array<std::optional<utc_time>, 4> by_letter = {times.modified, times.accessed,
                                                              times.changed, times.created};
    unsigned done = 0;
    for (std::size_t i = 0; i < by_letter.size(); ++i) {
        if (!by_letter.at(i) || (done >> i & 1u) != 0) continue;
        unsigned letters = 0;
        for (std::size_t k = i; k < by_letter.size(); ++k)
            letters |= by_letter.at(k) == by_letter.at(i) ? 1u << k : 0u;
        done |= letters;
        m_record.clear();
        append_event(m_record, row, {by_letter.at(i)->ticks, source, letters});
        if (!m_sorter.add(m_record)) return false;
    }
    return true;
}

bool timeline_writer::write_pending() {
    if (m_pending.empty()) return true;
    m_line.clear();
    append_line(m_line, m_pending);
    return m_sink.write(m_line);
}

// Events of one entry, time and source come together, those of streams last.
bool timeline_writer::take_event(std::string_view record) {
    if (!m_pending.empty() && same_event(m_pending, record)) {
        if (is_stream(record) || path_in(m_pending) == path_in(record)) {
            char& letters = m_pending[m_pending.size() - rest_length];
            letters = static_cast<char>(letters | rest_of(record)[0]);
            return true;
        }
    }
    if (!write_pending()) return false;
    m_pending = record;
    return true;
}

bool timeline_writer::finish() {
    const auto take = [this](std::string_view record) { return take_event(record); };
    return m_sorter.visit_sorted(take) && write_pending();
}

std::string timeline_writer::note() const {
    if (m_rows_without_time == 0) return {};
    std::string text = "rows without a time, which the timeline does not contain: ";
    ql::append_decimal(text, m_rows_without_time);
    return text;
}

}  // namespace convert

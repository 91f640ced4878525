#include "convert/comparison/compared_row.h"

#include "convert/sorting/big_endian.h"

namespace convert {

namespace {

// The numbers of a record, in their order. The path is between the type and the size, with a zero
// byte after it, which it does not contain. The object id is the rest.
class record_reader {
public:
    explicit record_reader(std::string_view record) : m_rest(record) {}

    std::uint64_t number(std::size_t width) { return big_endian(text(width)); }
    std::string_view text(std::size_t length) {
        const std::string_view taken = m_rest.substr(0, length);
        m_rest.remove_prefix(taken.size());
        return taken;
    }
    std::string_view text_to_zero() {
        const std::string_view taken = text(m_rest.find('\0'));
        m_rest.remove_prefix(1);
        return taken;
    }
    std::string_view rest() const { return m_rest; }

private:
    std::string_view m_rest;
};

// A blank time is 0, which is no time of a listing.
void append_times(std::string& out, const row_times& times) {
    for (const auto& time : {times.created, times.modified, times.changed, times.accessed})
        append_big_endian(out, time ? time->ticks : 0, 8);
}

row_times take_times(record_reader& record) {
    row_times times;
    for (auto* time : {&times.created, &times.modified, &times.changed, &times.accessed}) {
        const std::uint64_t ticks = record.number(8);
        if (ticks != 0) *time = utc_time{ticks};
    }
    return times;
}

}  // namespace

void row_locator::locate(compared_row& row) {
    if (row.row.is_entry()) {
        m_owner.set(row.row);
        const bool is_directory = row.row.type == row_type::directory;
        row.name_end = is_directory ? without_end(row.row.path).size() : row.row.path.size();
    } else {
        row.name_end = m_owner.length_in(row.row);
    }
    const std::string_view path = row.entry_path();
    const auto* above = m_directories.find_above(path);
    row.name_begin = above != nullptr ? above->first.size() : directory_of(path).size();
    if (above != nullptr) row.directory = above->second;
    if (row.row.type == row_type::directory)
        m_directories.add(row.row.path).second = {row.row.entry, row.row.sequence};
}

void append_record(std::string& out, const compared_row& row) {
    append_big_endian(out, row.row.entry, 8);
    append_big_endian(out, row.row.sequence, 2);
    out += static_cast<char>(row.side);
    out += static_cast<char>(row.row.type);
    out += row.row.path;
    out += '\0';
    append_big_endian(out, row.row.allocated_size, 8);
    append_big_endian(out, row.row.attributes, 4);
    append_big_endian(out, row.row.flags, 2);
    append_big_endian(out, row.row.set_back ? 1 : 0, 1);
    append_times(out, row.row.standard);
    append_times(out, row.row.name);
    append_times(out, row.row.short_name);
    append_big_endian(out, row.name_begin, 4);
    append_big_endian(out, row.name_end, 4);
    append_big_endian(out, row.directory ? 1 : 0, 1);
    append_big_endian(out, row.directory ? row.directory->entry : 0, 8);
    append_big_endian(out, row.directory ? row.directory->sequence : 0, 2);
    out += row.row.object_id;
}

compared_row parse_record(std::string_view bytes) {
    record_reader record(bytes);
    compared_row row;
    row.row.entry = record.number(8);
    row.row.sequence = static_cast<std::uint16_t>(record.number(2));
    row.side = static_cast<listing_side>(record.number(1));
    row.row.type = static_cast<row_type>(record.number(1));
    row.row.path = record.text_to_zero();
    row.row.allocated_size = record.number(8);
    row.row.attributes = static_cast<std::uint32_t>(record.number(4));
    row.row.flags = static_cast<std::uint16_t>(record.number(2));
    row.row.set_back = record.number(1) != 0;
    row.row.standard = take_times(record);
    row.row.name = take_times(record);
    row.row.short_name = take_times(record);
    row.name_begin = record.number(4);
    row.name_end = record.number(4);
    const bool has_directory = record.number(1) != 0;
    const std::uint64_t entry = record.number(8);
    const auto sequence = static_cast<std::uint16_t>(record.number(2));
    if (has_directory) row.directory = entry_id{entry, sequence};
    row.row.object_id = record.rest();
    return row;
}

}  // namespace convert

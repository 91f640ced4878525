#include "report/writers/csv_listing.h"

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/text/number_text.h"
#include "report/format/name_stamps.h"
#include "report/format/stamp_text.h"
#include "report/writers/write_entries.h"

bool csv_header_pending = true;

namespace {

// Column names of one timestamp: the first alone if date and time are paired, else both.
struct stamp_columns {
    const char* date;
    const char* time;
};
constexpr std::array<stamp_columns, 4> stamp_headings = {
    {{"cdate", "ctime"}, {"mdate", "mtime"}, {"MFT date", "MFT time"}, {"adate", "atime"}}};

const char* type_text(std::uint32_t type) {
    switch (type) {
        case entry_type::file:
            return "file";
        case entry_type::directory:
            return "dir";
        case entry_type::index_stream:
            return "indx";
        case entry_type::data_stream:
            return "ads";
        default:
            return "-";
    }
}

void add_stamp_columns(std::vector<std::string>& names, const char* source, bool paired) {
    for (const stamp_columns& heading : stamp_headings) {
        names.push_back(std::string(heading.date) + source);
        if (!paired) names.push_back(std::string(heading.time) + source);
    }
}

std::vector<std::string> column_names(const quorvel_opts& settings) {
    const bool paired = settings.pair_datetime != 0;
    std::vector<std::string> names = {"type", "filename"};
    if (settings.split_pathfile != 0) names.emplace_back("path");
    for (const char* name :
         {"symbolic link", "size", "attributes", "MFT entry", "sequence #", "flags"}) {
        names.emplace_back(name);
    }
    add_stamp_columns(names, " (stdinfo)", paired);
    if (settings.alldates != 0) {
        add_stamp_columns(names, " (fn)", paired);
        add_stamp_columns(names, " (short fn)", paired);
    }
    names.emplace_back("time discrepancy");
    if (settings.show_objid != 0) names.emplace_back("object ID");
    return names;
}

class csv_report : public report_base {
public:
    explicit csv_report(quorvel_opts& settings)
        : m_settings(settings),
          m_stamp(settings.date_style),
          m_separator(settings.csv_separator),
          m_before_date(settings.pair_datetime != 0 ? padding(settings) : ""),
          m_before_time(settings.pair_datetime != 0 ? " " : m_separator + padding(settings)),
          m_empty_stamps(repeated(m_separator, settings.pair_datetime != 0 ? 4 : 8)) {}

    void append_pending_header(ql::text_buffer& row) const {
        if (!take_pending_header(csv_header_pending, m_settings)) return;
        for (const std::string& name : column_names(m_settings)) {
            if (!row.empty()) row += m_separator;
            row += name;
        }
    }

    // Replaces the character that could be mistaken for a separator.
    void convert(std::string& text) const {
        if (m_settings.path_sep_to == 0) return;
        ql::replace_char(text, static_cast<char>(m_settings.path_sep_from),
                         static_cast<char>(m_settings.path_sep_to));
    }

    void append_row(ql::text_buffer& row, const dir_entry& entry, const listing_paths& paths) {
        row += type_text(entry.type);
        row += m_separator;
        append_path(row, entry, paths);
        row += m_separator;
        row += entry.link_target;
        row += m_separator;
        append_numbers(row, entry);
        append_stamps(row, standard_stamps(entry));
        append_names_and_discrepancy(row, entry);
        if (m_settings.show_objid != 0 && has_object_id(entry)) append_guid(row, entry.object_id);
    }

private:
    static std::string padding(const quorvel_opts& settings) {
        return settings.csv_space_field != 0 ? " " : "";
    }

    static std::string repeated(std::string_view text, int count) {
        std::string all;
        for (int i = 0; i < count; ++i)
            all += text;
        return all;
    }

    void append_path(ql::text_buffer& row, const dir_entry& entry, const listing_paths& paths) {
        if (m_settings.split_pathfile == 0) {
            paths.append_path(row, entry);
            return;
        }
        m_path.clear();
        paths.append_path(m_path, entry);
        append_split_path(row, m_path.view());
    }

    // Appends two fields, file name and path. Only a slash splits, but paths are joined by
    // backslashes: the first field is the whole path unless a name contains a slash.
    void append_split_path(ql::text_buffer& row, std::string_view path) {
        const std::size_t slash = path.rfind('/');
        if (slash == std::string_view::npos) {
            row += path;
            row += m_separator;
            return;
        }
        const std::string_view file = path.substr(slash + 1);
        row += file.empty() ? std::string_view(".") : file;
        row += m_separator;
        row += path.substr(0, slash);
    }

    void append_numbers(ql::text_buffer& row, const dir_entry& entry) {
        append_number(row, entry.size, 8);
        append_number(row, entry.attributes, 8);
        append_number(row, entry.mft_entry, 8);
        append_number(row, entry.seq_num, 4);
        append_number(row, entry.flags, 4);
    }

    void append_number(ql::text_buffer& row, std::uint64_t value, std::size_t hex_width) {
        if (m_settings.hex_numbers != 0) {
            row += "0x";
            ql::append_hex(row, value, hex_width);
        } else {
            ql::append_decimal(row, value);
        }
        row += m_separator;
    }

    void append_stamps(ql::text_buffer& row, const stamp_set& stamps) {
        append_stamp(row, stamps.created);
        append_stamp(row, stamps.modified);
        append_stamp(row, stamps.mft_changed);
        append_stamp(row, stamps.accessed);
    }

    void append_stamp(ql::text_buffer& row, std::uint64_t filetime) {
        m_stamp.render(filetime);
        row += m_before_date;
        row += m_stamp.date;
        row += m_before_time;
        row += m_stamp.time;
        row += m_separator;
    }

    void append_names_and_discrepancy(ql::text_buffer& row, const dir_entry& entry) {
        if (m_settings.alldates != 0 && !entry.fn_list.empty()) {
            const name_stamps names = pick_name_stamps(entry.fn_list);
            append_stamps(row, names.long_name);
            append_short_name(row, names.short_name);
            if (has_time_discrepancy(entry, names.long_name)) row += "true";
        }
        row += m_separator;
    }

    // The columns of a missing short name are empty.
    void append_short_name(ql::text_buffer& row, const stamp_set& stamps) {
        if (stamps.created != 0) {
            append_stamps(row, stamps);
            return;
        }
        row += m_empty_stamps;
    }

    quorvel_opts& m_settings;
    stamp_text m_stamp;
    const std::string& m_separator;
    // The padding blank precedes the date of a paired field, otherwise the time.
    const std::string m_before_date;
    const std::string m_before_time;
    const std::string m_empty_stamps;  // the columns of four missing timestamps
    ql::text_buffer m_path;            // reused
};

}  // namespace

void write_csv_listing(std::ostream& out, dir_entry_set& recurse_list, quorvel_opts& settings,
                       const std::wstring& parent_path, std::uint64_t dir_entry_num) {
    write_entries({out, recurse_list, settings, parent_path, dir_entry_num}, csv_report(settings));
}

#include "report/writers/csv_listing.h"

#include <array>
#include <string_view>
#include <vector>

#include "foundation/text/number_text.h"
#include "foundation/text/ql_string.h"
#include "report/format/listing_paths.h"
#include "report/format/name_stamps.h"
#include "report/format/row_text.h"
#include "report/format/stamp_text.h"
#include "run/settings/quorvel_opts.h"

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

// Replaces the character that could be mistaken for a separator in a name or path.
void replace_separator(std::string& text, const quorvel_opts& settings) {
    if (settings.path_sep_to == 0) return;
    ql::replace_char(text, static_cast<char>(settings.path_sep_from),
                     static_cast<char>(settings.path_sep_to));
}

// Writes the header.
class csv_header {
public:
    explicit csv_header(const quorvel_opts& settings) : m_settings(settings) {}

    void write(std::ostream& out) {
        std::vector<std::string> names = {"type", "filename"};
        if (m_settings.split_pathfile != 0) names.emplace_back("path");
        for (const char* name :
             {"symbolic link", "size", "attributes", "MFT entry", "sequence #", "flags"}) {
            names.emplace_back(name);
        }
        add_stamps(names, " (stdinfo)");
        if (m_settings.alldates != 0) {
            add_stamps(names, " (fn)");
            add_stamps(names, " (short fn)");
        }
        names.emplace_back("time discrepancy");
        if (m_settings.show_objid != 0) names.emplace_back("object ID");

        std::string row;
        for (const std::string& name : names) {
            if (!row.empty()) row += m_settings.csv_separator;
            row += name;
        }
        write_row(out, row);
    }

private:
    void add_stamps(std::vector<std::string>& names, const char* source) const {
        for (const stamp_columns& heading : stamp_headings) {
            names.push_back(std::string(heading.date) + source);
            if (m_settings.pair_datetime == 0) names.push_back(std::string(heading.time) + source);
        }
    }

    const quorvel_opts& m_settings;
};

// Writes the rows of one listing.
class csv_rows {
public:
    csv_rows(std::ostream& out, const quorvel_opts& settings, listing_paths& paths)
        : m_out(out),
          m_settings(settings),
          m_paths(paths),
          m_stamp(settings.date_style),
          m_separator(settings.csv_separator),
          m_pad(settings.csv_space_field != 0 ? " " : "") {}

    void write(const dir_entry& entry) {
        m_name.clear();
        ql::append_utf8(m_name, entry.name);
        replace_separator(m_name, m_settings);
        if (!m_paths.take(entry, m_name)) return;
        m_row += type_text(entry.type);
        m_row += m_separator;
        append_path(entry);
        m_row += m_separator;
        ql::append_utf8(m_row, entry.link_target);
        m_row += m_separator;
        append_numbers(entry);
        append_stamps(standard_stamps(entry));
        append_names_and_discrepancy(entry);
        append_object_id(entry);
        write_row(m_out, m_row);
    }

private:
    void append_path(const dir_entry& entry) {
        if (m_settings.split_pathfile == 0) {
            m_paths.append_path(m_row, entry, m_name);
            return;
        }
        m_path.clear();
        m_paths.append_path(m_path, entry, m_name);
        append_split_path(m_path);
    }

    // Appends two fields, file name and path. Only a slash splits, but paths are joined by
    // backslashes: the first field is the whole path unless a name contains a slash.
    void append_split_path(std::string_view path) {
        const std::size_t slash = path.rfind('/');
        if (slash == std::string_view::npos) {
            m_row += path;
            m_row += m_separator;
            return;
        }
        const std::string_view file = path.substr(slash + 1);
        m_row += file.empty() ? std::string_view(".") : file;
        m_row += m_separator;
        m_row += path.substr(0, slash);
    }

    void append_numbers(const dir_entry& entry) {
        append_number(entry.size, 8);
        append_number(entry.attributes, 8);
        append_number(entry.mft_entry, 8);
        append_number(entry.seq_num, 4);
        append_number(entry.flags, 4);
    }

    void append_number(std::uint64_t value, std::size_t hex_width) {
        if (m_settings.hex_numbers != 0) {
            m_row += "0x";
            ql::append_hex(m_row, value, hex_width);
        } else {
            ql::append_decimal(m_row, value);
        }
        m_row += m_separator;
    }

    void append_stamps(const stamp_set& stamps) {
        append_stamp(stamps.created);
        append_stamp(stamps.modified);
        append_stamp(stamps.mft_changed);
        append_stamp(stamps.accessed);
    }

    // The padding blank precedes the date of a paired field, otherwise the time.
    void append_stamp(std::uint64_t filetime) {
        m_stamp.render(filetime);
        const bool paired = m_settings.pair_datetime != 0;
        if (paired) m_row += m_pad;
        m_row += m_stamp.date;
        if (paired) {
            m_row += ' ';
        } else {
            m_row += m_separator;
            m_row += m_pad;
        }
        m_row += m_stamp.time;
        m_row += m_separator;
    }

    void append_names_and_discrepancy(const dir_entry& entry) {
        if (m_settings.alldates != 0 && !entry.fn_list.empty()) {
            const name_stamps names = pick_name_stamps(entry.fn_list);
            append_stamps(names.long_name);
            append_short_name(names.short_name);
            if (has_time_discrepancy(entry, names.long_name)) m_row += "true";
        }
        m_row += m_separator;
    }

    // The columns of a missing short name are empty.
    void append_short_name(const stamp_set& stamps) {
        if (stamps.created != 0) {
            append_stamps(stamps);
            return;
        }
        const int columns = m_settings.pair_datetime != 0 ? 4 : 8;
        for (int i = 0; i < columns; ++i)
            m_row += m_separator;
    }

    void append_object_id(const dir_entry& entry) {
        if (m_settings.show_objid == 0 || !has_object_id(entry)) return;
        std::string text;
        ql::format_guid(text, entry.object_id.data());
        m_row += text;
    }

    std::ostream& m_out;
    const quorvel_opts& m_settings;
    listing_paths& m_paths;
    stamp_text m_stamp;
    const std::string& m_separator;
    std::string_view m_pad;
    std::string m_row;
    std::string m_name;
    std::string m_path;
};

}  // namespace

void write_csv_listing(std::ostream& out, dir_entry_set& recurse_list, quorvel_opts& settings,
                       const std::wstring& parent_path, std::uint64_t dir_entry_num) {
    if (!start_listing(out, recurse_list, settings.entries)) return;
    if (csv_header_pending) {
        csv_header_pending = false;
        settings.header_pending = 0;
        csv_header(settings).write(out);
    }
    std::string dir_path = ql::to_utf8(parent_path);
    replace_separator(dir_path, settings);
    listing_paths paths(std::move(dir_path), dir_entry_num, settings.last_level != 0, recurse_list);
    csv_rows rows(out, settings, paths);
    for (const dir_entry& entry : settings.entries)
        rows.write(entry);
}

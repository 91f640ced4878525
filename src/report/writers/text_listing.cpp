#include "report/writers/text_listing.h"

#include <string_view>

#include "foundation/text/ql_string.h"
#include "report/format/listing_paths.h"
#include "report/format/row_text.h"
#include "report/format/stamp_text.h"
#include "run/settings/quorvel_opts.h"

bool text_header_pending = true;

namespace {

constexpr std::size_t size_width = 12;
constexpr std::size_t label_width = 7;

// Writes the rows of one listing.
class text_rows {
public:
    text_rows(std::ostream& out, const quorvel_opts& settings, listing_paths& paths,
              bool show_objid)
        : m_out(out),
          m_paths(paths),
          m_stamp(settings.date_style),
          m_time_width(settings.date_format.size() + settings.time_format.size() + 1),
          m_show_objid(show_objid) {}

    // The size heading is one column to the left of the sizes. With short date or time formats the
    // rows are narrower than the header's first literal.
    void write_header() {
        append_left(m_row, "  last modified [UTC]  ", m_time_width);
        append_right(m_row, "MFT & seq num", 17);
        append_right(m_row, "  size ", 12);
        append_right(m_row, " ", 7);
        m_row += "  name\n";
        write_row(m_out, m_row);
    }

    void write(const dir_entry& entry) {
        m_name.clear();
        ql::append_utf8(m_name, entry.name);
        if (!m_paths.take(entry, m_name)) return;
        append_time(entry.si_modified);
        append_right(m_row, entry.mft_entry, 12);
        m_row += ' ';
        append_right(m_row, std::uint64_t{entry.seq_num}, 4);
        m_row += ' ';
        append_size_and_label(entry);
        m_paths.append_path(m_row, entry, m_name);
        append_extras(entry);
        write_row(m_out, m_row);
    }

private:
    // Appends blanks of the full width for an invalid timestamp.
    void append_time(std::uint64_t filetime) {
        m_stamp.render(filetime);
        const std::size_t start = m_row.size();
        m_row += m_stamp.date;
        m_row += ' ';
        m_row += m_stamp.time;
        fill_field(m_row, start, m_time_width);
    }

    // Appends neither field for an unknown type.
    void append_size_and_label(const dir_entry& entry) {
        switch (entry.type) {
            case entry_type::file:
                append_fields(entry.size, " ");
                break;
            case entry_type::directory:
                append_right(m_row, " ", size_width);
                m_row += ' ';
                append_left(m_row, "  dir  ", label_width);
                break;
            case entry_type::index_stream:
                append_fields(entry.size, " indx  ");
                break;
            case entry_type::data_stream:
                append_fields(entry.size, "  ads  ");
                break;
            default:
                break;
        }
    }

    void append_fields(std::uint64_t size, std::string_view label) {
        append_right(m_row, size, size_width);
        m_row += ' ';
        append_left(m_row, label, label_width);
    }

    void append_extras(const dir_entry& entry) {
        if (!entry.link_target.empty()) {
            m_row += " -> ";
            ql::append_utf8(m_row, entry.link_target);
        }
        if (m_show_objid && has_object_id(entry)) {
            std::string id;
            ql::format_guid(id, entry.object_id.data());
            m_row += "  [objid ";
            m_row += id;
            m_row += ']';
        }
    }

    std::ostream& m_out;
    listing_paths& m_paths;
    stamp_text m_stamp;
    std::size_t m_time_width;
    bool m_show_objid;
    std::string m_row;
    std::string m_name;
};

}  // namespace

void write_text_listing(std::ostream& out, dir_entry_set& recurse_list, quorvel_opts& settings,
                        const std::wstring& parent_path, std::uint64_t dir_entry_num,
                        bool show_objid) {
    if (!start_listing(out, recurse_list, settings.entries)) return;
    listing_paths paths(ql::to_utf8(parent_path), dir_entry_num, settings.last_level != 0,
                        recurse_list);
    text_rows rows(out, settings, paths, show_objid);
    if (text_header_pending) {
        text_header_pending = false;
        settings.header_pending = 0;
        rows.write_header();
    }
    for (const dir_entry& entry : settings.entries)
        rows.write(entry);
}

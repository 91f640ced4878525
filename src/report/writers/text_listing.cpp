#include "report/writers/text_listing.h"

#include <string_view>

#include "report/format/stamp_text.h"
#include "report/writers/write_entries.h"

bool text_header_pending = true;

namespace {

constexpr std::size_t size_width = 12;
constexpr std::size_t label_width = 7;

class text_report : public report_base {
public:
    text_report(quorvel_opts& settings, bool show_objid)
        : m_settings(settings),
          m_stamp(settings.date_style),
          m_time_width(settings.date_format.size() + settings.time_format.size() + 1),
          m_show_objid(show_objid) {}

    // The size heading is one column to the left of the sizes. With short date or time formats the
    // rows are narrower than the header's first literal.
    void append_pending_header(ql::text_buffer& row) const {
        if (!take_pending_header(text_header_pending, m_settings)) return;
        append_left(row, "  last modified [UTC]  ", m_time_width);
        append_right(row, "MFT & seq num", 17);
        append_right(row, "  size ", 12);
        append_right(row, " ", 7);
        row += "  name\n";
    }

    void append_row(ql::text_buffer& row, const dir_entry& entry, const listing_paths& paths) {
        append_time(row, entry.si_modified);
        append_right(row, entry.mft_entry, 12);
        row += ' ';
        append_right(row, std::uint64_t{entry.seq_num}, 4);
        row += ' ';
        append_size_and_label(row, entry);
        paths.append_path(row, entry);
        append_extras(row, entry);
    }

private:
    // Appends blanks of the full width for an invalid timestamp.
    void append_time(ql::text_buffer& row, std::uint64_t filetime) {
        m_stamp.render(filetime);
        const std::size_t start = row.size();
        row += m_stamp.date;
        row += ' ';
        row += m_stamp.time;
        fill_field(row, start, m_time_width);
    }

    // Appends neither field for an unknown type.
    static void append_size_and_label(ql::text_buffer& row, const dir_entry& entry) {
        switch (entry.type) {
            case entry_type::file:
                append_fields(row, entry.size, " ");
                break;
            case entry_type::directory:
                append_right(row, " ", size_width);
                row += ' ';
                append_left(row, "  dir  ", label_width);
                break;
            case entry_type::index_stream:
                append_fields(row, entry.size, " indx  ");
                break;
            case entry_type::data_stream:
                append_fields(row, entry.size, "  ads  ");
                break;
            default:
                break;
        }
    }

    static void append_fields(ql::text_buffer& row, std::uint64_t size, std::string_view label) {
        append_right(row, size, size_width);
        row += ' ';
        append_left(row, label, label_width);
    }

    void append_extras(ql::text_buffer& row, const dir_entry& entry) {
        if (!entry.link_target.empty()) {
            row += " -> ";
            row += entry.link_target;
        }
        if (m_show_objid && has_object_id(entry)) {
            row += "  [objid ";
            append_guid(row, entry.object_id);
            row += ']';
        }
    }

    quorvel_opts& m_settings;
    stamp_text m_stamp;
    std::size_t m_time_width;
    bool m_show_objid;
};

}  // namespace

void write_text_listing(std::ostream& out, dir_entry_set& recurse_list, quorvel_opts& settings,
                        const std::wstring& parent_path, std::uint64_t dir_entry_num,
                        bool show_objid) {
    write_entries({out, recurse_list, settings, parent_path, dir_entry_num},
                  text_report(settings, show_objid));
}

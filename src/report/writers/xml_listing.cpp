#include "report/writers/xml_listing.h"

#include <array>
#include <string_view>
#include <utility>

#include "foundation/text/number_text.h"
#include "foundation/time/time_text.h"
#include "report/format/name_stamps.h"
#include "report/format/stamp_text.h"
#include "report/writers/write_entries.h"

namespace {

constexpr std::size_t size_width = 8;  // hexadecimal digits

// The text around the date and the time of one timestamp.
struct stamp_elements {
    std::string_view before_date;
    std::string_view between;
    std::string_view after_time;
};
// The elements of one set of timestamps, in the order of stamp_set.
using stamp_set_elements = std::array<stamp_elements, 4>;
constexpr stamp_set_elements file_elements = {
    {{"<file_create_date>", "</file_create_date><file_create_time>", "</file_create_time>"},
     {"<file_altered_date>", "</file_altered_date><file_altered_time>", "</file_altered_time>"},
     {"<file_mft_changed_date>", "</file_mft_changed_date><file_mft_changed_time>",
      "</file_mft_changed_time>"},
     {"<file_accessed_date>", "</file_accessed_date><file_accessed_time>",
      "</file_accessed_time>"}}};
constexpr stamp_set_elements name_elements = {
    {{"<name_create_date>", "</name_create_date><name_create_time>", "</name_create_time>"},
     {"<name_altered_date>", "</name_altered_date><name_altered_time>", "</name_altered_time>"},
     {"<name_mft_changed_date>", "</name_mft_changed_date><name_mft_changed_time>",
      "</name_mft_changed_time>"},
     {"<name_accessed_date>", "</name_accessed_date><name_accessed_time>",
      "</name_accessed_time>"}}};
constexpr stamp_set_elements short_name_elements = {
    {{"<shortname_create_date>", "</shortname_create_date><shortname_create_time>",
      "</shortname_create_time>"},
     {"<shortname_altered_date>", "</shortname_altered_date><shortname_altered_time>",
      "</shortname_altered_time>"},
     {"<shortname_mft_changed_date>", "</shortname_mft_changed_date><shortname_mft_changed_time>",
      "</shortname_mft_changed_time>"},
     {"<shortname_accessed_date>", "</shortname_accessed_date><shortname_accessed_time>",
      "</shortname_accessed_time>"}}};

// The blank in the second line is part of the format.
constexpr std::string_view no_short_name =
    "<shortname_create_date/><shortname_create_time/>"
    "<shortname_altered_date/> <shortname_altered_time/>"
    "<shortname_mft_changed_date/><shortname_mft_changed_time/>"
    "<shortname_accessed_date/><shortname_accessed_time/>";

// Escapes `text` in place. Text that is already escaped is escaped again: "&lt;" becomes
// "&amp;lt;".
void escape(std::string& text) {
    if (ql::is_xml_text(text)) return;
    std::string escaped;
    ql::xml_escape(escaped, text);
    text = std::move(escaped);
}

class xml_report : public report_base {
public:
    explicit xml_report(const quorvel_opts& settings)
        : m_settings(settings), m_stamp(settings.date_style) {}

    void append_row(ql::text_buffer& row, const dir_entry& entry, listing_paths& paths) {
        row += "<data_entry>";
        if (is_of_directory(entry)) {
            append_directory_head(row, paths.row_path);
        } else {
            append_file_head(row, entry.size, paths);
        }
        append_link(row, entry);
        append_stamps(row, file_elements, standard_stamps(entry));
        append_names_and_discrepancy(row, entry);
        append_object_id(row, entry);
        row += "</data_entry>";
    }

private:
    // Also used for streams of a directory.
    static void append_directory_head(ql::text_buffer& row, std::string& row_path) {
        escape(row_path);
        append_element(row, "directory", row_path);
        row += "\n<filename>.</filename><dir>true</dir><size/>";
    }

    // The path of the listing is escaped again for each file and the result is kept: "a&b" is
    // "a&amp;b" in the first file's element and "a&amp;amp;b" in the second's. The path of a
    // subdirectory starts with the result for the files before it.
    void append_file_head(ql::text_buffer& row, std::uint64_t size, listing_paths& paths) const {
        escape(paths.name);
        escape(paths.dir_path);
        append_element(row, "directory", paths.dir_path);
        row += '\n';
        append_element(row, "filename", paths.name);
        row += "<dir/><size>";
        if (m_settings.hex_numbers != 0) {
            ql::append_hex(row, size, size_width);
        } else {
            ql::append_decimal(row, size);
        }
        row += "</size>";
    }

    static void append_link(ql::text_buffer& row, const dir_entry& entry) {
        if (entry.link_target.empty()) {
            row += "<sym_link/>";
            return;
        }
        row += "<sym_link>";
        row += entry.link_target;
        row += "</sym_link>";
    }

    void append_stamps(ql::text_buffer& row, const stamp_set_elements& elements,
                       const stamp_set& stamps) {
        append_stamp(row, elements[0], stamps.created);
        append_stamp(row, elements[1], stamps.modified);
        append_stamp(row, elements[2], stamps.mft_changed);
        append_stamp(row, elements[3], stamps.accessed);
    }

    void append_stamp(ql::text_buffer& row, const stamp_elements& elements,
                      std::uint64_t filetime) {
        m_stamp.render(filetime);
        row += elements.before_date;
        row += m_stamp.date;
        row += elements.between;
        row += m_stamp.time;
        row += elements.after_time;
    }

    void append_names_and_discrepancy(ql::text_buffer& row, const dir_entry& entry) {
        bool discrepancy = false;
        if (m_settings.alldates != 0 && !entry.fn_list.empty()) {
            const name_stamps names = pick_name_stamps(entry.fn_list);
            append_stamps(row, name_elements, names.long_name);
            if (names.short_name.created != 0) {
                append_stamps(row, short_name_elements, names.short_name);
            } else {
                row += no_short_name;
            }
            discrepancy = has_time_discrepancy(entry, names.long_name);
        }
        append_element(row, "time_discrepancy", discrepancy ? "true" : "false");
    }

    static void append_object_id(ql::text_buffer& row, const dir_entry& entry) {
        if (!has_object_id(entry)) {
            row += "<object_id/>";
            return;
        }
        row += "<object_id>";
        append_guid(row, entry.object_id);
        row += "</object_id>";
    }

    static void append_element(ql::text_buffer& row, std::string_view element,
                               std::string_view content) {
        row += '<';
        row += element;
        row += '>';
        row += content;
        row += "</";
        row += element;
        row += '>';
    }

    const quorvel_opts& m_settings;
    stamp_text m_stamp;
};

}  // namespace

void write_xml_opening(std::ostream& out, const quorvel_opts& opts) {
    ql::text_buffer row;
    row += "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n\n<logdata ";
    if (!opts.image_path.empty()) {
        row += " umounted_image=\"" + ql::to_utf8(opts.image_path) + "\"\n";
    }
    row += " starting_path=\"" + ql::to_utf8(opts.entries.begin()->parent_path.text()) + '"';
    std::string date;
    std::string time;
    ql::date_time_strings(date, time, ql::time::now(), opts.date_style);
    row += " date=\"" + date + "\" time=\"" + time + "\">";
    write_row(out, row);
}

void write_xml_closing(std::ostream& out) {
    ql::text_buffer row;
    row += "</logdata>";
    write_row(out, row);
}

void write_xml_listing(std::ostream& out, dir_entry_set& recurse_list, quorvel_opts& settings,
                       const std::wstring& parent_path, std::uint64_t dir_entry_num) {
    write_entries({out, recurse_list, settings, parent_path, dir_entry_num}, xml_report(settings));
}

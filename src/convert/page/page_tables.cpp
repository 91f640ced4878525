#include "convert/page/page_tables.h"

#include <functional>
#include <vector>

#include "convert/page/html_text.h"
#include "foundation/text/number_text.h"

namespace convert {

namespace {

constexpr std::size_t most_directories = 20;

// A column: its heading, the class of its cells, and what appends the content of one.
template <typename Item>
struct column {
    const char* name;
    const char* style;
    std::function<void(std::string&, const Item&)> append;
};

// Appends a table in an element that scrolls sideways, so that a long path does not widen the page.
template <typename Item>
void append_table(std::string& out, const std::string& caption, const std::string& label,
                  const std::vector<column<Item>>& columns, const std::vector<Item>& items) {
    out += "<div class=\"scroll\" role=\"region\" tabindex=\"0\" aria-label=\"" + label +
           "\">\n<table>\n<caption>" + caption + "</caption>\n<thead><tr>";
    for (const auto& one : columns)
        out += "<th scope=\"col\" class=\"" + std::string(one.style) + "\">" + one.name + "</th>";
    out += "</tr></thead>\n<tbody>\n";
    for (const Item& item : items) {
        out += "<tr>";
        for (const auto& one : columns) {
            out += "<td class=\"" + std::string(one.style) + "\">";
            one.append(out, item);
            out += "</td>";
        }
        out += "</tr>\n";
    }
    out += "</tbody>\n</table>\n</div>\n";
}

std::string count_text(std::uint64_t count, const char* one, const char* several) {
    std::string text;
    append_count(text, count);
    return text + " " + (count == 1 ? one : several);
}

// Returns "12 rows", or "The first 200 of 1,234 rows, in the order of the listing".
std::string caption_of(const row_table& table) {
    if (table.rows.size() == table.total) return count_text(table.total, "row", "rows");
    return "The first " + count_text(table.rows.size(), "of", "of") + " " +
           count_text(table.total, "row", "rows") + ", in the order of the listing";
}

using row_column = column<noted_row>;

row_column path_column() {
    return {"Path", "p",
            [](std::string& out, const noted_row& item) { append_html_name(out, item.row.path); }};
}

row_column type_column() {
    return {"Type", "t",
            [](std::string& out, const noted_row& item) { out += type_name(item.row.type); }};
}

row_column entry_column() {
    return {"Entry-sequence", "n", [](std::string& out, const noted_row& item) {
                ql::append_decimal(out, item.row.entry);
                out += '-';
                ql::append_decimal(out, item.row.sequence);
            }};
}

row_column bytes_column() {
    return {"Bytes", "n", [](std::string& out, const noted_row& item) {
                append_count(out, item.row.allocated_size);
            }};
}

// Returns a column of one of the times of $STANDARD_INFORMATION or $FILE_NAME.
row_column time_column(const char* name, row_times listing_row::*source,
                       std::optional<utc_time> row_times::*which) {
    return {name, "d", [source, which](std::string& out, const noted_row& item) {
                const std::optional<utc_time>& time = item.row.*source.*which;
                if (time) append_html_time(out, *time);
            }};
}

void append_rows(std::string& out, const row_table& table, const std::string& label,
                 const std::vector<row_column>& columns) {
    if (table.total == 0)
        out += "<p>There are no rows.</p>\n";
    else
        append_table(out, caption_of(table), label, columns, table.rows);
}

void append_fact(std::string& out, const char* name, std::string_view value,
                 std::string_view if_empty) {
    out += "<dt>" + std::string(name) + "</dt><dd>";
    if (value.empty())
        out += if_empty;
    else
        append_html_name(out, value);
    out += "</dd>\n";
}

struct kind_line {
    std::string name;
    kind_total total;
};

std::vector<kind_line> kind_lines(const page_summary& summary) {
    std::vector<kind_line> lines = {{"Files", summary.kind(row_type::file)},
                                    {"Directories", summary.kind(row_type::directory)},
                                    {"Alternate data streams", summary.kind(row_type::stream)},
                                    {"Index allocations", summary.kind(row_type::index)}};
    kind_total all;
    for (const kind_line& line : lines) {
        all.rows += line.total.rows;
        all.deleted += line.total.deleted;
        all.bytes = capped_sum(all.bytes, line.total.bytes);
    }
    lines.push_back({"All", all});
    return lines;
}

std::vector<column<directory_totals::item>> directory_columns() {
    using item = directory_totals::item;
    return {
        {"Directory", "p",
         [](std::string& out, const item& one) { append_html_name(out, one.first); }},
        {"Bytes", "b",
         [](std::string& out, const item& one) { append_bytes(out, one.second.bytes); }},
        {"Entries", "n",
         [](std::string& out, const item& one) { append_count(out, one.second.entries); }},
        {"Bytes with subdirectories", "b",
         [](std::string& out, const item& one) { append_bytes(out, one.second.bytes_below); }},
        {"Entries with subdirectories", "n",
         [](std::string& out, const item& one) { append_count(out, one.second.entries_below); }},
    };
}

void append_directory_table(std::string& out, const std::string& title,
                            const std::vector<directory_totals::item>& found, std::uint64_t all) {
    out += "<h3>" + title + "</h3>\n";
    std::string caption;
    append_count(caption, found.size());
    caption += " of " + count_text(all, "directory", "directories");
    append_table(out, caption, title, directory_columns(), found);
}

// Appends how many entries the rows are of, and what is special about them, if anything is.
void append_entry_counts(std::string& out, const page_summary& summary) {
    out += "<p>" + count_text(summary.entries(), "MFT entry", "MFT entries") + ".";
    if (summary.without_time() > 0)
        out += " " + count_text(summary.without_time(), "entry has", "entries have") +
               " no timestamp of $STANDARD_INFORMATION.";
    if (summary.more_paths() > 0)
        out += " " + count_text(summary.more_paths(), "row is", "rows are") +
               " another path of a file.";
    out += "</p>\n";
}

}  // namespace

void append_facts(std::string& out, const listing_head& head) {
    append_fact(out, "Source", head.source, "see the command line");
    append_fact(out, "Offset", head.offset, "not given");
    append_fact(out, "Time", head.time, "unknown");
    append_fact(out, "Host", head.host, "unknown");
    append_fact(out, "System", head.system, "unknown");
    append_fact(out, "Command line", head.command_line, "unknown");
    append_fact(out, "Program", head.version.empty() ? "" : "quorvel " + head.version, "unknown");
}

void append_kinds(std::string& out, const page_summary& summary) {
    const std::vector<column<kind_line>> columns = {
        {"Kind", "", [](std::string& text, const kind_line& line) { text += line.name; }},
        {"Rows", "n",
         [](std::string& text, const kind_line& line) { append_count(text, line.total.rows); }},
        {"Not in use", "n",
         [](std::string& text, const kind_line& line) { append_count(text, line.total.deleted); }},
        {"Bytes", "b",
         [](std::string& text, const kind_line& line) { append_bytes(text, line.total.bytes); }},
    };
    append_entry_counts(out, summary);
    append_table(out, "Rows and bytes by kind", "Counts and bytes", columns, kind_lines(summary));
}

void append_directories(std::string& out, const directory_totals& directories) {
    append_directory_table(out, "Largest", directories.largest(most_directories),
                           directories.size());
    append_directory_table(out, "Most populated", directories.most_populated(most_directories),
                           directories.size());
}

void append_set_back(std::string& out, const row_table& table) {
    const auto standard = &listing_row::standard;
    const auto name = &listing_row::name;
    append_rows(out, table, "Set-back timestamps",
                {path_column(), type_column(), entry_column(),
                 time_column("Created", standard, &row_times::created),
                 time_column("Created, $FILE_NAME", name, &row_times::created),
                 time_column("Changed", standard, &row_times::changed),
                 time_column("Changed, $FILE_NAME", name, &row_times::changed)});
}

void append_deleted(std::string& out, const row_table& table) {
    const auto standard = &listing_row::standard;
    append_rows(out, table, "Deleted entries",
                {path_column(), type_column(), entry_column(), bytes_column(),
                 time_column("Created", standard, &row_times::created),
                 time_column("Modified", standard, &row_times::modified),
                 time_column("Changed", standard, &row_times::changed)});
}

void append_streams(std::string& out, const row_table& table) {
    append_rows(out, table, "Alternate data streams",
                {path_column(), entry_column(), bytes_column()});
}

void append_object_ids(std::string& out, const row_table& table, bool listed) {
    if (!listed && table.total == 0) {
        out += "<p>The listing was written without <code>-objid</code>.</p>\n";
        return;
    }
    append_rows(out, table, "Object ids",
                {path_column(),
                 entry_column(),
                 {"Object id", "t", [](std::string& text, const noted_row& item) {
                      append_html_name(text, item.row.object_id);
                  }}});
}

void append_odd_names(std::string& out, const row_table& table) {
    append_rows(
        out, table, "Odd names",
        {path_column(),
         type_column(),
         entry_column(),
         {"What is odd", "", [](std::string& text, const noted_row& item) { text += item.note; }}});
}

}  // namespace convert

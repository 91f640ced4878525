// A whole run of quorvel-convert --to html, compared byte for byte. The fixed text comes from the
// files that the build embeds; everything else is computed here.
#include <array>
#include <map>

#include "convert/convert_run.h"

namespace {

using convert_run::convert;

const std::array<std::string, 4> kinds = {"Created", "Modified", "MFT entry changed", "Accessed"};

// One directory, a file in it that is not in use, and a stream of the file, each with the times of
// row_fields: from Thursday 2021-03-04 05:06 to Sunday 2021-03-07 08:09.
const std::array<int, 4> day_of_month = {4, 5, 6, 7};
const std::array<int, 4> hour_of_day = {5, 6, 7, 8};
const std::array<std::string, 4> weekdays_of_times = {"Thu", "Fri", "Sat", "Sun"};
const std::array<std::string, 7> weekdays = {"Mon", "Tue", "Wed", "Thu", "Fri", "Sat", "Sun"};
const std::array<std::string, 4> times = {
    "2021-03-04 05:06:07.1234567", "2021-03-05 06:07:08.2345678", "2021-03-06 07:08:09.3456789",
    "2021-03-07 08:09:10.4567890"};

std::string listing() {
    return listing_text::head("-image '<disk> 1.dd' -offset 512") + listing_text::header() +
           listing_text::row({.type = "dir",
                              .path = "\\",
                              .size = "0",
                              .entry = "5",
                              .sequence = "5",
                              .flags = "3"}) +
           listing_text::row({.path = "\\<a>&\n", .size = "4096", .entry = "41", .flags = "0"}) +
           listing_text::row(
               {.type = "ads", .path = "\\<a>&\n:s", .size = "5", .entry = "41", .flags = "0"});
}

// Returns a number of tenths as SVG has them.
std::string units(int tenths) {
    return std::to_string(tenths / 10) + (tenths % 10 ? "." + std::to_string(tenths % 10) : "");
}

std::string rect(int x, int y, int width, int height) {
    return "<rect x=\"" + units(x) + "\" y=\"" + units(y) + "\" width=\"" + units(width) +
           "\" height=\"" + units(height) + "\"";
}

std::string label(int x, int y, const std::string& anchor, const std::string& text) {
    return "<text x=\"" + units(x) + "\" y=\"" + units(y) + "\" text-anchor=\"" + anchor + "\">" +
           text + "</text>\n";
}

std::string figure(const std::string& kind, const std::string& title, const std::string& note,
                   int height, const std::string& content) {
    return "<figure>\n<figcaption><b>" + kind + "</b> <span>" + note +
           "</span></figcaption>\n<svg viewBox=\"0 0 400 " + std::to_string(height) +
           "\" role=\"img\" aria-label=\"" + kind + ", timestamps by " + title + ", " + note +
           "\">\n<title>" + kind + ", timestamps by " + title + "</title>\n<desc>" + note +
           "</desc>\n" + content + "</svg>\n</figure>\n";
}

// A chart with one bar for two timestamps. The plot is 392 wide, for at least 24 bars.
std::string bars(int bar, int number, const std::string& name, const std::string& marks) {
    const int steps = std::max(number, 24);
    const int left = 40 + 3920 * bar / steps;
    const int step = 40 + 3920 * (bar + 1) / steps - left;
    const int gap = std::min(step / 6, 20);
    return "<line class=\"grid\" x1=\"4\" x2=\"396\" y1=\"16\" y2=\"16\"/>\n" +
           label(3960, 120, "end", "2") + rect(left + gap / 2, 160, step - gap, 880) +
           " class=\"bar\"><title>" + name + ": 2</title></rect>\n" +
           "<line class=\"axis\" x1=\"4\" x2=\"396\" y1=\"104\" y2=\"104\"/>\n" + marks;
}

std::string mark(int bar, int number, const std::string& name) {
    return label(40 + 3920 * bar / std::max(number, 24), 1180, "start", name);
}

// A table of counts with a line for each name, in which the columns of the kinds are set.
std::string numbers(const std::string& name, const std::string& heading,
                    const std::map<std::string, std::array<int, 4>>& lines) {
    std::string html = "<details>\n<summary>Numbers by " + name +
                       "</summary>\n<div class=\"scroll\" role=\"region\" tabindex=\"0\" "
                       "aria-label=\"Numbers by " +
                       name + "\">\n<table>\n<thead><tr><th scope=\"col\">" + heading + "</th>";
    for (const std::string& kind : kinds)
        html += "<th scope=\"col\" class=\"n\">" + kind + "</th>";
    html += "</tr></thead>\n<tbody>\n";
    for (const auto& [line, counts] : lines) {
        html += "<tr><th scope=\"row\" class=\"t\">" + line + "</th>";
        for (const int count : counts)
            html += "<td class=\"n\">" + std::to_string(count) + "</td>";
        html += "</tr>\n";
    }
    return html + "</tbody>\n</table>\n</div>\n</details>\n";
}

std::string months() {
    std::string html = "<div class=\"charts\">\n";
    for (const std::string& kind : kinds)
        html += figure(kind, "month", "from 2021-03 to 2021-03: 2 timestamps, most in 2021-03: 2",
                       124, bars(0, 1, "2021-03", mark(0, 1, "2021-03")));
    return html + "</div>\n" + numbers("month", "Month", {{"2021-03", {2, 2, 2, 2}}});
}

// February to April have 89 days, and March begins after 28.
std::string days() {
    std::string html = "<div class=\"charts\">\n";
    std::map<std::string, std::array<int, 4>> lines;
    for (std::size_t kind = 0; kind < kinds.size(); ++kind) {
        const std::string day = "2021-03-0" + std::to_string(day_of_month.at(kind));
        html += figure(kinds.at(kind), "day",
                       "from 2021-02-01 to 2021-04-30: 2 timestamps, most in " + day + ": 2", 124,
                       bars(28 + day_of_month.at(kind) - 1, 89, day,
                            mark(0, 89, "2021-02-01") + mark(28, 89, "2021-03-01") +
                                mark(59, 89, "2021-04-01")));
        lines[day].at(kind) = 2;
    }
    return html + "</div>\n" + numbers("day", "Day", lines);
}

std::string heat_map(std::size_t kind) {
    std::string html;
    for (int hour = 0; hour < 24; hour += 3)
        html += label(300 + 152 * hour, 100, "start", std::to_string(hour));
    for (int day = 0; day < 7; ++day) {
        const std::string& name = weekdays.at(static_cast<std::size_t>(day));
        html += label(40, 140 + 152 * day + 105, "start", name);
        for (int hour = 0; hour < 24; ++hour) {
            html += rect(300 + 152 * hour, 140 + 152 * day, 138, 138);
            const bool here = name == weekdays_of_times.at(kind) && hour == hour_of_day.at(kind);
            html += here ? " class=\"bar\" fill-opacity=\"1.00\"><title>" + name + " 0" +
                               std::to_string(hour) + ":00: 2</title></rect>\n"
                         : " class=\"none\"/>\n";
        }
    }
    return html;
}

std::string hour_numbers(std::size_t kind) {
    std::string html = "<table class=\"hours\">\n<caption>" + kinds.at(kind) +
                       "</caption>\n<thead><tr><th scope=\"col\">Hour</th>";
    for (int hour = 0; hour < 24; ++hour)
        html += "<th scope=\"col\" class=\"n\">" + std::to_string(hour) + "</th>";
    html += "</tr></thead>\n<tbody>\n";
    for (const std::string& day : weekdays) {
        html += "<tr><th scope=\"row\">" + day + "</th>";
        for (int hour = 0; hour < 24; ++hour) {
            const bool here = day == weekdays_of_times.at(kind) && hour == hour_of_day.at(kind);
            html += std::string("<td class=\"n\">") + (here ? "2" : "0") + "</td>";
        }
        html += "</tr>\n";
    }
    return html + "</tbody>\n</table>\n";
}

std::string hours() {
    std::string maps, tables;
    for (std::size_t kind = 0; kind < kinds.size(); ++kind) {
        maps += figure(kinds.at(kind), "weekday and hour in UTC",
                       "2 timestamps, most on " + weekdays_of_times.at(kind) + " at 0" +
                           std::to_string(hour_of_day.at(kind)) + ":00: 2",
                       121, heat_map(kind));
        tables += hour_numbers(kind);
    }
    return "<div class=\"charts\">\n" + maps +
           "</div>\n<details>\n<summary>Numbers by weekday and hour</summary>\n<div "
           "class=\"scroll\" role=\"region\" tabindex=\"0\" aria-label=\"Numbers by weekday and "
           "hour\">\n" +
           tables + "</div>\n</details>\n";
}

// Each cell is its class, a colon and its content.
using cells = std::vector<std::string>;

std::string table_row(const cells& content, const std::string& element) {
    std::string html = "<tr>";
    for (const std::string& cell : content) {
        const std::size_t colon = cell.find(':');
        html += "<" + element + " class=\"" + cell.substr(0, colon) + "\">" +
                cell.substr(colon + 1) + "</" + element.substr(0, 2) + ">";
    }
    return html + "</tr>";
}

std::string table(const std::string& label_text, const std::string& caption, const cells& heading,
                  const std::vector<cells>& rows) {
    std::string html = "<div class=\"scroll\" role=\"region\" tabindex=\"0\" aria-label=\"" +
                       label_text + "\">\n<table>\n<caption>" + caption + "</caption>\n<thead>" +
                       table_row(heading, "th scope=\"col\"") + "</thead>\n<tbody>\n";
    for (const cells& row : rows)
        html += table_row(row, "td") + "\n";
    return html + "</tbody>\n</table>\n</div>\n";
}

const std::string name_cell = "p:<bdi>\\<wbr>&lt;a&gt;&amp;<span class=\"esc\">\\x0a</span></bdi>";
const std::string stream_cell =
    "p:<bdi>\\<wbr>&lt;a&gt;&amp;<span class=\"esc\">\\x0a</span>:s</bdi>";

std::string facts() {
    return "<dt>Source</dt><dd><bdi>&lt;disk&gt; 1.dd</bdi></dd>\n"
           "<dt>Offset</dt><dd><bdi>512</bdi></dd>\n"
           "<dt>Time</dt><dd><bdi>2026-01-02 03:04:05 [UTC]</bdi></dd>\n"
           "<dt>Host</dt><dd><bdi>lab</bdi></dd>\n"
           "<dt>System</dt><dd><bdi>Linux;1;2;64</bdi></dd>\n"
           "<dt>Command line</dt><dd><bdi>quorvel " +
           listing_text::words + listing_text::separator +
           " -image &#39;&lt;disk&gt; 1.dd&#39; -offset 512</bdi></dd>\n"
           "<dt>Program</dt><dd><bdi>quorvel 1.45</bdi></dd>\n";
}

std::string counts() {
    return "<p>2 MFT entries.</p>\n" + table("Counts and bytes", "Rows and bytes by kind",
                                             {":Kind", "n:Rows", "n:Not in use", "b:Bytes"},
                                             {{":Files", "n:1", "n:1", "b:4,096 (4.0&nbsp;KiB)"},
                                              {":Directories", "n:1", "n:0", "b:0"},
                                              {":Alternate data streams", "n:1", "n:1", "b:5"},
                                              {":Index allocations", "n:0", "n:0", "b:0"},
                                              {":All", "n:3", "n:2", "b:4,101 (4.0&nbsp;KiB)"}});
}

std::string directories() {
    std::string html;
    for (const std::string title : {"Largest", "Most populated"})
        html += "<h3>" + title + "</h3>\n" +
                table(title, "1 of 1 directory",
                      {"p:Directory", "b:Bytes", "n:Entries", "b:Bytes with subdirectories",
                       "n:Entries with subdirectories"},
                      {{"p:<bdi>\\<wbr></bdi>", "b:4,101 (4.0&nbsp;KiB)", "n:1",
                        "b:4,101 (4.0&nbsp;KiB)", "n:1"}});
    return html;
}

std::string expected_page() {
    std::map<std::string, std::string> parts = {
        {"title", "&lt;disk&gt; 1.dd"},
        {"style", support::read_file(CONVERT_PAGE_FOLDER "/style.css")},
        {"facts", facts()},
        {"kinds", counts()},
        {"months", months()},
        {"days", days()},
        {"hours", hours()},
        {"directories", directories()},
        {"set_back", "<p>There are no rows.</p>\n"},
        {"object_ids", "<p>The listing was written without <code>-objid</code>.</p>\n"},
    };
    parts["deleted"] = table(
        "Deleted entries", "1 row",
        {"p:Path", "t:Type", "n:Entry-sequence", "n:Bytes", "d:Created", "d:Modified", "d:Changed"},
        {{name_cell, "t:file", "n:41-2", "n:4,096", "d:" + times[0], "d:" + times[1],
          "d:" + times[2]}});
    parts["streams"] =
        table("Alternate data streams", "1 row", {"p:Path", "n:Entry-sequence", "n:Bytes"},
              {{stream_cell, "n:41-2", "n:5"}});
    parts["odd_names"] = table(
        "Odd names", "1 row", {"p:Path", "t:Type", "n:Entry-sequence", ":What is odd"},
        {{name_cell, "t:file", "n:41-2", ":control character, character that Windows refuses"}});
    std::string page = support::read_file(CONVERT_PAGE_FOLDER "/layout.html");
    for (const auto& [name, text] : parts) {
        const std::string placeholder = "{{" + name + "}}";
        const std::size_t at = page.find(placeholder);
        EXPECT_NE(at, std::string::npos) << name;
        page.replace(at, placeholder.size(), text);
    }
    return page;
}

TEST(HtmlRun, WritesAPage) {
    const support::temp_dir dir;
    const auto run = convert({"--to", "html", "--input", dir.write("listing", listing())});
    EXPECT_EQ(run.standard_error, "");
    EXPECT_EQ(run.status, 0);
    const std::string expected = expected_page();
    // A whole page would be a long message.
    const auto differs = std::mismatch(expected.begin(), expected.end(),
                                       run.standard_output.begin(), run.standard_output.end());
    const auto at = static_cast<std::size_t>(differs.first - expected.begin());
    EXPECT_EQ(run.standard_output.substr(at, 200), expected.substr(at, 200)) << "at byte " << at;
    EXPECT_EQ(run.standard_output.size(), expected.size());
}

}  // namespace

#include "convert/page/time_sections.h"

#include <array>

#include "convert/page/html_text.h"
#include "convert/page/svg_charts.h"
#include "foundation/text/number_text.h"
#include "foundation/time/ql_calendar.h"

namespace convert {

namespace {

constexpr std::array<const char*, num_time_kinds> kind_names = {"Created", "Modified",
                                                                "MFT entry changed", "Accessed"};
constexpr const char* no_times = "<p>No entry has a timestamp.</p>\n";

void append_two_digits(std::string& out, std::uint64_t value) {
    if (value < 10) out += '0';
    ql::append_decimal(out, value);
}

std::string month_name(std::uint32_t month) {
    std::string name;
    ql::append_decimal(name, month / 12);
    name += '-';
    append_two_digits(name, month % 12 + 1);
    return name;
}

std::string day_name(std::uint32_t day) {
    const std::uint32_t month = month_of_day(day);
    std::string name = month_name(month) + "-";
    append_two_digits(name, day - first_day_of_month(month) + 1);
    return name;
}

// What differs between the charts of months and of days.
struct step {
    const char* name;
    const char* heading;
    std::string (*name_of)(std::uint32_t);
    bool shows_rest;  // the chart says how many timestamps it does not show
};

constexpr step month_step = {"month", "Month", month_name, true};
constexpr step day_step = {"day", "Day", day_name, false};

// Appends "from 2020-01 to 2020-12: 1,234 timestamps, most in 2020-06: 312".
void append_extent(std::string& out, const count_series& series, const step& unit,
                   std::size_t kind) {
    std::uint64_t total = 0;
    std::size_t busiest = 0;
    for (std::size_t i = 0; i < series.counts.size(); ++i) {
        total += series.counts[i].at(kind);
        if (series.counts[i].at(kind) > series.counts[busiest].at(kind)) busiest = i;
    }
    out += "from " + unit.name_of(series.first) + " to " +
           unit.name_of(series.first + static_cast<std::uint32_t>(series.counts.size()) - 1) + ": ";
    append_count(out, total);
    out += total == 1 ? " timestamp" : " timestamps";
    if (total == 0) return;
    out += ", most in " + unit.name_of(series.first + static_cast<std::uint32_t>(busiest)) + ": ";
    append_count(out, series.counts[busiest].at(kind));
}

// Appends how many timestamps the chart does not show, in parentheses, or nothing.
void append_rest(std::string& out, const count_series& series, std::size_t kind) {
    const std::uint64_t before = series.before.at(kind);
    const std::uint64_t after = series.after.at(kind);
    if (before == 0 && after == 0) return;
    out += "; not shown: ";
    append_count(out, before);
    out += " before, ";
    append_count(out, after);
    out += " after";
}

// Marks each January, or every second, fifth or tenth one if the years are many.
std::vector<axis_mark> month_marks(const count_series& series) {
    const std::size_t years = series.counts.size() / 12 + 1;
    const std::uint32_t every = years > 12 ? 5 : years > 7 ? 2 : 1;
    std::vector<axis_mark> marks;
    for (std::uint32_t i = 0; i < series.counts.size(); ++i) {
        const std::uint32_t month = series.first + i;
        if (month % 12 != 0 || month / 12 % every != 0) continue;
        marks.push_back({i, {}});
        ql::append_decimal(marks.back().name, month / 12);
    }
    // A range without a marked January still needs a date.
    if (marks.empty()) marks.push_back({0, month_name(series.first)});
    return marks;
}

std::vector<axis_mark> day_marks(const count_series& series) {
    std::vector<axis_mark> marks;
    for (std::uint32_t i = 0; i < series.counts.size(); ++i) {
        const std::uint32_t day = series.first + i;
        if (first_day_of_month(month_of_day(day)) == day) marks.push_back({i, day_name(day)});
    }
    return marks;
}

void append_figure_start(std::string& out, std::size_t kind, const std::string& note) {
    out += "<figure>\n<figcaption><b>" + std::string(kind_names.at(kind)) + "</b> <span>" + note +
           "</span></figcaption>\n";
}

void append_chart(std::string& out, const count_series& series, const step& unit,
                  const std::vector<axis_mark>& marks, std::size_t kind) {
    bar_chart chart;
    chart.text.title = std::string(kind_names.at(kind)) + ", timestamps by " + unit.name;
    append_extent(chart.text.description, series, unit, kind);
    if (unit.shows_rest) append_rest(chart.text.description, series, kind);
    for (const time_kind_counts& counts : series.counts)
        chart.counts.push_back(counts.at(kind));
    chart.bar_name = [&](std::size_t i) {
        return unit.name_of(series.first + static_cast<std::uint32_t>(i));
    };
    chart.marks = marks;
    append_figure_start(out, kind, chart.text.description);
    append_bar_chart(out, chart);
    out += "</figure>\n";
}

void append_number_row(std::string& out, const std::string& name, const time_kind_counts& counts) {
    out += "<tr><th scope=\"row\" class=\"t\">" + name + "</th>";
    for (const std::uint64_t count : counts) {
        out += "<td class=\"n\">";
        append_count(out, count);
        out += "</td>";
    }
    out += "</tr>\n";
}

// Appends the numbers of the charts, without the lines that are 0.
void append_numbers(std::string& out, const count_series& series, const step& unit) {
    out += "<details>\n<summary>Numbers by " + std::string(unit.name) +
           "</summary>\n<div class=\"scroll\" role=\"region\" tabindex=\"0\" "
           "aria-label=\"Numbers by " +
           unit.name + "\">\n<table>\n<thead><tr><th scope=\"col\">" + unit.heading + "</th>";
    for (const char* kind : kind_names)
        out += "<th scope=\"col\" class=\"n\">" + std::string(kind) + "</th>";
    out += "</tr></thead>\n<tbody>\n";
    if (unit.shows_rest && sum_of(series.before) > 0)
        append_number_row(out, "earlier", series.before);
    for (std::uint32_t i = 0; i < series.counts.size(); ++i) {
        if (sum_of(series.counts[i]) > 0)
            append_number_row(out, unit.name_of(series.first + i), series.counts[i]);
    }
    if (unit.shows_rest && sum_of(series.after) > 0) append_number_row(out, "later", series.after);
    out += "</tbody>\n</table>\n</div>\n</details>\n";
}

void append_series(std::string& out, const count_series& series, const step& unit,
                   const std::vector<axis_mark>& marks) {
    out += "<div class=\"charts\">\n";
    for (std::size_t kind = 0; kind < num_time_kinds; ++kind)
        append_chart(out, series, unit, marks, kind);
    out += "</div>\n";
    append_numbers(out, series, unit);
}

const std::vector<std::string>& weekday_names() {
    static const std::vector<std::string> names = {"Mon", "Tue", "Wed", "Thu", "Fri", "Sat", "Sun"};
    return names;
}

// Appends "1,234 timestamps, most on Mon at 09:00: 312".
void append_busiest_hour(std::string& out, const time_counts& times, std::size_t kind) {
    append_count(out, times.total().at(kind));
    out += times.total().at(kind) == 1 ? " timestamp" : " timestamps";
    std::size_t day = 0;
    std::size_t hour = 0;
    for (std::size_t i = 0; i < std::size_t{7} * 24; ++i) {
        if (times.at_hour(kind, i / 24, i % 24) <= times.at_hour(kind, day, hour)) continue;
        day = i / 24;
        hour = i % 24;
    }
    const std::uint64_t most = times.at_hour(kind, day, hour);
    if (most == 0) return;
    out += ", most on " + weekday_names()[day] + " at ";
    append_two_digits(out, hour);
    out += ":00: ";
    append_count(out, most);
}

void append_heat(std::string& out, const time_counts& times, std::size_t kind) {
    heat_map map;
    map.text.title = std::string(kind_names.at(kind)) + ", timestamps by weekday and hour in UTC";
    append_busiest_hour(map.text.description, times, kind);
    map.row_names = weekday_names();
    map.count = [&](std::size_t row, std::size_t column) {
        return times.at_hour(kind, row, column);
    };
    append_figure_start(out, kind, map.text.description);
    append_heat_map(out, map);
    out += "</figure>\n";
}

void append_hour_numbers(std::string& out, const time_counts& times, std::size_t kind) {
    out += "<table class=\"hours\">\n<caption>" + std::string(kind_names.at(kind)) +
           "</caption>\n<thead><tr><th scope=\"col\">Hour</th>";
    for (std::uint64_t hour = 0; hour < 24; ++hour) {
        out += "<th scope=\"col\" class=\"n\">";
        ql::append_decimal(out, hour);
        out += "</th>";
    }
    out += "</tr></thead>\n<tbody>\n";
    for (std::size_t day = 0; day < 7; ++day) {
        out += "<tr><th scope=\"row\">" + weekday_names()[day] + "</th>";
        for (std::size_t hour = 0; hour < 24; ++hour) {
            out += "<td class=\"n\">";
            append_count(out, times.at_hour(kind, day, hour));
            out += "</td>";
        }
        out += "</tr>\n";
    }
    out += "</tbody>\n</table>\n";
}

}  // namespace

void append_months(std::string& out, const time_counts& times) {
    const count_series series = times.by_month();
    if (series.counts.empty())
        out += no_times;
    else
        append_series(out, series, month_step, month_marks(series));
}

void append_days(std::string& out, const time_counts& times) {
    const count_series series = times.by_day();
    if (series.counts.empty())
        out += no_times;
    else
        append_series(out, series, day_step, day_marks(series));
}

void append_hours(std::string& out, const time_counts& times) {
    if (sum_of(times.total()) == 0) {
        out += no_times;
        return;
    }
    out += "<div class=\"charts\">\n";
    for (std::size_t kind = 0; kind < num_time_kinds; ++kind)
        append_heat(out, times, kind);
    out +=
        "</div>\n<details>\n<summary>Numbers by weekday and hour</summary>\n"
        "<div class=\"scroll\" role=\"region\" tabindex=\"0\" "
        "aria-label=\"Numbers by weekday and hour\">\n";
    for (std::size_t kind = 0; kind < num_time_kinds; ++kind)
        append_hour_numbers(out, times, kind);
    out += "</div>\n</details>\n";
}

}  // namespace convert

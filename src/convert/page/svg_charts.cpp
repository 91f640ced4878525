#include "convert/page/svg_charts.h"

#include <algorithm>

#include "convert/page/html_text.h"
#include "foundation/text/number_text.h"

namespace convert {

namespace {

// Sizes are tenths of a unit. A chart is 400 units wide, about the width of a phone.
constexpr std::uint64_t plot_left = 40;
constexpr std::uint64_t plot_width = 3920;
constexpr std::uint64_t plot_top = 160;
constexpr std::uint64_t plot_height = 880;
constexpr std::uint64_t least_steps = 24;  // fewer bars do not become wider
constexpr std::uint64_t cells_left = 300;
constexpr std::uint64_t cells_top = 140;
constexpr std::uint64_t cell_step = 152;
constexpr std::uint64_t cell_size = 138;

// Appends a name, and a number of tenths in quotes.
void append_length(std::string& out, std::string_view name, std::uint64_t tenths) {
    out += ' ';
    out += name;
    out += "=\"";
    ql::append_decimal(out, tenths / 10);
    if (tenths % 10 != 0) {
        out += '.';
        ql::append_decimal(out, tenths % 10);
    }
    out += '"';
}

struct rectangle {
    std::uint64_t x, y, width, height;
};

void append_rectangle(std::string& out, const rectangle& at) {
    out += "<rect";
    append_length(out, "x", at.x);
    append_length(out, "y", at.y);
    append_length(out, "width", at.width);
    append_length(out, "height", at.height);
}

// Appends a text with its baseline at `y`; `anchor` is the part of the text that is at `x`.
void append_label(std::string& out, std::uint64_t x, std::uint64_t y, std::string_view anchor,
                  std::string_view text) {
    out += "<text";
    append_length(out, "x", x);
    append_length(out, "y", y);
    out += " text-anchor=\"";
    out += anchor;
    out += "\">";
    out += text;
    out += "</text>\n";
}

void append_line(std::string& out, std::string_view name, std::uint64_t y) {
    out += "<line class=\"";
    out += name;
    out += '"';
    append_length(out, "x1", plot_left);
    append_length(out, "x2", plot_left + plot_width);
    append_length(out, "y1", y);
    append_length(out, "y2", y);
    out += "/>\n";
}

// Appends the start of the element. The tenths of its height end in 0.
void append_start(std::string& out, const chart_text& text, std::uint64_t height) {
    out += "<svg viewBox=\"0 0 400 ";
    ql::append_decimal(out, height / 10);
    out += "\" role=\"img\" aria-label=\"" + text.title + ", " + text.description + "\">\n";
    out += "<title>" + text.title + "</title>\n";
    out += "<desc>" + text.description + "</desc>\n";
}

// Appends the title of a rectangle, which browsers show at the pointer, and its end.
void append_tip(std::string& out, const std::string& name, std::uint64_t count) {
    out += "><title>" + name + ": ";
    append_count(out, count);
    out += "</title></rect>\n";
}

std::uint64_t bar_left(const bar_chart& chart, std::uint64_t bar) {
    return plot_left + plot_width * bar / std::max<std::uint64_t>(chart.counts.size(), least_steps);
}

void append_bars(std::string& out, const bar_chart& chart, std::uint64_t most) {
    for (std::uint64_t i = 0; i < chart.counts.size(); ++i) {
        const std::uint64_t count = chart.counts[i];
        if (count == 0) continue;
        const std::uint64_t left = bar_left(chart, i);
        const std::uint64_t step = bar_left(chart, i + 1) - left;
        const std::uint64_t gap = step > 20 ? std::min<std::uint64_t>(step / 6, 20) : 2;
        const std::uint64_t height = std::max<std::uint64_t>(plot_height * count / most, 10);
        append_rectangle(out,
                         {left + gap / 2, plot_top + plot_height - height, step - gap, height});
        out += " class=\"bar\"";
        append_tip(out, chart.bar_name(i), count);
    }
}

void append_cell(std::string& out, const heat_map& map, std::size_t row, std::size_t column,
                 std::uint64_t most) {
    const std::uint64_t count = map.count(row, column);
    append_rectangle(
        out, {cells_left + cell_step * column, cells_top + cell_step * row, cell_size, cell_size});
    if (count == 0) {
        out += " class=\"none\"/>\n";
        return;
    }
    // Between a tenth and the whole of the colour.
    const std::uint64_t percent = 12 + 88 * count / most;
    out += " class=\"bar\" fill-opacity=\"";
    out += percent < 100 ? "0." : "1.";
    ql::append_decimal(out, percent % 100 / 10);
    ql::append_decimal(out, percent % 10);
    out += '"';
    std::string name = map.row_names[row] + " ";
    if (column < 10) name += '0';
    ql::append_decimal(name, column);
    append_tip(out, name + ":00", count);
}

std::uint64_t most_of(const heat_map& map) {
    std::uint64_t most = 0;
    for (std::size_t row = 0; row < map.row_names.size(); ++row) {
        for (std::size_t column = 0; column < heat_map::columns; ++column)
            most = std::max(most, map.count(row, column));
    }
    return most;
}

}  // namespace

void append_bar_chart(std::string& out, const bar_chart& chart) {
    std::uint64_t most = 1;
    for (const std::uint64_t count : chart.counts)
        most = std::max(most, count);
    append_start(out, chart.text, 1240);
    append_line(out, "grid", plot_top);
    std::string label;
    append_count(label, most);
    append_label(out, plot_left + plot_width, plot_top - 40, "end", label);
    append_bars(out, chart, most);
    append_line(out, "axis", plot_top + plot_height);
    for (const axis_mark& mark : chart.marks) {
        append_label(out, bar_left(chart, mark.bar), plot_top + plot_height + 140, "start",
                     mark.name);
    }
    out += "</svg>\n";
}

void append_heat_map(std::string& out, const heat_map& map) {
    const std::uint64_t most = std::max<std::uint64_t>(most_of(map), 1);
    append_start(out, map.text, cells_top + cell_step * map.row_names.size() + 6);
    for (std::size_t column = 0; column < heat_map::columns; column += 3) {
        std::string hour;
        ql::append_decimal(hour, column);
        append_label(out, cells_left + cell_step * column, cells_top - 40, "start", hour);
    }
    for (std::size_t row = 0; row < map.row_names.size(); ++row) {
        append_label(out, plot_left, cells_top + cell_step * row + 105, "start",
                     map.row_names[row]);
        for (std::size_t column = 0; column < heat_map::columns; ++column)
            append_cell(out, map, row, column, most);
    }
    out += "</svg>\n";
}

}  // namespace convert

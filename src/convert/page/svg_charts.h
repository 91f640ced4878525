// Charts as SVG elements, with a title and a description for a screen reader.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace convert {

// A name on the axis, below the start of a bar.
struct axis_mark {
    std::size_t bar = 0;
    std::string name;
};

// The texts are plain, without characters of HTML.
struct chart_text {
    std::string title;
    std::string description;
};

struct bar_chart {
    chart_text text;
    std::vector<std::uint64_t> counts;                 // a bar each
    std::function<std::string(std::size_t)> bar_name;  // of a bar
    std::vector<axis_mark> marks;
};

void append_bar_chart(std::string& out, const bar_chart& chart);

struct heat_map {
    static constexpr std::size_t columns = 24;

    chart_text text;
    std::vector<std::string> row_names;
    std::function<std::uint64_t(std::size_t row, std::size_t column)> count;
};

// Draws hours, a column each.
void append_heat_map(std::string& out, const heat_map& map);

}  // namespace convert

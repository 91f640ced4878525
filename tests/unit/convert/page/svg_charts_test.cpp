#include "convert/page/svg_charts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using convert::bar_chart;
using convert::heat_map;
using testing::HasSubstr;
using testing::Not;

std::size_t count_of(const std::string& text, const std::string& part) {
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
        ++count;
    return count;
}

std::string drawn(const bar_chart& chart) {
    std::string out;
    convert::append_bar_chart(out, chart);
    return out;
}

bar_chart chart_of(std::vector<std::uint64_t> counts) {
    bar_chart chart;
    chart.text = {"Title", "the description"};
    chart.counts = std::move(counts);
    chart.bar_name = [](std::size_t i) { return "bar " + std::to_string(i); };
    return chart;
}

// The plot begins at 4, is 392 wide and 88 high, and ends at 104. Of 49 bars each has 8 units.
TEST(SvgCharts, DrawsABarForEachCount) {
    std::vector<std::uint64_t> counts(49);
    counts[0] = 1000;
    counts[2] = 500;
    counts[48] = 1;
    bar_chart chart = chart_of(counts);
    chart.marks = {{0, "first"}, {2, "third"}};
    EXPECT_EQ(drawn(chart),
              "<svg viewBox=\"0 0 400 124\" role=\"img\" aria-label=\"Title, the description\">\n"
              "<title>Title</title>\n<desc>the description</desc>\n"
              "<line class=\"grid\" x1=\"4\" x2=\"396\" y1=\"16\" y2=\"16\"/>\n"
              "<text x=\"396\" y=\"12\" text-anchor=\"end\">1,000</text>\n"
              "<rect x=\"4.6\" y=\"16\" width=\"6.7\" height=\"88\" class=\"bar\">"
              "<title>bar 0: 1,000</title></rect>\n"
              "<rect x=\"20.6\" y=\"60\" width=\"6.7\" height=\"44\" class=\"bar\">"
              "<title>bar 2: 500</title></rect>\n"
              "<rect x=\"388.6\" y=\"103\" width=\"6.7\" height=\"1\" class=\"bar\">"
              "<title>bar 48: 1</title></rect>\n"
              "<line class=\"axis\" x1=\"4\" x2=\"396\" y1=\"104\" y2=\"104\"/>\n"
              "<text x=\"4\" y=\"118\" text-anchor=\"start\">first</text>\n"
              "<text x=\"20\" y=\"118\" text-anchor=\"start\">third</text>\n"
              "</svg>\n");
}

TEST(SvgCharts, AFewBarsAreNotWide) {
    EXPECT_THAT(drawn(chart_of({1})), HasSubstr(" width=\"14.3\" height=\"88\""))
        << "392 / 24 less a gap of 2";
}

TEST(SvgCharts, WithoutCountsThereIsNoBar) {
    for (const auto& counts : {std::vector<std::uint64_t>{}, {0, 0}})
        EXPECT_THAT(drawn(chart_of(counts)), Not(HasSubstr("<rect")));
}

heat_map map_of(std::function<std::uint64_t(std::size_t, std::size_t)> count) {
    heat_map map;
    map.text = {"Heat", "text"};
    map.row_names = {"Mon", "Tue"};
    map.count = std::move(count);
    return map;
}

TEST(SvgCharts, DrawsACellForEachHour) {
    std::string out;
    convert::append_heat_map(out, map_of([](std::size_t row, std::size_t column) {
                                 if (row == 0 && column == 9) return std::uint64_t{2000};
                                 return std::uint64_t{row == 1 && column == 10 ? 1000u : 0u};
                             }));
    EXPECT_EQ(count_of(out, "<rect"), 48u);
    EXPECT_EQ(count_of(out, " class=\"none\"/>"), 46u);
    EXPECT_EQ(count_of(out, "<text"), 8u + 2) << "every third hour, and the rows";
    EXPECT_THAT(out,
                HasSubstr("<svg viewBox=\"0 0 400 45\" role=\"img\" aria-label=\"Heat, text\">"));
    EXPECT_THAT(out, HasSubstr("<rect x=\"166.8\" y=\"14\" width=\"13.8\" height=\"13.8\" "
                               "class=\"bar\" fill-opacity=\"1.00\">"
                               "<title>Mon 09:00: 2,000</title></rect>\n"));
    EXPECT_THAT(out, HasSubstr("<rect x=\"182\" y=\"29.2\" width=\"13.8\" height=\"13.8\" "
                               "class=\"bar\" fill-opacity=\"0.56\">"
                               "<title>Tue 10:00: 1,000</title></rect>\n"));
}

TEST(SvgCharts, AnEmptyHeatMapHasEmptyCells) {
    std::string out;
    convert::append_heat_map(out, map_of([](std::size_t, std::size_t) { return 0; }));
    EXPECT_EQ(count_of(out, " class=\"none\"/>"), 48u);
}

}  // namespace

#include "convert/formats/format_list.h"

#include <string_view>

#include "convert/formats/body_format.h"
#include "convert/formats/csv_format.h"
#include "convert/formats/html_format.h"
#include "convert/formats/jsonl_format.h"
#include "convert/formats/sqlite_format.h"
#include "convert/formats/timeline_format.h"

namespace convert {

namespace {

constexpr format all_formats[] = {
    {"body", false},  {"timeline", false}, {"csv", false},
    {"jsonl", false}, {"sqlite", true},    {"html", false},
};

}  // namespace

std::span<const format> formats() { return all_formats; }

std::unique_ptr<row_writer> make_writer(const format& wanted, byte_sink& sink,
                                        const std::string& path) {
    const std::string_view name = wanted.name;
    if (name == "body") return std::make_unique<body_writer>(sink);
    if (name == "timeline") return std::make_unique<timeline_writer>(sink);
    if (name == "sqlite") return std::make_unique<sqlite_writer>(path);
    if (name == "html") return std::make_unique<html_writer>(sink);
    if (name == "csv") return std::make_unique<csv_writer>(sink);
    return std::make_unique<jsonl_writer>(sink);
}

}  // namespace convert

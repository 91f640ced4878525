#include "convert/page/page.h"

#include "convert/page/html_text.h"
#include "convert/page/page_tables.h"
#include "convert/page/page_text.h"
#include "convert/page/time_sections.h"

namespace convert {

namespace {

// Appends the part of the page that a placeholder of the layout names.
void append_part(std::string& out, std::string_view name, const listing_head& head,
                 const page_summary& summary) {
    if (name == "style") out += page_style();
    if (name == "title") append_html_text(out, head.source.empty() ? "a volume" : head.source);
    if (name == "facts") append_facts(out, head);
    if (name == "kinds") append_kinds(out, summary);
    if (name == "months") append_months(out, summary.times());
    if (name == "days") append_days(out, summary.times());
    if (name == "hours") append_hours(out, summary.times());
    if (name == "directories") append_directories(out, summary.directories());
    if (name == "set_back") append_set_back(out, summary.set_back());
    if (name == "deleted") append_deleted(out, summary.deleted());
    if (name == "streams") append_streams(out, summary.streams());
    if (name == "object_ids") append_object_ids(out, summary.object_ids(), head.with_object_ids);
    if (name == "odd_names") append_odd_names(out, summary.odd_names());
}

}  // namespace

bool draw_page(const listing_head& head, const page_summary& summary, const page_sink& sink) {
    std::string_view rest = page_layout();
    for (;;) {
        const std::size_t open = rest.find("{{");
        const std::size_t close = rest.find("}}", open);
        if (close == std::string_view::npos) return sink(rest);
        std::string part(rest.substr(0, open));
        append_part(part, rest.substr(open + 2, close - open - 2), head, summary);
        rest.remove_prefix(close + 2);
        if (!sink(part)) return false;
    }
}

}  // namespace convert

// Draws the summary of a listing as one HTML page, which loads nothing and runs no script.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "convert/listing/listing_head.h"
#include "convert/summary/page_summary.h"

namespace convert {

// Returns false to end the drawing.
using page_sink = std::function<bool(std::string_view)>;

// Passes the page to `sink`, in parts. Returns false if the sink does.
[[nodiscard]] bool draw_page(const listing_head& head, const page_summary& summary,
                             const page_sink& sink);

}  // namespace convert

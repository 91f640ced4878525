// The fixed texts of the page. The build embeds them from the files of this folder.
#pragma once

#include <string_view>

namespace convert {

// Returns the page with a placeholder, such as {{facts}}, for each part that is drawn.
std::string_view page_layout();
// Returns the style sheet.
std::string_view page_style();

}  // namespace convert

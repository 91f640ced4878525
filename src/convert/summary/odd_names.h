// Finds names that can mislead a reader or that Windows does not let a user create.
#pragma once

#include <string>
#include <string_view>

namespace convert {

// Returns what is odd about a name, as a list for the user, or an empty text.
std::string describe_odd_name(std::string_view name);

}  // namespace convert

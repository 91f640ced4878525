// Expands environment variables in paths.
#pragma once

#include <string>

// Replaces each "%NAME%" in `text` by the value of the environment variable. References in a value
// are expanded in turn until the text is longer than 512 characters. A circular reference or an
// unset name is kept, except that with `allow_vss` "%vss%", in any case, is replaced by the path of
// a shadow copy device, whose number follows in the text.
std::string expand_env(std::string text, bool allow_vss);

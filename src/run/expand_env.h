// Environment references in paths.
#pragma once

#include <string>

// Replaces each "%NAME%" of `text` by the value of the environment variable. A value that holds
// references is expanded again, until the text is longer than 512 characters; a reference that
// leads back to itself stays. A name that is not set stays, too, but "%vss%" (in any case) becomes
// the path of a shadow copy device with `allow_vss`; its number follows in the text.
std::string expand_env(std::string text, bool allow_vss);

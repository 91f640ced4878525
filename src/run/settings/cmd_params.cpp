#include "run/settings/cmd_params.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace {

// The longest line is this much longer than its format, including the terminating zero byte.
constexpr std::size_t extra_diag_size = 256;

}  // namespace

cmd_params::cmd_params() = default;

// Closes the trace file.
cmd_params::~cmd_params() = default;

void cmd_params::diag(const char* format, ...) {
    if (diags_on == 0 || diags_stream == nullptr) return;

    // Zeros, because a conversion that fails leaves the output before it without a terminator.
    std::vector<char> text(std::strlen(format) + extra_diag_size, '\0');
    std::va_list arguments;
    va_start(arguments, format);
    if (std::vsnprintf(text.data(), text.size(), format, arguments) < 0) text.back() = '\0';
    va_end(arguments);
    *diags_stream << "->" << text.data() << std::endl;
}

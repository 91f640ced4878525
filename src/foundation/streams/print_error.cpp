#include "foundation/streams/print_error.h"

#include <cstdarg>
#include <cstdio>
#include <string>

const char* const clear_line_bytes = "\x1b[2K\r    \r";

namespace {

constexpr int max_message = 4096;  // characters; a longer message is not printed

// Returns the length of the formatted message without its terminator, or -1 if it cannot be
// formatted.
int message_length(const char* format, va_list arguments) {
    va_list copy;
    va_copy(copy, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, copy);
    va_end(copy);
    return length;
}

// Ignores errors: there is no other place to report them.
void write_to_screen(const char* text) {
    static_cast<void>(std::fputs(text, stderr));
    static_cast<void>(std::fflush(stderr));
}

}  // namespace

void clear_line() { write_to_screen(clear_line_bytes); }

void print_error(const char* format, ...) {
    clear_line();
    if (format == nullptr) return;

    va_list arguments;
    va_start(arguments, format);
    const int length = message_length(format, arguments);
    if (length >= 0 && length <= max_message) {
        // The terminator replaces the last character of the message, which is usually the line end.
        std::string message(static_cast<std::size_t>(length), '\0');
        if (std::vsnprintf(message.data(), message.size(), format, arguments) >= 0)
            write_to_screen(message.c_str());
    }
    va_end(arguments);
}

#include "foundation/print_error.h"

#include <cstdarg>
#include <cstdio>
#include <string>

const char* const clear_line_bytes = "\x1b[2K\r    \r";

namespace {

constexpr int max_message = 4096;  // characters; what is longer never reaches the screen

// The bytes that a message needs without its terminator; -1 when it can't be formatted.
int message_length(const char* format, va_list arguments) {
    va_list copy;
    va_copy(copy, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, copy);
    va_end(copy);
    return length;
}

// A message that can't be written has nobody to tell.
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
        // The terminator takes the place of the message's last character, which is the line end
        // of most messages.
        std::string message(static_cast<std::size_t>(length), '\0');
        if (std::vsnprintf(message.data(), message.size(), format, arguments) >= 0)
            write_to_screen(message.c_str());
    }
    va_end(arguments);
}

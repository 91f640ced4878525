// Messages to the user on standard error.
#pragma once

// The bytes that clear a progress line: ESC "[2K" CR, four blanks, CR.
extern const char* const clear_line_bytes;

// Clears the terminal's current line: writes clear_line_bytes to standard error and flushes.
void clear_line();

// Clears the line, then writes the formatted message to standard error without its last character
// and flushes: "%s\n" prints no line end. A message of more than 4096 characters, or one that
// cannot be formatted, is not printed at all. A null `format` only clears the line.
#if defined(__GNUC__)
__attribute__((format(printf, 1, 2)))
#endif
void print_error(const char* format, ...);

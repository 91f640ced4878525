#include "convert/command/messages.h"

#include <algorithm>
#include <iostream>

namespace convert {

namespace {

bool is_control(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte < 0x20 || byte == 0x7F;
}

}  // namespace

void print_message(const std::string& text) {
    std::string shown = text;
    std::replace_if(shown.begin(), shown.end(), is_control, '?');
    std::cerr << "quorvel-convert: " << shown << '\n' << std::flush;
}

}  // namespace convert

#include "convert/listing/listing_form.h"

#include <sys/random.h>

#include <algorithm>
#include <array>
#include <cstdint>

namespace convert {

namespace {

constexpr std::string_view letters =
    "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";

constexpr std::array<const char*, 34> column_names = {
    "type",
    "filename",
    "symbolic link",
    "size",
    "attributes",
    "MFT entry",
    "sequence #",
    "flags",
    "cdate (stdinfo)",
    "ctime (stdinfo)",
    "mdate (stdinfo)",
    "mtime (stdinfo)",
    "MFT date (stdinfo)",
    "MFT time (stdinfo)",
    "adate (stdinfo)",
    "atime (stdinfo)",
    "cdate (fn)",
    "ctime (fn)",
    "mdate (fn)",
    "mtime (fn)",
    "MFT date (fn)",
    "MFT time (fn)",
    "adate (fn)",
    "atime (fn)",
    "cdate (short fn)",
    "ctime (short fn)",
    "mdate (short fn)",
    "mtime (short fn)",
    "MFT date (short fn)",
    "MFT time (short fn)",
    "adate (short fn)",
    "atime (short fn)",
    "time discrepancy",
    "object ID",
};

bool is_letter(char c) { return letters.find(c) != std::string_view::npos; }

// Returns the fixed words joined by blanks, up to the blank before the separator.
std::string fixed_words() {
    std::string text;
    for (const std::string& word : listing_words({})) {
        if (!word.empty()) text += word + " ";
    }
    return text;
}

}  // namespace

std::string make_separator() {
    std::string separator(1, separator_mark);
    while (separator.size() < separator_length) {
        std::uint8_t byte = 0;
        if (::getrandom(&byte, 1, 0) != 1) return {};
        byte &= 63u;  // a rejected value keeps the letters equally likely
        if (byte < letters.size()) separator += letters[byte];
    }
    return separator;
}

bool is_separator(std::string_view text) {
    return text.size() == separator_length && text[0] == separator_mark &&
           std::all_of(text.begin() + 1, text.end(), is_letter);
}

std::vector<std::string> listing_words(std::string_view separator) {
    return {"-csv",
            "-alldates",
            "-base10",
            "-no_whitespace",
            "-quiet",
            "-dateformat",
            "yyyy-mm-dd",
            "-timeformat",
            "hh:mm:ss.xxxxxxx",
            "-csv_separator",
            std::string(separator)};
}

std::string_view find_separator(std::string_view head) {
    const std::string words = fixed_words();
    const std::size_t at = head.find(words);
    if (at == std::string_view::npos) return {};
    const std::string_view found = head.substr(at + words.size(), separator_length);
    return is_separator(found) ? found : std::string_view();
}

std::string listing_header(std::string_view separator, bool with_object_id) {
    std::string header;
    const std::size_t count = column_names.size() - (with_object_id ? 0 : 1);
    for (std::size_t i = 0; i < count; ++i) {
        if (i > 0) header += separator;
        header += column_names.at(i);
    }
    return header + "\n";
}

}  // namespace convert

#include "convert/listing/listing_head.h"

#include <algorithm>
#include <vector>

#include "foundation/text/ql_string.h"

namespace convert {

namespace {

// Returns the text after `start`, up to `end`. Returns an empty text if either is missing.
std::string between(std::string_view text, std::string_view start, std::string_view end) {
    const std::size_t at = text.find(start);
    if (at == std::string_view::npos) return {};
    const std::string_view rest = text.substr(at + start.size());
    const std::size_t length = rest.find(end);
    return std::string(rest.substr(0, length == std::string_view::npos ? 0 : length));
}

// Takes the first word of `text` and the blank after it. An apostrophe without a second one, before
// a blank or the end, is part of the word.
std::string take_word(std::string_view& text) {
    std::size_t end = std::min(text.find(' '), text.size());
    std::string_view word = text.substr(0, end);
    if (text.starts_with('\'')) {
        std::size_t close = text.find("' ", 1);
        if (close == std::string_view::npos && text.ends_with('\'')) close = text.size() - 1;
        if (close != std::string_view::npos && close > 0) {
            end = close + 1;
            word = text.substr(1, close - 1);
        }
    }
    text.remove_prefix(std::min(end + 1, text.size()));
    return std::string(word);
}

std::vector<std::string> split_words(std::string_view text) {
    std::vector<std::string> words;
    while (!text.empty())
        words.push_back(take_word(text));
    return words;
}

bool same_option(const std::string& word, std::string_view option) {
    std::string lowered = word;
    ql::lower(lowered);
    return lowered == option;
}

// Returns the word after an option, whose letters have any case.
std::string value_of(const std::vector<std::string>& words, std::string_view option) {
    for (std::size_t i = 0; i + 1 < words.size(); ++i) {
        if (same_option(words[i], option)) return words[i + 1];
    }
    return {};
}

// Returns the text in quotes of the third line, which may contain line ends.
std::string command_line_in(std::string_view head) {
    constexpr std::string_view start = "\"command line: ";
    const std::size_t at = head.find(start);
    const std::size_t end = head.rfind('"');
    if (at == std::string_view::npos || end < at + start.size()) return {};
    return std::string(head.substr(at + start.size(), end - at - start.size()));
}

}  // namespace

listing_head parse_listing_head(std::string_view head) {
    listing_head found;
    found.version = between(head, "quorvel ver: ", "\n");
    found.time = between(head, "run time: ", "; host: ");
    found.host = between(head, "; host: ", "; system: ");
    found.system = between(head, "; system: ", "\n");
    found.command_line = command_line_in(head);
    const std::vector<std::string> words = split_words(found.command_line);
    found.source = value_of(words, "-image");
    if (found.source.empty()) found.source = value_of(words, "-vmdk");
    found.offset = value_of(words, "-offset");
    found.with_object_ids = std::any_of(words.begin(), words.end(), [](const std::string& word) {
        return same_option(word, "-objid");
    });
    return found;
}

}  // namespace convert

// Conversions between UTF-16LE, wide text and UTF-8, and the functions that modify text.
//
// Input: u8 action, u16 byte length (0xFFFF for -1), then the text.
#include "foundation/text/ql_string.h"
#include "fuzz_support.h"

namespace {

// Names on the disk: converting them to UTF-8 and back gives the same text.
void convert_units(fuzz::bytes units, std::int64_t byte_length) {
    std::wstring wide;
    const std::uint32_t taken = ql::utf16_to_wide(units, byte_length, wide);
    fuzz::require(taken % 2 == 0, "whole units are taken");
    fuzz::require(wide.size() <= taken / 2, "a unit gives one element at most");
    const std::string narrow = ql::to_utf8(wide);
    fuzz::require(ql::to_wide(narrow) == wide, "UTF-8 keeps a name");

    std::string direct;
    ql::utf16_to_utf8(units, byte_length, direct, false);
    fuzz::require(direct == narrow, "both ways give one text");
    std::string counted;
    ql::utf16_to_utf8(units, byte_length, counted, true);
    fuzz::require(counted == narrow, "the terminator is counted and not kept");
}

void convert_utf8(const std::string& text) {
    std::wstring wide = ql::to_wide(text);
    static_cast<void>(ql::to_utf8(wide));
    ql::trim_wide(wide);
    ql::lower_wide(wide);
    ql::strip_trailing_separators(wide);
    ql::replace_char(wide, L'a', L'b', true);
    ql::remove_char(wide, L'/');
    ql::compare_wide(wide.c_str(), L"a", true);

    std::wstring widened;
    ql::bytes_to_wide(text, widened);
    fuzz::require(widened.size() == text.size(), "each byte is one element");
    std::string escaped;
    ql::xml_escape(escaped, text);
    fuzz::require(escaped.size() >= text.size() && escaped.find('<') == std::string::npos,
                  "markup is escaped");
}

void change_text(std::string text) {
    std::string other = text;
    fuzz::require(ql::equal_nocase(text, other), "a text is equal to itself");
    ql::upper(text);
    ql::trim(text);
    ql::strip_trailing_nuls(text);
    std::string out;
    ql::replace_all(out, other, text.substr(0, 1), "xy");
    ql::replace_all(other, other, "xy", "");
}

// Elements above the highest code point end a text.
void convert_elements(fuzz::input in, std::size_t count) {
    std::wstring wide;
    for (std::size_t i = 0; i < count / 4; ++i)
        wide += static_cast<wchar_t>(in.u32());
    std::string narrow = "x";
    ql::append_utf8(narrow, wide);
    fuzz::require(narrow == "x" + ql::to_utf8(wide), "appending converts as usual");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::input in(data, size);
    const std::uint8_t what = in.u8();
    const std::uint16_t length = in.u16();
    const fuzz::bytes text = in.rest();
    switch (what % 4) {
        case 0:
            convert_units(text, length == 0xFFFF ? -1 : length);
            break;
        case 1:
            convert_utf8(fuzz::as_text(text));
            break;
        case 2:
            change_text(fuzz::as_text(text));
            break;
        default:
            convert_elements(fuzz::input(text.data(), text.size()), text.size());
    }
    return 0;
}

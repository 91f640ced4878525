#include "support/hostile_volume.h"

namespace support {

std::vector<std::u16string> hostile_names() {
    using namespace std::string_literals;
    return {
        u"line\nfeed.txt"s,
        u"a\nfile@0123456789a\\evil"s,
        u"\r\n0|/fake|1|r/r|0|0|0|1|1|1|1"s,
        u"carriage\rreturn"s,
        u"esc\x1B[31mred"s,
        u"delete\x7F"
        u"c1\u009B"s,
        u"tab\tbell\a"s,
        u"quote\"'s"s,
        u"\"\"\",\"\"\""s,
        u"pipe|comma,semi;"s,
        u"<script>alert(1)</script>&amp;"s,
        u"100%25%7C%"s,
        u"=1+1"s,
        u"@sum"s,
        u"back\\slash/slash"s,
        u"looks (deleted)"s,
        u"looks ($FILE_NAME)"s,
        u"{\"json\":\"\\u0041\"}"s,
        u"'; DROP TABLE entries; --"s,
        u"\u202Egnp.exe"s,
        u"\U0001F600.txt"s,
        std::u16string{0xD800, u'x'},
        std::u16string{u'x', 0xDC00},
        std::u16string{0xD83D, 0xDE00, 0xD800},
        std::u16string(255, u'\u20AC'),
        u"nul\0tail"s,
    };
}

ntfs_image hostile_volume() {
    constexpr std::uint64_t root = 5;
    constexpr std::uint64_t folder = 40;
    ntfs_image volume;
    volume.directory(root, u"hostile\n=1", folder).stream(u"s\n,1", "12345");
    volume.index(folder).in_blocks();
    std::uint64_t number = folder;
    for (const std::u16string& name : hostile_names())
        volume.file(folder, name, ++number).data("abc").stream(u"Zone|%7C.\"\x1B", "stream");
    return volume;
}

}  // namespace support

#include "corpus.h"
#include "support/filetime.h"
#include "support/lznt1_compressor.h"
#include "support/run_list.h"
#include "support/sds.h"

namespace corpus {

namespace {

void write_run_lists(const std::filesystem::path& all) {
    const seed_folder folder(all, "fuzz_run_list");
    const auto add = [&](const std::string& name, const bytes& list, std::uint64_t vcn) {
        folder.add(name, input({{vcn, 8}, {64 + list.size(), 4}}, list));
    };
    using support::run_list;
    add("one_run", run_list({{0x5634, 0x18}}).terminated(), 3);
    add("backwards", run_list({{100, 8}, {20, 4}, {300, 1}}).terminated(), 9);
    add("holes",
        run_list({{100, 8}, {support::hole, 16}, {40, 4}, {support::hole, 2}}).terminated(), 10);
    add("no_end", run_list({{100, 8}, {20, 4}}).unterminated(), 0);
    add("wide_fields", run_list().add_fields(0x1234567890, 8, -5, 8).terminated(), 7);
    add("widest_fields", run_list().add_fields(3, 15, 9, 15).terminated(), 1);
    add("no_length", run_list().add_fields(0, 0, 5, 1).add(7, 7).terminated(), 1);
    add("largest_count", run_list().add_fields(0xFFFFFFFF, 4, 1, 1).add(2, 2).terminated(), 1);
    bytes many;
    for (std::uint64_t i = 0; i < 60; ++i)
        support::append(many, run_list().add_fields(1 + i % 3, 1, 7, 1).unterminated());
    add("many_runs", many, 50);
}

void write_lznt1(const std::filesystem::path& all) {
    const seed_folder folder(all, "fuzz_lznt1");
    bytes text = support::as_bytes("abcabcabcabc and abc again, abcabcabc");
    bytes repeated;
    for (int i = 0; i < 200; ++i)
        support::append(repeated, text);
    const auto add = [&](const std::string& name, const bytes& packed) {
        folder.add(name + "_unit",
                   input({{0, 1}, {65536, 8}, {4096, 2}, {4096, 2}, {0, 2}}, packed));
        const bytes chunk(packed.size() > 2 ? packed.begin() + 2 : packed.end(), packed.end());
        const std::uint64_t size = std::min<std::size_t>(chunk.size(), 4096);
        folder.add(name + "_chunk",
                   input({{1, 1}, {0, 8}, {4096, 2}, {4096, 2}, {size, 2}}, chunk));
    };
    add("text", support::lznt1_compress(text));
    add("chunks", support::lznt1_compress(repeated));
    add("zeros", support::lznt1_compress(bytes(8192)));
    add("literals", support::lznt1_literals(text));
    add("stored", support::lznt1_stored(support::pattern(5000)));
    bytes mixed = support::lznt1_compress(repeated);
    support::append(mixed, support::lznt1_stored(support::pattern(4096)));
    support::append(mixed, bytes(300));
    add("mixed", mixed);
    add("plain", support::pattern(100));
    add("token_in_front", {0x03, 0xB0, 0x01, 0xFF, 0xFF, 0x00, 0x00});
}

void write_texts(const std::filesystem::path& all) {
    const seed_folder folder(all, "fuzz_utf16");
    const struct {
        const char* name;
        bytes units;
    } names[] = {
        {"ascii", support::as_bytes(u"report.txt")},
        {"umlauts", support::as_bytes(u"Gr\u00f6\u00dfe \u00e4\u00f6\u00fc")},
        {"pair", support::as_bytes(u"\U0001F600.txt")},
        {"high_alone", {0x00, 0xD8, 'x', 0}},
        {"low_alone", {'a', 0, 0x00, 0xDC}},
        {"high_last", {'a', 0, 0xFF, 0xDB}},
        {"two_high", {0x3D, 0xD8, 0x3D, 0xD8, 0x00, 0xDE}},
        {"terminated", support::as_bytes(std::u16string_view(u"ab\0cd", 5))},
        {"odd", {'a', 0, 'b'}},
    };
    for (const auto& one : names) {
        folder.add(one.name, input({{0, 1}, {one.units.size(), 2}}, one.units));
        folder.add(std::string(one.name) + "_open", input({{0, 1}, {0xFFFF, 2}}, one.units));
    }
    for (const std::uint64_t what : {1u, 2u}) {
        const std::string suffix = what == 1 ? "_utf8" : "_text";
        folder.add("plain" + suffix,
                   input({{what, 1}, {0, 2}}, support::as_bytes(" \\Users\\kim/a.txt\r\n\t ")));
        folder.add(
            "wide" + suffix,
            input({{what, 1}, {0, 2}}, support::as_bytes("\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80")));
        folder.add("surrogate" + suffix,
                   input({{what, 1}, {0, 2}}, support::as_bytes("a\xED\xA0\x80")));
        folder.add("overlong" + suffix,
                   input({{what, 1}, {0, 2}}, support::as_bytes("\xC0\xAF\xE0\x80\xAF")));
        folder.add("cut" + suffix, input({{what, 1}, {0, 2}}, support::as_bytes("a\xE2\x82")));
        folder.add("markup" + suffix, input({{what, 1}, {0, 2}}, support::as_bytes("<a>&\x07\"")));
    }
    folder.add("elements", input({{3, 1}, {0, 2}, {'a', 4}, {0x10FFFF, 4}, {0x110000, 4}}));
}

void write_dates(const std::filesystem::path& all) {
    const seed_folder folder(all, "fuzz_dates");
    const std::uint64_t stamp = support::filetime(2020, 6, 15, 10, 21, 3, 1230000);
    const struct {
        const char* name;
        std::uint64_t stamp;
        const char* text;
    } cases[] = {
        {"iso", stamp, "2020-06-15\n10:21:03.123\nYMD"},
        {"slashes", stamp, "2020/06/15\n10:21 pm\nYMD"},
        {"named", stamp, "Feb-29-00\n23:59:59.9999\nMonDY"},
        {"formats", stamp, "yyyy-mm-dd\nhh:mm:ss.xxx\nYMD"},
        {"long_formats", stamp, "dd mmm, yyyy\nhh:mm:ss.xxxxxxxxx\nDMonY"},
        {"short_formats", stamp, "mm/dd/yy\nhh:mm:ss\nMDY"},
        {"zero", 0, "yyyy-mm-dd\nhh:mm:ss.xxx\nYMD"},
        {"all_ones", ~0ull, "9999-12-31\n99:99:99.999\nYMD"},
        {"before_1970", support::filetime(1969, 12, 31, 23, 59, 59), "yy.mm.dd\nss:mm:hh\nYDM"},
        {"year_3000", support::filetime(3000, 12, 31, 23, 59, 59), "yyyymmdd\nhh:mm:ss.x\nYMD"},
        {"large_fields", 5, "99999-99-99\n1e9:1e-9:nan\nYMD"},
        {"signs", 5, "-1--1--1\n-1:+2:-3\nYMD"},
    };
    for (const auto& one : cases)
        folder.add(one.name, input({{one.stamp, 8}, {'-', 1}}, support::as_bytes(one.text)));
}

// The byte 0xFF is the separator.
void write_listings(const std::filesystem::path& all) {
    const seed_folder folder(all, "fuzz_listing");
    const std::string time =
        "2021-03-04\xFF"
        "05:06:07.1234567\xFF";
    const std::string four = time + time + time + time;
    const std::string blank(8, '\xFF');
    const std::string guid = "03020100-0504-0706-0809-0a0b0c0d0e0f";
    const auto start = [](const std::string& type, const std::string& path) {
        return type + "\xFF" + path +
               "\xFF\xFF"
               "4096\xFF"
               "32\xFF"
               "64\xFF"
               "2\xFF"
               "1\xFF";
    };
    const std::string file = start("file", "\\a.txt") + four + four + blank + "\xFF\n";
    const struct {
        const char* name;
        bool object_ids;
        std::string text;
    } cases[] = {
        {"file", false, file},
        {"object_id", true, start("dir", "\\") + four + four + four + "true\xFF" + guid + "\n"},
        {"line_feed", false, start("ads", "\\a\nfile") + blank + four + blank + "\xFF\n"},
        {"surrogate", false, start("indx", "\\\xED\xA0\x80%|=") + four + four + four + "\xFF\n"},
        {"no_names", true, start("file", "\\b") + four + "\xFF" + guid + "\n" + file},
        {"no_items", false, "no items\n\n" + file + "no items\n\n"},
        {"malformed", false, start("files", "x") + "\n" + file + "junk\n" + file},
        {"truncated", false, file + start("file", "y")},
    };
    for (const auto& one : cases)
        folder.add(one.name,
                   input({{6, 1}, {one.object_ids ? 1u : 0u, 1}}, support::as_bytes(one.text)));
}

void write_descriptors(const std::filesystem::path& all) {
    const seed_folder folder(all, "fuzz_security_descriptor");
    const bytes system = support::sid("S-1-5-18"), users = support::sid("S-1-5-32-545"),
                kim = support::sid("S-1-5-21-1-2-3-1001"), everyone = support::sid("S-1-1-0");
    const bytes list = support::acl(
        {support::ace(0, 0, 0x1F01FF, system), support::ace(1, 3, 0x10000000, everyone),
         support::ace(2, 0x40, 0x20089, users), support::ace(9, 0, 0xF0000000, kim)});
    const bytes full =
        support::security_descriptor{.owner = kim, .group = users, .sacl = list, .dacl = list}
            .build();
    const auto add = [&](const std::string& name, std::uint64_t offset, const bytes& content) {
        for (std::uint64_t what = 0; what < 5; ++what) {
            folder.add(name + "_" + std::to_string(what),
                       input({{what << 4, 1}, {offset, 4}, {content.size(), 4}}, content));
        }
    };
    add("full", 20, full);
    add("owner", 20, support::security_descriptor{.owner = system}.build());
    add("empty", 0, support::security_descriptor{}.build());
    add("list", 0, list);
    add("sid", 0, kim);
    add("sid_count", 0, support::sid(5, {32, 544}, std::uint8_t{255}));
    add("large_authority", 0, support::sid(0x123456789ABC, {1}));
    bytes cut = full;
    cut.resize(cut.size() / 2);
    add("cut", 40, cut);
    support::sds_stream stream;
    stream.add(0x100, full);
    stream.add(0x101, support::security_descriptor{.owner = system}.build());
    add("sds", 0, [&] {
        bytes start = stream.build();
        start.resize(std::min<std::size_t>(start.size(), 600));
        return start;
    }());
}

void write_options(const std::filesystem::path& all) {
    const seed_folder folder(all, "fuzz_options");
    const struct {
        const char* name;
        const char* words;
    } lines[] = {
        {"plain", "\\users\\kim\n-image\ndisk.dd\n-offset\n0x100000"},
        {"csv", "-csv\n-csv_separator\ntab\n-no_whitespace\n-base10\n-base16\n-split_pathfile"},
        {"forms", "-csvgen\n-csvl2t\n-bodyfile\n-multiline\n-pair_datetime"},
        {"formats", "-dateformat\nmm/dd/yyyy\n-timeformat\nhh:mm:ss.xxxxxx\n-quiet"},
        {"filters",
         "-filter\n*.exe|*.dll\n-filter\n*:zone\n-filter\n/kim/,re*t\n-filter_path\n/users\n"
         "\\users\\kim\\a.exe"},
        {"signature", "-filter_sig\n4d5a|0x10\n-filter_sig\nzz\n-filter\n*"},
        {"window", "-cmd_start_time\n2020-01-01 10:00\n-cmd_stop_time\n2019/12/31"},
        {"alias", "-alias\na|b|c|d\n-aliaspath\na|b|c"},
        {"output", "-out\nreport.txt\n-append\n-diags\ntrace.txt\n-l2\n-l3\n-profile"},
        {"chain", "-vmdk\na.vmdk | b.vmdk, c.vmdk;d.vmdk\n-vmdk\ne.vmdk\n-offset\n63"},
        {"ignored", "-gzip\n-zlib\n-zlibex\n1\n-threads\no17\n-signal\nx\n-hostname\nh\n-cpu\n2"},
        {"refused", "-sqlite\nx\n-sqlite_log\ny"},
        {"environment", "%HOME%\\x\n%vss%1\\y\n%a%%b%\n%"},
        {"numbers", "0x10\no17\n-1\n+5\n18446744073709551616\n'a'\n0b\n x1 "},
        {"directories", "c:\\windows\\\n:\\x\n\\\\.\\snapid_1\n/a/b/\n..\n\\a:b:c\n."},
        {"case", "-CSV\n-Out\nA.TXT\n-DIAGS"},
        {"no_value", "-filter"},
    };
    for (const auto& one : lines)
        folder.add(one.name, support::as_bytes(one.words));
}

}  // namespace

void write_value_seeds(const std::filesystem::path& all) {
    write_run_lists(all);
    write_lznt1(all);
    write_texts(all);
    write_dates(all);
    write_listings(all);
    write_descriptors(all);
    write_options(all);
}

}  // namespace corpus

// Whole runs of quorvel-convert --diff, compared byte for byte.
#include "convert/convert_run.h"
#include "support/ntfs_image.h"

namespace {

using convert_run::convert;
using convert_run::shell;
using convert_run::words;
using testing::HasSubstr;

// Lists an image as the printed command does. Returns the path of the listing.
std::string listing_of(support::ntfs_image& volume, const support::temp_dir& dir,
                       const std::string& name) {
    const std::string image = volume.save(dir.file(name + ".dd"));
    const auto listed = shell(
        "PATH=$(dirname \"$0\"):$PATH; eval \"$(\"$0\" --print-command -- -image \"$1\" -level "
        "9)\"",
        {image});
    EXPECT_EQ(listed.status, 0) << listed.standard_error;
    return dir.write(name, listed.standard_output);
}

// \docs (entry 40) with \docs\a.txt (41) and its stream, \docs\b.txt (42) and \docs\gone.txt (43);
// later, the directory has another name, a.txt is larger, b.txt is in the root and has lost its
// stream, gone.txt is deleted, and new.txt (44) is new.
class two_listings {
public:
    two_listings() {
        support::ntfs_image before;
        before.directory(5, u"docs", 40);
        before.directory(5, u"links", 45);
        before.file(40, u"a.txt", 41).data("abc").stream(u"zone", "12345");
        before.file(40, u"b.txt", 42).data("abc").stream(u"zone", "12345");
        before.file(40, u"gone.txt", 43).data("abcd");
        before.file(45, u"one.txt", 46).data("abc");
        old_listing = listing_of(before, dir, "old");
        support::ntfs_image after;
        after.directory(5, u"texts", 40);
        after.directory(5, u"links", 45);
        after.file(40, u"a.txt", 41).data("abcdef").stream(u"zone", "12345");
        after.file(5, u"b.txt", 42).data("abc");
        after.file(40, u"gone.txt", 43).sequence(2).data("abcd").flags(0);
        after.file(40, u"new.txt", 44).data("x");
        after.file(45, u"one.txt", 46).data("abc");
        new_listing = listing_of(after, dir, "new");
    }

    support::temp_dir dir;
    std::string old_listing, new_listing;
};

const std::string heading =
    "change           type      entry sequence      old bytes      new bytes SI   FN   path\n";
const std::string table =
    heading +
    "renamed          dir          40        1              0              0 .... .... "
    "\\docs\\ -> \\texts\\\n"
    "resized          file         41        1              3              6 .... .... "
    "\\texts\\a.txt\n"
    "moved            file         42        1              3              3 .... .... "
    "\\docs\\b.txt -> \\b.txt\n"
    "deleted          ads          42        1              5              - .... .... "
    "\\docs\\b.txt:zone\n"
    "deleted          file         43        1              4              - .... .... "
    "\\docs\\gone.txt\n"
    "created          file         44        1              -              1 .... .... "
    "\\texts\\new.txt\n";

TEST(DiffRun, WritesATable) {
    const two_listings both;
    const auto run = convert({"--diff", both.old_listing, both.new_listing, "--summary"});
    EXPECT_EQ(run.standard_error,
              "quorvel-convert: created: 1, deleted: 2, renamed: 1, moved: 1, resized: 1, "
              "times: 0\n");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.standard_output, table);
}

TEST(DiffRun, WritesAFile) {
    const two_listings both;
    const std::string output = both.dir.file("out.txt");
    const words arguments = {"--diff", both.old_listing, both.new_listing, "--output", output};
    EXPECT_EQ(convert(arguments).status, 0);
    EXPECT_EQ(support::read_file(output), table);
    const auto again = convert(arguments);
    EXPECT_EQ(again.status, 2);
    EXPECT_EQ(again.standard_error,
              "quorvel-convert: " + output + " exists; --force replaces it\n");
    for (const std::string& listing : {both.old_listing, both.new_listing}) {
        const auto run =
            convert({"--diff", both.old_listing, both.new_listing, "--force", "--output", listing});
        EXPECT_EQ(run.status, 2);
        EXPECT_EQ(run.standard_error, "quorvel-convert: " + listing + " is also an input\n");
    }
}

TEST(DiffRun, WritesJsonLines) {
    const support::temp_dir dir;
    const std::string start = listing_text::head() + listing_text::header();
    listing_text::row_fields later;
    later.standard[3] = "06:07:08.2345679";
    later.path = "\\b\n";
    const auto run = convert({"--diff", dir.write("old", start + listing_text::row()),
                              dir.write("new", start + listing_text::row(later)), "--to", "jsonl"});
    const auto object = [](const std::string& path, const std::string& modified) {
        const std::string created = "_created\":\"2021-03-04T05:06:07.1234567Z\"",
                          rest = "_changed\":\"2021-03-06T07:08:09.3456789Z\"",
                          accessed = "_accessed\":\"2021-03-07T08:09:10.4567890Z\"";
        return "{\"type\":\"file\",\"path\":\"\\\\" + path +
               "\",\"path_hex\":null,\"link_target\":null,\"allocated_size\":4096,"
               "\"attributes\":32,\"entry\":64,\"sequence\":2,\"flags\":1,\"deleted\":false,"
               "\"si" +
               created + ",\"si_modified\":\"" + modified + "\",\"si" + rest + ",\"si" + accessed +
               ",\"fn" + created + ",\"fn_modified\":\"2021-03-05T06:07:08.2345678Z\",\"fn" + rest +
               ",\"fn" + accessed +
               ",\"short_fn_created\":null,\"short_fn_modified\":null,\"short_fn_changed\":null,"
               "\"short_fn_accessed\":null,\"set_back\":false,\"object_id\":null}";
    };
    EXPECT_EQ(run.standard_error, "");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.standard_output,
              "{\"change\":[\"renamed\",\"times\"],\"type\":\"file\",\"entry\":64,\"sequence\":2,"
              "\"times\":[\"si_modified\"],\"old\":" +
                  object("a.txt", "2021-03-05T06:07:08.2345678Z") +
                  ",\"new\":" + object("b\\u000a", "2021-03-05T06:07:08.2345679Z") + "}\n");
}

TEST(DiffRun, EqualListingsHaveAHeadingOnly) {
    const two_listings both;
    const auto run = convert({"--diff", both.old_listing, both.old_listing});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.standard_output, heading);
    EXPECT_EQ(
        convert({"--diff", both.old_listing, both.old_listing, "--to", "jsonl"}).standard_output,
        "");
}

TEST(DiffRun, AFullDiskAndATruncatedListingAreErrors) {
    const two_listings both;
    const auto full =
        shell("exec \"$0\" --diff \"$1\" \"$2\" >/dev/full", {both.old_listing, both.new_listing});
    EXPECT_EQ(full.status, 1);
    EXPECT_THAT(full.standard_error, HasSubstr("No space left on device"));
    const std::string whole = support::read_file(both.new_listing);
    const std::string truncated = both.dir.write("cut", whole.substr(0, whole.size() - 9));
    const auto run = convert({"--diff", both.old_listing, truncated});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.standard_output, "");
    EXPECT_THAT(run.standard_error, HasSubstr("the listing ends within the row"));
}

TEST(DiffRun, WrongUseHasStatus2) {
    const struct {
        words arguments;
        const char* message;
    } cases[] = {
        {{"--diff", "x"}, "--diff: At least 2 required but received 1"},
        {{"--diff", "x", ""}, "--diff needs two names"},
        {{"--diff", "", "x"}, "--diff needs two names"},
        {{"--diff", "x", "y", "--to", "csv"}, "--diff writes a table, or jsonl"},
        {{"--diff", "x", "y", "--input", "z"}, "--diff excludes --input"},
        {{"--diff", "x", "y", "--print-command"}, "--diff excludes --print-command"},
        {{"--diff", "x", "y", "--", "-image", "z"}, "--diff excludes options for quorvel"},
    };
    for (const auto& c : cases) {
        const auto run = convert(c.arguments);
        EXPECT_EQ(run.status, 2) << c.message;
        EXPECT_EQ(run.standard_output, "");
        EXPECT_THAT(run.standard_error, HasSubstr(c.message));
    }
}

}  // namespace

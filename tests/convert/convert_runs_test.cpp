// Whole runs of quorvel-convert, compared byte for byte.
#include "convert/convert_run.h"
#include "support/ntfs_image.h"

namespace {

using convert_run::convert;
using convert_run::shell;
using convert_run::words;
using testing::HasSubstr;

// \docs (entry 40), \docs\a.txt (41) with a stream, and \docs\gone.txt (42), which is not in use.
// All times are those of support::file_times.
class image {
public:
    image() {
        support::ntfs_image volume;
        volume.directory(5, u"docs", 40);
        volume.file(40, u"a.txt", 41).data("abc").stream(u"zone", "12345");
        volume.file(40, u"gone.txt", 42).sequence(7).data("abcd").flags(0);
        volume.save(path);
    }
    support::temp_dir dir;
    std::string path = dir.file("docs.dd");
};

const std::string four_times =
    "2021-03-04T05:06:07.1234567Z,2021-03-05T06:07:08.2345678Z,"
    "2021-03-06T07:08:09.3456789Z,2021-03-07T08:09:10.4567890Z,";
const std::string csv_times = four_times + four_times + ",,,,false,\r\n";
const std::string csv_text =
    "type,path,path_hex,link_target,allocated_size,attributes,entry,sequence,flags,deleted,"
    "si_created,si_modified,si_changed,si_accessed,fn_created,fn_modified,fn_changed,fn_accessed,"
    "short_fn_created,short_fn_modified,short_fn_changed,short_fn_accessed,set_back,object_id\r\n"
    "dir,\\docs\\,,,0,0,40,1,3,false," +
    csv_times + "file,\\docs\\a.txt,,,3,32,41,1,1,false," + csv_times +
    "ads,\\docs\\a.txt:zone,,,5,32,41,1,1,false," + csv_times +
    "file,\\docs\\gone.txt,,,4,32,42,7,0,true," + csv_times;

TEST(ConvertRuns, WritesCsv) {
    const image docs;
    const auto run = convert({"--to", "csv", "--", "\\docs", "-image", docs.path});
    EXPECT_EQ(run.standard_error, "");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.standard_output, csv_text);
}

TEST(ConvertRuns, WritesABodyFile) {
    const image docs;
    // Seconds from 1970 to 2021-03-07 08:09:10 and so on: accessed, modified, changed, created.
    const std::string times = "|1615104550|1614924428|1615014489|1614834367\n";
    const auto run = convert({"--to", "body", "--", "\\docs", "-image", docs.path});
    EXPECT_EQ(run.standard_output,
              "0|/docs|40|d/drwxrwxrwx|0|0|0" + times +  //
                  "0|/docs ($FILE_NAME)|40|d/drwxrwxrwx|0|0|0" + times +
                  "0|/docs/a.txt|41|r/rrwxrwxrwx|0|0|3" + times +
                  "0|/docs/a.txt ($FILE_NAME)|41|r/rrwxrwxrwx|0|0|3" + times +
                  "0|/docs/a.txt:zone|41|r/rrwxrwxrwx|0|0|5" + times +
                  "0|/docs/gone.txt (deleted)|42|r/rrwxrwxrwx|0|0|4" + times +
                  "0|/docs/gone.txt ($FILE_NAME) (deleted)|42|r/rrwxrwxrwx|0|0|4" + times);
}

// A stream of the file that the command line names is listed without the path of the file.
TEST(ConvertRuns, WritesJsonLines) {
    const image docs;
    const auto run = convert({"--to", "jsonl", "--", "\\docs\\a.txt", "-image", docs.path});
    std::string times;
    for (const char* source : {"si", "fn"}) {
        times += std::string(",\"") + source + "_created\":\"2021-03-04T05:06:07.1234567Z\",\"" +
                 source + "_modified\":\"2021-03-05T06:07:08.2345678Z\",\"" + source +
                 "_changed\":\"2021-03-06T07:08:09.3456789Z\",\"" + source +
                 "_accessed\":\"2021-03-07T08:09:10.4567890Z\"";
    }
    const std::string rest =
        ",\"attributes\":32,\"entry\":41,\"sequence\":1,\"flags\":1,\"deleted\":false" + times +
        ",\"short_fn_created\":null,\"short_fn_modified\":null,\"short_fn_changed\":null,"
        "\"short_fn_accessed\":null,\"set_back\":false,\"object_id\":null}\n";
    EXPECT_EQ(run.standard_output,
              "{\"type\":\"file\",\"path\":\"\\\\docs\\\\a.txt\",\"path_hex\":null,"
              "\"link_target\":null,\"allocated_size\":3" +
                  rest +
                  "{\"type\":\"ads\",\"path\":\":zone\",\"path_hex\":null,"
                  "\"link_target\":null,\"allocated_size\":5" +
                  rest);
}

TEST(ConvertRuns, WritesATimeline) {
    const image docs;
    const auto run = convert({"--to", "timeline", "--", "\\docs", "-image", docs.path});
    std::string expected =
        "time,macb,source,type,path,path_hex,allocated_size,entry,sequence,deleted\r\n";
    for (const char* time :
         {"2021-03-04T05:06:07.1234567Z,...B,", "2021-03-05T06:07:08.2345678Z,M...,",
          "2021-03-06T07:08:09.3456789Z,..C.,", "2021-03-07T08:09:10.4567890Z,.A..,"}) {
        for (const char* entry :
             {"dir,\\docs\\,,0,40,1,false\r\n", "file,\\docs\\a.txt,,3,41,1,false\r\n",
              "file,\\docs\\gone.txt,,4,42,7,true\r\n"}) {
            for (const char* source : {"SI,", "FN,"})
                expected += std::string(time) + source + entry;
        }
    }
    EXPECT_EQ(run.standard_error, "");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.standard_output, expected);
}

TEST(ConvertRuns, TheOutputFileHasTheUsualPermissions) {
    const image docs;
    const std::string output = docs.dir.file("out.csv");
    const auto run = shell(
        "umask 027; exec \"$0\" --to csv --summary --output \"$2\" -- '\\docs' "
        "-image \"$1\"",
        {docs.path, output});
    EXPECT_EQ(run.standard_error,
              "quorvel-convert: rows: 4, directories: 1, deleted: 1, set back: 0\n");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.standard_output, "");
    EXPECT_EQ(support::read_file(output), csv_text);
    struct stat file {};
    ASSERT_EQ(::stat(output.c_str(), &file), 0);
    EXPECT_EQ(file.st_mode & 07777u, 0640u);
    EXPECT_THAT(support::files_in(docs.dir.path()), testing::ElementsAre("docs.dd", "out.csv"));
}

// The printed command runs in a shell, and its listing is read elsewhere.
TEST(ConvertRuns, ThePrintedCommandWritesAReadableListing) {
    const image docs;
    const auto listed = shell(
        "PATH=$(dirname \"$0\"):$PATH; eval \"$(\"$0\" --print-command -- '\\docs' -image "
        "\"$1\")\"",
        {docs.path});
    const std::string listing = docs.dir.write("listing", listed.standard_output);
    const auto run = convert({"--to", "csv", "--input", listing});
    EXPECT_EQ(run.standard_error, "");
    EXPECT_EQ(run.standard_output, csv_text);
    const auto piped = shell("cat \"$1\" | \"$0\" --to csv --input /dev/stdin", {listing});
    EXPECT_EQ(piped.standard_output, csv_text);
}

TEST(ConvertRuns, WithObjectIdsAndIndexes) {
    support::ntfs_image volume;
    support::bytes id;
    for (std::uint8_t i = 0; i < 16; ++i)
        id.push_back(i);
    volume.directory(5, u"docs", 40).object_id(id);
    volume.index(40).in_blocks();
    volume.file(40, u"a.txt", 41).data("abc");
    const support::temp_dir dir;
    const std::string path = volume.save(dir.file("x.dd"));
    const auto run = convert({"--to", "csv", "--", "\\docs", "-objid", "-indx", "-image", path});
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.standard_output, HasSubstr(",false,03020100-0504-0706-0809-0a0b0c0d0e0f\r\n"));
    EXPECT_THAT(run.standard_output, HasSubstr("\r\nindx,\\docs:$I30,,,4096,0,40,1,3,false,"));
    EXPECT_THAT(run.standard_output, HasSubstr("\r\nfile,\\docs\\a.txt,,,3,"));
}

struct wrong_use {
    words arguments;
    const char* message;
};

TEST(ConvertRuns, WrongUseHasStatus2) {
    const wrong_use cases[] = {
        {{}, "--to is missing"},
        {{"--to", "xls", "--", "-image", "x"},
         "--to: xls not in {body,timeline,csv,jsonl,sqlite,html}"},
        {{"--to", "sqlite", "--", "-image", "x"}, "sqlite needs --output"},
        {{"--to", "csv"}, "there is nothing to list"},
        {{"--to", "csv", "--"}, "there is nothing to list"},
        {{"--to", "csv", "-image", "x"}, "not expected: "},
        {{"--to", "csv", "--input", "x", "--", "-image", "y"}, "--input excludes options"},
        {{"--print-command", "--input", "x"}, "--input excludes --print-command"},
        {{"--to", "csv", "--", "-image", "x", "-CSV", "-out", "y"}, "fixed form: -CSV, -out\n"},
        {{"--print-command", "--", "-xml", "x"}, "fixed form: -xml\n"},
    };
    for (const wrong_use& c : cases) {
        const auto run = convert(c.arguments);
        EXPECT_EQ(run.status, 2) << c.message;
        EXPECT_EQ(run.standard_output, "");
        EXPECT_THAT(run.standard_error, HasSubstr(c.message));
    }
}

TEST(ConvertRuns, EachOptionThatChangesTheFormIsRefusedByItsName) {
    for (const char* word : {"-bodyfile",      "-csvgen",     "-csvl2t",
                             "-filepath_only", "-multiline",  "-sqlite",
                             "-sqlite_log",    "-xml",        "-alldates",
                             "-base10",        "-base16",     "-csv",
                             "-csv_separator", "-dateformat", "-no_whitespace",
                             "-pair_datetime", "-quiet",      "-split_pathfile",
                             "-timeformat",    "-append",     "-out",
                             "-outfile",       "-h",          "-help",
                             "--help",         "/?"}) {
        const auto run = convert({"--to", "csv", "--", "-image", "x", word});
        EXPECT_EQ(run.status, 2);
        EXPECT_EQ(run.standard_error,
                  std::string("quorvel-convert: cannot be used here, because the listing has a "
                              "fixed form: ") +
                      word + "\n");
    }
}

TEST(ConvertRuns, HelpAndVersion) {
    const auto help = convert({"--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_THAT(help.standard_output, HasSubstr("--to FORMAT"));
    const auto version = convert({"--version"});
    EXPECT_EQ(version.status, 0);
    EXPECT_EQ(version.standard_output, "quorvel-convert 1.45\n");
}

TEST(ConvertRuns, AnImageThatQuorvelRefuses) {
    const auto run = convert({"--to", "csv", "--", "-image", "/none"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.standard_output, "");
    EXPECT_THAT(run.standard_error, HasSubstr("invalid image: /none"));
    EXPECT_THAT(run.standard_error, HasSubstr("quorvel-convert: quorvel ended with status 255\n"));
}

TEST(ConvertRuns, ADirectoryThatDoesNotExist) {
    const image docs;
    const auto run = convert({"--to", "csv", "--", "\\none", "-image", docs.path});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.standard_error, "quorvel-convert: the output of quorvel contains no rows\n");
}

}  // namespace

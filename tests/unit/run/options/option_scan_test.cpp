#include "run/options/option_scan.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <set>
#include <string>
#include <vector>

#include "run/settings/cmd_params.h"
#include "support/temp_dir.h"

namespace {

using words = std::vector<std::string>;

// The result of scanning "q" and `options`: arguments left, settings and messages.
struct scan {
    explicit scan(const words& options) {
        args = options;
        args.insert(args.begin(), "q");
        testing::internal::CaptureStderr();
        result = scan_options(params, args);
        messages = testing::internal::GetCapturedStderr();
        if (!args.empty()) args.erase(args.begin());
    }

    cmd_params params;
    words args;  // without the program's path
    bool result = false;
    std::string messages;
};

TEST(CommonOptions, VocabularyIsInScanOrder) {
    const words expected = {"-pair_datetime",
                            "-diags",
                            "-l2",
                            "-l3",
                            "-csv",
                            "-csvgen",
                            "-csvl2t",
                            "-bodyfile",
                            "-multiline",
                            "-alias",
                            "-aliaspath",
                            "-gzip",
                            "-zlib",
                            "-zlibex",
                            "-threads",
                            "-signal",
                            "-hostname",
                            "-username",
                            "-cpuinst",
                            "-cpu",
                            "-fragment_files",
                            "-separate_files",
                            "-outdir",
                            "-enumdir",
                            "-num_subdirs",
                            "-pipe",
                            "-verbose",
                            "-v",
                            "-sqlite_log",
                            "-sqlite",
                            "-split_pathfile",
                            "-out",
                            "-outfile",
                            "-profile",
                            "-filter",
                            "-filter_sig",
                            "-filter_path",
                            "-cmd_start_time",
                            "-cmd_stop_time",
                            "-base10",
                            "-base16",
                            "-csv_separator",
                            "-no_whitespace",
                            "-dateformat",
                            "-timeformat",
                            "-quiet"};
    words actual;
    for (const option_spec& option : common_options())
        actual.emplace_back(option.word);
    EXPECT_EQ(actual, expected);
}

TEST(CommonOptions, FormsStateWhichOptionsHaveAValue) {
    const std::set<std::string> with_value = {"-diags",
                                              "-alias",
                                              "-aliaspath",
                                              "-zlibex",
                                              "-threads",
                                              "-signal",
                                              "-hostname",
                                              "-username",
                                              "-cpuinst",
                                              "-cpu",
                                              "-fragment_files",
                                              "-outdir",
                                              "-enumdir",
                                              "-num_subdirs",
                                              "-sqlite_log",
                                              "-sqlite",
                                              "-out",
                                              "-outfile",
                                              "-filter",
                                              "-filter_sig",
                                              "-filter_path",
                                              "-cmd_start_time",
                                              "-cmd_stop_time",
                                              "-csv_separator",
                                              "-dateformat",
                                              "-timeformat"};
    for (const option_spec& option : common_options()) {
        SCOPED_TRACE(option.word);
        EXPECT_EQ(option.form != option_form::flag, with_value.count(option.word) == 1);
        const std::string word = option.word;
        EXPECT_EQ(option.form == option_form::values, word == "-filter" || word == "-filter_sig");
        EXPECT_EQ(option.needs != nullptr, word == "-l2" || word == "-l3");
    }
}

TEST(ScanOptions, EveryOptionIsRemovedFromTheArguments) {
    for (const option_spec& option : common_options()) {
        const std::string word = option.word;
        if (option.needs != nullptr || word == "-sqlite" || word == "-sqlite_log" ||
            word == "-alias" || word == "-out" || word == "-outfile" || word == "-diags") {
            continue;  // covered by tests of their own
        }
        SCOPED_TRACE(word);
        words options = {"\\before", word, "\\after"};
        if (option.form != option_form::flag) options.insert(options.begin() + 2, "2020-01-02");
        const scan run(options);
        EXPECT_TRUE(run.result);
        EXPECT_EQ(run.args, (words{"\\before", "\\after"}));
        EXPECT_EQ(run.messages,
                  word == "-timeformat" ? "invalid 2020-01-02, using default format\n" : "");
    }
}

TEST(ScanOptions, ValueOptionAsLastArgumentIsKept) {
    for (const option_spec& option : common_options()) {
        if (option.form == option_form::flag) continue;
        SCOPED_TRACE(option.word);
        const scan run({"\\dir", option.word});
        EXPECT_TRUE(run.result);
        EXPECT_EQ(run.args, (words{"\\dir", option.word}));
        EXPECT_EQ(run.messages, "");
    }
}

TEST(ScanOptions, EmptyArgumentsAreRejected) {
    cmd_params params;
    words args;
    EXPECT_FALSE(scan_options(params, args));
    EXPECT_EQ(params.command_line, "");
}

TEST(ScanOptions, UnknownArgumentsAreKept) {
    const scan run({"-csvx", "\\docs", "-append", "-l2", "-image"});
    EXPECT_TRUE(run.result);
    EXPECT_EQ(run.args, (words{"-csvx", "\\docs", "-append", "-l2", "-image"}));
}

TEST(ScanOptions, CommandLineIsStoredBeforeOptionsAreRemoved) {
    const scan run({"\\my docs", "-csv", "-quiet"});
    EXPECT_EQ(run.params.command_line, "q \"\\my docs\" -csv -quiet");
    EXPECT_EQ(run.params.program_name, "q");
}

TEST(ScanOptions, KnownCommandLineAndNameAreKept) {
    cmd_params params;
    params.command_line = "mine";
    params.program_name = "other";
    words args = {"q", "-csv"};
    EXPECT_TRUE(scan_options(params, args));
    EXPECT_EQ(params.command_line, "mine");
    EXPECT_EQ(params.program_name, "other");
}

TEST(ProgramNameOf, IsTheFileNameWithoutExtension) {
    const struct {
        const char* path;
        const char* name;
    } cases[] = {{"quorvel", "quorvel"},
                 {"/usr/bin/quorvel", "quorvel"},
                 {"./quorvel.exe", "quorvel"},
                 {"/opt/a.b/quorvel", "quorvel"},
                 {"/opt/quorvel.1.45", "quorvel.1"},
                 {"dir/", ""},
                 {"", ""},
                 {"/x/.hidden", ""}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.path);
        EXPECT_EQ(program_name_of(c.path), c.name);
    }
}

TEST(ScanOptions, DefaultsCompileToTheDefaultStyle) {
    const scan run({});
    EXPECT_EQ(run.params.date_style.separator, '-');
    EXPECT_EQ(run.params.date_style.date_flags, 0x86);
    EXPECT_EQ(run.params.date_style.time_bits, 3 << 1);
}

// --- report forms ---

TEST(ScanOptions, CsvSetsFormAndSeparator) {
    const scan run({"-csv"});
    EXPECT_EQ(run.params.csv, 1);
    EXPECT_EQ(run.params.csv_separator, ",");
    EXPECT_EQ(run.params.path_sep_from, ',');
    EXPECT_EQ(run.params.path_sep_to, ' ');
    EXPECT_EQ(run.params.no_whitespace, 1);
    EXPECT_EQ(run.params.csv_space_field, 1);
}

TEST(ScanOptions, CsvWithPairedDatesKeepsWhitespace) {
    const scan run({"-csv", "-pair_datetime"});
    EXPECT_EQ(run.params.pair_datetime, 1);
    EXPECT_EQ(run.params.no_whitespace, 0);
    EXPECT_EQ(run.params.date_style.time_bits, 3 << 1 | 1);
}

TEST(ScanOptions, NoWhitespaceClearsTheFiller) {
    const scan run({"-no_whitespace", "-csv"});
    EXPECT_EQ(run.params.csv_separator, ",");
    EXPECT_EQ(run.params.no_whitespace, 1);
    EXPECT_EQ(run.params.csv_space_field, 0);
}

TEST(ScanOptions, NoWhitespaceRemovesBlanksFromTheFinalSeparator) {
    const struct {
        words options;
        const char* separator;
    } cases[] = {
        {{"-no_whitespace"}, "|"},
        {{"-no_whitespace", "-csv_separator", " ; "}, ";"},
        {{"-no_whitespace", "-csv_separator", " \t "}, "\t"},
        {{"-no_whitespace", "-csv_separator", "tab"}, "\t"},
    };
    for (const auto& c : cases) {
        const scan run(c.options);
        EXPECT_EQ(run.params.csv_separator, c.separator);
        EXPECT_EQ(run.params.no_whitespace, 1);
    }
}

TEST(ScanOptions, CsvClearsXml) {
    cmd_params params;
    params.xml = 1;
    words args = {"q", "-csv"};
    EXPECT_TRUE(scan_options(params, args));
    EXPECT_EQ(params.xml, 0);
    EXPECT_EQ(params.csv, 1);
}

TEST(ScanOptions, LaterFormsOfTheTableOverrideEarlierOnes) {
    struct forms {
        int csv, l2t, gen, body, multi;
        const char* separator;
        int from, to;
    };
    const struct {
        words options;
        forms set;
    } cases[] = {
        {{"-csv"}, {1, 0, 0, 0, 0, ",", ',', ' '}},
        {{"-csvgen"}, {0, 0, 1, 0, 0, ",", ',', ' '}},
        {{"-csvl2t"}, {0, 1, 0, 0, 0, ",", ',', ' '}},
        {{"-bodyfile"}, {0, 0, 0, 1, 0, "|", '|', ';'}},
        {{"-multiline"}, {0, 0, 0, 0, 1, "", 0, 0}},
        {{"-csvgen", "-csv"}, {0, 0, 1, 0, 0, ",", ',', ' '}},
        {{"-csvl2t", "-csv"}, {0, 1, 0, 0, 0, ",", ',', ' '}},
        {{"-bodyfile", "-csv"}, {0, 0, 0, 1, 0, "|", '|', ';'}},
        {{"-bodyfile", "-csvgen"}, {0, 0, 1, 1, 0, "|", '|', ';'}},
        {{"-csvl2t", "-csvgen"}, {0, 1, 1, 0, 0, ",", ',', ' '}},
        {{"-bodyfile", "-csvl2t"}, {0, 0, 0, 1, 0, "|", '|', ';'}},
        {{"-multiline", "-bodyfile"}, {0, 0, 0, 1, 1, "", 0, 0}},
        {{"-multiline", "-csvl2t"}, {0, 0, 0, 0, 1, "", 0, 0}},
        {{"-multiline", "-csv"}, {0, 0, 0, 0, 1, "", 0, 0}},
        {{"-multiline", "-csv_separator", "|"}, {0, 0, 0, 0, 1, "|", '|', ';'}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.options));
        const cmd_params& params = scan(c.options).params;
        EXPECT_EQ(params.csv, c.set.csv);
        EXPECT_EQ(params.list_csvl2t, c.set.l2t);
        EXPECT_EQ(params.list_csvgen, c.set.gen);
        EXPECT_EQ(params.list_bodyfile, c.set.body);
        EXPECT_EQ(params.list_multiline, c.set.multi);
        EXPECT_EQ(params.csv_separator, c.set.separator);
        EXPECT_EQ(params.path_sep_from, c.set.from);
        EXPECT_EQ(params.path_sep_to, c.set.to);
    }
}

TEST(ScanOptions, FormsOfTheVocabularyClearXml) {
    for (const char* word : {"-csv", "-csvgen", "-csvl2t", "-bodyfile", "-multiline"}) {
        SCOPED_TRACE(word);
        cmd_params params;
        params.xml = 1;
        words args = {"q", word};
        EXPECT_TRUE(scan_options(params, args));
        EXPECT_EQ(params.xml, 0);
    }
}

TEST(ScanOptions, CsvAndCsvgenClearTheOtherForms) {
    for (const char* word : {"-csv", "-csvgen"}) {
        SCOPED_TRACE(word);
        cmd_params params;
        params.list_csvl2t = params.list_bodyfile = params.list_multiline = 1;
        params.header_pending = 0;
        words args = {"q", word, "-pair_datetime"};
        EXPECT_TRUE(scan_options(params, args));
        EXPECT_EQ(params.list_csvl2t, 0);
        EXPECT_EQ(params.list_bodyfile, 0);
        EXPECT_EQ(params.list_multiline, 0);
        EXPECT_EQ(params.header_pending, 0);
        EXPECT_EQ(params.no_whitespace, std::string(word) == "-csvgen");
    }
}

TEST(ScanOptions, HeaderIsPendingAgainAfterFormsWithoutCsv) {
    for (const char* word : {"-csvl2t", "-bodyfile", "-multiline"}) {
        cmd_params params;
        params.header_pending = 0;
        words args = {"q", word};
        EXPECT_TRUE(scan_options(params, args));
        EXPECT_EQ(params.header_pending, 1);
    }
}

TEST(SetSeparator, SelectsTheReplacementInPaths) {
    const struct {
        const char* text;
        const char* separator;
        int from, to;
    } cases[] = {
        {"|", "|", '|', ';'},   {" | ", " | ", '|', ';'}, {",", ",", ',', ' '},
        {",|", ",|", '|', ';'}, {";", ";", 0, 0},         {"", "", 0, 0},
        {"tab", "\t", 0, 0},    {"TAB", "\t", 0, 0},      {"\\t", "\t", 0, 0},
        {"\\T", "\t", 0, 0},    {"tab ", "tab ", 0, 0},   {"\t", "\t", 0, 0},
        {"Xx", "Xx", 0, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        cmd_params params;
        set_separator(params, c.text);
        EXPECT_EQ(params.csv_separator, c.separator);
        EXPECT_EQ(params.path_sep_from, c.from);
        EXPECT_EQ(params.path_sep_to, c.to);
    }
}

// --- trace ---

TEST(ScanOptions, TraceStartsWithTheCommandLine) {
    const support::temp_dir dir;
    const std::string file = dir.write("trace", "old content");
    {
        const scan run({"\\my docs", "-diags", file});
        EXPECT_EQ(run.params.diags_on, 1);
        EXPECT_EQ(run.params.diags_file, file);
        EXPECT_EQ(run.params.diags_level, 0u);
        EXPECT_EQ(run.args, (words{"\\my docs"}));
    }
    EXPECT_EQ(support::read_file(file), "->q \"\\my docs\" -diags " + file + "\n");
}

TEST(ScanOptions, TraceThatCannotBeOpenedIsIgnored) {
    const support::temp_dir dir;
    const scan run({"-diags", dir.file("missing/trace"), "-l3"});
    EXPECT_TRUE(run.result);
    EXPECT_EQ(run.messages, "");
    EXPECT_EQ(run.params.diags_on, 0);
    EXPECT_EQ(run.params.diags_file, "");
    EXPECT_EQ(run.params.diags_stream, nullptr);
    EXPECT_EQ(run.params.diags_level, 3u);
    EXPECT_TRUE(run.args.empty());
}

TEST(ScanOptions, TraceLevelsAreReadOnlyWithATrace) {
    const support::temp_dir dir;
    const std::string file = dir.file("trace");
    const struct {
        words options;
        unsigned level;
        words left;
    } cases[] = {
        {{"-l2", "-diags", file}, 2, {}},
        {{"-diags", file, "-L3"}, 3, {}},
        {{"-l3", "-l2", "-diags", file}, 2, {"-l3"}},
        {{"-l2", "-l3"}, 0, {"-l2", "-l3"}},
        {{"-diags", file, "-csv", "-l2", "-l2"}, 2, {"-l2"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.options));
        const scan run(c.options);
        EXPECT_EQ(run.params.diags_level, c.level);
        EXPECT_EQ(run.args, c.left);
    }
}

// --- rejections ---

TEST(ScanOptions, AliasesMustComeInPairs) {
    const std::string refusal = "imbalanced alias to true pathfiles, aborting\n";
    const struct {
        const char* option;
        const char* list;
        bool accepted;
    } cases[] = {
        {"-alias", "a|b", true},         {"-alias", "a|b|c|d", true},
        {"-alias", "a|b|c", false},      {"-alias", "a", false},
        {"-alias", "", false},           {"-alias", " a | b | ", true},
        {"-alias", "a|", false},         {"-alias", "|", true},
        {"-aliaspath", "/a/|/b/", true}, {"-aliaspath", "/a|/b|/c", false},
        {"-aliaspath", "/a", true},      {"-aliaspath", "/a|", false},
        {"-aliaspath", "", true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.option) + " " + c.list);
        const scan run({c.option, c.list, "dir"});
        EXPECT_EQ(run.result, c.accepted);
        EXPECT_EQ(run.messages, c.accepted ? "" : refusal);
        EXPECT_EQ(run.args, (words{"dir"}));
    }
}

TEST(ScanOptions, DatabasesAreRejected) {
    for (const char* word : {"-sqlite", "-sqlite_log"}) {
        const scan run({word, "x", "-base10"});
        EXPECT_FALSE(run.result);
        EXPECT_EQ(run.messages, "This option is not offered in this build\n");
        EXPECT_EQ(run.params.hex_numbers, 1);  // not reached by the scan
    }
}

TEST(ScanOptions, RejectionsPrecedeTheResultsFile) {
    const support::temp_dir dir;
    const std::string file = dir.write("out.txt", "old");
    EXPECT_FALSE(scan({"-out", file, "-sqlite", "x"}).result);
    EXPECT_FALSE(scan({"-out", file, "-alias", "x"}).result);
    EXPECT_EQ(support::read_file(file), "old");
}

// --- results file ---

TEST(ScanOptions, ExistingResultsFileIsDeletedByTheScan) {
    for (const bool append : {false, true}) {
        const support::temp_dir dir;
        const std::string file = dir.write("out.txt", "old");
        words options = {"-out", file};
        if (append) options.emplace_back("-append");
        const scan run(options);
        EXPECT_TRUE(run.result);
        EXPECT_EQ(run.params.results_file, file);
        EXPECT_FALSE(support::file_exists(file));
        EXPECT_EQ(run.args, append ? words{"-append"} : words{});
    }
}

// A second link to the file shows its content after the scan.
TEST(ScanOptions, AppendAnywhereInTheArgumentsPreservesTheContent) {
    const support::temp_dir dir;
    const std::string file = dir.write("out.txt", "old");
    const std::string link = dir.file("link.txt");
    ASSERT_EQ(::link(file.c_str(), link.c_str()), 0);
    EXPECT_TRUE(scan({"-append", "-out", file}).result);
    EXPECT_EQ(support::read_file(link), "old");
}

TEST(ScanOptions, ResultsFileIsDeletedEvenIfTheScanFailsLater) {
    const support::temp_dir dir;
    const std::string file = dir.write("out.txt", "old");
    const scan run({"-out", file, "-cmd_start_time", "x"});
    EXPECT_FALSE(run.result);
    EXPECT_EQ(run.messages, "");
    EXPECT_FALSE(support::file_exists(file));
}

TEST(ScanOptions, SecondResultsOptionIsUsed) {
    const support::temp_dir dir;
    const std::string first = dir.write("1", "old");
    const std::string second = dir.write("2", "old");
    const scan run({"-outfile", second, "-out", first});
    EXPECT_EQ(run.params.results_file, second);
    EXPECT_FALSE(support::file_exists(first));
    EXPECT_FALSE(support::file_exists(second));
}

TEST(ScanOptions, ResultsFileThatCannotBeOpenedEndsTheScan) {
    const support::temp_dir dir;
    const std::string file = dir.file("missing/out.txt");
    const scan run({"-out", file, "-base10"});
    EXPECT_FALSE(run.result);
    EXPECT_EQ(run.messages, "prob opening file " + file + " for output, aborting\n");
    EXPECT_EQ(run.params.hex_numbers, 1);
}

// --- other options ---

TEST(ScanOptions, FlagsSetTheirFields) {
    EXPECT_EQ(scan({"-split_pathfile"}).params.split_pathfile, 1);
    EXPECT_EQ(scan({"-profile"}).params.profile, 1);
    EXPECT_EQ(scan({"-quiet"}).params.progress_line, 0);
    EXPECT_EQ(scan({"-base10"}).params.hex_numbers, 0);
    EXPECT_EQ(scan({"-base16", "-base10"}).params.hex_numbers, 1);
    EXPECT_EQ(scan({"-signal", "HUP"}).params.signal_text, "HUP");
}

TEST(ScanOptions, ValueOptionsAcceptOptionsAsValues) {
    const scan run({"-signal", "-hostname", "x", "-username"});
    EXPECT_EQ(run.params.signal_text, "-hostname");
    EXPECT_EQ(run.args, (words{"x", "-username"}));
}

TEST(ScanOptions, FiltersAreAddedInOrder) {
    const scan run({"-filter", "a|b", "-filter_sig", "4d5a", "-Filter", "c", "-filter_path", "/X",
                    "-filter_sig", "ff|1"});
    EXPECT_TRUE(run.args.empty());
    ASSERT_EQ(run.params.filters.size(), 5u);
    EXPECT_EQ(run.params.filters[0].text, L"a");
    EXPECT_EQ(run.params.filters[2].text, L"c");
    EXPECT_EQ(run.params.filters[3].signature, (std::vector<std::uint8_t>{0x4d, 0x5a}));
    EXPECT_EQ(run.params.filters[4].signature_offset, 1u);
    for (const path_filter& item : run.params.filters)
        EXPECT_EQ(item.root, L"/x");
}

TEST(ScanOptions, FormatsAreAcceptedIfTheirLengthIsValid) {
    const struct {
        const char* option;
        const char* format;
        bool accepted;
    } cases[] = {
        {"-dateformat", "mm/dd/yy", true},
        {"-dateformat", "MM/DD/YYYY", true},
        {"-dateformat", "xxxxxxxx", true},
        {"-dateformat", "m/d/yy", false},
        {"-dateformat", "", false},
        {"-dateformat", "mmm-dd-yy", false},    // 9
        {"-dateformat", "mmm-dd-yyyy", false},  // 11
        {"-dateformat",
         "mmm\xC3\xA4"
         "ddyyy",
         true},  // nine characters, ten bytes
        {"-timeformat", "hh:mm:ss", true},
        {"-timeformat", "HH:MM:SS.XXX", true},
        {"-timeformat", "hh:mm:ss.xxxxxxxxx", true},    // 18
        {"-timeformat", "hh:mm:ss.xxxxxxxxxx", false},  // 19
        {"-timeformat", "hh:mm:ss.x", false},
        {"-timeformat", "hh:mm:ss.xx", false},  // 11
        {"-timeformat", "hhmmssxx", false},     // no colon
        {"-timeformat", "hh mm ss xxx", false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.option) + " " + c.format);
        const scan run({c.option, c.format});
        EXPECT_TRUE(run.result);
        EXPECT_TRUE(run.args.empty());
        EXPECT_EQ(
            run.messages,
            c.accepted ? "" : "invalid " + std::string(c.format) + ", using default format\n");
    }
}

TEST(ScanOptions, AcceptedFormatsAreLoweredAndCompiled) {
    const scan run({"-dateformat", "MM/DD/YYYY", "-timeformat", "HH:MM:SS.XXXXXX"});
    EXPECT_EQ(run.params.date_format, "mm/dd/yyyy");
    EXPECT_EQ(run.params.time_format, "hh:mm:ss.xxxxxx");
    EXPECT_EQ(run.params.date_style.separator, '/');
    EXPECT_EQ(run.params.date_style.date_flags, 0x02 | 0x04 | 0x40);
    EXPECT_EQ(run.params.date_style.time_bits, 6 << 1);
}

TEST(ScanOptions, RejectedFormatsKeepTheDefaults) {
    const scan run({"-dateformat", "m/d/yy", "-timeformat", "hh"});
    EXPECT_EQ(run.params.date_format, "yyyy-mm-dd");
    EXPECT_EQ(run.params.time_format, "hh:mm:ss.xxx");
    EXPECT_EQ(run.messages,
              "invalid m/d/yy, using default format\ninvalid hh, using default format\n");
}

TEST(ScanOptions, DateWithoutSeparatorEndsTheScanSilently) {
    for (const char* word : {"-cmd_start_time", "-cmd_stop_time"}) {
        const scan run({word, "20200101", "-base10"});
        EXPECT_FALSE(run.result);
        EXPECT_EQ(run.messages, "");
        EXPECT_EQ(run.params.hex_numbers, 1);
    }
}

}  // namespace

// Runs that fail: an error, its exit status, and no file under the name of the output.
#include "convert/convert_run.h"

namespace {

using convert_run::convert;
using convert_run::other_quorvel;
using convert_run::printing;
using convert_run::shell;
using convert_run::words;
using support::files_in;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

const std::string start = listing_text::head() + listing_text::header();
const std::string listing = start + listing_text::row();

struct folder {
    support::temp_dir dir;
    std::string input = dir.write("listing", listing);
    std::string output = dir.file("out.csv");
};

// Runs quorvel-convert on a listing. Expects the status, a message, and no output.
void expect_no_output(const std::string& text, int status, const std::string& message) {
    const folder in;
    in.dir.write("listing", text);
    const auto run = convert({"--to", "csv", "--output", in.output, "--input", in.input});
    EXPECT_EQ(run.status, status);
    EXPECT_THAT(run.standard_error, HasSubstr(message));
    EXPECT_EQ(run.standard_output, "");
    EXPECT_THAT(files_in(in.dir.path()), ElementsAre("listing"));
}

TEST(ConvertFaults, AnExistingFileIsKeptWithoutForce) {
    const folder in;
    in.dir.write("out.csv", "old");
    const auto kept = convert({"--to", "csv", "--output", in.output, "--input", in.input});
    EXPECT_EQ(kept.status, 2);
    EXPECT_THAT(kept.standard_error, HasSubstr("out.csv exists; --force replaces it"));
    EXPECT_EQ(support::read_file(in.output), "old");
    const auto replaced =
        convert({"--to", "csv", "--output", in.output, "--force", "--input", in.input});
    EXPECT_EQ(replaced.status, 0);
    EXPECT_EQ(replaced.standard_error, "");
    EXPECT_THAT(support::read_file(in.output), StartsWith("type,path"));
    EXPECT_THAT(files_in(in.dir.path()), ElementsAre("listing", "out.csv"));
}

TEST(ConvertFaults, AnInputIsNeverReplaced) {
    const folder in;
    const auto own = convert({"--to", "csv", "--output", in.input, "--force", "--input", in.input});
    EXPECT_EQ(own.status, 2);
    EXPECT_THAT(own.standard_error, HasSubstr("listing is also an input"));
    const std::string link = in.dir.file("link.dd");
    std::filesystem::create_symlink(in.input, link);
    for (const words& options : {words{"-image", in.input}, words{"-image", link},
                                 words{"-image", "x", "-vmdk", "a.vmdk | " + in.input}}) {
        words all = {"--to", "csv", "--output", in.input, "--force", "--"};
        all.insert(all.end(), options.begin(), options.end());
        const auto run = convert(all);
        EXPECT_EQ(run.status, 2);
        EXPECT_THAT(run.standard_error, HasSubstr("is also an input"));
    }
    EXPECT_EQ(support::read_file(in.input), listing);
}

TEST(ConvertFaults, OnlyRegularFilesAreReplaced) {
    const folder in;
    for (const std::string& output : {std::string("/dev/null"), in.dir.path()}) {
        const auto run =
            convert({"--to", "csv", "--output", output, "--force", "--input", in.input});
        EXPECT_EQ(run.status, 2);
        EXPECT_THAT(run.standard_error, HasSubstr("is not a regular file"));
    }
}

TEST(ConvertFaults, AFolderThatDoesNotExist) {
    const folder in;
    const auto run =
        convert({"--to", "csv", "--output", in.dir.file("none/x"), "--input", in.input});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.standard_error, HasSubstr("No such file or directory"));
}

TEST(ConvertFaults, ACutListingLeavesNoFile) {
    expect_no_output(listing.substr(0, listing.size() - 1), 1,
                     "row 1, at byte " + std::to_string(listing.size() - 1) +
                         ": the listing ends within the row");
    expect_no_output(start.substr(0, start.size() - 5), 1, "ends within its head");
}

TEST(ConvertFaults, AListingWithoutRowsLeavesNoFile) {
    expect_no_output(start, 1, "contains no rows");
    expect_no_output(listing_text::head() + "no items\n\n", 1, "contains no rows");
}

TEST(ConvertFaults, OtherInputIsRefusedWithAdvice) {
    expect_no_output("type,filename\n", 1,
                     "is not a readable listing; this command writes one: "
                     "quorvel -csv -alldates -base10 -no_whitespace -quiet "
                     "-dateformat yyyy-mm-dd -timeformat hh:mm:ss.xxxxxxx "
                     "-csv_separator @");
    expect_no_output("", 1, "-image IMAGE >LISTING");
}

TEST(ConvertFaults, AMissingListing) {
    const auto run = convert({"--to", "csv", "--input", "/none"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.standard_error,
              "quorvel-convert: cannot open /none: No such file or directory\n");
}

TEST(ConvertFaults, AMalformedRowIsLeftOutAndReported) {
    const folder in;
    listing_text::row_fields wrong;
    wrong.entry = "x";
    const std::string bad = listing_text::row(wrong);
    in.dir.write("listing", listing + bad + listing_text::row());
    const auto run =
        convert({"--to", "csv", "--summary", "--output", in.output, "--input", in.input});
    EXPECT_EQ(run.status, 1);
    const std::size_t at = listing.size() + bad.find("x" + listing_text::separator);
    EXPECT_EQ(run.standard_error,
              "quorvel-convert: row 2, at byte " + std::to_string(at) +
                  ": the MFT entry is not a decimal number\n"
                  "quorvel-convert: rows: 2, directories: 0, deleted: 0, set back: 0, "
                  "malformed: 1\n");
    const std::string text = support::read_file(in.output);
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 3);
}

TEST(ConvertFaults, AMissingQuorvel) {
    other_quorvel beside;
    const auto run = beside.run({"--to", "csv", "--output", beside.file("x"), "--", "-image", "y"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.standard_error,
              "quorvel-convert: quorvel is neither beside quorvel-convert nor on the path\n");
    EXPECT_THAT(files_in(beside.folder()), ElementsAre("quorvel-convert"));
}

TEST(ConvertFaults, QuorvelIsFoundBesideTheProgramThenOnThePath) {
    other_quorvel beside;
    other_quorvel on_path;
    on_path.set_script("exit 7");
    const words arguments = {"--to", "csv", "--", "-image", "y"};
    EXPECT_THAT(beside.run(arguments, "/none::" + on_path.folder()).standard_error,
                HasSubstr("quorvel ended with status 7"));
    beside.set_script("exit 8");
    EXPECT_THAT(beside.run(arguments, on_path.folder()).standard_error,
                HasSubstr("quorvel ended with status 8"));
}

TEST(ConvertFaults, AQuorvelThatFailsLeavesNoFile) {
    const struct {
        std::string name, script, message;
    } cases[] = {
        {"at once", "echo reason >&2; exit 255", "quorvel ended with status 255"},
        {"by a signal", "kill -9 $$", "quorvel ended by signal 9 (Killed)"},
        {"after all rows", printing(listing) + "; exit 3", "quorvel ended with status 3"},
        {"signal after a row", printing(listing) + "; kill -15 $$",
         "quorvel ended by signal 15 (Terminated)"},
        {"signal within a row",
         printing(start + "file" + listing_text::separator) + "; kill -11 $$",
         "quorvel ended by signal 11"},
        {"not a program", "exec /none/x", "quorvel ended with status 127"},
        {"no listing", "echo hello", "the output of quorvel is not a readable listing"},
        {"no rows", printing(start), "the output of quorvel contains no rows"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        other_quorvel beside;
        beside.set_script(c.script);
        const auto run = beside.run(
            {"--to", "csv", "--output", beside.file("x"), "--", "-image", "y"}, "/bin:/usr/bin");
        EXPECT_EQ(run.status, 1);
        EXPECT_THAT(run.standard_error, HasSubstr(c.message));
        EXPECT_THAT(files_in(beside.folder()), ElementsAre("quorvel", "quorvel-convert"));
    }
    // The same script without the failure.
    other_quorvel beside;
    beside.set_script(printing(listing));
    const auto run = beside.run({"--to", "csv", "--output", beside.file("x"), "--", "-image", "y"});
    EXPECT_EQ(run.standard_error, "");
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(support::read_file(beside.file("x")), HasSubstr("file,\\a.txt,"));
}

TEST(ConvertFaults, AFullDiskIsAnError) {
    const folder in;
    const auto run = shell("exec \"$0\" --to csv --input \"$1\" >/dev/full", {in.input});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.standard_error,
              "quorvel-convert: cannot write standard output: No space left on device\n");
}

std::string many_rows() {
    std::string text = start;
    for (int i = 0; i < 4000; ++i)
        text += listing_text::row();
    return text;
}

TEST(ConvertFaults, AFileThatGrowsTooLargeIsAnError) {
    const folder in;
    in.dir.write("listing", many_rows());
    const std::pair<std::string, std::string> cases[] = {
        {"csv", "out.csv: File too large"},
        {"sqlite", "disk I/O error"},
    };
    for (const auto& [format, message] : cases) {
        const auto run =
            shell("ulimit -f 8; exec \"$0\" --to \"$3\" --input \"$1\" --output \"$2\"",
                  {in.input, in.output, format});
        EXPECT_EQ(run.status, 1);
        EXPECT_THAT(run.standard_error, HasSubstr(message));
        EXPECT_THAT(files_in(in.dir.path()), ElementsAre("listing"));
    }
}

TEST(ConvertFaults, AFullFolderOfTemporaryFilesIsAnError) {
    const folder in;
    std::string long_listing = start;
    listing_text::row_fields fields;
    fields.path = "\\" + std::string(10'000, 'a');
    for (int i = 0; i < 700; ++i)
        long_listing += listing_text::row(fields);
    in.dir.write("listing", long_listing);
    const auto run = shell("TMPDIR=/none exec \"$0\" --to timeline --input \"$1\" --output \"$2\"",
                           {in.input, in.output});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.standard_error,
              "quorvel-convert: cannot use a temporary file in /none: No such file or directory\n");
    EXPECT_THAT(files_in(in.dir.path()), ElementsAre("listing"));
}

TEST(ConvertFaults, AClosedPipeIsAnError) {
    const folder in;
    in.dir.write("listing", many_rows());
    const auto run =
        shell("( \"$0\" --to csv --input \"$1\"; echo status $? >&2 ) | :", {in.input});
    EXPECT_EQ(run.standard_error,
              "quorvel-convert: cannot write standard output: Broken pipe\nstatus 1\n");
}

TEST(ConvertFaults, ASignalDeletesTheTemporaryFile) {
    other_quorvel beside;
    beside.set_script(printing(listing) + "; exec sleep 1");
    const std::string output = beside.file("x");
    for (const std::string& name : {std::string("TERM"), std::string("INT"), std::string("HUP")}) {
        // A background job of a shell ignores SIGINT; env restores it.
        const auto run = support::run_program(
            "/bin/sh", {"-c",
                        "env --default-signal \"$0\" --to csv --output \"$1\" -- -image y & p=$!\n"
                        "until ls \"$1\".part-* >/dev/null 2>&1; do sleep 0.02; done\n"
                        "kill -" +
                            name + " $p; wait $p; echo $?",
                        beside.program(), output});
        const std::string signal_status = name == "TERM" ? "143" : name == "INT" ? "130" : "129";
        EXPECT_EQ(run.standard_output, signal_status + "\n");
        EXPECT_THAT(files_in(beside.folder()), ElementsAre("quorvel", "quorvel-convert"));
    }
}

TEST(ConvertFaults, AQuorvelThatWritesOnIsEndedWhenTheOutputFails) {
    other_quorvel beside;
    beside.set_script(printing(start) + "; while " + printing(listing_text::row()) +
                      "; do :; done; echo gone >>\"$(dirname \"$0\")/gone\"");
    const auto run = support::run_program(
        "/bin/sh", {"-c", "exec \"$0\" --to csv -- -image y >/dev/full", beside.program()});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.standard_error, HasSubstr("No space left on device"));
    EXPECT_THAT(files_in(beside.folder()), ElementsAre("quorvel", "quorvel-convert"));
}

}  // namespace

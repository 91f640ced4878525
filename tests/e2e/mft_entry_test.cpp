// "-mft": an MFT entry in place of a directory.
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "e2e/report_head.h"
#include "e2e/rich_volume.h"
#include "support/partition_image.h"

namespace {

constexpr std::uint64_t root = 5;

const std::string header = "  last modified [UTC]      MFT & seq num       size          name\n\n";
const std::string note = "\n[Note: this MFT entry has multiple possible paths]\n\n";

// Returns the text row of an entry with a two-digit number and the default timestamps.
std::string row(unsigned entry, const std::string& size, const std::string& label,
                const std::string& path) {
    return "2021-03-05 06:07:08.234          " + std::to_string(entry) + "    1 " +
           std::string(12 - size.size(), ' ') + size + " " + label + path + "\n";
}
std::string file_row(unsigned entry, const std::string& size, const std::string& path) {
    return row(entry, size, "       ", path);
}
std::string dir_row(unsigned entry, const std::string& path) {
    return row(entry, " ", "  dir  ", path);
}
std::string ads_row(unsigned entry, const std::string& size, const std::string& path) {
    return row(entry, size, "  ads  ", path);
}

class MftEntry : public testing::Test {
protected:
    // Saves the volume and runs "-image <it> -mft <entry>" with these options. Expects status 0,
    // the report head, and `messages` and the clearing on standard error. Returns the output after
    // the head.
    std::string run(const std::string& entry, const std::vector<std::string>& options = {},
                    const std::string& messages = "") {
        std::vector<std::string> arguments = {"-image", volume.save(dir.file("mft.dd")), "-mft",
                                              entry};
        arguments.insert(arguments.begin(), options.begin(), options.end());
        const support::program_result result =
            support::run_built_program(QUORVEL_PROGRAM, arguments);
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.standard_error, messages + e2e::terminal_clearing);
        const std::string head =
            e2e::report_head(result.standard_output, QUORVEL_PROGRAM, arguments);
        EXPECT_EQ(result.standard_output.substr(0, head.size()), head);
        return result.standard_output.substr(std::min(head.size(), result.standard_output.size()));
    }

    // Runs the same for an entry without a path, and expects the run to end there.
    void expect_unresolved(const std::string& entry) {
        const std::vector<std::string> arguments = {"-image", volume.save(dir.file("mft.dd")),
                                                    "-mft", entry};
        const support::program_result result =
            support::run_built_program(QUORVEL_PROGRAM, arguments);
        EXPECT_EQ(result.status, 255);
        EXPECT_EQ(result.standard_output,
                  e2e::report_head(result.standard_output, QUORVEL_PROGRAM, arguments));
        EXPECT_EQ(result.standard_error, e2e::terminal_clearing +
                                             "couldn't resolve MFT entry to filepath" +
                                             e2e::terminal_clearing);
    }

    support::temp_dir dir;
    support::ntfs_image volume = e2e::rich_volume();
};

TEST_F(MftEntry, FileIsListedUnderItsPathWithItsStreams) {
    volume.file(46, u"deepest", 50).data("12").stream(u"s", "1");
    EXPECT_EQ(run("50"),
              header + file_row(50, "2", "\\docs\\sub\\deep\\deepest") + ads_row(50, "1", ":s"));
}

TEST_F(MftEntry, NumberIsParsedInEveryBase) {
    const std::string rows = header + file_row(41, "3", "\\docs\\a,b|c.txt");
    EXPECT_EQ(run("41"), rows);
    EXPECT_EQ(run("0x29"), rows);
    EXPECT_EQ(run("o51"), rows);
}

TEST_F(MftEntry, FileInTheRoot) {
    volume.file(root, u"top.txt", 50).data("1");
    EXPECT_EQ(run("50"), header + file_row(50, "1", ".\\top.txt"));
}

TEST_F(MftEntry, DirectoryIsListedWithItsChildren) {
    EXPECT_EQ(run("46"), header + dir_row(46, "\\docs\\sub\\deep\\") +
                             file_row(47, "0", "\\docs\\sub\\deep\\end.txt"));
    EXPECT_EQ(
        run("43", {"-level", "3"}),
        header + dir_row(43, "\\docs\\sub\\") + file_row(48, "4", "\\docs\\sub\\other name.txt") +
            "                                 44    1            0        "
            "\\docs\\sub\\x&<y>\".txt\n" +
            dir_row(46, "\\docs\\sub\\deep\\") + file_row(47, "0", "\\docs\\sub\\deep\\end.txt"));
}

TEST_F(MftEntry, RootIsListed) {
    const std::string rows = header +
                             "2021-03-05 06:07:08.234           5    5                dir  \\\n" +
                             dir_row(40, "\\docs\\") + ads_row(40, "5", "\\docs:note");
    EXPECT_EQ(run("5"), rows);
}

// Each link is listed separately, but each listing shows the first name under the first parent.
TEST_F(MftEntry, HardLinkIsListedOncePerPath) {
    EXPECT_EQ(run("48", {}, note), header + file_row(48, "4", "\\docs\\linked.txt") +
                                       file_row(48, "4", "\\docs\\sub\\linked.txt"));
    EXPECT_EQ(run("48", {"-csv"}, note).find("type,"), 0u);
}

TEST_F(MftEntry, CsvHeaderIsPrintedOnceForAllPaths) {
    const std::string text = run("48", {"-csv", "-base10"}, note);
    const std::string stamps =
        "2021-03-04, 05:06:07.123,2021-03-05, 06:07:08.234,2021-03-06, 07:08:09.345,2021-03-07, "
        "08:09:10.456,,\n";
    EXPECT_EQ(text.substr(text.find('\n') + 1), "file,\\docs\\linked.txt,,4,32,48,1,1," + stamps +
                                                    "file,\\docs\\sub\\linked.txt,,4,32,48,1,1," +
                                                    stamps);
}

TEST_F(MftEntry, EachPathHasItsOwnXmlDocumentAfterOneHead) {
    const std::string xml = dir.file("out.xml");
    EXPECT_EQ(run("48", {"-xml", xml}, note), "");
    const std::string written = support::read_file(xml);
    EXPECT_EQ(written.rfind("quorvel ver: "), 0u);
    // Date, time and timestamps are omitted.
    std::istringstream text(written.substr(written.find("<?xml")));
    std::string outline;
    for (std::string line; std::getline(text, line);)
        outline += line.substr(0, std::min(line.find(" date="), line.find("<dir/>"))) + "\n";
    const auto document = [this](const std::string& path) {
        return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n\n<logdata  umounted_image=\"" +
               dir.file("mft.dd") + "\"\n starting_path=\"" + path + "\"\n<data_entry><directory>" +
               path + "\\</directory>\n<filename>linked.txt</filename>\n</logdata>\n";
    };
    EXPECT_EQ(outline, document("\\docs") + document("\\docs\\sub"));
}

TEST_F(MftEntry, DirectoryWithSeveralPathsIsListedUnderTheFirst) {
    volume.link(46, 40, u"again");
    EXPECT_EQ(
        run("46", {}, note + "\\docs\\again\n\\docs\\sub\\deep\n\nWill output only first path\n"),
        header + dir_row(46, "\\docs\\again\\") + file_row(47, "0", "\\docs\\again\\end.txt"));
}

TEST_F(MftEntry, StreamsOfASubdirectoryAndItsIndex) {
    EXPECT_EQ(
        run("43", {"-indx"}),
        header + dir_row(43, "\\docs\\sub\\") + row(43, "4096", " indx  ", "\\docs\\sub:$I30") +
            dir_row(46, "\\docs\\sub\\deep\\") + file_row(48, "4", "\\docs\\sub\\other name.txt") +
            "                                 44    1            0        "
            "\\docs\\sub\\x&<y>\".txt\n");
}

TEST_F(MftEntry, OrphanFileIsNotListed) {
    // Its parent has no name, so its path does not reach the root.
    volume.entry(50).standard_information().flags(3);
    volume.entry(51).standard_information().file_name(50, u"orphan").data("1");
    EXPECT_EQ(run("51"), "");
}

TEST_F(MftEntry, OrphanDirectoryListsTheDirectoryArgument) {
    volume.entry(50).standard_information().flags(3);
    volume.directory(50, u"orphan", 51);
    EXPECT_EQ(run("51"), header +
                             "2021-03-05 06:07:08.234           5    5                dir  \\\n" +
                             dir_row(40, "\\docs\\") + ads_row(40, "5", "\\docs:note"));
}

TEST_F(MftEntry, DeletedFileStillInItsDirectoryIndexIsListed) {
    volume.file(40, u"gone", 50).data("12").flags(0);
    EXPECT_EQ(run("50"), header + file_row(50, "2", "\\docs\\gone"));
}

TEST_F(MftEntry, DeletedFileInNoDirectoryIndexIsNotFound) {
    volume.entry(50).standard_information().file_name(40, u"gone").data("12").flags(0);
    EXPECT_EQ(run("50"), "");
}

TEST_F(MftEntry, EntryWithoutARecordOrANameEndsTheRun) {
    volume.file(40, u"torn", 50).keyword("XXXX");
    volume.file(40, u"nameless", 51).remove(support::type::file_name);
    expect_unresolved("50");
    expect_unresolved("51");
    expect_unresolved("99999999");
}

TEST_F(MftEntry, FailedEntryCreatesNoXmlFile) {
    const std::string xml = dir.file("out.xml");
    const support::program_result result = support::run_built_program(
        QUORVEL_PROGRAM,
        {"-image", volume.save(dir.file("mft.dd")), "-mft", "99999999", "-xml", xml});
    EXPECT_EQ(result.status, 255);
    EXPECT_FALSE(support::file_exists(xml));
}

TEST_F(MftEntry, PathsAreBareWithFilepathOnly) {
    const support::program_result result = support::run_built_program(
        QUORVEL_PROGRAM,
        {"-image", volume.save(dir.file("mft.dd")), "-mft", "48", "-filepath_only"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.standard_error, note + e2e::terminal_clearing);
    EXPECT_EQ(result.standard_output, "\\docs\\linked.txt\n\\docs\\sub\\linked.txt\n");
}

TEST_F(MftEntry, DirectoryArgumentIsThePrefixOfThePaths) {
    EXPECT_EQ(run("41", {"c:/"}), header + file_row(41, "3", "c:\\docs\\a,b|c.txt"));
    EXPECT_EQ(run("41", {"x:/y"}), header + file_row(41, "3", "x:\\docs\\a,b|c.txt"));
    EXPECT_EQ(run("41", {"\\docs"}), "");  // "\docsdocs\..." does not exist
}

TEST_F(MftEntry, FiltersAndLevelsApply) {
    EXPECT_EQ(run("41", {"-filter", "*.exe"}), "no items\n\n");
    EXPECT_EQ(run("46", {"-filter", "*.exe"}), header + dir_row(46, "\\docs\\sub\\deep\\"));
}

}  // namespace

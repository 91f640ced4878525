// System calls that fail: the complete output for the user, and an end to every run.
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "e2e/system_faults.h"
#include "e2e/whole_run.h"
#include "support/ntfs_image.h"
#include "support/temp_dir.h"
#include "support/vmdk_image.h"

namespace {

using e2e::reported;
using e2e::status_failed;
using e2e::system_fault;
using e2e::terminal_clearing;
using e2e::whole_run;
using e2e::with_faults;
using words = std::vector<std::string>;

// \dir (40), with its index in a block and the files a to e (64 to 68).
class SystemFaults : public testing::Test {
protected:
    SystemFaults() {
        m_volume.directory(5, u"dir", 40);
        m_volume.index(40).in_blocks();
        for (std::uint64_t i = 0; i < 5; ++i) {
            m_volume.file(40, std::u16string(1, static_cast<char16_t>(u'a' + i)), 64 + i).data("x");
        }
        m_image = m_volume.save(m_dir.file("volume.dd"));
    }
    void SetUp() override {
        if (e2e::takes_no_faults()) GTEST_SKIP() << "this runner's own calls would fail";
    }

    static std::string paths(const std::string& letters) {
        std::string text = "\\dir\\\n";
        for (const char letter : letters)
            text += std::string("\\dir\\") + letter + "\n";
        return text;
    }
    static std::string rows(const std::string& letters) {
        std::string text = e2e::text_header + e2e::directory_row(40, "\\dir\\");
        for (const char letter : letters) {
            text += e2e::file_row(64 + static_cast<std::uint64_t>(letter - 'a'), 1,
                                  std::string("\\dir\\") + letter);
        }
        return text;
    }
    words listing(const words& more = {}) const {
        words arguments = {"\\dir", "-image", m_image};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return arguments;
    }
    // Affects reads of one record of the image.
    system_fault record_fault(std::uint64_t number, const std::string& effect) const {
        const auto position = static_cast<std::int64_t>(m_volume.record_pos(number));
        return {.call = "read",
                .path = "volume.dd",
                .effect = effect,
                .offset = position,
                .end = position + 1024};
    }
    void expect_paths(const std::vector<system_fault>& faults, const std::string& text) const {
        whole_run(listing({"-filepath_only"}), with_faults(faults))
            .expect_bare(0, text, terminal_clearing);
    }

    support::temp_dir m_dir;
    support::ntfs_image m_volume;
    std::string m_image;
};

// --- reads of the source ---

TEST_F(SystemFaults, WithoutAFaultEverythingIsListed) {
    expect_paths({}, paths("abcde"));
    whole_run(listing(), with_faults({})).expect(0, rows("abcde"), terminal_clearing);
}

TEST_F(SystemFaults, RecordThatCannotBeReadLosesItsRow) {
    for (const char* effect : {"EIO", "EINTR", "nothing"}) {
        SCOPED_TRACE(effect);
        expect_paths({record_fault(66, effect)}, paths("abde"));
        whole_run(listing(), with_faults({record_fault(66, effect)}))
            .expect(0, rows("abde"), terminal_clearing);
    }
}

// A record is read once, and missing bytes are zero. The attributes are in the first half.
TEST_F(SystemFaults, RecordOfAShortReadIsListedAsFarAsItWasRead) {
    for (const char* effect : {"less", "half"})
        expect_paths({record_fault(66, effect)}, paths("abcde"));
}

TEST_F(SystemFaults, DirectoryThatCannotBeReadIsNotFound) {
    for (const std::uint64_t directory : {std::uint64_t{5}, std::uint64_t{40}}) {
        expect_paths({record_fault(directory, "EIO")}, "");
        whole_run(listing(), with_faults({record_fault(directory, "EIO")}))
            .expect(0, "", terminal_clearing);
    }
}

TEST_F(SystemFaults, SourceThatCannotBeReadHasNoPartitions) {
    const system_fault fault{.call = "read", .path = "volume.dd", .effect = "EIO"};
    whole_run(listing(), with_faults({fault}))
        .expect(status_failed, "", reported("couldn't find any partitions on disk\n"));
    whole_run(listing({"-filepath_only"}), with_faults({fault}))
        .expect_bare(status_failed, "", reported("couldn't find any partitions on disk\n"));
}

// The scan of the disk cannot read the first sector. The test for a bare volume reads it again,
// finds one and uses it from the start, regardless of the requested offset.
TEST_F(SystemFaults, BareVolumeIsFoundAfterAFailedFirstRead) {
    for (const char* offset : {"0", "0x200"}) {
        whole_run(listing({"-filepath_only", "-offset", offset}),
                  with_faults({{.call = "read", .path = "volume.dd", .effect = "EIO", .last = 1}}))
            .expect_bare(0, paths("abcde"), terminal_clearing);
    }
}

// Whichever read fails, the listing is a subset of the complete one.
TEST_F(SystemFaults, AnySingleFailedReadOnlyLosesRows) {
    std::set<std::string> valid;
    std::istringstream all(paths("abcde"));
    for (std::string line; std::getline(all, line);)
        valid.insert(line);
    for (const char* effect : {"EIO", "half", "nothing"}) {
        for (std::uint64_t number = 1; number <= 24; ++number) {
            SCOPED_TRACE(effect + std::to_string(number));
            const whole_run run(listing({"-filepath_only"}), with_faults({{.call = "read",
                                                                           .path = "volume.dd",
                                                                           .effect = effect,
                                                                           .first = number,
                                                                           .last = number}}));
            EXPECT_TRUE(run.status() == 0 || run.status() == status_failed) << run.status();
            EXPECT_TRUE(run.errors().ends_with(terminal_clearing));
            std::istringstream lines(run.out());
            for (std::string line; std::getline(lines, line);)
                EXPECT_EQ(valid.count(line), 1u) << line;
        }
    }
}

// --- opening ---

TEST_F(SystemFaults, SourceThatCannotBeOpenedIsInvalid) {
    for (const char* effect : {"EACCES", "EMFILE"}) {
        whole_run(listing(), with_faults({{.call = "open", .path = "volume.dd", .effect = effect}}))
            .expect(status_failed, "", reported("invalid image: " + m_image + "\n"));
    }
}

// The second open comes after the check of the image: the path is skipped without a message.
TEST_F(SystemFaults, SourceThatCannotBeReopenedListsNothing) {
    const system_fault fault{.call = "open", .path = "volume.dd", .effect = "EACCES", .first = 2};
    whole_run(listing(), with_faults({fault})).expect(0, "", terminal_clearing);
    expect_paths({fault}, "");
}

// A volume is opened for the check, for the paths of the entry, to find out whether it is a
// directory, and for the listing of each path.
TEST_F(SystemFaults, EachOpenForAnEntryFailsByItself) {
    m_volume.directory(5, u"links", 41);
    m_volume.file(40, u"file", 70).data("x");
    m_volume.link(70, 41, u"file");
    m_volume.directory(40, u"folder", 71);
    m_volume.link(71, 41, u"folder");
    const std::string image = m_volume.save(m_dir.file("linked.dd"));
    const std::string invalid = reported("invalid image: " + image + "\n");
    const std::string unresolved = reported("couldn't resolve MFT entry to filepath");
    const std::string note = "\n[Note: this MFT entry has multiple possible paths]\n\n";
    const std::string noted = note + terminal_clearing;
    const std::string first_only = note +
                                   "\\dir\\folder\n\\links\\folder\n\nWill output only first "
                                   "path\n" +
                                   terminal_clearing;
    const struct {
        const char* entry;
        std::uint64_t failing;  // open, counted from 1
        int status;
        std::string paths, errors;
    } cases[] = {
        {"70", 9, 0, "\\dir\\file\n\\links\\file\n", noted},
        {"70", 1, status_failed, "", invalid},
        {"70", 2, status_failed, "", unresolved},
        {"70", 3, 0, "\\dir\\file\n\\links\\file\n", noted},
        {"70", 4, 0, "\\links\\file\n", noted},  // the run continues with the next path
        {"70", 5, 0, "\\dir\\file\n", noted},
        {"71", 9, 0, "\\dir\\folder\\\n", first_only},
        {"71", 3, 0, "\\dir\\folder\\\n\\links\\folder\\\n", noted},  // treated as a file
        {"71", 4, 0, "", first_only},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.failing);
        whole_run({"-image", image, "-mft", c.entry, "-filepath_only"},
                  with_faults({{.call = "open",
                                .path = "linked.dd",
                                .effect = "EACCES",
                                .first = c.failing,
                                .last = c.failing}}))
            .expect_bare(c.status, c.paths, c.errors);
    }
}

TEST_F(SystemFaults, DriveThatCannotSeekFailsWithoutAnOpenError) {
    const whole_run made(
        {"\\dir", "-drivenum", "19"},
        with_faults({{.call = "open", .path = "/dev/sdt", .effect = "unseekable"}}));
    made.expect(status_failed, "",
                "problems accessing physical disk #19, aborting \n" + terminal_clearing);
}

TEST_F(SystemFaults, ResultsFileThatCannotBeOpenedEndsTheRun) {
    const std::string file = m_dir.file("out.txt");
    const whole_run tested(listing({"-out", file}),
                           with_faults({{.call = "open", .path = "out.txt", .effect = "EROFS"}}));
    tested.expect(status_failed, "", "prob opening file " + file + " for output, aborting\n");
    const whole_run made(
        listing({"-out", file}),
        with_faults({{.call = "open", .path = "out.txt", .effect = "EMFILE", .first = 2}}));
    made.expect_bare(status_failed, "",
                     reported("prob opening results file: " + file + " for writing"));
}

TEST_F(SystemFaults, XmlFileThatCannotBeOpenedDoesNotRedirectTheReport) {
    const words arguments = listing({"-xml", m_dir.file("out.xml")});
    const whole_run run(arguments,
                        with_faults({{.call = "open", .path = "out.xml", .effect = "EACCES"}}));
    EXPECT_EQ(run.status(), 0);
    EXPECT_TRUE(run.out().ends_with("</logdata>\n")) << run.out();
    EXPECT_EQ(run.errors(), terminal_clearing);
    EXPECT_FALSE(support::file_exists(m_dir.file("out.xml")));
}

TEST_F(SystemFaults, TraceThatCannotBeOpenedIsSilent) {
    whole_run(listing({"-diags", m_dir.file("trace.txt")}),
              with_faults({{.call = "open", .path = "trace.txt", .effect = "EMFILE"}}))
        .expect(0, rows("abcde"), terminal_clearing);
}

// --- writing ---

const std::vector<words> report_forms = {
    {}, {"-csv"}, {"-alldates"}, {"-xml", ""}, {"-filepath_only"}};

TEST_F(SystemFaults, ResultsFileOnAFullDeviceIsEmptyAndTheRunContinues) {
    const std::string file = m_dir.file("out.txt");
    for (const char* effect : {"ENOSPC", "EIO", "EINTR"}) {
        for (words form : report_forms) {
            form.insert(form.end(), {"-out", file});
            whole_run(listing(form),
                      with_faults({{.call = "write", .path = "out.txt", .effect = effect}}))
                .expect_bare(0, "", terminal_clearing);
            EXPECT_EQ(support::read_file(file), "");
        }
    }
}

// A short write is not detected. Each row is written separately.
TEST_F(SystemFaults, ResultsFileLosesTheRestOfAShortWrite) {
    const std::string file = m_dir.file("out.txt");
    const whole_run run(listing({"-filepath_only", "-out", file}),
                        with_faults({{.call = "write", .path = "out.txt", .effect = "half"}}));
    run.expect_bare(0, "", terminal_clearing);
    std::string halves;
    std::istringstream lines(paths("abcde"));
    for (std::string line; std::getline(lines, line);)
        halves += line.substr(0, (line.size() + 1) / 2);
    EXPECT_EQ(support::read_file(file), halves);
}

TEST_F(SystemFaults, XmlFileAndTraceOnAFullDeviceAreSilent) {
    const std::string xml = m_dir.file("out.xml");
    const whole_run run(listing({"-xml", xml, "-diags", m_dir.file("trace.txt")}),
                        with_faults({{.call = "write", .path = "out.xml", .effect = "ENOSPC"},
                                     {.call = "write", .path = "trace.txt", .effect = "ENOSPC"}}));
    run.expect(0, "", terminal_clearing);
    EXPECT_EQ(support::read_file(xml), "");
    EXPECT_EQ(support::read_file(m_dir.file("trace.txt")), "");
}

TEST_F(SystemFaults, StandardOutputThatCannotBeWrittenEndsTheRunNormally) {
    for (const char* effect : {"ENOSPC", "EPIPE", "EIO"}) {
        for (const words& form : report_forms) {
            whole_run(listing(form),
                      with_faults({{.call = "write", .path = "1", .effect = effect}}))
                .expect_bare(0, "", terminal_clearing);
        }
    }
}

TEST_F(SystemFaults, ShortWriteToStandardOutputLosesNothing) {
    for (const char* effect : {"half", "less"}) {
        // Only the first write is short: half of a last byte would be nothing, again and again.
        whole_run(
            listing(),
            with_faults({{.call = "write", .path = "1", .effect = effect, .first = 1, .last = 1}}))
            .expect(0, rows("abcde"), terminal_clearing);
    }
}

// --- standard streams redirected by a shell ---

class ShellFaults : public SystemFaults {
protected:
    void SetUp() override {}

    // Runs `script`, in which "$@" is the command of a listing with `options`.
    support::program_result shell(const std::string& script, const words& options) const {
        return shell_of(script, listing(options));
    }

    // Like shell() for any command.
    static support::program_result shell_of(const std::string& script, const words& arguments) {
        words line = {"-c", script, "sh"};
        const words command = support::built_program(QUORVEL_PROGRAM);
        line.insert(line.end(), command.begin(), command.end());
        line.insert(line.end(), arguments.begin(), arguments.end());
        support::program_options options_of_run;
        options_of_run.time_limit = 100;
        return support::run_program("/bin/sh", line, options_of_run);
    }
};

TEST_F(ShellFaults, FullDeviceAsStandardOutputEndsTheRunNormally) {
    if (::access("/dev/full", W_OK) != 0) GTEST_SKIP() << "there is no /dev/full here";
    for (const words& form : report_forms) {
        const support::program_result result = shell("\"$@\" >/dev/full", form);
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.standard_error, terminal_clearing);
    }
}

TEST_F(ShellFaults, FullDeviceAsXmlFileEndsTheRunNormally) {
    if (::access("/dev/full", W_OK) != 0) GTEST_SKIP() << "there is no /dev/full here";
    const std::string link = m_dir.file("full.xml");
    ASSERT_EQ(::symlink("/dev/full", link.c_str()), 0);
    const support::program_result result = shell("\"$@\"", {"-xml", link});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.standard_error, terminal_clearing);
}

TEST_F(ShellFaults, ClosedStandardOutputEndsTheRunNormally) {
    for (const words& form : report_forms) {
        const support::program_result result = shell("\"$@\" >&-", form);
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.standard_output, "");
        EXPECT_EQ(result.standard_error, terminal_clearing);
    }
}

// Output to a closed stream does not end up in the file that is opened next.
TEST_F(ShellFaults, ClosedStandardStreamsDoNotAffectTheOutputFiles) {
    const std::string file = m_dir.file("out.txt"), trace = m_dir.file("trace.txt");
    const words options = {"-filepath_only", "-out", file, "-diags", trace};
    for (const char* script : {"\"$@\"", "\"$@\" >&-", "\"$@\" 2>&-", "\"$@\" <&- >&- 2>&-"}) {
        SCOPED_TRACE(script);
        EXPECT_EQ(shell(script, options).status, 0);
        EXPECT_EQ(support::read_file(file), paths("abcde"));
        EXPECT_TRUE(support::read_file(trace).starts_with("->" QUORVEL_PROGRAM " \\dir "));
        EXPECT_TRUE(support::read_file(trace).ends_with("inode found for seg: dir : 0x28\n"));
        EXPECT_EQ(shell(script, {"-csv", "-diags", trace}).status, 0);
        EXPECT_EQ(support::read_file(trace).find("quorvel ver"), std::string::npos);
    }
}

TEST_F(ShellFaults, ClosedStandardInputHasNoEffect) {
    const support::program_result result = shell("\"$@\" <&-", {"-filepath_only"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.standard_output, paths("abcde"));
}

// A sanitized program probes addresses through a pipe.
#if defined(__SANITIZE_ADDRESS__)
constexpr std::size_t descriptors_of_checks = 2;
#else
constexpr std::size_t descriptors_of_checks = 0;
#endif

// Returns a script that runs a command with descriptors for the standard streams and `files` files.
// It first closes other open descriptors, since ctest leaves its log open for its tests.
std::string with_room_for(std::size_t files) {
    return "exec 3>&- 4>&- 5>&- 6>&- 7>&- 8>&- 9>&-; ulimit -n " +
           std::to_string(3 + files + descriptors_of_checks) + "; exec \"$@\"";
}

// There are only enough descriptors for the files of one source, so each source is closed before it
// is opened again.
TEST_F(ShellFaults, SourceIsClosedBeforeItIsOpenedAgain) {
    if (!support::runner().empty()) GTEST_SKIP() << "the runner has files of its own open";
    const support::program_result entry =
        shell_of(with_room_for(1), {"-image", m_image, "-mft", "64", "-filepath_only", "-quiet"});
    EXPECT_EQ(entry.standard_error, "");
    EXPECT_EQ(entry.standard_output, "\\dir\\a\n");

    const support::vmdk_image disk = support::vmdk_image().content(m_volume.build());
    const words chain = support::save_vmdk_chain(m_dir.path(), "disk", {disk, disk});
    const support::program_result listed =
        shell_of(with_room_for(2), {"\\dir", "-image", m_image, "-vmdk", chain[0] + "|" + chain[1],
                                    "-filepath_only", "-quiet"});
    EXPECT_EQ(listed.standard_error, "");
    EXPECT_EQ(listed.standard_output, paths("abcde"));
}

// If the reader of a pipe ends early, the run is ended by a signal or completes first.
TEST_F(ShellFaults, PipeThatIsClosedEndsTheRun) {
    const support::program_result first =
        shell("{ \"$@\"; echo \"status $?\" >&2; } | head -1", {"-filepath_only"});
    EXPECT_EQ(first.standard_output, "\\dir\\\n");
    const std::string by_itself = terminal_clearing + "status 0\n";
    EXPECT_TRUE(first.standard_error == by_itself ||
                first.standard_error == "status " + std::to_string(128 + SIGPIPE) + "\n")
        << first.standard_error;

    // Nobody reads the pipe. With the signal ignored the write fails, which affects only the
    // report.
    const support::program_result ignored = shell(
        "trap '' PIPE; { sleep 1; \"$@\"; echo \"status $?\" >&2; } | true", {"-filepath_only"});
    EXPECT_EQ(ignored.standard_error, by_itself);
    const support::program_result killed =
        shell("{ sleep 1; \"$@\"; echo \"status $?\" >&2; } | true", {"-filepath_only"});
    EXPECT_TRUE(killed.standard_error.ends_with("status " + std::to_string(128 + SIGPIPE) + "\n"))
        << killed.standard_error;
}

}  // namespace

// Each read, open, write, stat, seek and hint of a run fails in turn: the run ends, its status and
// its messages are known, and the report lacks rows at most.
#include "e2e/each_call.h"

#include <algorithm>
#include <set>
#include <sstream>

#include "e2e/whole_run.h"
#include "support/ntfs_image.h"
#include "support/partition_image.h"
#include "support/vmdk_image.h"

namespace {

using e2e::reported;
using e2e::status_failed;
using e2e::system_fault;
using e2e::terminal_clearing;
using e2e::whole_run;
using e2e::with_each_call;
using words = std::vector<std::string>;

// A kind of run. If `output` is set, the report is in the file of this name.
struct kind_of_run {
    std::string name;
    words options;
    std::string output;
};

std::ostream& operator<<(std::ostream& out, const kind_of_run& kind) { return out << kind.name; }

const std::vector<kind_of_run> kinds = {
    {"Text", {}, ""},
    {"CsvFile", {"-csv", "-out"}, "out.csv"},
    {"XmlFile", {"-alldates", "-xml"}, "out.xml"},
    {"Entry", {"-mft", "40"}, ""},
    {"Chain", {"-offset", "0x100000", "-vmdk"}, ""},
};

std::vector<std::string> lines_of(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

// Returns the report without the time of the run.
std::string timeless(std::string report) {
    for (const auto& [start, end] : {std::pair{"run time: ", "\n"}, std::pair{" date=\"", ">"}}) {
        const std::size_t at = report.find(start);
        if (at != std::string::npos) report.erase(at, report.find(end, at) - at);
    }
    return report;
}

// Returns true if `part` can be made of `whole` by leaving lines out.
bool lacks_lines_only(const std::string& part, const std::string& whole) {
    const std::vector<std::string> all = lines_of(whole);
    auto at = all.begin();
    for (const std::string& line : lines_of(part)) {
        at = std::find(at, all.end(), line);
        if (at == all.end()) return false;
        ++at;
    }
    return true;
}

// Returns true if `part` is `whole`, or a start and an end of it.
bool lacks_one_piece(const std::string& part, const std::string& whole) {
    if (part.size() > whole.size()) return false;
    const auto same_start = std::mismatch(part.begin(), part.end(), whole.begin()).first;
    const auto same_end = std::mismatch(part.rbegin(), part.rend(), whole.rbegin()).first;
    return (same_start - part.begin()) + (same_end - part.rbegin()) >=
           static_cast<std::ptrdiff_t>(part.size());
}

class EachCall : public testing::TestWithParam<kind_of_run> {
protected:
    // \dir (40) has its index in a block. A file has a stream.
    EachCall() {
        support::ntfs_image volume;
        volume.directory(5, u"dir", 40);
        volume.index(40).in_blocks();
        volume.directory(40, u"sub", 41);
        volume.file(40, u"a", 64).data("x").stream(u"s", "stream");
        volume.file(41, u"b", 65).data("x");
        const support::byte_image content = volume.build();
        m_image = content.save(m_dir.file("volume.dd"));
        support::byte_image disk(3 << 20);
        support::put_boot_record(disk, 0, {{7, 2048, 4096}});
        support::embed(disk, 1 << 20, content);
        m_chain = support::save_vmdk_chain(
            m_dir.path(), "chain",
            {support::vmdk_image().content(disk), support::vmdk_image().content(disk)});

        m_arguments = GetParam().options;
        if (!GetParam().output.empty()) m_arguments.push_back(output());
        if (GetParam().name == "Chain") m_arguments.push_back(m_chain[0] + "|" + m_chain[1]);
        if (GetParam().name != "Entry") m_arguments.insert(m_arguments.begin(), "\\dir");
        m_arguments.insert(m_arguments.end(), {"-image", m_image, "-level", "9"});
    }
    void SetUp() override {
        if (e2e::takes_no_faults()) GTEST_SKIP() << "this runner's own calls would fail";
        m_whole = report_of(run({}));
        ASSERT_NE(m_whole.find("\\dir\\sub\\"), std::string::npos) << m_whole;
    }

    std::string output() const { return m_dir.file(GetParam().output); }
    std::string log() const { return m_dir.file("log"); }

    // Runs the program without files of an earlier run, and checks what each run has in common.
    whole_run run(const support::program_options& options) const {
        std::filesystem::remove(m_dir.file("out.csv"));
        std::filesystem::remove(m_dir.file("out.xml"));
        const whole_run done(m_arguments, options);
        EXPECT_EQ(done.status(), expected_status(done.errors())) << done.errors();
        return done;
    }
    // Returns the report of a run, without its time.
    std::string report_of(const whole_run& done) const {
        const bool in_file = !GetParam().output.empty();
        if (in_file && !support::file_exists(output())) return {};
        return timeless(in_file ? support::read_file(output()) : done.out());
    }
    // Returns the status of a run with these messages, or -1 if it has others.
    int expected_status(const std::string& errors) const {
        const std::string advice =
            "\n\nsuggested array: -vmdk \"" + m_chain[0] + " | " + m_chain[1] + "\"\n";
        const std::set<std::string> failures = {
            reported("invalid image: " + m_image + "\n"),
            reported("invalid image: " + m_chain[0] + "|" + m_chain[1] + "\n"),
            reported("couldn't find any partitions on disk\n"),
            reported("couldn't resolve MFT entry to filepath"),
            "prob opening file " + output() + " for output, aborting\n",
            reported("prob opening results file: " + output() + " for writing"),
            m_chain[0] + " can't be opened" + advice,
            m_chain[1] + " can't be opened" + advice,
            "Child VMDK CID errors, aborting" + advice,
            "invalid disk collection of snaps \n\n",
        };
        if (errors == terminal_clearing) return 0;
        return failures.count(errors) != 0 ? status_failed : -1;
    }
    // The report of each run lacks lines at most.
    void expect_lost_lines(const system_fault& fault) {
        const std::uint64_t calls =
            with_each_call(fault, log(), [&](const support::program_options& options) {
                const std::string report = report_of(run(options));
                EXPECT_TRUE(lacks_lines_only(report, m_whole)) << report;
            });
        EXPECT_GT(calls, 0u) << fault.call;
    }

    support::temp_dir m_dir;
    std::string m_image;
    std::vector<std::string> m_chain;
    words m_arguments;
    std::string m_whole;
};

TEST_P(EachCall, ReadThatFailsLosesLines) {
    for (const char* effect : {"EIO", "nothing"})
        expect_lost_lines({.call = "read", .path = "*", .effect = effect});
}

TEST_P(EachCall, ReadThatEndsInTheMiddleLosesLines) {
    expect_lost_lines({.call = "read", .path = "*", .effect = "half"});
}

TEST_P(EachCall, OpenThatFailsLosesLines) {
    expect_lost_lines({.call = "open", .path = "*", .effect = "EMFILE"});
}

TEST_P(EachCall, QuestionForMetadataThatFailsLosesLines) {
    expect_lost_lines({.call = "stat", .path = "*", .effect = "EIO"});
}

TEST_P(EachCall, SeekThatFailsLosesLines) {
    expect_lost_lines({.call = "seek", .path = "*", .effect = "EIO"});
}

// A failed write of a report is its last one. A short one loses its rest, if it is to a file.
TEST_P(EachCall, WriteThatFailsLosesOnePiece) {
    for (const char* effect : {"EIO", "half", "EINTR"}) {
        const system_fault fault{.call = "write", .path = "*", .effect = effect};
        const std::uint64_t calls =
            with_each_call(fault, log(), [&](const support::program_options& options) {
                const std::string report = report_of(run(options));
                EXPECT_TRUE(lacks_one_piece(report, m_whole)) << report;
            });
        EXPECT_GT(calls, 5u);
    }
}

TEST_P(EachCall, HintThatFailsChangesNothing) {
    const system_fault not_cached{.call = "cached", .path = "*", .effect = "EAGAIN"};
    const auto expect_everything = [&](const support::program_options& options) {
        EXPECT_EQ(report_of(run(options)), m_whole);
    };
    EXPECT_GT(with_each_call(not_cached, log(), expect_everything), 0u);
    const std::uint64_t calls =
        with_each_call({.call = "hint", .path = "*", .effect = "EIO"}, log(),
                       [&](support::program_options options) {
                           const auto all = e2e::with_faults({{}, not_cached}).environment;
                           options.environment["QUORVEL_FAULT_1"] = all.at("QUORVEL_FAULT_1");
                           expect_everything(options);
                       });
    EXPECT_GT(calls, 0u);
}

INSTANTIATE_TEST_SUITE_P(All, EachCall, testing::ValuesIn(kinds),
                         [](const auto& kind) { return kind.param.name; });

}  // namespace

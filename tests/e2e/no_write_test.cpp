// The files that a run opens, creates and deletes: it opens its source for reading only, and
// creates only the outputs named on its command line.
#include <gtest/gtest.h>

#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "e2e/rich_volume.h"
#include "e2e/system_faults.h"
#include "support/partition_image.h"
#include "support/temp_dir.h"
#include "support/vmdk_image.h"

namespace {

using words = std::vector<std::string>;

constexpr std::uint64_t mib = 1024 * 1024;

class NoWrite : public testing::Test {
protected:
    void SetUp() override {
        if (e2e::takes_no_faults()) {
            GTEST_SKIP() << "the files of this runner are not those of the program";
        }
        const support::byte_image volume = e2e::rich_volume().build();
        m_image = volume.save(m_dir.file("image.dd"));
        support::byte_image disk(3 * mib);
        support::put_boot_record(disk, 0, {{7, 2048, 4096}});
        support::embed(disk, mib, volume);
        m_disk = disk.save(m_dir.file("disk.dd"));
        m_chain = support::save_vmdk_chain(
            m_dir.path(), "chain",
            {support::vmdk_image().content(volume), support::vmdk_image().content(volume)});
        m_sources = {m_image, m_disk, m_chain[0], m_chain[1]};
    }

    // Runs the program and checks every file that it opened or changed. Only `outputs` may be
    // written.
    void expect_only(const words& arguments, const std::set<std::string>& outputs) {
        SCOPED_TRACE(testing::PrintToString(arguments));
        const std::string log = m_dir.write("calls.log", "");
        const support::program_result result =
            support::run_built_program(QUORVEL_PROGRAM, arguments, e2e::with_faults({}, log));
        EXPECT_EQ(result.status, 0) << result.standard_error;
        std::istringstream lines(support::read_file(log));
        std::size_t sources_read = 0;
        for (std::string line; std::getline(lines, line);) {
            const std::size_t blank = line.rfind(' ');  // the names here contain none
            const std::string call = line.substr(0, blank);
            const std::string path = line.substr(blank + 1);
            if (call == "open read") {
                sources_read += m_sources.count(path);
            } else {
                EXPECT_EQ(outputs.count(path), 1u) << line;
                EXPECT_TRUE(call.starts_with("open write") || call == "remove") << line;
            }
        }
        EXPECT_GT(sources_read, 0u) << "the library was not loaded";
        for (const std::string& output : outputs)
            EXPECT_TRUE(support::file_exists(output)) << output;
    }

    support::temp_dir m_dir;
    std::string m_image, m_disk;
    std::vector<std::string> m_chain;
    std::set<std::string> m_sources;
};

TEST_F(NoWrite, EveryFormAndEverySource) {
    const std::string out = m_dir.file("out.txt");
    const std::string xml = m_dir.file("out.xml");
    const std::string trace = m_dir.file("trace.txt");
    struct form {
        words options;
        std::set<std::string> outputs;
    };
    const std::vector<form> forms = {
        {{}, {}},
        {{"-csv"}, {}},
        {{"-alldates", "-indx", "-objid"}, {}},
        {{"-filepath_only"}, {}},
        {{"-xml", ""}, {}},
        {{"-xml", xml}, {xml}},
        {{"-out", out}, {out}},
        {{"-out", out, "-csv", "-append"}, {out}},
        {{"-out", out, "-filepath_only", "-diags", trace, "-profile"}, {out, trace}},
    };
    const std::vector<words> sources = {
        {"-image", m_image},
        {"-image", m_disk, "-offset", "0x100000"},
        {"-image", m_image, "-vmdk", m_chain[0] + "|" + m_chain[1]},
        {"-image", m_image, "-mft", "48"},
    };
    for (const form& form : forms) {
        for (const words& source : sources) {
            words arguments = {"\\docs", "-level", "9"};
            if (source.back() == "48") arguments.clear();
            arguments.insert(arguments.end(), source.begin(), source.end());
            arguments.insert(arguments.end(), form.options.begin(), form.options.end());
            expect_only(arguments, form.outputs);
        }
    }
}

TEST_F(NoWrite, DriveIsOpenedForReadingOnly) {
    const std::string log = m_dir.write("calls.log", "");
    support::run_built_program(QUORVEL_PROGRAM, {"\\docs", "-drivenum", "19"},
                               e2e::with_faults({}, log));
    const std::string calls = support::read_file(log);
    EXPECT_NE(calls.find("open read /dev/sdt\n"), std::string::npos) << calls;
    EXPECT_EQ(calls.find("write"), std::string::npos) << calls;
}

TEST_F(NoWrite, SourcesKeepTheirContent) {
    const std::string before = support::read_file(m_disk);
    expect_only({"-image", m_disk, "-offset", "0x100000", "-level", "9", "-alldates"}, {});
    EXPECT_TRUE(support::read_file(m_disk) == before);
}

}  // namespace

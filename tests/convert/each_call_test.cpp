// Each read, open, write, stat, seek and change of a name fails in turn: the output is whole, or
// there is an error and no output.
#include "e2e/each_call.h"

#include "convert/convert_run.h"
#include "support/ntfs_image.h"

namespace {

using convert_run::convert;
using convert_run::words;
using e2e::system_fault;
using support::files_in;
using testing::HasSubstr;

class ConvertEachCall : public testing::Test {
protected:
    void SetUp() override {
        if (e2e::takes_no_faults()) GTEST_SKIP() << "this runner's own calls would fail";
    }

    // Converts `source` with each fault. Expects the output of a run without a fault, or an error
    // and no output. With `may_lack_rows`, the output may be another one.
    void expect_whole_or_nothing(const std::string& format, const words& source,
                                 bool may_lack_rows) const {
        SCOPED_TRACE(format);
        std::filesystem::remove(m_output);
        words arguments = {"--to", format, "--output", m_output};
        arguments.insert(arguments.end(), source.begin(), source.end());
        ASSERT_EQ(convert(arguments, e2e::with_faults({})).status, 0);
        const std::string whole = support::read_file(m_output);
        const system_fault faults[] = {
            {"read", "*", "EIO"},  {"read", "*", "half"},   {"open", "*", "EMFILE"},
            {"write", "*", "EIO"}, {"write", "*", "half"},  {"write", "*", "EINTR"},
            {"stat", "*", "EIO"},  {"seek", "*", "ESPIPE"}, {"change", "*", "EIO"},
        };
        for (const system_fault& fault : faults) {
            e2e::with_each_call(fault, m_dir.file("log"), [&](const auto& options) {
                std::filesystem::remove(m_output);
                const auto run = convert(arguments, options);
                EXPECT_EQ(run.standard_output, "");
                EXPECT_EQ(support::file_exists(m_output), run.status == 0);
                if (run.status != 0) {
                    EXPECT_EQ(run.status, 1);
                    EXPECT_THAT(run.standard_error, HasSubstr("quorvel-convert: "));
                } else if (!may_lack_rows) {
                    EXPECT_TRUE(support::read_file(m_output) == whole);
                }
                for (const std::string& name : files_in(m_dir.path()))
                    EXPECT_EQ(name.find(".part"), std::string::npos) << name;
            });
        }
    }

    support::temp_dir m_dir;
    std::string m_output = m_dir.file("output");
};

TEST_F(ConvertEachCall, OfAListingInEachFormat) {
    const std::string listing =
        m_dir.write("listing", listing_text::head() + listing_text::header() + listing_text::row());
    for (const char* format : {"body", "timeline", "csv", "jsonl", "sqlite", "html"})
        expect_whole_or_nothing(format, {"--input", listing}, false);
}

// On a file system that cannot rename without replacing, the output is linked (the third change)
// before the temporary file is deleted (the fourth). The second fault does not count the call that
// the first one lets fail.
TEST_F(ConvertEachCall, AnOutputWhoseTemporaryFileRemainsIsWhole) {
    const std::string listing =
        m_dir.write("listing", listing_text::head() + listing_text::header() + listing_text::row());
    const auto run =
        convert({"--to", "jsonl", "--output", m_output, "--input", listing},
                e2e::with_faults({{"change", "*", "EINVAL", 2, 2}, {"change", "*", "EIO", 3, 3}}));
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.standard_error, "");
    EXPECT_THAT(support::read_file(m_output), testing::EndsWith("}\n"));
    EXPECT_EQ(files_in(m_dir.path()).size(), 3u);
}

// The calls of quorvel fail as well, and its listing can lack rows.
TEST_F(ConvertEachCall, OfARunOfQuorvel) {
    support::ntfs_image volume;
    volume.file(5, u"a", 64).data("x");
    const std::string image = volume.save(m_dir.file("volume.dd"));
    for (const char* format : {"csv", "sqlite"})
        expect_whole_or_nothing(format, {"--", "-image", image}, true);
}

}  // namespace

#include "run/settings/cmd_params.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <type_traits>

#include "support/temp_dir.h"

namespace {

// Settings with a trace in a temporary file.
class CmdParamsTrace : public testing::Test {
protected:
    CmdParamsTrace() : m_params(std::make_unique<cmd_params>()) {
        m_params->diags_stream = std::make_unique<std::ofstream>(m_path);
        m_params->diags_on = 1;
    }

    std::string trace() const { return support::read_file(m_path); }

    support::temp_dir m_dir;
    std::string m_path = m_dir.file("trace.txt");
    std::unique_ptr<cmd_params> m_params;
};

TEST_F(CmdParamsTrace, LineIsFlushedWithItsEnd) {
    m_params->diag("seg: %s", "docs");
    EXPECT_EQ(trace(), "->seg: docs\n");
    m_params->diag("info: # children [%d]", 12);
    m_params->diag("info: inode found for seg: %s : 0x%llx", "docs", 0x1234ULL);
    EXPECT_EQ(trace(),
              "->seg: docs\n->info: # children [12]\n"
              "->info: inode found for seg: docs : 0x1234\n");
}

TEST_F(CmdParamsTrace, LineIsTruncatedToTheFormatAnd255Characters) {
    const std::string text(400, 'x');
    m_params->diag("%s", text.c_str());  // space for 2 + 256 bytes, including the terminator
    EXPECT_EQ(trace(), "->" + text.substr(0, 257) + "\n");
}

TEST_F(CmdParamsTrace, LineOfMaximumLengthIsNotTruncated) {
    const std::string text(255, 'y');
    m_params->diag("ab%s", text.c_str());  // 4 + 255 characters fit
    EXPECT_EQ(trace(), "->ab" + text + "\n");
}

TEST_F(CmdParamsTrace, WideAsciiIsPrinted) {
    m_params->diag("anal: %S", L"\\docs\\a.txt");
    EXPECT_EQ(trace(), "->anal: \\docs\\a.txt\n");
}

TEST_F(CmdParamsTrace, WideTextOutsideAsciiEndsTheLineThere) {
    m_params->diag("anal: %S", L"\\Gr\u00f6\u00dfe");
    m_params->diag("next");
    EXPECT_EQ(trace(), "->anal: \n->next\n");
}

TEST_F(CmdParamsTrace, NarrowUtf8IsUnchanged) {
    m_params->diag("seg: %s",
                   "gr\xC3\xB6\xC3\x9F"
                   "e");
    EXPECT_EQ(trace(),
              "->seg: gr\xC3\xB6\xC3\x9F"
              "e\n");
}

TEST_F(CmdParamsTrace, NothingIsWrittenIfTheTraceIsOff) {
    m_params->diags_on = 0;
    m_params->diag("seg: %s", "docs");
    EXPECT_EQ(trace(), "");
}

TEST_F(CmdParamsTrace, DestructorClosesTheFile) {
    *m_params->diags_stream << "unflushed";
    m_params.reset();
    EXPECT_EQ(trace(), "unflushed");
}

TEST(CmdParams, TraceWithoutAFileIsSilent) {
    cmd_params params;
    params.diag("seg: %s", "docs");
    params.diags_on = 1;
    params.diag("seg: %s", "docs");
    EXPECT_EQ(params.diags_stream, nullptr);
}

TEST(CmdParams, DestructorIsVirtual) { EXPECT_TRUE(std::has_virtual_destructor_v<cmd_params>); }

TEST(CmdParams, DefaultsAreThoseOfARunWithoutOptions) {
    const cmd_params params;
    EXPECT_EQ(params.command_line, "");
    EXPECT_EQ(params.program_name, "");
    EXPECT_EQ(params.results_file, "");
    EXPECT_EQ(params.date_format, "yyyy-mm-dd");
    EXPECT_EQ(params.time_format, "hh:mm:ss.xxx");
    EXPECT_TRUE(params.date_style.is_zero());
    EXPECT_EQ(params.path_sep_from, '|');
    EXPECT_EQ(params.path_sep_to, ';');
    EXPECT_EQ(params.csv_separator, " | ");
    EXPECT_EQ(params.no_whitespace, 0);
    EXPECT_EQ(params.csv_space_field, 1);
    EXPECT_EQ(params.hex_numbers, 1);
    EXPECT_EQ(params.split_pathfile, 0);
    EXPECT_TRUE(params.vmdk_files.empty());
    EXPECT_EQ(params.vmdk_offset, 0u);
    EXPECT_EQ(params.xml, 0);
    EXPECT_EQ(params.csv, 0);
    EXPECT_EQ(params.list_csvl2t, 0);
    EXPECT_EQ(params.list_csvgen, 0);
    EXPECT_EQ(params.list_bodyfile, 0);
    EXPECT_EQ(params.list_multiline, 0);
    EXPECT_EQ(params.progress_line, 1);
    EXPECT_EQ(params.pair_datetime, 0);
    EXPECT_EQ(params.header_pending, 1);
    EXPECT_EQ(params.diags_on, 0);
    EXPECT_EQ(params.diags_level, 0u);
    EXPECT_EQ(params.diags_stream, nullptr);
    EXPECT_EQ(params.diags_file, "");
    EXPECT_EQ(params.profile, 0);
    EXPECT_EQ(params.signal_text, "");
    EXPECT_TRUE(params.filters.empty());
    EXPECT_EQ(params.time_from_on, 0);
    EXPECT_EQ(params.time_from, 0u);
    EXPECT_EQ(params.time_from_alt, 0u);
    EXPECT_EQ(params.time_to_on, 0);
    EXPECT_EQ(params.time_to, 0u);
    EXPECT_EQ(params.time_to_alt, 0u);
}

}  // namespace

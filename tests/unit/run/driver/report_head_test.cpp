#include "run/driver/report_head.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

namespace {

using words = std::vector<std::string>;

std::string host_name() {
    std::array<char, 1025> name{};
    return gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "<unk>";
}

std::string utc(std::time_t at, const char* format) {
    std::tm fields{};
    gmtime_r(&at, &fields);
    std::array<char, 64> text{};
    std::strftime(text.data(), text.size(), format, &fields);
    return text.data();
}

// Returns the heads that a call between the two times may return.
words possible_heads(const char* date_format, const std::string& command, std::time_t before,
                     std::time_t after) {
    utsname system{};
    uname(&system);
    words heads;
    for (std::time_t at = before; at <= after; ++at) {
        heads.push_back("quorvel ver: 1.45\nrun time: " + utc(at, date_format) +
                        utc(at, " %H:%M:%S") + " [UTC]; host: " + host_name() + "; system: " +
                        system_text(system) + "\n\"command line: " + command + "\"\n");
    }
    return heads;
}

void expect_head(const words& args, const char* date_format, const std::string& command) {
    const std::time_t before = std::time(nullptr);
    const std::string head = report_head(args);
    const std::time_t after = std::time(nullptr) + 1;  // time() uses a coarser clock
    EXPECT_THAT(possible_heads(date_format, command, before, after), testing::Contains(head));
}

TEST(ReportHead, HasThreeLines) { expect_head({"./q", "-csv"}, "%m/%d/%Y", "./q -csv"); }

TEST(ReportHead, QuotesArgumentsWithBlanks) {
    expect_head({"q", "\\my docs"}, "%m/%d/%Y", "q '\\my docs'");
}

TEST(ReportHead, PipeAddsAPrefixToTheCommandLine) {
    expect_head({"q", "-PIPE"}, "%m/%d/%Y", "<filelist> ... | q -PIPE");
    expect_head({"-pipe", "x"}, "%m/%d/%Y", "-pipe x");  // not if it is the program's path
}

TEST(ReportHead, DateHasTheFormatOfTheCommandLine) {
    const struct {
        const char* option;
        const char* strftime_format;
    } cases[] = {
        {"yyyy-mm-dd", "%Y-%m-%d"},
        {"dd-mm-yyyy", "%d-%m-%Y"},
        {"mm/dd/yy", "%m/%d/%y"},
        {"yy/mm/dd", "%y/%m/%d"},
        {"m/d/yy", "%m/%d/%y"},      // rejected as a format of the rows, but used here
        {"MM-DD-YYYY", "%m/%d/%Y"},  // upper-case letters are not fields
        {"", ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.option);
        expect_head({"q", "-DateFormat", c.option, "x"}, c.strftime_format,
                    std::string("q -DateFormat ") + c.option + " x");
    }
}

TEST(ReportHead, DateFormatWithoutValueIsIgnored) {
    expect_head({"q", "-dateformat"}, "%m/%d/%Y", "q -dateformat");
}

TEST(SystemText, JoinsTheFieldsWithoutTheirSemicolons) {
    const struct {
        const char* machine;
        const char* text;
    } cases[] = {
        {"x86_64", "Li ux;#1 SMP  x;6.1;64"}, {"aarch64", "Li ux;#1 SMP  x;6.1;64"},
        {"AMD64", "Li ux;#1 SMP  x;6.1;64"},  {"armv7l", "Li ux;#1 SMP  x;6.1;32"},
        {"", "Li ux;#1 SMP  x;6.1;32"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.machine);
        utsname system{};
        std::strcpy(system.sysname, "Li;ux");
        std::strcpy(system.version, "#1 SMP; x");
        std::strcpy(system.release, "6.1");
        std::strcpy(system.machine, c.machine);
        EXPECT_EQ(system_text(system), c.text);
    }
}

}  // namespace

#include "run/options/common_options.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "run/settings/cmd_params.h"
#include "support/temp_dir.h"

// Valid chains are covered by whole runs.

namespace {

using words = std::vector<std::string>;

struct reading {
    explicit reading(const words& options) {
        args = options;
        args.insert(args.begin(), "q");
        testing::internal::CaptureStderr();
        result = parse_common_options(params, args, "-vmdk");
        messages = testing::internal::GetCapturedStderr();
        args.erase(args.begin());
    }

    cmd_params params;
    words args;
    bool result = false;
    std::string messages;
};

TEST(ParseCommonOptions, WithoutAChainReturnsTheResultOfTheScan) {
    const reading run({"-csv", "\\docs", "-offset", "5", "-ignore_image_size"});
    EXPECT_TRUE(run.result);
    EXPECT_EQ(run.params.csv, 1);
    EXPECT_EQ(run.params.vmdk_offset, 0u);
    EXPECT_EQ(run.args, (words{"\\docs", "-offset", "5", "-ignore_image_size"}));
    EXPECT_FALSE(reading({"-sqlite", "x"}).result);
}

TEST(ParseCommonOptions, ChainAsLastArgumentIsKept) {
    const reading run({"-vmdk"});
    EXPECT_TRUE(run.result);
    EXPECT_EQ(run.args, (words{"-vmdk"}));
}

TEST(ParseCommonOptions, FirstValueIsAListAndFurtherValuesArePaths) {
    const support::temp_dir dir;
    const std::string a = dir.file("a.vmdk");
    const reading run({"-vmdk", a + " | b;c , ", "-VMDK", " d|e ", "-vmdk", "f"});
    EXPECT_FALSE(run.result);
    const std::wstring wide(a.begin(), a.end());
    EXPECT_EQ(run.params.vmdk_files, (std::vector<std::wstring>{wide, L"b", L"c", L" d|e ", L"f"}));
    EXPECT_EQ(run.messages,
              a + " can't be opened\n\nsuggested array: -vmdk \"" + a + " | b | c |  d|e  | f\"\n");
    EXPECT_TRUE(run.args.empty());
}

TEST(ParseCommonOptions, OffsetAppliesToTheChain) {
    const support::temp_dir dir;
    const reading run({"-vmdk", dir.file("a"), "-offset", "0x10000", "-ignore_image_size"});
    EXPECT_FALSE(run.result);
    EXPECT_EQ(run.params.vmdk_offset, 0x10000u);
    EXPECT_EQ(run.args, (words{"-ignore_image_size"}));  // the chain was rejected first
}

TEST(ParseCommonOptions, EmptyListsAreRejectedWithAnEmptyLine) {
    for (const char* list : {"|,;", "", " ", "\xFF"}) {
        SCOPED_TRACE(list);
        const reading run({"-vmdk", list});
        EXPECT_FALSE(run.result);
        EXPECT_EQ(run.messages, "\n");
        EXPECT_TRUE(run.args.empty());
    }
}

TEST(ParseCommonOptions, FurtherValueThatIsNotUtf8IsAnEmptyPath) {
    const support::temp_dir dir;
    const reading run({"-vmdk", "|", "-vmdk", "\xFF"});
    EXPECT_FALSE(run.result);
    EXPECT_EQ(run.params.vmdk_files, (std::vector<std::wstring>{L""}));
    EXPECT_EQ(run.messages, " can't be opened\n\nsuggested array: -vmdk \"\"\n");
}

TEST(ParseCommonOptions, MessageEndsAtANulInAName) {
    // C0 80 is an overlong form of code point 0, which also ends the name when the file is opened.
    const support::temp_dir dir;
    const std::string name = dir.file("missing");
    const reading run({"-vmdk", name + "\xC0\x80.vmdk"});
    EXPECT_FALSE(run.result);
    EXPECT_TRUE(run.messages.starts_with(name + "\nsuggested array: -vmdk \"")) << run.messages;
}

}  // namespace

#include "run/arguments/expand_env.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace {

class ExpandEnv : public testing::Test {
protected:
    void SetUp() override {
        for (const char* name : names)
            unsetenv(name);
        setenv("QL_A", "alpha", 1);
    }
    void TearDown() override { SetUp(), unsetenv("QL_A"); }

    static constexpr const char* names[] = {"QL_A", "QL_B", "QL_L", "QL_M", "QL_E", "K",
                                            "NZ",   "NZq",  "W",    "VSS",  "vss"};
};

const std::string device = "\\\\?\\GLOBALROOT\\Device\\HarddiskVolumeShadowCopy";

TEST_F(ExpandEnv, ReplacesSetVariablesAndKeepsTheRest) {
    const struct {
        const char* name;
        const char* text;
        const char* expanded;
    } cases[] = {
        {"nothing to do", "\\docs", "\\docs"},
        {"empty", "", ""},
        {"whole text", "%QL_A%", "alpha"},
        {"in the middle", "\\x%QL_A%\\y", "\\xalpha\\y"},
        {"twice", "%QL_A%%QL_A%", "alphaalpha"},
        {"names are case-sensitive", "%ql_a%", "%ql_a%"},
        {"not set", "%QL_NOT_SET%", "%QL_NOT_SET%"},
        {"after one that is not set", "%QL_NOT_SET%%QL_A%", "%QL_NOT_SET%alpha"},
        {"a single sign", "100%", "100%"},
        {"two signs and a name", "%%QL_A%", "%%QL_A%"},
        {"two signs around", "%%QL_A%%", "%%QL_A%%"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(expand_env(c.text, false), c.expanded);
    }
}

TEST_F(ExpandEnv, EmptyValueRemovesTheReference) {
    setenv("QL_E", "", 1);
    EXPECT_EQ(expand_env("a%QL_E%b%QL_A%", false), "abalpha");
}

TEST_F(ExpandEnv, ValueIsExpandedAgain) {
    setenv("QL_B", "<%QL_A%>", 1);
    EXPECT_EQ(expand_env("%QL_B%", false), "<alpha>");
}

TEST_F(ExpandEnv, ValueMayCompleteAReference) {
    setenv("QL_B", "%QL", 1);
    EXPECT_EQ(expand_env("%QL_B%_A%", false), "alpha");
}

TEST_F(ExpandEnv, GrowingValueEndsAfter512Characters) {
    setenv("QL_L", "x%QL_L%", 1);
    // Each round adds an "x" before the six characters of the reference.
    EXPECT_EQ(expand_env("%QL_L%", false), std::string(507, 'x') + "%QL_L%");
}

TEST_F(ExpandEnv, LengthIsCheckedBeforeEachSearch) {
    EXPECT_EQ(expand_env(std::string(506, 'x') + "%QL_A%", false), std::string(506, 'x') + "alpha");
    EXPECT_EQ(expand_env(std::string(507, 'x') + "%QL_A%", false),
              std::string(507, 'x') + "%QL_A%");
}

TEST_F(ExpandEnv, ReferenceToItselfIsKept) {
    setenv("QL_L", "%QL_L%", 1);
    EXPECT_EQ(expand_env("%QL_L%\\%QL_A%", false), "%QL_L%\\alpha");
    EXPECT_EQ(expand_env("%QL_L%%QL_A%", false), "%QL_L%alpha");
}

TEST_F(ExpandEnv, MutualReferencesEnd) {
    setenv("QL_L", "%QL_M%", 1);
    setenv("QL_M", "%QL_L%", 1);
    EXPECT_EQ(expand_env("%QL_L%\\%QL_A%", false), "%QL_M%\\alpha");
}

TEST_F(ExpandEnv, EarlierTextMayRecurAfterASkippedReference) {
    setenv("K", "%N", 1);
    setenv("NZq", "%NZ%W%", 1);
    setenv("NZ", "%K%Z%", 1);
    setenv("W", "q%", 1);
    // %NZq%, %NZ%W%, %K%Z%W%, and %NZ%W% again, so %K% is skipped. Then %W% recreates the first
    // text.
    EXPECT_EQ(expand_env("%K%Zq%", false), "%K%Zq%");
}

TEST_F(ExpandEnv, ShadowCopyNameNeedsPermission) {
    EXPECT_EQ(expand_env("%vss%1\\docs", true), device + "1\\docs");
    EXPECT_EQ(expand_env("%VsS%1", true), device + "1");
    EXPECT_EQ(expand_env("%vss%1\\%QL_A%", true), device + "1\\alpha");
    EXPECT_EQ(expand_env("%vss%1", false), "%vss%1");
}

TEST_F(ExpandEnv, VariableNamedVssTakesPrecedence) {
    setenv("vss", "mine", 1);
    EXPECT_EQ(expand_env("%vss%1", true), "mine1");
    EXPECT_EQ(expand_env("%VSS%1", true), device + "1");
}

}  // namespace

#include "run/driver/run_driver.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "unit/run/usage_text.h"

// Whole runs are covered by the end-to-end tests. These tests cover only the result of
// run_program().

namespace {

struct result {
    int status;
    std::string errors;
};

result run_with(const std::vector<const char*>& words) {
    testing::internal::CaptureStderr();
    const int status = run_program(static_cast<int>(words.size()), words.data());
    return {status, testing::internal::GetCapturedStderr()};
}

TEST(Run, NoArgumentsAtAllFail) {
    const result r = run_with({});
    EXPECT_EQ(r.status, -1);
    EXPECT_EQ(r.errors, "");
}

TEST(Run, ProgramWithoutArgumentsPrintsTheHelp) {
    const result r = run_with({"anything"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.errors, usage_text);
}

TEST(Run, NullArgumentIsAnEmptyString) {
    const result r = run_with({nullptr});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.errors, usage_text);
}

TEST(Run, HelpOptionsTakePrecedenceAnywhere) {
    for (const char* word : {"-h", "-help", "/?", "--help", "-HELP"}) {
        SCOPED_TRACE(word);
        const result r = run_with({"q", "-filter", word, "-image"});
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.errors, usage_text);
    }
}

}  // namespace

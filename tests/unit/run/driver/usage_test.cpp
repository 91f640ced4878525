#include "run/driver/usage.h"

#include <gtest/gtest.h>

#include <string>

#include "unit/run/usage_text.h"

namespace {

TEST(Usage, IsPrintedOnStandardError) {
    testing::internal::CaptureStderr();
    usage();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), usage_text);
}

}  // namespace

#include "base/qkassert.h"

#include <gmock/gmock.h>

#include "failed_assertions.h"

namespace {

TEST(AssertTest, NamesTheConditionWithFileAndLineAndAborts) {
    EXPECT_EXIT(QK_ASSERT(1 + 1 == 3), testing::KilledBySignal(SIGABRT),
                "qkassert_test\\.cpp:[0-9]+: Assertion failed: 1 \\+ 1 == 3\n");
}

TEST(AssertTest, RunsOnWhenTheHandlerReturns) {
    FailedAssertions failed;
    QK_ASSERT(2 > 1);
    QK_ASSERT_AS(2 < 1, "some text");
    EXPECT_TRUE(QK_CHECK(2 > 1));
    EXPECT_FALSE(QK_CHECK(2 < 1));
    EXPECT_THAT(failed.take(), testing::ElementsAre("some text", "2 < 1"));
}

}  // namespace

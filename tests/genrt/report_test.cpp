#include "genrt/report.h"

#include <unistd.h>

#include <filesystem>

#include "tests/support/model_test.h"

namespace {

using ActivityReportTest = ModelTest;

void count(kelvo_module& module, const char* name, int record, int changed, int zeroResult) {
    module.qk_pra(name, changed, zeroResult, 1, "text", record, 2);
}

TEST_F(ActivityReportTest, IsNotWrittenWithoutCounters) {
    kelvo_module module("m", "top");
    count(module, "early", 0, 1, 0);
    module.qk_get_scope(false);
    count(module, "early", 0, 1, 0);
    module.qk_pra_info(0, 0);
    kelvo_finish();
    EXPECT_FALSE(std::filesystem::exists("dump.xml"));
}

TEST_F(ActivityReportTest, ListsCountedSignalsNewestScopeFirst) {
    kelvo_module first("m", "first"), second("m", "second");
    first.qk_get_scope(false);
    second.qk_get_scope(false);
    first.qk_pra_info(3, 0);
    {
        kelvo_module gone("m", "gone");
        gone.qk_get_scope(false);
        gone.qk_pra_info(1, 0);
        count(gone, "gone", 0, 1, 1);
    }
    second.qk_pra_info(1, 7);
    count(first, "lost", 0, 1, 1);
    first.qk_pra_info(4, 0);  // more records: all start anew
    first.qk_pra_info(2, 0);  // fewer: nothing
    for (int i = 0; i < 3; ++i) count(first, "a", 1, 0, 1);
    for (int i = 0; i < 2; ++i) count(first, "a", 1, 5, 1);
    count(first, "a", 1, 1, 0);
    count(first, "last", 3, 1, 0);
    count(first, "beyond", 4, 1, 0);
    count(first, "below", -1, 1, 0);
    count(second, "\\x<&>\"", 0, 0, 0);
    kelvo_finish();
    const std::string report =
        "<PRA>\n"
        " <P  m=\"\" id=\"\\x&lt;&amp;&gt;&quot;\"  sz=0 snz=0 nochanges=1 />\n"
        " <P  m=\"\" id=\"a\"  sz=2 snz=1 nochanges=3 />\n"
        " <P  m=\"\" id=\"last\"  sz=0 snz=1 nochanges=0 />\n"
        "</PRA>\n";
    EXPECT_EQ(readFile("dump.xml"), report);
    kelvo_finish();
    EXPECT_EQ(readFile("dump.xml"), report) << "the second writes over the first";
    EXPECT_EQ(said, "");
}

TEST_F(ActivityReportTest, TellsOfFailures) {
    kelvo_module module("m", "top");
    module.qk_get_scope(false);
    module.qk_pra_info(1, 0);
    count(module, "a", 0, 1, 1);
    for (const char* const target : {"/dev/full", "none/dump"}) {
        ASSERT_EQ(symlink(target, "dump.xml"), 0);
        testing::internal::CaptureStderr();
        writeActivityReport();
        EXPECT_THAT(testing::internal::GetCapturedStderr(), testing::StartsWith("pra file: "));
        ASSERT_EQ(unlink("dump.xml"), 0);
    }
}

using ActivityReportDeathTest = ModelTest;

TEST_F(ActivityReportDeathTest, CountersNeedAScope) {
    kelvo_module module("m", "top");
    EXPECT_DEATH(module.qk_pra_info(1, 0), "qk_scope");
}

}  // namespace

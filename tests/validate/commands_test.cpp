// Functions and commands of a comparison. What commands print is in sessions/.
#include "console/console.h"
#include "tests/validate/validate_fixture.h"

namespace {

class CommandsTest : public ValidateTest {
protected:
    /// Runs one command line in a comparison without a trace. @return what it said
    static std::string inComparison(const char* line) {
        QkFileReader& reader = qkLiveModel->reader;
        if (!runningFromVCD) reader.start(false);
        qkLiveModel->console.interactive = true;
        currentPrompt = kValidatePrompt;
        const std::string answer = run(line);
        return answer.empty() && !qk_cli(line) ? "Command not recognised\n" : answer;
    }
};

TEST_F(CommandsTest, FunctionsRefusePatternsAndASecondComparison) {
    inComparison("verbose off");
    EXPECT_EQ(qk_mtc_stimulus("top.*", "x"), 0);
    EXPECT_THAT(said, testing::EndsWith("pattern matching not allowed in 'stimulus' command\n"));
    EXPECT_EQ(qk_mtc(""), 0);
    EXPECT_THAT(said, testing::EndsWith("ZEFT Validate: already running\n"));
}

TEST_F(CommandsTest, OtherNamesOfAStorageAreReportedAtVerbose2) {
    registerNets("alias", {net(0, 1, "low", &model.bus, 7, 0), net(0, 2, "bus", &model.bus, 7, 0)});
    const std::string lines =
        "trace: alias.low is on the storage of top.sub.bus\n"
        "trace: alias.bus is on the storage of top.sub.bus\n";
    for (const char* command : {"trace top.sub.bus", "show top.sub.bus"}) {
        inComparison("verbose 1");
        EXPECT_THAT(inComparison(command), testing::Not(testing::HasSubstr("storage")));
        inComparison("verbose 2");
        EXPECT_THAT(inComparison(command), testing::HasSubstr(lines));
    }
}

TEST_F(CommandsTest, IgnoringEndsAWait) {
    writeTrace("#0\n$dumpvars\n0c\n0e\n0d\nb0 n\n$end\n#5\nb1 n\n#10\nb0 n\n#15\n");
    type({"open ref.vcd"});
    qkLiveModel->reader.start(false);
    QkTrace* const count = name("top.count")->trace;
    QkVCDTrace* const trace = qkLiveModel->reader.vcdModel->traces.add(count, 4);
    trace->setState(WaitingForVCDChange, 5);
    EXPECT_EQ(qk_mtc_ignore("*.count"), 1);
    EXPECT_EQ(waitingToSync, nullptr);
    EXPECT_EQ(trace->nChanges, 1);
    EXPECT_EQ(trace->state, Parked);
    EXPECT_FALSE(isComparable(count));
    EXPECT_EQ(qk_mtc_ignore("*none"), 0);
}

TEST_F(CommandsTest, FunctionsTakeTimesInManyUnits) {
    const QkFileReader& reader = qkLiveModel->reader;
    const struct {
        uint64_t count;
        const char* unit;
        uint64_t ticks;
    } cases[] = {{7, nullptr, 7},
                 {7, "", 7},
                 {7, " us", 7000},
                 {7, "ns", 7},
                 {3, "s", 3'000'000'000},
                 {2, "msec", 2'000'000},
                 {2, "??", 2}};
    for (const auto& c : cases) {
        EXPECT_EQ(qk_mtc_synctime(c.count, c.unit), 1);
        EXPECT_EQ(reader.synctime, c.ticks) << (c.unit ? c.unit : "null");
    }
    const struct {
        double seconds;
        uint64_t ticks;
    } reals[] = {{2.5e-9, 3}, {1e-6, 1000}, {-1, 0}, {1e30, 0}};
    for (const auto& c : reals) {
        EXPECT_EQ(qk_mtc_synctime_real(c.seconds), 1);
        EXPECT_EQ(reader.synctime, c.ticks) << c.seconds;
    }
}

}  // namespace

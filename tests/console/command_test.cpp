// Dispatch and registered commands. What commands print is in sessions/.
#include "console/words.h"
#include "model/live_model.h"
#include "tests/console/console_fixture.h"

namespace {

std::string argumentSeen;
const char* keptArgument = nullptr;

int takeArgument(const char* argument) {
    argumentSeen = argument;
    return 7;
}

int keepArgument(const char* argument) {
    if (!keptArgument) keptArgument = argument;
    return 1;
}

class CommandTest : public ConsoleTest {};

TEST_F(CommandTest, SplitsALineIntoWordAndArgument) {
    qk_register_cmd("probe", "probe", 0, takeArgument);
    const struct {
        const char* line;
        int result;
        const char* argument;
    } cases[] = {
        {"probe", 7, ""},
        {" \t probe \n", 7, ""},
        {"probe   two  words\t ", 7, "two  words"},
        {"probe\v\fx", 7, "x"},
        {"prob", 0, "-"},
        {"probes", 0, "-"},
        {"Probe", 0, "-"},
        {"", 0, "-"},
        {"  \t", 0, "-"},
        {nullptr, 0, "-"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.line ? c.line : "(null)");
        argumentSeen = "-";
        EXPECT_EQ(qk_cli(c.line), c.result);
        EXPECT_EQ(argumentSeen, c.argument);
    }
}

TEST_F(CommandTest, RegisteredCommandsShadowAndLeadTheHelp) {
    QkCommand* const first = qk_register_cmd("ls", "ls of our own", 2, takeArgument);
    std::string name = "second";
    QkCommand* const second = qk_register_cmd(name.c_str(), nullptr, 0, takeArgument);
    QkCommand* const third = qk_register_cmd("hidden", "#hidden", 0, takeArgument);
    name = "xxxxxx";
    EXPECT_NE(first, nullptr) << "the head of the built-in rows";
    EXPECT_NE(second, first);
    EXPECT_NE(third, second);

    EXPECT_EQ(qk_cli("ls top.*"), 7);
    EXPECT_EQ(argumentSeen, "top.*");
    EXPECT_EQ(qk_cli("second"), 7) << "the name was copied";
    EXPECT_EQ(qk_cli("hidden"), 7);
    EXPECT_THAT(run("help"), testing::StartsWith("  ls of our own\n"
                                                 "  help                            this message\n"
                                                 "  ls          [-u|-t]"));
}

TEST_F(CommandTest, AnArgumentOfARegisteredCommandStaysValid) {
    qk_register_cmd("keep", "keep", 0, keepArgument);
    qk_cli("keep the first argument that was given");
    for (int i = 0; i < 100; ++i) qk_cli("keep some other argument of that length");
    EXPECT_STREQ(keptArgument, "the first argument that was given");
}

TEST_F(CommandTest, ALineOfAnyLengthIsOnlyALine) {
    const std::string longWord(100000, 'x');
    EXPECT_EQ(qk_cli(longWord.c_str()), 0);
    EXPECT_EQ(run(("trace " + longWord).c_str()),
              "trace: no signals match pattern: " + longWord + "\n");
    EXPECT_EQ(run(("loadt " + longWord).c_str()),
              "Failed to open command file: " + longWord + "\n");
    EXPECT_EQ(run(("ls " + longWord).c_str()), "No matching signals (in 26 names)\n");
    EXPECT_EQ(run("log x"),
              "ZEFT: qk_logfile_open: qk_prints() has been overridden, logfile not opened\n");
}

TEST_F(CommandTest, ExitLeavesWithStatusZero) {
    static int status = -1;
    qk_exit = [](int s) { status = s; };
    for (const char* word : {"exit", "quit", "q"}) {
        status = -1;
        EXPECT_EQ(qk_cli(word), 0) << word << ": it came back";
        EXPECT_EQ(status, 0) << word;
    }
}

TEST_F(CommandTest, PrintsSlicesFromTheirTopBits) {
    static uint64_t low = 0xfedcba9876543210, high = 0x123456789;
    const QkGRNet nets[] = {net(0, 1, "w", &low, 63, 0, 0x201),
                            net(0, 2, "w", &high, 99, 64, 0x201)};
    const QkGRExtract slices[] = {{0, "down", 0, 69, 0, 1, 10, 0},
                                  {0, "up", 0, 0, 69, 1, 10, 0},
                                  {0, "bit", 1, 0, 0, 1, 12, 0},
                                  {0, "past", 0, 5, 0, 1, 95, 0}};
    kelvo_module module("design", "opt");
    QkRegistration::start(&module, 1, 2, false);
    QkRegistration::addNets(&module, 2, nets);
    QkRegistration::addExtracts(&module, 4, slices);
    QkRegistration::end(&module);
    // 70 bits from bit 10 up: Python's (w >> 10) & (2**70 - 1), its low 6 bits split off.
    EXPECT_EQ(run("ls opt.*"),
              "opt.bit       : 1\n"
              "opt.down      : 6789fedcba9876540c\n"
              "opt.past      : 00\n"
              "opt.up        : 6789fedcba9876540c\n"
              "opt.w         : 123456789fedcba9876543210\n");
    EXPECT_EQ(run("ls -d opt.*"),
              "opt.bit\nopt.down [69:0]\nopt.past [5:0]\nopt.up [0:69]\nopt.w [99:0]\n");
}

TEST_F(CommandTest, AnAssignmentHasTwoWords) {
    const struct {
        const char *text, *left, *right;
    } cases[] = {
        {"top.cpu = /tb/cpu", "top.cpu", "tb.cpu"},
        {"a=b", "a", "b"},
        {" a_$-1  b/c/d e", "a_$-1", "b.c.d"},
        {"a*=b", "a", "b"},
        {"a", "a", ""},
        {"  ", "", ""},
        {"=b", "", "b"},
        {"a/b", "a", "b"},
        {"a = /", "a", ""},
        {"a=b//c/", "a", "b..c."},
        {nullptr, "", ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text ? c.text : "(null)");
        const Assignment split = splitAssignment(c.text);
        EXPECT_EQ(split.left, c.left);
        EXPECT_EQ(split.right, c.right);
    }
}

}  // namespace

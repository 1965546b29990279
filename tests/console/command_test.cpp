// Dispatch, help, registered commands and the log.
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

TEST_F(CommandTest, HelpListsTheRowsThatAreNotHidden) {
    const std::string help = run("help");
    EXPECT_THAT(help, testing::HasSubstr(
                          "  ls -d       [<pattern>]         describe nets, don't show values\n"
                          "  lstofile    <file> <ls options> \"ls\", writing output to a file\n"
                          "  print                           an alias for 'ls'\n"
                          "  continue    [<t>]               continue [until time t]\n"));
    EXPECT_THAT(help, testing::HasSubstr(
                          "  wired       <signal name>       list signals wired to signal name\n"
                          "  break       <var name> == <value>  set a break on equal\n"));
    EXPECT_THAT(
        help, testing::HasSubstr("                      or idle bits        : <width>(<pattern>)\n"
                                 "  set         <var name> = <value>         set value to var\n"));
    EXPECT_THAT(help, testing::EndsWith(
                          "  set         <var name>[index] = <value>  set value to var[index]\n"));
    for (const char* hidden : {"clearsim", "ls -r", "ls -i", "quit"})
        EXPECT_EQ(help.find(hidden), std::string::npos) << hidden;
}

TEST_F(CommandTest, ALineOfAnyLengthIsOnlyALine) {
    const std::string longWord(100000, 'x');
    EXPECT_EQ(qk_cli(longWord.c_str()), 0);
    EXPECT_EQ(run(("trace " + longWord).c_str()),
              "trace: no signals match pattern: " + longWord + "\n");
    EXPECT_EQ(run(("loadt " + longWord).c_str()),
              "Failed to open command file: " + longWord + "\n");
    EXPECT_EQ(run(("ls " + longWord).c_str()), "No matching signals (in 26 names)\n");
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

TEST_F(CommandTest, ClearsimChangesNothing) {
    EXPECT_EQ(run("clearsim 1"), "");
    EXPECT_EQ(qk_cli("clearsim"), 1);
    EXPECT_EQ(model.pc, 0x012f);
}

TEST_F(CommandTest, LogCopiesTextAndTypedLines) {
    const char* const usage =
        "ZEFT: log: no filename supplied\n"
        "ZEFT: log: Usage: log         [+] <file>          copy console output to a file\n";
    EXPECT_EQ(run("log"), "ZEFT: console log file is not open\n");
    EXPECT_EQ(run("log x"),
              "ZEFT: qk_logfile_open: qk_prints() has been overridden, logfile not opened\n");
    useDefaultDelivery();
    EXPECT_EQ(run("log +"), usage);
    EXPECT_EQ(run("log out.log"), "");
    EXPECT_EQ(run("log"), "ZEFT: console log file is: \"out.log\"\n");
    type({"  ls top.clk", "step"});
    run("log close");
    EXPECT_EQ(run("log"), "ZEFT: console log file is not open\n");
    EXPECT_EQ(readFile("out.log"),
              "ZEFT: console log file is: \"out.log\"\n" + std::string(kBanner) + ready("0ns", 0) +
                  "  ls top.clk\ntop.clk   c   : 1\n" + ready("0ns", 0) + "step\n");

    run("log +\tout.log");
    run("clearsim");
    run("bogus");
    run("wired top.bogus");
    run("log close");
    EXPECT_THAT(readFile("out.log"), testing::EndsWith("step\n\nNo matching signals\n"));
    EXPECT_EQ(run("log ./missing/out.log"),
              "ZEFT: qk_logfile_open: failed to open file \"./missing/out.log\"\n");
}

}  // namespace

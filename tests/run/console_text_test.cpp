// Console text on its way to the streams and the log, and typed lines.
#include "run/console_text.h"

#include <cerrno>
#include <cstdlib>
#include <fstream>

#include "base/qkassert.h"
#include "tests/support/model_test.h"

namespace {

// Initialised among the static constructors of a model.
const bool streamsWereReady = qk_stdin == stdin && qk_stdout == stdout;
void (*const deliver)(const char*) = qk_prints;

/// Console text goes to the file "console". What a file holds is looked at while it is open:
/// nothing may wait in a stream's buffer.
class ConsoleTextTest : public ModelTest {
protected:
    void SetUp() override {
        ModelTest::SetUp();
        qk_prints = deliver;
        qk_stdout = std::fopen("console", "w");
    }
    /// @return all lines of qk_stdin, a bar behind each
    static std::string typedLines() {
        std::string lines;
        for (char* line; (line = readConsoleLine("> ")) != nullptr; std::free(line))
            lines.append(line).append("|");
        return lines;
    }
};

TEST_F(ConsoleTextTest, GoesToTheConsoleAndTheOpenLogAtOnce) {
    EXPECT_TRUE(streamsWereReady);
    qk_printf("before\n");
    EXPECT_EQ(qk_logfile_open("log", 0), 1);
    EXPECT_STREQ(logFileName(), "log");
    qk_printf("%d of %s\n", 2, "three");
    qk_prints(nullptr);
    EXPECT_EQ(readFile("console"), "before\n2 of three\n");
    FILE* const console = std::exchange(qk_stdout, nullptr);  // silences the log as well
    qk_printf("unheard\n");
    qk_stdout = console;
    EXPECT_EQ(readFile("log"), "2 of three\n");
    qk_logfile_close();
    qk_logfile_close();
    EXPECT_EQ(logFileName(), nullptr);
    qk_printf("after\n");
    EXPECT_EQ(readFile("console"), "before\n2 of three\nafter\n");
    EXPECT_EQ(readFile("log"), "2 of three\n");
    const int free = dup(0);
    for (const int append : {1, 0, 1}) {
        EXPECT_EQ(qk_logfile_open("log", append), 1);
        qk_printf("%d", append);
    }
    EXPECT_EQ(readFile("log"), "01");
    EXPECT_EQ(fileno(logStream), free + 1) << "a log was left open";
}

TEST_F(ConsoleTextTest, LogThatCannotOpenLeavesNone) {
    std::string console;
    const auto expectNone = [&](const char* name, const char* complaint) {
        EXPECT_EQ(qk_logfile_open("log", 0), 1);
        EXPECT_EQ(qk_logfile_open(name, 0), 0);
        EXPECT_EQ(logStream, nullptr);
        EXPECT_EQ(logFileName(), nullptr);
        EXPECT_EQ(readFile("console"), console += complaint);
        EXPECT_EQ(readFile("log"), "");
    };
    expectNone(nullptr, "ZEFT: qk_logfile_open: no filename given (logfile closed)\n");
    expectNone("", "ZEFT: qk_logfile_open: no filename given (logfile closed)\n");
    expectNone("no/where", "ZEFT: qk_logfile_open: failed to open file \"no/where\"\n");
    EXPECT_EQ(qk_logfile_open("log", 0), 1);
    qk_prints = [](const char* text) { said += text; };
    EXPECT_EQ(qk_logfile_open("new", 0), 0);
    EXPECT_EQ(said, "ZEFT: qk_logfile_open: qk_prints() has been overridden, logfile not opened\n");
    EXPECT_EQ(logStream, nullptr);
    EXPECT_EQ(std::fopen("new", "r"), nullptr);
}

TEST_F(ConsoleTextTest, MessagesHaveTheirLimits) {
    const std::string longest(65535, 'x');
    qk_printf("%s", longest.c_str());
    EXPECT_EQ(readFile("console"), longest);
    EXPECT_DEATH(qk_printf("%s!", longest.c_str()), "printed_length < WORKBUFLEN");
    EXPECT_EXIT(qk_exit(3), testing::ExitedWithCode(3), "");
    qk_prints = [](const char* text) {  // a delivery may print in turn
        if (text[0] == 'o') qk_printf("inner %d, ", 2);
        said += text;
    };
    qk_printf("outer %d", 1);
    EXPECT_EQ(said, "inner 2, outer 1");
    qk_prints = nullptr;
    qk_printf("dropped");
    static std::string failed;
    qkSetAssertHandler([](const char* condition, const char*, int) { failed += condition; });
    void (*volatile const print)(const char*, ...) = qk_printf;
    print(nullptr);
    EXPECT_EQ(failed, "format");
}

TEST_F(ConsoleTextTest, LinesAreReadInPiecesOf255Bytes) {
    const std::string wide(300, 'w'), text = "first\n" + wide + "\n\nlast";
    std::ofstream("input") << text;
    qk_stdin = std::fopen("input", "r");
    EXPECT_EQ(typedLines(),
              "first\n|" + wide.substr(0, 255) + "|" + wide.substr(255) + "\n|\n|last|");
    EXPECT_EQ(readFile("console"), "> > > > > > ");
    // A NUL ends its line, but not the input.
    std::ofstream("input").write("\0lost\nls\0lost\nlast\n", 19);
    std::rewind(qk_stdin);
    EXPECT_EQ(typedLines(), "|ls|last\n|");
    // Nor does a signal that interrupts the wait.
    static const char* late[] = {nullptr, "late\n", ""};
    static int reads = 0;
    const auto read = [](void*, char* to, size_t) -> ssize_t {
        const char* const piece = late[reads++];
        if (!piece) return errno = EINTR, -1;
        return static_cast<ssize_t>(std::string(piece).copy(to, 5));
    };
    std::fclose(qk_stdin);
    qk_stdin = fopencookie(nullptr, "r", {read, nullptr, nullptr, nullptr});
    EXPECT_EQ(typedLines(), "late\n|");
    std::fclose(qk_stdin);
    for (FILE* const unreadable : {static_cast<FILE*>(nullptr), qk_stdout}) {
        qk_stdin = unreadable;
        EXPECT_EQ(readConsoleLine("> "), nullptr);
    }
}

TEST(StripLineTest, CutsWhiteSpaceOffBothEnds) {
    const struct {
        const char *line, *stripped;
    } cases[] = {{"", ""},
                 {" \t\r\n\v\f", ""},
                 {"ls", "ls"},
                 {"\t ls  -d top.* \r\n", "ls  -d top.*"},
                 {"\xa0x", "\xa0x"}};
    for (const auto& c : cases) EXPECT_STREQ(stripLine(std::string(c.line).data()), c.stripped);
}

}  // namespace

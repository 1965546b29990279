// Console text on its way to the streams and the log, and typed lines.
#include "run/console_text.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>

#include "base/qkassert.h"

namespace {

namespace fs = std::filesystem;

// Initialised among the static constructors of a model.
const bool streamsWereReady = qk_stdin == stdin && qk_stdout == stdout;

/// Console text goes to a file of a fresh directory.
class ConsoleTextTest : public testing::Test {
protected:
    void SetUp() override {
        std::string pattern = testing::TempDir() + "console_text_XXXXXX";
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        directory = pattern;
        qk_stdout = std::fopen(path("console").c_str(), "w");
        ASSERT_NE(qk_stdout, nullptr);
    }
    void TearDown() override {
        qk_logfile_close();
        if (qk_stdout) std::fclose(qk_stdout);
        qk_stdout = stdout;
        fs::remove_all(directory);
    }
    std::string path(const char* name) const { return (directory / name).string(); }
    /// What a file holds now: nothing may be waiting in a stream's buffer.
    std::string contents(const char* name) const {
        std::ostringstream text;
        text << std::ifstream(path(name)).rdbuf();
        return text.str();
    }
    int openLog(const char* name, int append) {
        return qk_logfile_open(path(name).c_str(), append);
    }

    fs::path directory;
};

TEST_F(ConsoleTextTest, StreamsAreReadyBeforeAnyStaticConstructor) {
    EXPECT_TRUE(streamsWereReady);
}

TEST_F(ConsoleTextTest, GoesToTheConsoleAndTheOpenLogAtOnce) {
    qk_printf("before\n");
    EXPECT_EQ(openLog("log", 0), 1);
    EXPECT_EQ(logFileName(), path("log"));
    qk_printf("%d of %s\n", 2, "three");
    qk_prints(nullptr);
    EXPECT_EQ(contents("console"), "before\n2 of three\n");
    EXPECT_EQ(contents("log"), "2 of three\n");

    FILE* const console = qk_stdout;
    qk_stdout = nullptr;  // silences the log as well
    qk_printf("unheard\n");
    qk_stdout = console;
    qk_logfile_close();
    qk_logfile_close();
    EXPECT_EQ(logFileName(), nullptr);
    qk_printf("after\n");
    EXPECT_EQ(contents("console"), "before\n2 of three\nafter\n");
    EXPECT_EQ(contents("log"), "2 of three\n");
}

TEST_F(ConsoleTextTest, LogIsTruncatedOrAppendedTo) {
    std::set<int> descriptors;
    for (const int append : {0, 1, 1, 0, 1}) {
        EXPECT_EQ(openLog("log", append), 1);
        descriptors.insert(fileno(logStream));
        qk_printf("%s", append ? "+" : "-");
    }
    EXPECT_EQ(contents("log"), "-+");
    EXPECT_EQ(descriptors.size(), 1u) << "a log was left open";
}

TEST_F(ConsoleTextTest, LogThatCannotOpenLeavesNone) {
    const std::string noSuchPlace = path("nowhere/log");
    const std::string noName = "ZEFT: qk_logfile_open: no filename given (logfile closed)\n";
    const struct {
        const char* filename;
        std::string complaint;
    } cases[] = {
        {nullptr, noName},
        {"", noName},
        {noSuchPlace.c_str(),
         "ZEFT: qk_logfile_open: failed to open file \"" + noSuchPlace + "\"\n"},
    };
    std::string complaints;
    for (const auto& c : cases) {
        EXPECT_EQ(openLog("log", 0), 1);
        EXPECT_EQ(qk_logfile_open(c.filename, 0), 0);
        EXPECT_EQ(logStream, nullptr);
        EXPECT_EQ(logFileName(), nullptr);
        complaints += c.complaint;
        EXPECT_EQ(contents("console"), complaints);
        EXPECT_EQ(contents("log"), "");
    }
}

TEST_F(ConsoleTextTest, LogDoesNotOpenWhileTheDeliveryIsReplaced) {
    static std::string said;
    EXPECT_EQ(openLog("old", 0), 1);
    qk_prints = [](const char* text) { said += text; };
    EXPECT_EQ(openLog("new", 0), 0);
    EXPECT_EQ(said, "ZEFT: qk_logfile_open: qk_prints() has been overridden, logfile not opened\n");
    EXPECT_EQ(logStream, nullptr);
    EXPECT_FALSE(fs::exists(path("new")));
}

TEST_F(ConsoleTextTest, DeliveryMayPrintInTurn) {
    static std::string said;
    qk_prints = [](const char* text) {
        if (text[0] == 'o') qk_printf("inner %d, ", 2);
        said += text;
    };
    qk_printf("outer %d", 1);
    EXPECT_EQ(said, "inner 2, outer 1");
    qk_prints = nullptr;
    qk_printf("dropped");
}

TEST_F(ConsoleTextTest, MessageHasAtMost65535Bytes) {
    const std::string longest(65535, 'x');
    qk_printf("%s", longest.c_str());
    EXPECT_EQ(contents("console"), longest);
    EXPECT_DEATH(qk_printf("%s!", longest.c_str()), "printed_length < WORKBUFLEN");
}

TEST_F(ConsoleTextTest, NullFormatIsAFault) {
    static std::string failed;
    qkSetAssertHandler([](const char* condition, const char*, int) { failed += condition; });
    const char* volatile const none = nullptr;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
    qk_printf(none);
#pragma GCC diagnostic pop
    EXPECT_EQ(failed, "format");
    EXPECT_EQ(contents("console"), "");
}

TEST_F(ConsoleTextTest, ExitLeavesWithTheStatus) {
    EXPECT_EXIT(qk_exit(3), testing::ExitedWithCode(3), "");
}

TEST_F(ConsoleTextTest, LinesAreReadInPiecesOf255Bytes) {
    const std::string wide(300, 'w');
    std::ofstream(path("input")) << "first\n" << wide << "\n\nlast";
    qk_stdin = std::fopen(path("input").c_str(), "r");
    std::string lines;
    for (char* line; (line = readConsoleLine("> ")) != nullptr; std::free(line))
        lines.append(line).append("|");
    EXPECT_EQ(lines, "first\n|" + wide.substr(0, 255) + "|" + wide.substr(255) + "\n|\n|last|");
    EXPECT_EQ(contents("console"), "> > > > > > ");
    std::fclose(qk_stdin);
    for (FILE* const unreadable : {static_cast<FILE*>(nullptr), qk_stdout}) {
        qk_stdin = unreadable;
        EXPECT_EQ(readConsoleLine("> "), nullptr);
    }
}

TEST_F(ConsoleTextTest, NulBytesEndTheLineButNotTheInput) {
    const char bytes[] = "\0lost\nls\0lost\nlast\n";
    std::ofstream(path("input")).write(bytes, sizeof bytes - 1);
    qk_stdin = std::fopen(path("input").c_str(), "r");
    std::string lines;
    for (char* line; (line = readConsoleLine("> ")) != nullptr; std::free(line))
        lines.append(line).append("|");
    EXPECT_EQ(lines, "|ls|last\n|");
    std::fclose(qk_stdin);
}

TEST_F(ConsoleTextTest, SignalDoesNotEndTheInput) {
    static int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    struct sigaction onAlarm {};  // without SA_RESTART: it interrupts the read, then serves it
    onAlarm.sa_handler = [](int) { EXPECT_EQ(write(ends[1], "late\n", 5), 5); };
    sigaction(SIGALRM, &onAlarm, nullptr);
    const itimerval soon = {{0, 0}, {0, 20'000}};
    setitimer(ITIMER_REAL, &soon, nullptr);
    qk_stdin = fdopen(ends[0], "r");
    char* const line = readConsoleLine("> ");
    EXPECT_STREQ(line, "late\n");
    std::free(line);
    std::fclose(qk_stdin);
    close(ends[1]);
}

TEST(StripLineTest, CutsWhiteSpaceOffBothEnds) {
    constexpr char kBlanks[] = "                                                ";
    const struct {
        const char *line, *stripped;
    } cases[] = {
        {"", ""},           {" \t\r\n\v\f", ""},
        {"ls", "ls"},       {"\t ls  -d top.* \r\n", "ls  -d top.*"},
        {"\xa0x", "\xa0x"}, {kBlanks, ""},
    };
    for (const auto& c : cases) {
        std::string line = c.line;
        EXPECT_STREQ(stripLine(line.data()), c.stripped);
    }
}

}  // namespace

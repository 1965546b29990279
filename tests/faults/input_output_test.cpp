// Files that fail, in each place that opens one; Ctrl-C wherever it may be pressed; and the trace
// that each way out of the process leaves.
#include <fcntl.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <zlib.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <utility>

#include "base/qkassert.h"
#include "tests/support/model_test.h"
#include "tests/support/waveforms.h"

namespace {

namespace fs = std::filesystem;

// ---- A design: top.count follows the time, or counts the edges of a clock that a trace drives

uint8_t clk, *clkPort = &clk;
uint64_t count;
uint16_t memory[8];
std::function<void()> inStep;  // called in the middle of each step

void step() {
    count = qk_cycle;
    if (inStep) inStep();
}

void stepAndNote() {
    ++qk_cycle;
    clk ^= 1;
    step();
    qk_takenote();
}

class InputOutputTest : public ModelTest {
protected:
    void SetUp() override {
        void (*const ownDelivery)(const char*) = qk_prints;
        ModelTest::SetUp();
        qk_prints = ownDelivery;  // what is diverted, and the log, need it
        QkGRNet mem = net(0, 3, "mem", memory, 15, 0, 1 | QK_array);
        mem.array_right = 7;
        registerNets("top", {net(0, 1, "clk", &clkPort, 0, 0, QK_type_input, QK_flag_clock),
                             net(0, 2, "count", &count, 63, 0, 1, QK_flag_register), mem});
        qk_step_fn = step;
        std::signal(SIGXFSZ, SIG_IGN);
        fs::create_directory("dir.vcd");
        fs::create_symlink("/dev/full", "full.vcd");
        fs::create_symlink("/proc/self/mem", "failing.vcd");  // opens, and cannot be read at 0
        write("locked.vcd", "text");
        chmod("locked.vcd", 0);
    }
    static void write(const char* path, const std::string& text) {
        std::ofstream(path, std::ios::binary) << text;
    }
    static void typeLines(const char* lines) {
        qk_stdin = fmemopen(const_cast<char*>(lines), std::strlen(lines), "r");
    }
    /// @return what was said while `body` ran
    template <class Body>
    static std::string saidBy(Body&& body) {
        char* text = nullptr;
        size_t size = 0;
        FILE* const console = std::exchange(qk_stdout, open_memstream(&text, &size));
        body();
        std::fclose(std::exchange(qk_stdout, console));
        std::string result(text, size);
        std::free(text);
        return result;
    }
    static pid_t startChild(const std::function<void()>& body) {
        const pid_t child = fork();
        if (child != 0) return child;
        alarm(60);
        qk_stdout = std::fopen("said", "w");
        body();
        std::exit(0);
    }
    /// @return what a child has said, and how it ended
    static std::string endOf(pid_t child) {
        int status = 0;
        waitpid(child, &status, 0);
        const bool exited = WIFEXITED(status);
        return readFile("said") + (exited ? "exit " : "signal ") +
               std::to_string(exited ? WEXITSTATUS(status) : WTERMSIG(status));
    }
    static std::string inChild(const char* typed, const std::function<void()>& body) {
        return endOf(startChild([&] {
            typeLines(typed);
            body();
        }));
    }
};

// ---- Reading

uint64_t openLines(const std::string& path) {
    uint64_t file = 0;
    uint8_t status = 0;
    qksysvhdl_file_open(0, "top", nullptr, 4, -64, &file, 0, path.c_str(), 2, 0, -2, &status);
    return file;
}

/// The calls that read a file. Each says what it has read.
const struct Reader {
    const char *what, *contents, *none, *directory, *failing;
    void (*read)(const std::string& path);
} kReaders[] = {
    {"loadt", "# script\nset top.count = 7\nls top.count\nfrob\nset top.mem[3] = 9",
     "Failed to open command file: ", "Error on read from '", "Error on read from '",
     [](const std::string& path) { qk_loadt(path.c_str()); }},
    {"readmemh", "@0 12 // one\n/* two */ 34\n@5 56 7_8 9a", "Failed to open '",
     "Error on read from '", "Error on read from '",
     [](const std::string& path) { qk_readmemh("top.mem", path.c_str()); }},
    {"$readmemb", "@0 101 11\n110 1x1\n1", "Failed to open '", "Error on read from '",
     "Error on read from '",
     [](const std::string& path) {
         qkzeft_readmemb(0, "top", nullptr, 2, 0, path.c_str(), 0,
                         static_cast<const char*>(nullptr), 0, uint64_t{16}, uint64_t{8},
                         uint64_t{0}, uint64_t{7}, memory);
     }},
    // What fails to be read looks like the end.
    {"$fopen and $fgets", "one\ntwo lines\n\nend", "opened 0\n", "opened 80000003\n",
     "opened 80000003\n",
     [](const std::string& path) {
         const int fd = qkzeft_fopen(0, "top", nullptr, 2, 0, path.c_str(), 0, "r");
         qk_printf("opened %x\n", static_cast<unsigned>(fd));
         uint64_t text = 0;
         while (fd && qkzeft_fgets(0, "top", nullptr, 2, -64, &text, 32, fd))
             qk_printf("%llx\n", static_cast<unsigned long long>(text));
         if (fd) qkzeft_fclose(0, "top", nullptr, 1, 32, fd);
     }},
    {"TEXTIO", "one\r\ntwo lines\n\nend", "opened 0\n", "opened 0\n", "opened 3\n",
     [](const std::string& path) {
         uint64_t file = openLines(path), line = 0;
         qk_printf("opened %d\n", static_cast<int>(file));
         while (file && !qksysvhdl_endfile(0, "top", nullptr, 1, -64, &file)) {
             qksysvhdl_readline(0, "top", nullptr, 2, -64, &file, -64, &line);
             qk_printf("%d\n", qksysvhdl_line_length(0, "top", nullptr, 1, -64, &line));
         }
         if (file) qksysvhdl_file_close(0, "top", nullptr, 1, -64, &file);
     }},
    {"loadsim", nullptr, "Failed to open file '", ".vcd:1: Is a directory\n", "Input/output error",
     [](const std::string& path) { qk_loadsim(path.substr(0, path.rfind(".vcd")).c_str()); }},
    {"Validate", nullptr, "Failed to open file '", ": Is a directory\n", "Input/output error",
     [](const std::string& path) {
         qkLiveModel->console.interactive = false;
         qk_mtc(path.c_str());
     }},
};

/// Has a child write a FIFO one byte at a time, each when the one before has been read.
pid_t writeSlowly(const char* fifo, const std::string& text) {
    const pid_t child = fork();
    if (child != 0) return child;
    const int out = open(fifo, O_WRONLY);
    for (const char c : text) {
        if (write(out, &c, 1) != 1) break;
        for (int left = 1; left > 0 && ioctl(out, FIONREAD, &left) == 0;) sched_yield();
    }
    _exit(0);
}

TEST_F(InputOutputTest, ReadersTellOfFilesThatFail) {
    qk_exit = [](int) {};
    for (const Reader& reader : kReaders) {
        SCOPED_TRACE(reader.what);
        const auto saidOf = [&](const char* path) { return saidBy([&] { reader.read(path); }); };
        EXPECT_THAT(saidOf("none/x.vcd"), testing::HasSubstr(reader.none));
        EXPECT_THAT(saidOf("dir.vcd"), testing::HasSubstr(reader.directory));
        EXPECT_THAT(saidOf("failing.vcd"), testing::HasSubstr(reader.failing));
        if (access("locked.vcd", R_OK) == 0) continue;  // nothing is locked for root
        EXPECT_THAT(saidOf("locked.vcd"), testing::HasSubstr(reader.none));
    }
}

TEST_F(InputOutputTest, ShortReadsAndEarlyEndsAreThoseOfThePlainFile) {
    qk_exit = [](int) {};
    qk_cli("trace *");
    for (int i = 0; i < 20; ++i) stepAndNote();
    ASSERT_EQ(qk_savesim("f"), 1);  // leaves f.top.mem, too
    const std::string state = readFile("f.vcd");
    ASSERT_EQ(qk_save("f.vcd"), 1);
    const std::string trace = readFile("f.vcd");
    const gzFile packed = gzopen("f.vcd", "wb");
    gzwrite(packed, trace.data(), static_cast<unsigned>(trace.size()));
    gzclose(packed);
    const std::string gzip = readFile("f.vcd");
    const auto compare = [](const Reader& reader, const std::string& whole) {
        for (const size_t length : {whole.size(), whole.size() / 2, size_t{1}, size_t{0}}) {
            SCOPED_TRACE(std::string(reader.what) + " of " + std::to_string(length));
            const auto saidOf = [&](const char* path) {
                qk_cycle = count = 0;
                std::fill(std::begin(memory), std::end(memory), uint16_t{0});
                return saidBy([&] {
                    reader.read(path);
                    qk_cli("ls *");
                    qk_cli("ls top.mem[]");
                });
            };
            fs::remove("f.vcd");
            write("f.vcd", whole.substr(0, length));
            const std::string plain = saidOf("f.vcd");
            fs::remove("f.vcd");
            ASSERT_EQ(mkfifo("f.vcd", 0600), 0);
            const pid_t writer = writeSlowly("f.vcd", whole.substr(0, length));
            EXPECT_EQ(saidOf("f.vcd"), plain);
            kill(writer, SIGKILL);  // whoever stops early leaves it waiting
            waitpid(writer, nullptr, 0);
            EXPECT_TRUE(length < whole.size() || plain.find("rror") == std::string::npos) << plain;
        }
    };
    for (const Reader& reader : kReaders)
        for (const std::string& whole : reader.contents ? std::vector<std::string>{reader.contents}
                                        : reader.what[0] == 'l' ? std::vector{state}
                                                                : std::vector{trace, gzip})
            compare(reader, whole);
}

// ---- Writing

void writeLines(const std::string& path) {
    uint64_t file = 0, line = 0;
    qksysvhdl_file_open(0, "top", nullptr, 3, -64, &file, 0, path.c_str(), 2, 1);
    for (int i = 0; file && i < 5; ++i) {
        qksysvhdl_write_string(0, "top", nullptr, 2, -64, &line, 0, std::string(4000, 'x').c_str());
        qksysvhdl_writeline(0, "top", nullptr, 2, -64, &file, -64, &line);
    }
    if (file) qksysvhdl_file_close(0, "top", nullptr, 1, -64, &file);
}

void command(const std::string& line) { qk_cli(line.c_str()); }

/// The calls that write a file; what they say of one that they cannot open, and of a failed write.
const struct Writer {
    const char *what, *none, *failed;
    void (*write)(const std::string& path);
} kWriters[] = {
    {"save", "Failed to open '", "ZEFT: writing VCD file '",
     [](const std::string& path) { qk_save(path.c_str()); }},
    {"traceto", "Failed to open '", "ZEFT: writing VCD file '",
     [](const std::string& path) {
         const bool isOpen = qk_traceto(path.c_str()) != 0;
         stepAndNote();
         qk_traceclose();
         EXPECT_FALSE(isOpen && qk_trace_written());
     }},
    {"savesim", "savesim: command failed\n", "savesim: command failed\n",
     [](const std::string& path) { command("savesim " + path.substr(0, path.rfind(".vcd"))); }},
    {"lstofile", "lstofile: failed to open file '", "Error on write to '",
     [](const std::string& path) { command("lstofile " + path); }},
    {"savet", "Failed to open file: ", "Error on write to '",
     [](const std::string& path) { command("savet " + path); }},
    {"writememh", "Cannot open '", "Error on write to '",
     [](const std::string& path) { command("writememh top.mem " + path); }},
    {"log", "failed to open file", "ZEFT: writing log file \"",
     [](const std::string& path) {
         command("log " + path);
         command("ls");
         command("log close");
     }},
    {"TEXTIO", "name_error", "Write to file \"", writeLines},
};

TEST_F(InputOutputTest, WritersTellOfFilesThatFail) {
    qk_exit = [](int) {};
    typeLines("ls\ntrace *\ncontinue\n");
    qk_cli("cli");
    rlimit limit;
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &limit), 0);
    const rlimit oneByte{1, limit.rlim_max};
    for (const Writer& writer : kWriters) {
        SCOPED_TRACE(writer.what);
        const auto saidOf = [&](const char* path) { return saidBy([&] { writer.write(path); }); };
        for (const char* const path : {"none/x.vcd", "dir.vcd", "locked.vcd"}) {
            if (access(path, W_OK) == 0 && !fs::is_directory(path)) continue;  // root may write
            EXPECT_THAT(saidOf(path), testing::HasSubstr(writer.none)) << path;
        }
        const std::string full = saidOf("full.vcd");
        setrlimit(RLIMIT_FSIZE, &oneByte);
        const std::string cut = saidOf("cut.vcd"), cutPacked = saidOf("cut.vcd.gz");
        setrlimit(RLIMIT_FSIZE, &limit);
        for (const std::string& text : {full, cut, cutPacked}) {
            EXPECT_THAT(text, testing::HasSubstr(writer.failed));
            EXPECT_EQ(text.find(writer.failed), text.rfind(writer.failed)) << "told once";
        }
    }
}

TEST_F(InputOutputTest, AFileHasOneWriter) {
    const auto saidOf = [](auto&& body) { return saidBy(body); };
    const auto refused = [](const char* writer) {
        return testing::HasSubstr("f.vcd' is already being written by " + std::string(writer) +
                                  "\n");
    };
    qk_exit = [](int) {};
    fs::create_symlink("f.vcd", "same.vcd");
    qk_cli("trace *");
    for (const char* const open : {"traceto f.vcd", "log f.vcd"}) {
        const std::string owner(open, std::strcspn(open, " "));
        command(open);
        stepAndNote();
        const std::string before = readFile("f.vcd");
        EXPECT_EQ(qkzeft_fopen(0, "top", nullptr, 1, 0, "f.vcd"), 0);
        EXPECT_THAT(saidOf([] { command("lstofile same.vcd"); }),
                    testing::HasSubstr("'same.vcd' is already being written by " + owner));
        // The last of the writers ends the run, and with it the trace.
        for (const Writer& writer : kWriters) {
            // The trace, or the log, is closed before it is opened again under the same name.
            if (writer.what == owner || (owner == "traceto" && writer.what == std::string("save")))
                continue;
            SCOPED_TRACE(writer.what + (" into " + owner));
            EXPECT_THAT(saidOf([&] { writer.write("f.vcd"); }), refused(owner.c_str()));
        }
        EXPECT_THAT(readFile("f.vcd"), testing::StartsWith(before));
        command(owner == "log" ? "log close" : "traceclose");
    }
    EXPECT_THAT(saidOf([] { command("traceto f.vcd"); }), "") << "nobody writes it any more";
    EXPECT_EQ(saidOf([] { command("traceto f.vcd"); }), "VCD written to file: f.vcd\n");
}

// ---- Ctrl-C

void runTo(uint64_t end) {
    while (qk_cycle < end) stepAndNote();
}

TEST_F(InputOutputTest, CtrlCOpensTheConsoleAtTheNextStep) {
    inChild("", [] {
        qk_cli("trace *");
        qk_traceto("ref.vcd");
        runTo(100);
    });
    qk_register_cmd("press", "press Ctrl-C", 0, [](const char*) { return std::raise(SIGINT) + 1; });
    write("script", "press\nls top.clk\n");
    struct {
        const char *first, *typed, *opened;
    } const cases[] = {
        {"cli", "continue\nquit\n",
         "zeft> ^C\n\ntime=50ns: 0 of 3 values traced: ready\nzeft> exit 0"},
        {"cli", "trace *\ntraceto x.vcd\ncontinue\ntraceclose\nquit\n",
         "zeft> ^C\n\ntime=50ns: 3 of 3 values traced: ready\nzeft> VCD written to file: x.vcd\n"},
        {"cli", "continue 50\nquit\n", "zeft> ^C\n\ntime=50ns"},
        {"validate", "open ref.vcd\ncontinue\nquit\n",
         "^C\n\ntime=51ns: 0 of 3 values traced: ready\nzeft validate> exit 0"},
        {"cli", "loadt script\nquit\n",
         "zeft> press\nScript: script - left after line 1\n^C\n\ntime=0ns: 0 of 3"},
        {"cli", "press\nquit\n", "zeft> ^C\n\ntime=0ns: 0 of 3 values traced: ready\nzeft> exit 0"},
    };
    for (const auto& c : cases)
        for (const int presses : {1, 4}) {
            SCOPED_TRACE(std::string(c.typed) + std::to_string(presses));
            EXPECT_THAT(inChild(c.typed,
                                [&] {
                                    qk_sigint_install();
                                    inStep = [&] {
                                        for (int i = 0; qk_cycle == 50 && i < presses; ++i)
                                            std::raise(SIGINT);
                                    };
                                    qk_cli(c.first);
                                    runTo(100);
                                }),
                        testing::HasSubstr(c.opened));
        }
    EXPECT_THAT(readFile("x.vcd"), testing::HasSubstr("#50\n"));
}

TEST_F(InputOutputTest, CtrlCAtAPromptLeavesItWaiting) {
    const std::pair<const char*, const char*> cases[] = {{"cli", "zeft> "},
                                                         {"validate", "zeft validate> "}};
    for (const auto& [command, prompt] : cases) {
        SCOPED_TRACE(command);
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        fs::remove("said");
        const pid_t child = startChild([&, command = command] {
            qk_stdin = fdopen(ends[0], "r");
            qk_sigint_install();
            qk_cli(command);
        });
        while (!testing::Matches(testing::EndsWith(prompt))(readFile("said"))) sched_yield();
        const std::string state = "/proc/" + std::to_string(child) + "/stat";
        const auto awaitRead = [&] {
            while (readFile(state).find(") S ") == std::string::npos) sched_yield();
        };
        for (int i = 0; i < 3; ++i) {
            awaitRead();
            kill(child, SIGINT);
        }
        awaitRead();
        EXPECT_EQ(::write(ends[1], "ls top.clk\nquit\n", 16), 16);
        EXPECT_THAT(endOf(child), testing::HasSubstr("top.clk   c   : 0\n^C\n\ntime=0ns: 0 of 3"));
        EXPECT_THAT(readFile("said"), testing::EndsWith(prompt));
        close(ends[0]);
        close(ends[1]);
    }
}

// ---- Ways out

/// @return the last time and the last value of a trace of one net, as TIME:VALUE
std::string endOfTrace(const char* path) {
    std::string text(1 << 20, '\0');
    if (std::strstr(path, ".fst")) {
        text = readFst(path);
    } else {
        const gzFile file = gzopen(path, "rb");
        const int size = file ? gzread(file, text.data(), 1 << 20) : -1;
        if (file && gzclose(file) != Z_OK) return "damaged";
        text.resize(static_cast<size_t>(std::max(size, 0)));
    }
    const size_t time = text.rfind("\n#"), value = text.rfind("\nb");
    if (time == std::string::npos || value == std::string::npos || text.back() != '\n')
        return "cut short: " + text.substr(0, 300);
    return std::to_string(std::strtoull(&text[time + 2], nullptr, 10)) + ":" +
           std::to_string(std::strtoull(&text[value + 2], nullptr, 2));
}

TEST_F(InputOutputTest, EveryWayOutLeavesAWholeTrace) {
    struct {
        const char* what;
        void (*leave)();  // in the step to 30037
        const char *last, *typed, *status;
    } const cases[] = {
        {"exit", [] { std::exit(3); }, "30037:30036", "", "exit 3"},
        {"qk_exit", [] { qk_exit(4); }, "30037:30036", "", "exit 4"},
        {"$finish", [] { qkzeft_finish(0, "top", nullptr, 0); }, "30037:30037", "", "exit 0"},
        {"kelvo_finish", [] { kelvo_finish(), _exit(8); }, "30037:30037", "", "exit 8"},
        {"qkzeft_exit", [] { qkzeft_exit(5); }, "30037:30037", "", "exit 5"},
        {"a task's fault", [] { qkzeft_fclose(0, "top", nullptr, 1, 32, 0u); }, "30037:30037", "",
         "exit 1"},
        {"an assertion",
         [] {
             qkSetAssertHandler([](const char*, const char*, int) { std::exit(6); });
             qkzeft_fgetc(0, "top", nullptr, 1, 32, 1u);
         },
         "30037:30036", "", "exit 6"},
        {"in a capture",
         [] {
             qk_prints = [](const char*) { std::exit(7); };
             qkLiveModel->writer.setShow(name("top.count"), true);
         },
         "30037:30037", "", "exit 7"},
        {"quit", [] { qk_cli("step 0"); }, "30037:30037", "quit\n", "exit 0"},
        {"end of input", [] { qk_cli("step 0"); }, "31000:31000", "", "exit 0"},
        {"quit at the last console",
         [] {
             qk_strict = false;
             qkLiveModel->console.interactive = true;
             qkzeft_exit(5);
         },
         "30037:30037", "quit\n", "exit 5"},
        {"SIGTERM", [] { qk_end_on_signal(SIGTERM), std::raise(SIGTERM); }, "30037:30037", "",
         "exit 143"},
        {"Ctrl-C after the end of input",
         [] {
             qk_strict = false;
             qk_sigint_install();
             qk_cli("cli");
             std::raise(SIGINT);
         },
         "30037:30037", "", "exit 130"},
        {"SIGHUP after the end of input",
         [] {
             qk_strict = false;
             qk_cli("cli");
             std::raise(SIGHUP);
         },
         "30037:30037", "", "exit 129"},
        {"return", [] {}, "31000:31000", "", "exit 0"},
    };
    for (const auto& c : cases)
        for (const char* const commands : {"traceto x.vcd", "traceto x.vcd.gz", "traceto x.fst",
                                           "circular 2000\ntraceto x.vcd"}) {
            SCOPED_TRACE(std::string(c.what) + " with " + commands);
            fs::remove("said");
            write("script", commands);
            const std::string outcome = inChild(c.typed, [&] {
                qk_cli("trace top.count");
                qk_loadt("script");
                inStep = [&] {
                    if (qk_cycle == 30037) c.leave();
                };
                runTo(31000);
            });
            EXPECT_THAT(outcome, testing::EndsWith(c.status));
            const char* const path = std::strstr(commands, "x.");
            EXPECT_EQ(endOfTrace(path), c.last);
            fs::remove(path);
        }
}

}  // namespace

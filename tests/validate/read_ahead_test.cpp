// Compressed traces of more than one block, which a thread expands ahead of their use.
#include <dlfcn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <filesystem>

#include "tests/validate/validate_fixture.h"
#include "validate/input_buffer.h"

namespace {

using testing::HasSubstr;

bool threadsFail = false;
int threads = 0;

// Nine halves of blocks, the k-th of which begins with the time k ns.
class ReadAheadTest : public ValidateTest {
protected:
    static constexpr size_t kHalf = kInputBlockBytes / 2;
    static constexpr size_t kHalves = 9;

    void SetUp() override {
        ValidateTest::SetUp();
        writeTrace("#0\n$dumpvars\n0c\n0e\n0d\nb0 n\n$end\n");
        text = readFile("ref.vcd");
        const gzFile file = gzopen("whole.gz", "wb1");
        for (size_t k = 0; k < kHalves; ++k) {
            if (k > 0) text += "#" + std::to_string(k) + "\n0e\n";
            while (text.size() < (k + 1) * kHalf) text += text.size() % 64 == 63 ? '\n' : ' ';
            text.back() = '\n';
            gzwrite(file, text.data() + k * kHalf, kHalf);
            gzflush(file, Z_FULL_FLUSH);
            behind.push_back(static_cast<size_t>(gzoffset(file)));
        }
        gzclose(file);
        whole = readFile("whole.gz");
    }
    /// @return what is said of a reference, of which the reader has seen `bytes`, behind its name
    std::string lineBehind(size_t bytes) const {
        const auto end = text.begin() + static_cast<std::ptrdiff_t>(bytes);
        return ":" + std::to_string(1 + std::count(text.begin(), end, '\n')) + ": ";
    }
    static int run(const char* path) {
        said.clear();
        qk_cycle = 0;
        return qk_mtc(path);
    }
    static QkFileReader& reader() { return qkLiveModel->reader; }
    static int begin(const char* path) {
        reader().start(false);
        return reader().readHeader(path);
    }

    std::string text, whole;
    std::vector<size_t> behind;  // of the compressed bytes behind each half
};

TEST_F(ReadAheadTest, ReadsAllBlocks) {
    EXPECT_EQ(run("whole.gz"), 1) << said;
    EXPECT_EQ(qk_cycle, kHalves - 1);
    EXPECT_EQ(reader().currentStats().bytes_read, whole.size());
    EXPECT_EQ(threads, 0);
}

TEST_F(ReadAheadTest, TellsWhereDamageIs) {
    const std::string damaged = "damaged compressed data: ";
    const std::string cut = "unexpected end of compressed data\n";
    // The first half that is not read; damage takes with it what there is of its block.
    for (const size_t half : {1, 3, 7}) {
        std::string contents = whole;
        char& kind = contents[behind[half - 1]];
        kind = static_cast<char>(kind | 6);  // a kind of data that there is none of
        writeFile("bad.gz", contents);
        EXPECT_EQ(run("bad.gz"), 0);
        EXPECT_THAT(said, HasSubstr("bad.gz" + lineBehind((half - 1) * kHalf) + damaged)) << half;
        EXPECT_EQ(qk_cycle, half > 1 ? half - 2 : 0);

        writeFile("bad.gz", whole.substr(0, behind[half - 1]));
        EXPECT_EQ(run("bad.gz"), 0);
        EXPECT_THAT(said, HasSubstr("bad.gz" + lineBehind(half * kHalf) + cut)) << half;
        EXPECT_EQ(qk_cycle, half - 1);
        EXPECT_EQ(threads, 0);
    }
}

TEST_F(ReadAheadTest, EndsItsThreadWithTheTrace) {
    for (int i = 0; i < 5; ++i) {
        ASSERT_EQ(begin("whole.gz"), 1) << said;
        EXPECT_EQ(threads, 1);
        reader().close();
        EXPECT_EQ(threads, 0);
    }
}

TEST_F(ReadAheadTest, LeavesSignalsToTheModel) {
    const auto file = VcdInputBuffer::open("whole.gz");
    for (int block = 0; block < 2; ++block) ASSERT_TRUE(file->refill());
    std::string status;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task"))
        if (task.path().filename() != std::to_string(getpid()))
            status = readFile(task.path().string() + "/status");
    ASSERT_THAT(status, HasSubstr("SigBlk:"));
    const uint64_t blocked =
        std::stoull(status.substr(status.find("SigBlk:") + std::strlen("SigBlk:")), nullptr, 16);
    for (const int signal : {SIGINT, SIGTERM, SIGALRM, SIGPROF, SIGCHLD})
        EXPECT_EQ(blocked >> (signal - 1) & 1, 1) << signal;
    sigset_t ours;
    pthread_sigmask(SIG_BLOCK, nullptr, &ours);
    EXPECT_EQ(sigismember(&ours, SIGINT), 0);
}

TEST_F(ReadAheadTest, DoesWithoutAThread) {
    writeFile("plain.vcd", text);
    mkfifo("fifo", 0600);
    const struct {
        const char *path, *before;
        bool fails;
    } cases[] = {
        {"plain.vcd", "true", false},
        {"fifo", "cat whole.gz > fifo &", false},
        {"whole.gz", "true", true},
    };
    for (const auto& c : cases) {
        threadsFail = c.fails;
        ASSERT_EQ(std::system(c.before), 0);
        ASSERT_EQ(begin(c.path), 1) << said;
        EXPECT_EQ(threads, 0) << c.path;
        reader().close();
        ASSERT_EQ(std::system(c.before), 0);
        EXPECT_EQ(run(c.path), 1) << said;
        EXPECT_EQ(qk_cycle, kHalves - 1) << c.path;
    }
}

TEST_F(ReadAheadTest, EndsTheInputOfAForkedProcess) {
    ASSERT_EQ(begin("whole.gz"), 1) << said;
    const pid_t child = fork();
    if (child == 0) {
        alarm(20);
        said.clear();
        reader().readInitialValues(true);
        reader().runTrace(false);
        reader().close();
        const std::string expected = "whole.gz" + lineBehind(2 * kHalf) + std::strerror(EBADF);
        _exit(said.find(expected) == std::string::npos ? 1 : 0);
    }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(reader().readInitialValues(true), 1);
    reader().runTrace(false);
    EXPECT_EQ(qk_cycle, kHalves - 1);
}

}  // namespace

// In front of the system's.
extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                              void* (*body)(void*), void* argument) {
    static const auto create =
        reinterpret_cast<decltype(&pthread_create)>(dlsym(RTLD_NEXT, "pthread_create"));
    const int error = threadsFail ? EAGAIN : create(thread, attributes, body, argument);
    threads += error == 0;
    return error;
}
extern "C" int pthread_join(pthread_t thread, void** result) {
    static const auto join =
        reinterpret_cast<decltype(&pthread_join)>(dlsym(RTLD_NEXT, "pthread_join"));
    --threads;
    return join(thread, result);
}

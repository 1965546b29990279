// A whole session in which one allocation fails: the first, in the next process the second, and so
// on. Whatever fails, the process ends by itself: with its work done, or with a message and status
// 1. What was being traced by then has been written.
//
// usage: allocation_fault [STRIDE]
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <new>
#include <string>

#include "qkzeft.h"
#include "tests/support/session_design.h"

namespace {

long countdown = -1;  // allocations until one fails; negative: none does
long allocations = 0;

bool mustFail() {
    ++allocations;
    return countdown >= 0 && countdown-- == 0;
}

}  // namespace

extern "C" {
void* __real_malloc(size_t size);
void* __real_calloc(size_t count, size_t size);
void* __real_realloc(void* block, size_t size);
char* __real_strdup(const char* text);
void* __wrap_malloc(size_t size) { return mustFail() ? nullptr : __real_malloc(size); }
void* __wrap_calloc(size_t count, size_t size) {
    return mustFail() ? nullptr : __real_calloc(count, size);
}
void* __wrap_realloc(void* block, size_t size) {
    return mustFail() ? nullptr : __real_realloc(block, size);
}
char* __wrap_strdup(const char* text) { return mustFail() ? nullptr : __real_strdup(text); }
}

[[gnu::noinline]] void* operator new(size_t size) {
    for (;;) {
        if (void* const block = mustFail() ? nullptr : __real_malloc(size ? size : 1)) return block;
        const std::new_handler handler = std::get_new_handler();
        if (!handler) throw std::bad_alloc();
        handler();
    }
}
[[gnu::noinline]] void operator delete(void* block) noexcept { std::free(block); }
[[gnu::noinline]] void operator delete(void* block, size_t) noexcept { std::free(block); }

namespace {

SessionDesign* design = nullptr;

constexpr const char* kSession[] = {
    "help",
    "ls",
    "ls -d *",
    "ls top.u.mem[]",
    "trace *",
    "show top.bit",
    "traceto a.vcd",
    "log a.log",
    "wired top.bit",
    "savet a.trc",
    "setvv v = top.wide[3:0], 4(9)",
    "trace v",
    "break top.wide == 8'hff",
    "set top.wide = 100'hfffffffffffffffff",
    "set top.u.mem[2] = 7",
    "readmemh top.u.mem image.hex",
    "writememh top.u.mem out.hex",
    "lstofile ls.txt *",
    "circular 100",
    "loadt a.trc",
    "save b.vcd.gz",
    "traceclose",
};

void session() {
    qk_prints = [](const char* text) {
        if (std::strstr(text, "Failed to allocate")) std::fputs("no memory\n", stderr);
    };
    qk_step_fn = [] {};
    kelvo_start();
    qk_register_cmd("own", "a command", 0, [](const char*) { return 1; });
    design = new SessionDesign;
    for (const char* const line : kSession) {
        qk_cli(line);
        for (int i = 0; i < 3; ++i) design->step();
    }
    qk_mtc_stimulus("top.bit", "top.bit");
    qk_mtc_map("top", "top");
    qk_mtc("a.vcd");
    qk_cli("untrace *");
    QkVariable* const wide = QkVariable::GetByName("top.wide");
    if (wide) wide->SetValue(3);
    qkzeft_display(0, "top", nullptr, 2, 0, "wide %d", 100, uint64_t{1}, uint64_t{2});
    qkzeft_fclose(0, "top", nullptr, 1, 32, qkzeft_fopen(0, "top", nullptr, 1, 0, "c.txt"));
}

std::string contents(const char* path) {
    std::string text;
    std::ifstream file(path);
    std::getline(file, text, '\0');
    return text;
}

/// @return whether a run that was ended has said so in one line, and left a whole trace
bool endedInOrder() {
    const std::string messages = contents("messages"), trace = contents("a.vcd");
    const bool isWhole = trace.empty() || trace.back() == '\n';
    return std::count(messages.begin(), messages.end(), '\n') == 1 && isWhole;
}

/// The child's life. @return its exit status
int run(long failing) {
    countdown = failing;
    session();
    const bool failed = countdown < 0;
    countdown = -1;
    if (failing < 0) std::printf("%ld\n", allocations);
    return failing < 0 || failed ? 0 : 3;
}

}  // namespace

int main(int argc, char** argv) {
    const long stride = argc > 1 ? std::atol(argv[1]) : 1;
    char directory[] = "/tmp/zeft-faults-XXXXXX";
    if (stride < 1 || !mkdtemp(directory) || chdir(directory) != 0) return 2;
    std::ofstream("image.hex") << "1 2 3 @4 5";
    int bad = 0;
    long failing = 0, ranOn = 0, ended = 0;
    for (bool more = true; more; failing += stride) {
        std::fflush(nullptr);
        const pid_t child = fork();
        if (child == 0) {
            alarm(20);
            if (!std::freopen("messages", "w", stderr)) return 9;
            std::setvbuf(stderr, nullptr, _IONBF, 0);
            std::exit(run(failing));
        }
        int status = 0;
        waitpid(child, &status, 0);
        const int code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        more = code != 3;
        ranOn += code == 0;
        ended += code == 1;
        if (code == 0 || code == 3 || (code == 1 && endedInOrder())) continue;
        ++bad;
        std::printf("allocation %ld: status %x: %s\n", failing, static_cast<unsigned>(status),
                    contents("messages").c_str());
        if (bad == 20) break;
    }
    std::filesystem::current_path("/");
    std::filesystem::remove_all(directory);
    std::printf("%ld ran on, %ld ended with a message\n", ranOn, ended);
    return bad == 0 ? 0 : 1;
}

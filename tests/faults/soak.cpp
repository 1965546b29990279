// A long run: console commands and steps with traces, breakpoints and circular buffering. What is
// in memory after a tenth of the run is all that there is at its end.
//
// usage: soak COMMANDS STEPS
#include <malloc.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "qkzeft.h"
#include "tests/support/session_design.h"

namespace {

constexpr long kAllowedGrowthKb = 2048;

constexpr const char* kCommands[] = {
    "help",
    "ls",
    "ls -d *",
    "ls top.u.mem[1:3]",
    "trace *",
    "show top.bit",
    "unshow *",
    "wired top.bit",
    "savet a.trc",
    "setvv top.v = top.wide[3:0], 4(9)",
    "trace top.v",
    "break top.wide == 68'h123456789abcdef01",
    "set top.wide = 68'h30000000000000001",
    "set top.u.mem[2] = 7",
    "circular 20000",
    "loadt a.trc",
    "save b.vcd",
    "untrace top.bit",
    "break top.wide delete",
    "setvv top.v delete",
    "no such command",
    "traceto c.vcd",
    "traceclose",
    "log x.log",
    "log close",
};

long residentKb() {
    std::ifstream status("/proc/self/statm");
    long size = 0, resident = 0;
    status >> size >> resident;
    return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: %s COMMANDS STEPS\n", argv[0]);
        return 2;
    }
    const long commands = std::atol(argv[1]), steps = std::atol(argv[2]);
    char directory[] = "/tmp/zeft-soak-XXXXXX";
    if (!mkdtemp(directory) || chdir(directory) != 0) return 2;
    qk_prints = [](const char*) {};
    SessionDesign design;
    long stepsDone = 0, early = 0;
    for (long i = 0; i < commands; ++i) {
        qk_cli(kCommands[static_cast<size_t>(i) % std::size(kCommands)]);
        for (; stepsDone < steps / commands * (i + 1); ++stepsDone) design.step();
        if (i == commands / 10) early = residentKb();
    }
    const long late = residentKb();
    std::filesystem::current_path("/");
    std::filesystem::remove_all(directory);
    std::printf("%ld commands, %ld steps: %ld KB after a tenth, %ld KB at the end\n", commands,
                stepsDone, early, late);
    // A tool that replaces malloc() keeps freed memory for a while.
    const bool instrumented = mallinfo2().uordblks == 0;
    return instrumented || late - early <= kAllowedGrowthKb ? 0 : 1;
}

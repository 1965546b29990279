// The models of the dumps in the golden directory, for sessions: `dump FILE SCOPE` has a dump drive
// a design from which it could have come, in a process of its own, and prints the nets after each
// step. A name with "_names" in it is a dump of names.v or names.vhd.
#include "tests/validate/dumps.h"

#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <utility>

#include "tests/support/model_test.h"

namespace {

uint8_t bytes[5];  // clk, up and down; or clk, esc+reg, q[3], shifted and turned
uint8_t* ports[5];
uint64_t wide[2];

void registerDesign() {
    registerNets("dut", {net(0, 1, "clk", &ports[0], 0, 0, QK_type_input, QK_flag_clock),
                         net(0, 2, "up", &bytes[1], 3, 0), net(0, 3, "down", &bytes[2], 0, 3),
                         net(0, 4, "wide", &wide[0], 63, 0, 0x201),
                         net(0, 5, "wide", &wide[1], 99, 64, 0x201)});
    qk_mtc_clock("dut.clk", 0);  // the order of lines within a time is the tool's
    qk_step_fn = [] {
        qk_printf("%s: up %x, down %x, wide %llx %llx\n", qk_cycle_as_string(), bytes[1], bytes[2],
                  static_cast<unsigned long long>(wide[1]),
                  static_cast<unsigned long long>(wide[0]));
    };
}

void registerNames() {
    registerNets("dut", {net(0, 1, "clk", &ports[0], 0, 0, QK_type_input),
                         net(0, 2, "esc+reg", &ports[1], 3, 0, QK_type_input, QK_flag_register),
                         net(0, 3, "\\q[3] ", &ports[2], 0, 0, QK_type_input),
                         net(0, 4, "shifted", &ports[3], 7, 0, QK_type_input),
                         net(0, 5, "turned", &ports[4], 7, 0, QK_type_input)});
    qk_step_fn = [] {
        qk_printf("%s: %x %x %x %x %x\n", qk_cycle_as_string(), bytes[0], bytes[1], bytes[2],
                  bytes[3], bytes[4]);
    };
}

void compare(const std::string& file, const std::string& scope) {
    void (*const print)(const char*) = std::exchange(qk_prints, [](const char*) {});
    for (size_t i = 0; i < 5; ++i) ports[i] = &bytes[i];
    const bool hasNames = file.find("_names") != std::string::npos;
    hasNames ? registerNames() : registerDesign();
    qk_mtc_map("dut", scope.c_str());
    for (const std::string net : {"up", "down", "wide"})
        if (!hasNames) qk_mtc_stimulus(("dut." + net).c_str(), (scope + "." + net).c_str());
    const std::string copy = "dump" + file.substr(file.rfind('.'));
    std::filesystem::copy_file(ZEFT_GOLDEN_DIR "/vcd/" + file, copy);
    qk_prints = print;
    qk_printf("result %d\n", qk_mtc(copy.c_str()));
}

}  // namespace

int runDump(const char* argument) {
    const std::string words = argument;
    const size_t blank = words.find(' ');
    std::fflush(qk_stdout);
    const pid_t child = fork();
    if (child == 0) {
        compare(words.substr(0, blank), words.substr(blank + 1));
        std::fflush(qk_stdout);
        _exit(0);
    }
    waitpid(child, nullptr, 0);
    for (const char* const copy : {"dump.vcd", "dump.fst"}) std::filesystem::remove(copy);
    return 1;
}

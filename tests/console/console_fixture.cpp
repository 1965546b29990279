#include "tests/console/console_fixture.h"

#include <fstream>
#include <utility>

#include "model/live_model.h"
#include "tests/support/session.h"

namespace {

constexpr unsigned kPlain = 1;  // a type code without meaning here
constexpr unsigned kPart = kPlain | 0x200;

QkGRNet array(int scope, int id, const char* name, void* storage, int left, int right,
              int arrayLeft, int arrayRight, unsigned mode = kPlain, unsigned flags = 0) {
    QkGRNet row = net(scope, id, name, storage, left, right, mode | QK_array, flags);
    row.array_left = arrayLeft;
    row.array_right = arrayRight;
    return row;
}

void registerDesign(DesignStorage& s) {
    registerNets("top",
                 {net(0, 1, "clk", &s.clkPort, 0, 0, QK_type_input, QK_flag_clock),
                  net(0, 2, "rst", &s.rstPort, 0, 0, QK_type_input),
                  net(0, 3, "done", &s.donePort, 0, 0, QK_type_output),
                  net(1, 4, "pc", &s.pc, 15, 0, kPlain, 0x1),
                  net(1, 5, "pc_copy", &s.pc, 15, 0),
                  net(1, 6, "Pc", &s.upperPc, 3, 0),
                  net(1, 7, "acc", &s.acc, 6, 0, kPlain, 0x20 | QK_flag_not_compared),
                  net(1, 8, "n33", &s.n33, 32, 0),
                  net(1, 9, "low", &s.low, 8, 3, kPlain, 0x20),
                  net(1, 10, "bit3", &s.bit3, 3, 3),
                  net(1, 11, "busy", &s.busy, 0, 0, kPlain | QK_invert),
                  net(1, 12, "aw", &s.ascendingLow, 6, 69, kPart),
                  net(1, 13, "wide", &s.wideLow, 63, 0, kPart, 0x2),
                  net(1, 14, "wide", &s.wideHigh, 99, 64, kPart, 0x2),
                  net(1, 15, "up", &s.up, 0, 7),
                  net(1, 16, "aw", &s.ascendingHigh, 0, 5, kPart),
                  net(2, 17, "State", &s.state, 2, 0),
                  net(1, 18, "total", &s.total, 0, 0, QK_type_integer),
                  net(1, 19, "secret", &s.secret, 7, 0, kPlain, QK_flag_hidden | 0x1),
                  array(1, 20, "mem", s.mem, 7, 0, 0, 9, kPlain, 0x1),
                  array(1, 21, "ram", s.ram, 11, 0, 7, 2),
                  array(1, 22, "bits", s.bits, 0, 0, 40, 1),
                  array(1, 23, "pair", s.pairLow, 63, 0, -2, 1, kPart),
                  array(1, 24, "pair", s.pairHigh, 69, 64, -2, 1, kPart),
                  array(1, 25, "vast", s.vastLow, 63, 0, 1, 0, kPart),
                  array(1, 26, "vast", s.vastMiddle, 127, 64, 1, 0, kPart),
                  array(1, 27, "vast", s.vastHigh, 159, 128, 1, 0, kPart),
                  net(1, 28, "twin", &s.twinLow, 63, 0, kPart),
                  net(1, 29, "twin", &s.twinHigh, 127, 64, kPart),
                  net(1, 30, "cross", &s.crossLow, 39, 0, kPart),
                  net(1, 31, "cross", &s.crossHigh, 99, 40, kPart),
                  array(1, 32, "lane[1]", s.lane, 3, 0, 0, 1)},
                 {{0, 1, "cpu", 0}, {0, 2, "vhdl", 1}});
}

/// Names the inverted form of top.cpu.busy.
void nameInvertedForm(DesignStorage& s) {
    QkScope* const scope = qkLiveModel->findOne("top.cpu.busy")->scope;
    QkName* const name = qkLiveModel->addName(scope, "nbusy", kPlain, 0);
    qkLiveModel->addNet(name, {&s.busy, BitRange(0, 0), 0, 0, kPlain, 0, nullptr, nullptr, true});
}

}  // namespace

DesignStorage::DesignStorage() {
    for (int i = 0; i < 10; ++i) mem[9 - i] = static_cast<uint8_t>(0x10 + i);
    for (int i = 2; i <= 7; ++i) ram[i - 2] = static_cast<uint16_t>(0xa0 + i);
    for (int i = 1; i <= 40; ++i) bits[i - 1] = i & 1;
    for (int i = -2; i <= 1; ++i) {
        pairLow[1 - i] = static_cast<uint64_t>(0xf0 + i);
        pairHigh[1 - i] = static_cast<uint8_t>(3 + i);
    }
}

std::string ready(const char* time, int traced) {
    return std::string("\ntime=") + time + ": " + std::to_string(traced) +
           " of 25 values traced: ready\nzeft> ";
}

void registerSessionModel() {
    static DesignStorage storage;
    registerDesign(storage);
    nameInvertedForm(storage);
    qk_register_cmd("toggle", "#", 1, [](const char* count) {
        for (int i = std::atoi(count); i > 0; --i) {
            storage.clk ^= 1;
            ++qk_cycle;
            qk_takenote();
        }
        return 1;
    });
}

void ConsoleTest::SetUp() {
    ModelTest::SetUp();
    registerDesign(model);
    nameInvertedForm(model);
}

void ConsoleTest::TearDown() {
    qk_traceclose();  // before the storage goes
    if (input) std::fclose(input);
    qk_stdin = stdin;
    ModelTest::TearDown();
}

std::string ConsoleTest::run(const char* line) {
    said.clear();
    qk_cli(line);
    return std::exchange(said, "");
}

std::string ConsoleTest::type(std::initializer_list<const char*> lines) {
    std::string bytes;
    for (const char* line : lines) bytes.append(line).append("\n");
    return typeBytes(bytes);
}

std::string ConsoleTest::typeBytes(const std::string& bytes) {
    if (input) std::fclose(input);
    input = std::tmpfile();
    std::fwrite(bytes.data(), 1, bytes.size(), input);
    std::rewind(input);
    qk_stdin = input;
    return run("cli");
}

std::string ConsoleTest::note(uint64_t ticks) {
    said.clear();
    qk_cycle += ticks;
    qk_takenote();
    return std::exchange(said, "");
}

void ConsoleTest::writeFile(const char* path, const std::string& contents) {
    std::ofstream(path, std::ios::binary) << contents;
}

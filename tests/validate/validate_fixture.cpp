#include "tests/validate/validate_fixture.h"

#include <fstream>
#include <utility>

#include "console/console.h"
#include "console/words.h"
#include "tests/support/session.h"
#include "tests/validate/dumps.h"

void CounterStorage::registerNets() {
    ::registerNets("top",
                   {net(0, 1, "clk", &clkPort, 0, 0, QK_type_input, QK_flag_clock),
                    net(0, 2, "en", &enPort, 0, 0, QK_type_input),
                    net(0, 3, "done", &donePort, 0, 0, QK_type_output),
                    net(0, 4, "count", &count, 3, 0, 1, 0x1), net(1, 5, "bus", &bus, 7, 0),
                    net(1, 6, "other", &other, 2, 0)},
                   {{0, 1, "sub", 0}});
}

void CounterStorage::step() {
    if (clk && !lastClk && en) count = (count + 1) & 15;
    lastClk = clk;
    done = count == 3;
}

void ValidateTest::SetUp() {
    ModelTest::SetUp();
    model.registerNets();
    stepped = 0;
    counter = &model;
    qk_step_fn = [] {
        ++stepped;
        counter->step();
        if (duringStep) duringStep();
    };
}

std::string declaredNames() {
    std::string all;
    for (const QkVCDName& name : qkLiveModel->reader.vcdModel->names)
        all += name.fullName() + "[" + std::to_string(name.range.left()) + ":" +
               std::to_string(name.range.right()) + "]" + (name.range.isRange ? "" : "?") + "x" +
               std::to_string(name.vcdVars.size()) + " ";
    return all;
}

namespace {

int readHeader(const char* file) {
    QkFileReader& reader = qkLiveModel->reader;
    reader.close();
    reader.vcdModel = nullptr;
    reader.start(false);
    const int good = reader.readHeader(file);
    qk_printf("result %d: %s\n", good, declaredNames().c_str());
    qk_cycle = 0;
    if (good && reader.readInitialValues(true)) qk_printf("at %s\n", qk_cycle_as_string());
    return 1;
}

}  // namespace

void registerSessionModel() {
    static CounterStorage model;
    static bool isShown = false;
    model.registerNets();
    qk_step_fn = [] {
        model.step();
        if (isShown)
            qk_printf("step at %s: clk %d, en %d, count %d, bus %02x\n", qk_cycle_as_string(),
                      model.clk, model.en, model.count, model.bus);
    };
    qk_register_cmd("steps", "#", 1, [](const char* argument) {
        isShown = *argument != '\0';
        model.clk = model.en = model.done = model.count = model.lastClk = 0;
        return 1;
    });
    qk_register_cmd("mtc", "#", 1, [](const char* file) {
        qk_cycle = 0;
        qk_printf("result %d\n", qk_mtc(file));
        return 1;
    });
    qk_register_cmd("prepare", "#", 1, [](const char* line) {
        const Assignment map = splitAssignment(line + std::strcspn(line, " "));
        if (std::strncmp(line, "map ", 4) == 0)  // the command opens the trace again
            return qk_mtc_map(map.left.c_str(), map.right.c_str());
        runningFromVCD = true;
        qk_cli(line);
        runningFromVCD = false;
        return 1;
    });
    qk_register_cmd("header", "#", 1, readHeader);
    qk_register_cmd("precision", "#", 1, [](const char* exponent) {
        qk_set_timescale(nullptr, 0, std::atoi(exponent));
        return 1;
    });
    qk_register_cmd("dump", "#", 1, runDump);
    qk_register_cmd("comparison", "#", 1, [](const char*) {
        qkLiveModel->reader.start(false);
        qkLiveModel->console.interactive = true;
        currentPrompt = kValidatePrompt;
        return 1;
    });
}

void ValidateTest::TearDown() {
    if (input) std::fclose(input);
    qk_stdin = stdin;
    ModelTest::TearDown();
}

void ValidateTest::writeFile(const char* path, const std::string& contents) {
    std::ofstream(path, std::ios::binary) << contents;
}

void ValidateTest::writeTrace(const std::string& body, const char* path) {
    writeFile(path, std::string("$timescale 1 ns $end\n$scope module top $end\n"
                                "$var wire 1 c clk $end\n$var wire 1 e en $end\n"
                                "$var wire 1 d done $end\n$var reg 4 n count [3:0] $end\n"
                                "$upscope $end\n$enddefinitions $end\n") +
                        body);
}

std::string ValidateTest::run(const char* line) {
    said.clear();
    qk_cli(line);
    return std::exchange(said, "");
}

std::string ValidateTest::type(std::initializer_list<const char*> lines) {
    if (input) std::fclose(input);
    input = std::tmpfile();
    for (const char* line : lines) std::fprintf(input, "%s\n", line);
    std::rewind(input);
    qk_stdin = input;
    return run("validate");
}

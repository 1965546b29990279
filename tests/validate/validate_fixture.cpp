#include "tests/validate/validate_fixture.h"

#include <fstream>
#include <utility>

#include "console/console.h"

void ValidateTest::SetUp() {
    ModelTest::SetUp();
    registerNets("top",
                 {net(0, 1, "clk", &model.clkPort, 0, 0, QK_type_input, QK_flag_clock),
                  net(0, 2, "en", &model.enPort, 0, 0, QK_type_input),
                  net(0, 3, "done", &model.donePort, 0, 0, QK_type_output),
                  net(0, 4, "count", &model.count, 3, 0, 1, 0x1),
                  net(1, 5, "bus", &model.bus, 7, 0), net(1, 6, "other", &model.other, 2, 0)},
                 {{0, 1, "sub", 0}});
    stepped = 0;
    counter = &model;
    qk_step_fn = [] {
        ++stepped;
        if (counter->clk && !counter->lastClk && counter->en)
            counter->count = (counter->count + 1) & 15;
        counter->lastClk = counter->clk;
        counter->done = counter->count == 3;
        if (duringStep) duringStep();
    };
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

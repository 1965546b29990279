// A small model to run along traces, and a console to type at.
//
// top.count counts rising edges of top.clk while top.en is set; top.done tells that it is 3.
#pragma once

#include <cstdint>
#include <cstdio>
#include <initializer_list>
#include <string>

#include "tests/support/model_test.h"

struct CounterStorage {
    uint8_t clk = 0, en = 0, done = 0, count = 0, lastClk = 0;
    uint8_t* clkPort = &clk;
    uint8_t* enPort = &en;
    uint8_t* donePort = &done;
    uint8_t bus = 0, other = 0;

    void registerNets();
    void step();
};

/// Sessions are held with such a model, and with these commands besides: `steps on` has each step
/// printed, and resets the model; `mtc FILE` runs a comparison as a program does; `comparison`
/// begins one without a trace; `prepare LINE` gives one of its lines before it begins.
class ValidateTest : public ModelTest {
protected:
    void SetUp() override;
    void TearDown() override;

    /// Writes a trace with the design's declarations; `body` begins behind them.
    static void writeTrace(const std::string& body, const char* path = "ref.vcd");
    static void writeFile(const char* path, const std::string& contents);
    /// Runs one command line. @return what it said
    static std::string run(const char* line);
    /// Types lines at the prompt of a comparison, begun with `validate`, and ends the input.
    std::string type(std::initializer_list<const char*> lines);

    CounterStorage model;
    static inline int stepped;                     // calls of the step function
    static inline void (*duringStep)() = nullptr;  // called at the end of each
    static inline CounterStorage* counter;         // the model in use

private:
    FILE* input = nullptr;
};

/// The names that a trace declares, with their bounds, a `?` after those that are not declared, and
/// the count of their variables.
std::string declaredNames();

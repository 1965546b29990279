// A counter of four bits, and options that make it fail in each way a model can.
#include <qkzeft.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <zeft_main.h>

#include <string>

namespace {

zeft_model model;
std::string fault;

uint8_t clk, en = 1, done, count, lastClk, enTap;
const uint8_t *clkPort = &clk, *enPort = &en;
uint8_t* donePort = &done;

const struct {
    const char* name;
    int number;
} kSignals[] = {{"SIGINT", SIGINT}, {"SIGTERM", SIGTERM}, {"SIGHUP", SIGHUP}};

bool is(const char* name) { return fault == name; }

bool build() {
    if (is("build")) return false;
    static kelvo_module top("counter", "top");
    qk_set_timescale("counter", -9, -9);
    const unsigned reg = is("nothing-to-compare") ? QK_flag_not_compared : QK_flag_register;
    const unsigned output = is("nothing-to-compare") ? 1 : QK_type_output;
    const unsigned clockFlag = is("unmarked-clock") ? 0 : QK_flag_clock;
    const QkGRNet nets[] = {
        {0, 1, "clk", &clkPort, 0, 0, QK_type_input, 0, 0, 0, clockFlag, nullptr, nullptr},
        {0, 2, "en", &enPort, 0, 0, QK_type_input, 0, 0, 0, 0, nullptr, nullptr},
        {0, 3, "done", &donePort, 0, 0, output, 0, 0, 0, 0, nullptr, nullptr},
        {0, 4, "count", &count, 3, 0, 1, 0, 0, 0, reg, nullptr, nullptr},
        {0, 5, "tap", &enTap, 0, 0, 1, 0, 0, 0, 0, nullptr, nullptr}};
    QkRegistration::start(&top, 1, is("registration") ? 9 : 5, false);
    QkRegistration::addNets(&top, 5, nets);
    QkRegistration::end(&top);
    if (is("qk_exit-in-build")) qk_exit(0);
    return true;
}

void step() {
    if (clk && !lastClk && en) count = static_cast<uint8_t>((count + (is("count") ? 2 : 1)) & 15);
    lastClk = clk;
    done = count == 3;
    if (is("abort-in-step") && count == 2) abort();
    if (is("term-in-step") && count == 2) raise(SIGTERM);
    if (is("finish-in-step") && count == 2) qk_exit(0);
    if (is("exit-in-step") && count == 2) exit(0);
}

int run(uint64_t stop) {
    qk_takenote();
    const uint64_t end = is("endless") || stop < 100 ? stop : 100;
    while (qk_get_time() + 5 <= end) {
        qk_set_time(qk_get_time() + 5);
        clk ^= 1;
        step();
        for (const auto& s : kSignals)
            if (is(s.name) && qk_get_time() == 50) raise(s.number);
        qk_takenote();
        if (is("stop") && qk_get_time() == 50) qkzeft_stop(0, "top", nullptr, 0);
    }
    if (is("draw")) printf("drew %d\n", qkzeft_random(0, "top", nullptr, 0));
    printf("ran until %s with count %d\n", qk_cycle_as_string(), count);
    if (is("full-text")) {
        const int file = qkzeft_fopen(0, "top", nullptr, 1, 0, "/dev/full");
        qkzeft_fdisplay(0, "top", nullptr, 2, 32, static_cast<unsigned>(file), 0, "text");
    }
    if (is("fatal")) qk_exit(1);
    if (is("exit")) exit(7);
    return is("checks") ? 1 : 0;
}

bool takeFault(const char* name) {
    fault = name;
    if (is("no-step")) model.step = nullptr;
    if (is("no-run")) model.run = nullptr;
    model.clock_first = is("clock-first");
    return *name != '-';
}

const zeft_option kOptions[] = {
    {0, "fault", "KIND", "fail in this way", takeFault},
    {'c', nullptr, nullptr, "taken from --script", [](const char*) { return puts("own c") >= 0; }},
    {0, "version", nullptr, "taken from all models", [](const char*) { return puts("own") >= 0; }},
};

}  // namespace

int main(int argc, char** argv) {
    model.name = "counter";
    model.build = build;
    model.step = step;
    model.run = run;
    model.options = kOptions;
    model.option_count = getenv("COUNTER_HIDES") ? 3 : 2;
    model.operand = "START";
    model.operand_help = "first value of the counter";
    model.take_operand = [](const char* text) {
        count = static_cast<uint8_t>(text[0] - '0');
        return strlen(text) == 1 && count < 10;
    };
    return zeft_main(model, argc, argv);
}

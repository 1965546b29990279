// The queue of fifo.v as a model, to be compared with dumps of it.
#include <qkzeft.h>
#include <zeft_main.h>

namespace {

// Inputs, outputs, and how tables refer to them.
uint8_t clk, rst, push, pop, din, ready, empty;
const uint8_t *clkPort = &clk, *rstPort = &rst, *pushPort = &push, *popPort = &pop, *dinPort = &din;
uint8_t *readyPort = &ready, *emptyPort = &empty;

uint8_t slots[4], head, tail, count, dout, lost, give;
const uint8_t* doutPort = &dout;
uint8_t lastClk;

bool build() {
    static kelvo_module top("fifo", "fifo");
    const unsigned in = QK_type_input, out = QK_type_output, reg = QK_flag_register;
    const QkGRNet nets[] = {
        {0, 1, "clk", &clkPort, 0, 0, in, 0, 0, 0, QK_flag_clock, nullptr, nullptr},
        {0, 2, "rst", &rstPort, 0, 0, in, 0, 0, 0, 0, nullptr, nullptr},
        {0, 3, "push", &pushPort, 0, 0, in, 0, 0, 0, 0, nullptr, nullptr},
        {0, 4, "pop", &popPort, 0, 0, in, 0, 0, 0, 0, nullptr, nullptr},
        {0, 5, "din", &dinPort, 7, 0, in, 0, 0, 0, 0, nullptr, nullptr},
        {0, 6, "dout", &doutPort, 7, 0, out, 0, 0, 0, reg, nullptr, nullptr},
        {0, 7, "ready", &readyPort, 0, 0, out, 0, 0, 0, 0, nullptr, nullptr},
        {0, 8, "empty", &emptyPort, 0, 0, out, 0, 0, 0, 0, nullptr, nullptr},
        {0, 9, "slots", slots, 7, 0, QK_array, 0, 3, 0, 0, nullptr, nullptr},
        {0, 10, "head", &head, 1, 0, 0, 0, 0, 0, reg, nullptr, nullptr},
        {0, 11, "tail", &tail, 1, 0, 0, 0, 0, 0, reg, nullptr, nullptr},
        {0, 12, "count", &count, 2, 0, 0, 0, 0, 0, reg, nullptr, nullptr},
        {0, 13, "lost", &lost, 7, 0, 0, 0, 0, 0, reg, nullptr, nullptr},
        {0, 14, "give", &give, 0, 0, 0, 0, 0, 0, 0, nullptr, nullptr},
    };
    qk_set_timescale("fifo", -9, -9);
    QkRegistration::start(&top, 1, 14, false);
    QkRegistration::addNets(&top, 14, nets);
    QkRegistration::end(&top);
    return true;
}

void settle() {
    empty = count == 0;
    ready = count != 4 || pop;
    give = pop && !empty;
    lastClk = clk;
}

void clock() {
    if (rst) {
        head = tail = count = 0;
        return;
    }
    const uint8_t taken = push && ready;
    if (push && !ready) ++lost;
    const uint8_t leaving = slots[head];
    if (taken) slots[tail] = din;
    if (taken) tail = (tail + 1) & 3;
    if (give) dout = leaving;
    if (give) head = (head + 1) & 3;
    count = static_cast<uint8_t>(count + taken - give);
}

void step() {
    const bool rises = clk && !lastClk;
    settle();
    if (rises) clock();
    settle();
}

}  // namespace

int main(int argc, char** argv) {
    zeft_model model;
    model.name = "fifo";
    model.build = build;
    model.step = step;
    model.settle = settle;
    return zeft_main(model, argc, argv);
}

// Logic and table of the filter.
#include "fir.h"

#include <string.h>

fir::fir()
    : kelvo_module("fir"),
      clk(nullptr),
      load(nullptr),
      sample(nullptr),
      sum(nullptr),
      result(nullptr),
      clipped(nullptr) {
    fir::initials();
}

void fir::qk_netlist() {
    const unsigned integer = QK_type_integer;
    const QkGRNet nets[] = {
        {0, 1, "clk", &clk, 0, 0, QK_type_input, 0, 0, 0, QK_flag_clock, nullptr, nullptr},
        {0, 2, "load", &load, 0, 0, QK_type_input, 0, 0, 0, 0, nullptr, nullptr},
        {0, 3, "sample", &sample, 31, 0, QK_type_input, 0, 0, 0, 0, nullptr, nullptr},
        {0, 4, "sum", &sum, 31, 0, QK_type_output, 0, 0, 0, 0, nullptr, nullptr},
        {0, 5, "result", &result, 31, 0, QK_type_output, 0, 0, 0, 0, nullptr, nullptr},
        {0, 6, "clipped", &clipped, 0, 0, QK_type_output, 0, 0, 0, 0, nullptr, nullptr},
        {0, 7, "taps", taps, 31, 0, integer | QK_array, 0, kLastTap, 0, 0, nullptr, nullptr},
        {0, 8, "history", history, 31, 0, integer | QK_array, 0, kLastTap, 0, 0, nullptr, nullptr},
        {0, 9, "total", &total, 31, 0, integer, 0, 0, 0, 0, nullptr, nullptr},
        {0, 10, "scaled", &scaled, 31, 0, integer, 0, 0, 0, 0, nullptr, nullptr},
        {0, 11, "clk_QK_before", &clk_before, 0, 0, 0, 0, 0, 0,
         QK_flag_hidden | QK_flag_not_compared, nullptr, nullptr},
    };
    QkRegistration::start(this, 1, sizeof nets / sizeof *nets, true);
    QkRegistration::addNets(this, sizeof nets / sizeof *nets, nets);
    QkRegistration::end(this);
}

void fir::initials() {
    memset(taps, 0, sizeof taps);
    memset(history, 0, sizeof history);
    total = 0;
    scaled = 0;
    clk_before = 0;
}

void fir::step() {
    if (*clk && !clk_before) clock();
    clk_before = *clk;
}

void fir::clock() {
    // Element 0 of (0 to 4) is stored last.
    if (*load) {
        memmove(taps + 1, taps, sizeof taps - sizeof *taps);
        taps[0] = *sample;
        return;
    }
    memmove(history, history + 1, sizeof history - sizeof *history);
    history[kLastTap] = *sample;
    total = 0;
    for (int i = 0; i <= kLastTap; ++i) total += taps[kLastTap - i] * history[kLastTap - i];
    scaled = total / 64;
    *sum = total;
    *clipped = scaled < -2048 || scaled > 2047;
    if (scaled < -2048)
        scaled = -2048;
    else if (scaled > 2047)
        scaled = 2047;
    *result = scaled;
}

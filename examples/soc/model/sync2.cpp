// Logic and table of the synchroniser.
#include "sync2.h"

#include "netlist.h"

sync2::sync2(const uint8_t* clk_, const uint8_t* d_, uint8_t* q_)
    : kelvo_module("sync2"), clk(clk_), d(d_), q(q_), stage(0) {}

void sync2::qk_netlist() {
    const QkGRNet nets[] = {
        {0, 1, "clk", &clk, 0, 0, QK_type_input, 0, 0, 0, QK_flag_clock, nullptr, nullptr},
        {0, 2, "d", &d, 0, 0, QK_type_input, 0, 0, 0, 0, nullptr, nullptr},
        {0, 3, "q", &q, 0, 0, QK_type_output, 0, 0, 0, 0, nullptr, nullptr},
        {0, 4, "stage", &stage, 1, 0, kNet, 0, 0, 0, kRegister, nullptr, nullptr},
    };
    QkRegistration::start(this, 1, rowCount(nets), false);
    QkRegistration::addNets(this, rowCount(nets), nets);
    QkRegistration::end(this);
}

void sync2::initials() { stage = 0; }

void sync2::clock() { stage = static_cast<uint8_t>((stage << 1 & 2) | *d); }

void sync2::settle() { *q = stage >> 1; }

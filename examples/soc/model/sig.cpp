// Logic and table of the signature register.
#include "sig.h"

#include "netlist.h"

sig::sig()
    : kelvo_module("sig"),
      clk(nullptr),
      rst_n(nullptr),
      update(nullptr),
      addr(nullptr),
      wdata(nullptr),
      index(nullptr),
      rdata(nullptr),
      state_0(0),
      state_1(0),
      inject_0(0),
      inject_1(0),
      next_0(0),
      next_1(0),
      carry(0) {}

void sig::qk_netlist() {
    const QkGRNet nets[] = {
        {0, 1, "clk", &clk, 0, 0, QK_type_input, 0, 0, 0, QK_flag_clock, nullptr, nullptr},
        {0, 2, "rst_n", &rst_n, 0, 0, QK_type_input, 0, 0, 0, 0, nullptr, nullptr},
        {0, 3, "update", &update, 0, 0, QK_type_input, 0, 0, 0, 0, nullptr, nullptr},
        {0, 4, "addr", &addr, 31, 0, QK_type_input, 0, 0, 0, 0, nullptr, nullptr},
        {0, 5, "wdata", &wdata, 31, 0, QK_type_input, 0, 0, 0, 0, nullptr, nullptr},
        {0, 6, "index", &index, 1, 0, QK_type_input, 0, 0, 0, 0, nullptr, nullptr},
        {0, 7, "rdata", &rdata, 31, 0, QK_type_output, 0, 0, 0, 0, nullptr, nullptr},
        {0, 8, "state", &state_0, 63, 0, QK_parts, 0, 0, 0, kRegister, nullptr, nullptr},
        {0, 9, "state", &state_1, 99, 64, QK_parts, 0, 0, 0, kRegister, nullptr, nullptr},
        {0, 10, "carry", &carry, 0, 0, kNet, 0, 0, 0, 0, nullptr, nullptr},
        {0, 11, "inject", &inject_0, 63, 0, QK_parts, 0, 0, 0, 0, nullptr, nullptr},
        {0, 12, "inject", &inject_1, 99, 64, QK_parts, 0, 0, 0, 0, nullptr, nullptr},
        {0, 13, "next", &next_0, 63, 0, QK_parts, 0, 0, 0, 0, nullptr, nullptr},
        {0, 14, "next", &next_1, 99, 64, QK_parts, 0, 0, 0, 0, nullptr, nullptr},
    };
    QkRegistration::start(this, 1, netCount(nets), false);
    QkRegistration::addNets(this, netCount(nets), nets);
    QkRegistration::end(this);
}

void sig::initials() {
    state_0 = 1;
    state_1 = 0;
}

void sig::clock() {
    if (!*rst_n) {
        state_0 = 1;
        state_1 = 0;
    } else if (*update) {
        state_0 = next_0;
        state_1 = next_1;
    }
}

void sig::settle() {
    const uint64_t kMask = (uint64_t{1} << 36) - 1;
    carry = static_cast<uint8_t>((state_1 >> 35 ^ state_0 >> 62) & 1);
    inject_0 = uint64_t{*addr} << 36 | uint64_t{~*wdata} << 4;
    inject_1 = uint64_t{*wdata} << 4 | *addr >> 28;
    next_0 = (state_0 << 1 | carry) ^ inject_0;
    next_1 = ((state_1 << 1 | state_0 >> 63) & kMask) ^ inject_1;
    *rdata = *index == 0   ? static_cast<uint32_t>(state_0)
             : *index == 1 ? static_cast<uint32_t>(state_0 >> 32)
             : *index == 2 ? static_cast<uint32_t>(state_1)
                           : static_cast<uint32_t>(state_1 >> 32);
}

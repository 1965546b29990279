// Logic and table of the signature register.
#include "sig.h"

#include "netlist.h"

sig::sig()
    : kelvo_module("sig"),
      clk(nullptr),
      master_rst_n(nullptr),
      update(nullptr),
      master_addr(nullptr),
      master_wdata(nullptr),
      index(nullptr),
      rdata(nullptr),
      state_0(0),
      state_1(0),
      inject_0(0),
      inject_1(0),
      next_0(0),
      next_1(0),
      rst_n(0),
      addr(0),
      wdata(0),
      trail_list(0),
      carry(0),
      slot(0) {
    sig::initials();
}

void sig::qk_netlist() {
    const QkGRScope scopes[] = {{0, 1, "clear", 0}};
    const QkGRNet nets[] = {
        {0, 1, "clk", &clk, 0, 0, QK_type_input, 0, 0, 0, QK_flag_clock, nullptr, nullptr},
        {0, 2, "rst_n", &rst_n, 0, 0, kNet, 0, 0, 0, QK_flag_shadow, master_rst_n, nullptr},
        {0, 3, "update", &update, 0, 0, QK_type_input, 0, 0, 0, 0, nullptr, nullptr},
        {0, 4, "addr", &addr, 31, 0, kNet, 0, 0, 0, QK_flag_shadow, master_addr, nullptr},
        {0, 5, "wdata", &wdata, 31, 0, kNet, 0, 0, 0, QK_flag_shadow, master_wdata, nullptr},
        {0, 6, "index", &index, 1, 0, QK_type_input, 0, 0, 0, 0, nullptr, nullptr},
        {0, 7, "rdata", &rdata, 31, 0, QK_type_output, 0, 0, 0, 0, nullptr, nullptr},
        {0, 8, "state", &state_0, 63, 0, QK_parts, 0, 0, 0, kRegister, nullptr, nullptr},
        {0, 9, "state", &state_1, 99, 64, QK_parts, 0, 0, 0, kRegister, nullptr, nullptr},
        {0, 10, "carry", &carry, 0, 0, kNet, 0, 0, 0, 0, nullptr, nullptr},
        {0, 11, "wdata_n", nullptr, 31, 0, kNet, 0, 0, -5, QK_flag_replaced, nullptr, nullptr},
        {0, 12, "inject", &inject_0, 63, 0, QK_parts, 0, 0, 0, 0, nullptr, nullptr},
        {0, 13, "inject", &inject_1, 99, 64, QK_parts, 0, 0, 0, 0, nullptr, nullptr},
        {0, 14, "next", &next_0, 63, 0, QK_parts, 0, 0, 0, 0, nullptr, nullptr},
        {0, 15, "next", &next_1, 99, 64, QK_parts, 0, 0, 0, 0, nullptr, nullptr},
        {0, 16, "trail", trail_0, 63, 0, QK_parts | QK_array, 0, 7, 0, kRegister, nullptr,
         &trail_list},
        {0, 17, "trail", trail_1, 99, 64, QK_parts | QK_array, 0, 7, 0, kRegister, nullptr,
         &trail_list},
        {0, 18, "slot", &slot, 2, 0, kNet, 0, 0, 0, kRegister, nullptr, nullptr},
        {1, 19, "i", &clear_i, 31, 0, QK_type_integer, 0, 0, 0, 0, nullptr, nullptr},
    };
    QkRegistration::start(this, 1 + rowCount(scopes), rowCount(nets), false);
    QkRegistration::addScopes(this, rowCount(scopes), scopes);
    QkRegistration::addNets(this, rowCount(nets), nets);
    QkRegistration::addExtracts(this, 0, nullptr);  // replacements are carried out here
    QkRegistration::end(this);
}

void sig::initials() {
    state_0 = 1;
    state_1 = 0;
    slot = 0;
    qk_set_array(0, 7, 100, 8, 0, trail_list, trail_0, trail_1, uint64_t{0}, uint64_t{0});
    clear_i = 8;
}

void sig::clock() {
    if (!*master_rst_n) {
        state_0 = 1;
        state_1 = 0;
        slot = 0;
    } else if (*update) {
        // [0:7] is stored from element 7 on.
        const unsigned element = 7u - slot;
        if (qk_array_write_check_fn(0, "trail", element, trail_list, 7)) {
            trail_0[element] = state_0;
            trail_1[element] = state_1;
        }
        slot = (slot + 1) & 7;
        state_0 = next_0;
        state_1 = next_1;
    }
}

void sig::settle() {
    const uint64_t kMask = (uint64_t{1} << 36) - 1;
    const uint32_t bus_addr = *master_addr;
    const uint32_t bus_wdata = *master_wdata;
    carry = static_cast<uint8_t>((state_1 >> 35 ^ state_0 >> 62) & 1);
    inject_0 = uint64_t{bus_addr} << 36 | uint64_t{~bus_wdata} << 4;
    inject_1 = uint64_t{bus_wdata} << 4 | bus_addr >> 28;
    next_0 = (state_0 << 1 | carry) ^ inject_0;
    next_1 = ((state_1 << 1 | state_0 >> 63) & kMask) ^ inject_1;
    *rdata = *index == 0   ? static_cast<uint32_t>(state_0)
             : *index == 1 ? static_cast<uint32_t>(state_0 >> 32)
             : *index == 2 ? static_cast<uint32_t>(state_1)
                           : static_cast<uint32_t>(state_1 >> 32);
}

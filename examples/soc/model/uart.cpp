// Logic and table of the serial transmitter.
#include "uart.h"

#include "netlist.h"

uart::uart(const uint8_t* uclk_, const uint8_t* req_)
    : kelvo_module("uart"),
      uclk(uclk_),
      master_rst_n(nullptr),
      req(req_),
      data(nullptr),
      ack(nullptr),
      txd(nullptr),
      shift(0),
      req_seen(0),
      bits_left(0),
      baud(0),
      busy(0),
      start(0),
      rst_n(0),
      u_req_sync(uclk_, req_, &req_seen) {
    u_req_sync.qk_setup("u_req_sync", this);
}

void uart::qk_netlist() {
    const QkGRNet nets[] = {
        {0, 1, "uclk", &uclk, 0, 0, QK_type_input, 0, 0, 0, kRegister | QK_flag_clock, nullptr,
         nullptr},
        {0, 2, "rst_n", &rst_n, 0, 0, kNet, 0, 0, 0, QK_flag_shadow, master_rst_n, nullptr},
        {0, 3, "req", &req, 0, 0, QK_type_input, 0, 0, 0, kRegister, nullptr, nullptr},
        {0, 4, "data", &data, 7, 0, QK_type_input, 0, 0, 0, kRegister, nullptr, nullptr},
        {0, 5, "ack", &ack, 0, 0, QK_type_output, 0, 0, 0, kRegister, nullptr, nullptr},
        {0, 6, "txd", &txd, 0, 0, QK_type_output, 0, 0, 0, 0, nullptr, nullptr},
        {0, 7, "req_seen", &req_seen, 0, 0, kNet, 0, 0, 0, 0, nullptr, nullptr},
        {0, 8, "shift", &shift, 9, 0, kNet, 0, 0, 0, kRegister, nullptr, nullptr},
        {0, 9, "bits_left", &bits_left, 3, 0, kNet, 0, 0, 0, kRegister, nullptr, nullptr},
        {0, 10, "baud", &baud, 1, 0, kNet, 0, 0, 0, kRegister, nullptr, nullptr},
        {0, 11, "busy", &busy, 0, 0, kNet, 0, 0, 0, 0, nullptr, nullptr},
        {0, 12, "idle", nullptr, 0, 0, kNet, 0, 0, -11, QK_flag_replaced, nullptr, nullptr},
        {0, 13, "start", &start, 0, 0, kNet, 0, 0, 0, 0, nullptr, nullptr},
    };
    QkRegistration::start(this, 1, rowCount(nets), false);
    QkRegistration::addNets(this, rowCount(nets), nets);
    QkRegistration::addExtracts(this, 0, nullptr);  // replacements are carried out here
    QkRegistration::end(this);
    u_req_sync.qk_netlist();
}

void uart::initials() {
    shift = 0x3ff;
    bits_left = 0;
    baud = 0;
    *ack = 0;
    u_req_sync.initials();
}

void uart::clock() {
    u_req_sync.clock();
    if (!*master_rst_n) {
        shift = 0x3ff;
        bits_left = 0;
        baud = 0;
        *ack = 0;
    } else if (start) {
        shift = static_cast<uint16_t>(0x200 | *data << 1);
        bits_left = 10;
        baud = 0;
        *ack = req_seen;
    } else if (busy) {
        if (baud == 3) {
            shift = static_cast<uint16_t>(0x200 | shift >> 1);
            bits_left = (bits_left - 1) & 0xf;
        }
        baud = (baud + 1) & 3;
    }
}

void uart::settle() {
    u_req_sync.settle();
    busy = bits_left != 0;
    start = !busy && req_seen != *ack;
    *txd = shift & 1;
}

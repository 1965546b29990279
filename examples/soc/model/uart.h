// Model of rtl/uart.v, in the form that the generator emits.
#ifndef SOC_UART_H
#define SOC_UART_H

#include <qkzeft.h>
#include <stdint.h>

#include "sync2.h"

class uart : public kelvo_module {
public:
    uart(const uint8_t* uclk_, const uint8_t* req_);
    void qk_netlist();
    void initials() override;
    void clock();   ///< rising edge of uclk
    void settle();  ///< combinational nets

    // ports, set by the enclosing module
    const uint8_t* uclk;
    const uint8_t* master_rst_n;
    const uint8_t* req;
    const uint8_t* data;
    uint8_t* ack;
    uint8_t* txd;

    uint16_t shift;
    uint8_t req_seen;
    uint8_t bits_left;
    uint8_t baud;
    uint8_t busy;
    uint8_t start;
    uint8_t rst_n;  // a copy, which the library updates

    sync2 u_req_sync;
};

#endif

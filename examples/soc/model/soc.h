// Model of rtl/soc.v, in the form that the generator emits. The memories, the timer, the FIFO, the
// clock divider and the link are dissolved into it: names of their nets begin with the instance's
// name.
#ifndef SOC_SOC_H
#define SOC_SOC_H

#include <qkzeft.h>
#include <stdint.h>

#include "cpu.h"
#include "sig.h"
#include "sync2.h"
#include "uart.h"

class soc : public kelvo_module {
public:
    /// The ports' storage must outlive the object.
    soc(const uint8_t* clk_, const uint8_t* rst_n_, uint8_t* txd_, uint16_t* leds_);
    /// Registers the module and its children, after qk_setup().
    void qk_netlist();
    void initials() override;
    /// Evaluates the design with the current values of its inputs: acts on an edge of clk since the
    /// previous call, and settles all nets.
    void step() override;

    static const int kRomWords = 256;

    // ports
    const uint8_t* clk;
    const uint8_t* rst_n;
    uint8_t* txd;
    uint16_t* leds;

    uint8_t clk_before;  // level of clk at the last step()

    // registers
    int32_t cycles;
    uint16_t led_reg;

    // combinational nets, and outputs of the children
    uint32_t imem_addr;
    uint32_t imem_data;
    uint32_t bus_addr;
    uint32_t bus_wdata;
    uint32_t bus_rdata;
    uint32_t rom_rdata;
    uint32_t ram_rdata;
    uint32_t timer_rdata;
    uint32_t sig_rdata;
    uint8_t bus_read;
    uint8_t bus_write;
    uint8_t bus_ready;
    uint8_t sel_rom;
    uint8_t sel_ram;
    uint8_t sel_io;
    uint8_t sel_timer;
    uint8_t sel_uart;
    uint8_t sel_sig;
    uint8_t sel_leds;
    uint8_t ram_write;
    uint8_t timer_write;
    uint8_t sig_update;
    uint8_t fifo_push;
    uint8_t fifo_pop;
    uint8_t fifo_full;
    uint8_t fifo_empty;
    uint8_t fifo_dout;
    uint8_t fifo_level;
    uint8_t uclk;
    uint8_t tx_req;
    uint8_t tx_ack;
    uint8_t tx_data;
    uint8_t bus_addr_3_2;  // bits of the bus at ports

    // u_rom, u_ram: [255:0], so word 0 first
    uint32_t u_rom_words[kRomWords];
    uint32_t u_ram_words[256];
    uint64_t u_ram_words_list;  // handle of the list of changed elements
    int32_t u_ram_clear_i;
    uint8_t u_ram_word;

    // u_timer
    uint64_t u_timer_count;
    uint32_t u_timer_compare;
    uint8_t u_timer_match;
    uint8_t u_timer_hit;

    // u_fifo
    uint8_t u_fifo_slots[16];  // [0:15], so slot 15 first
    uint16_t u_fifo_used;
    int32_t u_fifo_clear_i;
    uint8_t u_fifo_head;
    uint8_t u_fifo_tail;
    uint8_t u_fifo_do_push;
    uint8_t u_fifo_do_pop;

    // u_clkdiv
    uint8_t u_clkdiv_phase;
    uint8_t u_clkdiv_running;

    // u_link
    uint8_t u_link_ack_seen;

    cpu u_cpu;
    sig u_sig;
    uart u_uart;
    sync2 u_link_u_ack_sync;

private:
    void connect();
    void clockRising();
    void clockFalling();
    void clockTimer();
    void clockFifo();
    void settle();
    void settleBus();
    uint32_t timerWord() const;
};

#endif

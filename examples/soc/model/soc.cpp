// Logic of the top module and of the instances dissolved into it.
//
// All registers that an edge clocks take their new values first, then all nets settle in an order
// in which each is computed after what it depends on.
#include "soc.h"

soc::soc(const uint8_t* clk_, const uint8_t* rst_n_, uint8_t* txd_, uint16_t* leds_)
    : kelvo_module("soc"),
      clk(clk_),
      rst_n(rst_n_),
      txd(txd_),
      leds(leds_),
      clk_before(0),
      u_rom_words(),
      u_ram_words_list(0),
      u_uart(&uclk, &tx_req),
      u_link_u_ack_sync(clk_, &tx_ack, &u_link_ack_seen) {
    connect();
    soc::initials();
}

void soc::connect() {
    u_cpu.qk_setup("u_cpu", this);
    u_cpu.clk = clk;
    u_cpu.rst_n = rst_n;
    u_cpu.imem_addr = &imem_addr;
    u_cpu.imem_data = &imem_data;
    u_cpu.bus_addr = &bus_addr;
    u_cpu.bus_wdata = &bus_wdata;
    u_cpu.bus_read = &bus_read;
    u_cpu.bus_write = &bus_write;
    u_cpu.bus_rdata = &bus_rdata;
    u_cpu.bus_ready = &bus_ready;

    u_sig.qk_setup("u_sig", this);
    u_sig.clk = clk;
    u_sig.master_rst_n = rst_n;
    u_sig.update = &sig_update;
    u_sig.master_addr = &bus_addr;
    u_sig.master_wdata = &bus_wdata;
    u_sig.index = &bus_addr_3_2;
    u_sig.rdata = &sig_rdata;

    u_uart.qk_setup("u_uart", this);
    u_uart.master_rst_n = rst_n;
    u_uart.data = &tx_data;
    u_uart.ack = &tx_ack;
    u_uart.txd = txd;

    u_link_u_ack_sync.qk_setup("u_link.u_ack_sync", this);
}

void soc::initials() {
    clk_before = *clk;
    cycles = 0;
    led_reg = 0;
    for (u_ram_clear_i = 0; u_ram_clear_i < 256; ++u_ram_clear_i) u_ram_words[u_ram_clear_i] = 0;
    u_timer_count = 0;
    u_timer_compare = 0xffffffff;
    u_timer_match = 0;
    for (u_fifo_clear_i = 0; u_fifo_clear_i < 16; ++u_fifo_clear_i) {
        u_fifo_slots[15 - u_fifo_clear_i] = 0;
    }
    u_fifo_used = 0;
    u_fifo_head = u_fifo_tail = 0;
    fifo_level = 0;
    u_clkdiv_phase = 0;
    u_clkdiv_running = 0;
    uclk = 0;
    tx_req = 0;
    tx_data = 0;
    u_cpu.initials();
    u_sig.initials();
    u_uart.initials();
    u_link_u_ack_sync.initials();
    settle();
}

void soc::step() {
    // Settling first lets what was written from outside since the last step reach the registers.
    settle();
    if (*clk != clk_before) {
        clk_before = *clk;
        if (*clk) {
            clockRising();
        } else {
            clockFalling();
        }
        settle();
    }
    qk_finalize_wave();
    u_sig.qk_finalize_wave();
    u_uart.qk_finalize_wave();
}

// Registers read nets of other modules as they were before the edge: nothing settles in between,
// and a register that another one reads directly comes after it.
void soc::clockRising() {
    cycles = static_cast<int32_t>(static_cast<uint32_t>(cycles) + 1);
    u_cpu.clock();
    u_sig.clock();
    u_link_u_ack_sync.clock();
    if (ram_write && qk_array_write_check_fn(0, "u_ram.words", u_ram_word, u_ram_words_list, 255)) {
        u_ram_words[u_ram_word] = bus_wdata;
    }
    clockTimer();
    clockFifo();
    u_clkdiv_running = 1;

    if (!*rst_n) {
        tx_req = 0;
        tx_data = 0;
        led_reg = 0;
        return;
    }
    if (fifo_pop) {
        tx_req ^= 1;
        tx_data = fifo_dout;
    }
    if (sel_leds && bus_write) led_reg = static_cast<uint16_t>(bus_wdata);
}

void soc::clockFalling() {
    if (!u_clkdiv_running) return;
    if (u_clkdiv_phase) {
        uclk ^= 1;
        if (uclk) u_uart.clock();
    }
    u_clkdiv_phase ^= 1;
}

void soc::clockTimer() {
    if (!*rst_n) {
        u_timer_count = 0;
        u_timer_compare = 0xffffffff;
        u_timer_match = 0;
        return;
    }
    u_timer_count += 1;
    if (timer_write && bus_addr_3_2 == 2) u_timer_compare = bus_wdata;
    if (u_timer_hit) {
        u_timer_match = 1;
    } else if (timer_write && bus_addr_3_2 == 3 && (bus_wdata & 8)) {
        u_timer_match = 0;
    }
}

void soc::clockFifo() {
    if (!*rst_n) {
        u_fifo_used = 0;
        u_fifo_head = u_fifo_tail = 0;
        fifo_level = 0;
        return;
    }
    if (u_fifo_do_push) {
        u_fifo_slots[15 - u_fifo_tail] = bus_wdata & 0xff;
        u_fifo_used = static_cast<uint16_t>(u_fifo_used | 1 << (15 - u_fifo_tail));
        u_fifo_tail = (u_fifo_tail + 1) & 15;
    }
    if (u_fifo_do_pop) {
        u_fifo_used = static_cast<uint16_t>(u_fifo_used & ~(1 << (15 - u_fifo_head)));
        u_fifo_head = (u_fifo_head + 1) & 15;
    }
    fifo_level = (fifo_level + u_fifo_do_push - u_fifo_do_pop) & 31;
}

void soc::settle() {
    u_cpu.settle_bus();
    settleBus();
    u_cpu.settle_core();
    u_uart.settle();
    *leds = led_reg;
}

void soc::settleBus() {
    const unsigned page = bus_addr >> 4 & 15;
    bus_addr_3_2 = bus_addr >> 2 & 3;
    sel_rom = bus_addr >> 28 == 0;
    sel_ram = bus_addr >> 28 == 1;
    sel_io = bus_addr >> 28 == 2;
    sel_timer = sel_io && page == 0;
    sel_uart = sel_io && page == 1;
    sel_sig = sel_io && page == 2;
    sel_leds = sel_io && page == 3;

    imem_data = u_rom_words[imem_addr >> 2 & 255];
    rom_rdata = u_rom_words[bus_addr >> 2 & 255];

    u_ram_word = bus_addr >> 2 & 255;
    ram_rdata = u_ram_words[u_ram_word];
    ram_write = sel_ram & bus_write;

    u_timer_hit = static_cast<uint32_t>(u_timer_count) == u_timer_compare;
    timer_rdata = timerWord();
    timer_write = sel_timer & bus_write;

    u_link_u_ack_sync.settle();
    fifo_push = sel_uart & bus_write;
    fifo_full = fifo_level >> 4;
    fifo_empty = fifo_level == 0;
    fifo_dout = u_fifo_slots[15 - u_fifo_head];
    fifo_pop = !fifo_empty && tx_req == u_link_ack_seen;
    u_fifo_do_push = fifo_push && !fifo_full;
    u_fifo_do_pop = fifo_pop && !fifo_empty;

    bus_ready = !(fifo_push && fifo_full);
    sig_update = bus_write & bus_ready;
    u_sig.settle();
    bus_rdata = sel_rom     ? rom_rdata
                : sel_ram   ? ram_rdata
                : sel_timer ? timer_rdata
                : sel_uart  ? fifo_level
                : sel_sig   ? sig_rdata
                : sel_leds  ? led_reg
                            : 0;
}

uint32_t soc::timerWord() const {
    switch (bus_addr_3_2) {
        case 0: return static_cast<uint32_t>(u_timer_count);
        case 1: return static_cast<uint32_t>(u_timer_count >> 32);
        case 2: return u_timer_compare;
        default: return uint32_t{u_timer_match} << 3;
    }
}

// Registration tables of the top module.
#include "netlist.h"
#include "soc.h"

void soc::qk_netlist() {
    const QkGRScope scopes[] = {
        {0, 1, "u_rom", 0},  {0, 2, "u_ram", 0}, {2, 3, "clear", 0},    {0, 4, "u_timer", 0},
        {0, 5, "u_fifo", 0}, {5, 6, "clear", 0}, {0, 7, "u_clkdiv", 0}, {0, 8, "u_link", 0},
    };
    const QkGRNet nets[] = {
        // module soc
        {0, 1, "clk", &clk, 0, 0, QK_type_input, 0, 0, 0, QK_flag_clock, nullptr, nullptr},
        {0, 2, "rst_n", &rst_n, 0, 0, QK_type_input, 0, 0, 0, 0, nullptr, nullptr},
        {0, 3, "txd", &txd, 0, 0, QK_type_output, 0, 0, 0, 0, nullptr, nullptr},
        {0, 4, "leds", &leds, 15, 0, QK_type_output, 0, 0, 0, 0, nullptr, nullptr},
        {0, 5, "imem_addr", &imem_addr, 31, 0, kNet, 0, 0, 0, 0, nullptr, nullptr},
        {0, 6, "imem_data", &imem_data, 31, 0, kNet, 0, 0, 0, 0, nullptr, nullptr},
        {0, 7, "bus_addr", &bus_addr, 31, 0, kNet, 0, 0, 0, 0, nullptr, nullptr},
        {0, 8, "bus_wdata", &bus_wdata, 31, 0, kNet, 0, 0, 0, 0, nullptr, nullptr},
        {0, 9, "bus_read", &bus_read, 0, 0, kNet, 0, 0, 0, 0, nullptr, nullptr},
        {0, 10, "bus_write", &bus_write, 0, 0, kNet, 0, 0, 0, 0, nullptr, nullptr},
        {0, 11, "bus_rdata", &bus_rdata, 31, 0, kNet, 0, 0, 0, 0, nullptr, nullptr},
        {0, 12, "bus_ready", &bus_ready, 0, 0, kNet, 0, 0, 0, 0, nullptr, nullptr},
        {0, 13, "sel_rom", &sel_rom, 0, 0, kNet, 0, 0, 0, 0, nullptr, nullptr},
        {0, 14, "sel_ram", &sel_ram, 0, 0, kNet, 0, 0, 0, 0, nullptr, nullptr},
        {0, 15, "sel_io", &sel_io, 0, 0, kNet, 0, 0, 0, 0, nullptr, nullptr},
        {0, 16, "sel_timer", &sel_timer, 0, 0, kNet, 0, 0, 0, 0, nullptr, nullptr},
        {0, 17, "sel_uart", &sel_uart, 0, 0, kNet, 0, 0, 0, 0, nullptr, nullptr},
        {0, 18, "sel_sig", &sel_sig, 0, 0, kNet, 0, 0, 0, 0, nullptr, nullptr},
        {0, 19, "sel_leds", &sel_leds, 0, 0, kNet, 0, 0, 0, 0, nullptr, nullptr},
        {0, 20, "rom_rdata", &rom_rdata, 31, 0, kNet, 0, 0, 0, 0, nullptr, nullptr},
        {0, 21, "ram_rdata", &ram_rdata, 31, 0, kNet, 0, 0, 0, 0, nullptr, nullptr},
        {0, 22, "ram_write", &ram_write, 0, 0, kNet, 0, 0, 0, 0, nullptr, nullptr},
        {0, 23, "timer_rdata", &timer_rdata, 31, 0, kNet, 0, 0, 0, 0, nullptr, nullptr},
        {0, 24, "timer_write", &timer_write, 0, 0, kNet, 0, 0, 0, 0, nullptr, nullptr},
        {0, 25, "fifo_push", &fifo_push, 0, 0, kNet, 0, 0, 0, 0, nullptr, nullptr},
        {0, 26, "fifo_pop", &fifo_pop, 0, 0, kNet, 0, 0, 0, 0, nullptr, nullptr},
        {0, 27, "fifo_full", &fifo_full, 0, 0, kNet, 0, 0, 0, 0, nullptr, nullptr},
        {0, 28, "fifo_empty", &fifo_empty, 0, 0, kNet, 0, 0, 0, 0, nullptr, nullptr},
        {0, 29, "fifo_dout", &fifo_dout, 7, 0, kNet, 0, 0, 0, 0, nullptr, nullptr},
        {0, 30, "fifo_level", &fifo_level, 4, 0, kNet, 0, 0, 0, kRegister, nullptr, nullptr},
        {0, 31, "uclk", &uclk, 0, 0, kNet, 0, 0, 0, kRegister | QK_flag_clock, nullptr, nullptr},
        {0, 32, "tx_req", &tx_req, 0, 0, kNet, 0, 0, 0, kRegister, nullptr, nullptr},
        {0, 33, "tx_ack", &tx_ack, 0, 0, kNet, 0, 0, 0, kRegister, nullptr, nullptr},
        {0, 34, "tx_data", &tx_data, 7, 0, kNet, 0, 0, 0, kRegister, nullptr, nullptr},
        {0, 35, "sig_rdata", &sig_rdata, 31, 0, kNet, 0, 0, 0, 0, nullptr, nullptr},
        {0, 36, "sig_update", &sig_update, 0, 0, kNet, 0, 0, 0, 0, nullptr, nullptr},
        {0, 37, "led_reg", &led_reg, 15, 0, kNet, 0, 0, 0, kRegister, nullptr, nullptr},
        {0, 38, "cycles", &cycles, 31, 0, QK_type_integer, 0, 0, 0, kRegister, nullptr, nullptr},
        {0, 39, "clk_QK_before", &clk_before, 0, 0, kNet, 0, 0, 0,
         QK_flag_hidden | QK_flag_not_compared, nullptr, nullptr},
        // u_rom
        {1, 40, "fetch_addr", &imem_addr, 31, 0, kNet, 0, 0, 0, 0, nullptr, nullptr},
        {1, 41, "fetch_data", &imem_data, 31, 0, kNet, 0, 0, 0, 0, nullptr, nullptr},
        {1, 42, "data_addr", &bus_addr, 31, 0, kNet, 0, 0, 0, 0, nullptr, nullptr},
        {1, 43, "data", &rom_rdata, 31, 0, kNet, 0, 0, 0, 0, nullptr, nullptr},
        {1, 44, "words", u_rom_words, 31, 0, QK_array, 255, 0, 0, 0, nullptr, nullptr},
        // u_ram
        {2, 45, "clk", &clk, 0, 0, QK_type_input, 0, 0, 0, QK_flag_clock, nullptr, nullptr},
        {2, 46, "write", &ram_write, 0, 0, kNet, 0, 0, 0, 0, nullptr, nullptr},
        {2, 47, "word", &u_ram_word, 7, 0, kNet, 0, 0, 0, 0, nullptr, nullptr},
        {2, 48, "wdata", &bus_wdata, 31, 0, kNet, 0, 0, 0, 0, nullptr, nullptr},
        {2, 49, "rdata", &ram_rdata, 31, 0, kNet, 0, 0, 0, 0, nullptr, nullptr},
        {2, 50, "words", u_ram_words, 31, 0, QK_array, 255, 0, 0, kRegister, nullptr,
         &u_ram_words_list},
        {3, 51, "i", &u_ram_clear_i, 31, 0, QK_type_integer, 0, 0, 0, 0, nullptr, nullptr},
        // u_timer
        {4, 52, "clk", &clk, 0, 0, QK_type_input, 0, 0, 0, QK_flag_clock, nullptr, nullptr},
        {4, 53, "rst_n", &rst_n, 0, 0, QK_type_input, 0, 0, 0, 0, nullptr, nullptr},
        {4, 54, "write", &timer_write, 0, 0, kNet, 0, 0, 0, 0, nullptr, nullptr},
        {4, 55, "index", &bus_addr_3_2, 1, 0, kNet, 0, 0, 0, 0, nullptr, nullptr},
        {4, 56, "wdata", &bus_wdata, 31, 0, kNet, 0, 0, 0, 0, nullptr, nullptr},
        {4, 57, "rdata", &timer_rdata, 31, 0, kNet, 0, 0, 0, 0, nullptr, nullptr},
        {4, 58, "count", &u_timer_count, 63, 0, kNet, 0, 0, 0, kRegister, nullptr, nullptr},
        {4, 59, "compare", &u_timer_compare, 31, 0, kNet, 0, 0, 0, kRegister, nullptr, nullptr},
        {4, 60, "match", &u_timer_match, 3, 3, kNet, 0, 0, 0, kRegister, nullptr, nullptr},
        {4, 61, "hit", &u_timer_hit, 0, 0, kNet, 0, 0, 0, 0, nullptr, nullptr},
        // u_fifo
        {5, 62, "clk", &clk, 0, 0, QK_type_input, 0, 0, 0, QK_flag_clock, nullptr, nullptr},
        {5, 63, "rst_n", &rst_n, 0, 0, QK_type_input, 0, 0, 0, 0, nullptr, nullptr},
        {5, 64, "push", &fifo_push, 0, 0, kNet, 0, 0, 0, 0, nullptr, nullptr},
        {5, 65, "full", &fifo_full, 0, 0, kNet, 0, 0, 0, 0, nullptr, nullptr},
        {5, 66, "pop", &fifo_pop, 0, 0, kNet, 0, 0, 0, 0, nullptr, nullptr},
        {5, 67, "dout", &fifo_dout, 7, 0, kNet, 0, 0, 0, 0, nullptr, nullptr},
        {5, 68, "empty", &fifo_empty, 0, 0, kNet, 0, 0, 0, 0, nullptr, nullptr},
        {5, 69, "level", &fifo_level, 4, 0, kNet, 0, 0, 0, kRegister, nullptr, nullptr},
        {5, 70, "slots", u_fifo_slots, 7, 0, QK_array, 0, 15, 0, kRegister, nullptr, nullptr},
        {5, 71, "used", &u_fifo_used, 0, 15, kNet, 0, 0, 0, kRegister, nullptr, nullptr},
        {5, 72, "head", &u_fifo_head, 3, 0, kNet, 0, 0, 0, kRegister, nullptr, nullptr},
        {5, 73, "tail", &u_fifo_tail, 3, 0, kNet, 0, 0, 0, kRegister, nullptr, nullptr},
        {5, 74, "do_push", &u_fifo_do_push, 0, 0, kNet, 0, 0, 0, 0, nullptr, nullptr},
        {5, 75, "do_pop", &u_fifo_do_pop, 0, 0, kNet, 0, 0, 0, 0, nullptr, nullptr},
        {6, 76, "i", &u_fifo_clear_i, 31, 0, QK_type_integer, 0, 0, 0, 0, nullptr, nullptr},
        // u_clkdiv
        {7, 77, "clk", &clk, 0, 0, QK_type_input, 0, 0, 0, QK_flag_clock, nullptr, nullptr},
        {7, 78, "uclk", &uclk, 0, 0, kNet, 0, 0, 0, kRegister | QK_flag_clock, nullptr, nullptr},
        {7, 79, "phase", &u_clkdiv_phase, 0, 0, kNet, 0, 0, 0, kRegister, nullptr, nullptr},
        {7, 80, "running", &u_clkdiv_running, 0, 0, kNet, 0, 0, 0, kRegister, nullptr, nullptr},
        // u_link
        {8, 81, "clk", &clk, 0, 0, QK_type_input, 0, 0, 0, QK_flag_clock, nullptr, nullptr},
        {8, 82, "rst_n", &rst_n, 0, 0, QK_type_input, 0, 0, 0, 0, nullptr, nullptr},
        {8, 83, "empty", &fifo_empty, 0, 0, kNet, 0, 0, 0, 0, nullptr, nullptr},
        {8, 84, "din", &fifo_dout, 7, 0, kNet, 0, 0, 0, 0, nullptr, nullptr},
        {8, 85, "pop", &fifo_pop, 0, 0, kNet, 0, 0, 0, 0, nullptr, nullptr},
        {8, 86, "req", &tx_req, 0, 0, kNet, 0, 0, 0, kRegister, nullptr, nullptr},
        {8, 87, "data", &tx_data, 7, 0, kNet, 0, 0, 0, kRegister, nullptr, nullptr},
        {8, 88, "ack", &tx_ack, 0, 0, kNet, 0, 0, 0, kRegister, nullptr, nullptr},
        {8, 89, "ack_seen", &u_link_ack_seen, 0, 0, kNet, 0, 0, 0, 0, nullptr, nullptr},
    };
    // Slices of nets, under their own names and bounds.
    const QkGRExtract slices[] = {
        {0, "bus_page", 0, 19, 4, 7, 4, 0},
        {5, "din", 0, 7, 0, 8, 0, 0},
    };
    QkRegistration::start(this, 1 + rowCount(scopes), rowCount(nets), false);
    QkRegistration::addScopes(this, rowCount(scopes), scopes);
    QkRegistration::addNets(this, rowCount(nets), nets);
    QkRegistration::addExtracts(this, rowCount(slices), slices);
    QkRegistration::end(this);

    u_cpu.qk_netlist();
    u_sig.qk_netlist();
    u_uart.qk_netlist();
    u_link_u_ack_sync.qk_netlist();
}

// The top of the design: a pipelined processor with its memories and peripherals on one bus.
//
//   0000_0000  program memory, read only        2000_0000  timer
//   1000_0000  data memory                      2000_0010  serial line
//                                               2000_0020  signature of all bus writes
//                                               2000_0030  lamps
//
// Everything runs on the rising edge of clk except the serial transmitter, which has a clock of a
// quarter of that rate. That clock is derived on falling edges, so whatever crosses between the two
// domains has been stable for half a period.
`timescale 1ns / 1ns
`default_nettype none

module soc (
    input  wire        clk,
    input  wire        rst_n,
    output wire        txd,
    output wire [15:0] leds
);
    // ---- Processor
    wire [31:0] imem_addr;
    wire [31:0] imem_data;
    wire [31:0] bus_addr;
    wire [31:0] bus_wdata;
    wire        bus_read;
    wire        bus_write;
    wire [31:0] bus_rdata;
    wire        bus_ready;

    cpu u_cpu (
        .clk      (clk),
        .rst_n    (rst_n),
        .imem_addr(imem_addr),
        .imem_data(imem_data),
        .bus_addr (bus_addr),
        .bus_wdata(bus_wdata),
        .bus_read (bus_read),
        .bus_write(bus_write),
        .bus_rdata(bus_rdata),
        .bus_ready(bus_ready)
    );

    // ---- Address decoder: bits 19 to 4 of an address keep their numbers
    wire [19:4] bus_page  = bus_addr[19:4];
    wire        sel_rom   = bus_addr[31:28] == 4'h0;
    wire        sel_ram   = bus_addr[31:28] == 4'h1;
    wire        sel_io    = bus_addr[31:28] == 4'h2;
    wire        sel_timer = sel_io & (bus_page[7:4] == 4'h0);
    wire        sel_uart  = sel_io & (bus_page[7:4] == 4'h1);
    wire        sel_sig   = sel_io & (bus_page[7:4] == 4'h2);
    wire        sel_leds  = sel_io & (bus_page[7:4] == 4'h3);

    // ---- Memories
    wire [31:0] rom_rdata;
    wire [31:0] ram_rdata;

    rom u_rom (
        .fetch_addr(imem_addr),
        .fetch_data(imem_data),
        .data_addr (bus_addr),
        .data      (rom_rdata)
    );

    wire ram_write = sel_ram & bus_write;
    ram u_ram (
        .clk  (clk),
        .write(ram_write),
        .word (bus_addr[9:2]),
        .wdata(bus_wdata),
        .rdata(ram_rdata)
    );

    // ---- Timer
    wire [31:0] timer_rdata;
    wire        timer_write = sel_timer & bus_write;
    timer u_timer (
        .clk  (clk),
        .rst_n(rst_n),
        .write(timer_write),
        .index(bus_addr[3:2]),
        .wdata(bus_wdata),
        .rdata(timer_rdata)
    );

    // ---- Serial line: FIFO, crossing into the slow clock domain, transmitter
    wire       fifo_push = sel_uart & bus_write;
    wire       fifo_pop;
    wire       fifo_full;
    wire       fifo_empty;
    wire [7:0] fifo_dout;
    wire [4:0] fifo_level;
    fifo u_fifo (
        .clk  (clk),
        .rst_n(rst_n),
        .push (fifo_push),
        .din  (bus_wdata[7:0]),
        .full (fifo_full),
        .pop  (fifo_pop),
        .dout (fifo_dout),
        .empty(fifo_empty),
        .level(fifo_level)
    );

    wire       uclk;
    wire       tx_req;
    wire       tx_ack;
    wire [7:0] tx_data;
    clkdiv u_clkdiv (
        .clk (clk),
        .uclk(uclk)
    );
    txlink u_link (
        .clk  (clk),
        .rst_n(rst_n),
        .empty(fifo_empty),
        .din  (fifo_dout),
        .pop  (fifo_pop),
        .req  (tx_req),
        .data (tx_data),
        .ack  (tx_ack)
    );
    uart u_uart (
        .uclk (uclk),
        .rst_n(rst_n),
        .req  (tx_req),
        .data (tx_data),
        .ack  (tx_ack),
        .txd  (txd)
    );

    // ---- Signature over all writes that the bus has taken
    wire [31:0] sig_rdata;
    wire        sig_update = bus_write & bus_ready;
    sig u_sig (
        .clk   (clk),
        .rst_n (rst_n),
        .update(sig_update),
        .addr  (bus_addr),
        .wdata (bus_wdata),
        .index (bus_addr[3:2]),
        .rdata (sig_rdata)
    );

    // ---- Lamps
    reg [15:0] led_reg = 16'd0;
    assign leds = led_reg;
    always @(posedge clk) begin
        if (!rst_n) led_reg <= 16'd0;
        else if (sel_leds & bus_write) led_reg <= bus_wdata[15:0];
    end

    // ---- Read data, and the only wait state: a write to a full FIFO
    assign bus_rdata = sel_rom   ? rom_rdata :
                       sel_ram   ? ram_rdata :
                       sel_timer ? timer_rdata :
                       sel_uart  ? {27'd0, fifo_level} :
                       sel_sig   ? sig_rdata :
                       sel_leds  ? {16'd0, led_reg} : 32'd0;
    assign bus_ready = ~(fifo_push & fifo_full);

    // Clock cycles since the start, resets included.
    integer cycles = 0;
    always @(posedge clk) cycles <= cycles + 1;
endmodule

`default_nettype wire

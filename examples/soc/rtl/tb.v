// Bench for a Verilog simulator, with the same stimulus and the same end as model/main.cpp.
//
//   +image=FILE   program for the design's ROM, words in hexadecimal
//   +cycles=N     clock cycles to run, default 120000
//   +vcd=FILE     dump all nets of the design
//   +memories     write ram.mem, regs.mem, fifo.mem and trail.mem at the end
//
// Prints each line that the design sends, as "uart: text", and logs it in serial.log.
`timescale 1ns / 1ns
`default_nettype none

module tb;
    reg         clk = 1'b0;
    reg         rst_n = 1'b0;
    wire        txd;
    wire [15:0] leds;

    soc dut (
        .clk  (clk),
        .rst_n(rst_n),
        .txd  (txd),
        .leds (leds)
    );

    // ---- Stimulus: a power-on reset, and a second one while the program runs
    always #5 clk = ~clk;
    initial begin
        #42 rst_n = 1'b1;
        #19961 rst_n = 1'b0;
        #260 rst_n = 1'b1;
    end

    // ---- Run
    reg [8*1024-1:0] image, vcd;
    integer cycles;
    initial begin
        if (!$value$plusargs("image=%s", image)) begin
            $display("tb: no +image=FILE");
            $finish;
        end
        $readmemh(image, dut.u_rom.words, 0, 255);
        if ($value$plusargs("vcd=%s", vcd)) begin
            $dumpfile(vcd);
            $dumpvars(0, dut);
        end
        log = $fopen("serial.log");
        if (!$value$plusargs("cycles=%d", cycles)) cycles = 120000;
        repeat (cycles) @(negedge clk);
        #1;
        if (characters != 0) print_line;
        if ($test$plusargs("memories")) begin
            $writememh("ram.mem", dut.u_ram.words, 0, 255);
            $writememh("regs.mem", dut.u_cpu.u_rf.regs, 0, 31);
            $writememh("fifo.mem", dut.u_fifo.slots, 0, 15);
            $writememh("trail.mem", dut.u_sig.trail, 0, 7);
        end
        $finish(0);
    end

    // ---- Receiver: samples each bit in its middle, 16 cycles a bit
    integer   log;
    reg [7:0] text[0:127];  // of the line that is coming
    integer   characters = 0;
    integer   i;
    reg       receiving = 1'b0;
    reg [7:0] count = 8'd0;  // cycles since the start bit was seen
    reg [8:0] bits = 9'd0;   // data bits and the stop bit
    task print_line;
        begin
            $write("uart: ");
            for (i = 0; i < characters; i = i + 1) $write("%c", text[i]);
            $write("\n");
            characters = 0;
        end
    endtask
    always @(posedge clk) begin
        if (!receiving) begin
            receiving <= ~txd;
            count     <= 8'd0;
        end else begin
            count <= count + 8'd1;
            if (count[3:0] == 4'd7 && count != 8'd7) bits <= {txd, bits[8:1]};
            if (count == 8'd152) begin
                receiving <= 1'b0;
                if (bits[8]) begin
                    if (bits[7:0] == 8'h0a) begin
                        $fdisplay(log, "%d cycles, %0d characters, leds %h %b", dut.cycles,
                                  characters, leds, leds);
                        print_line;
                    end else if (characters < 128) begin
                        text[characters] = bits[7:0];
                        characters = characters + 1;
                    end
                end
            end
        end
    end
endmodule

`default_nettype wire

// Drives the queue in one of four styles, STYLE: 0: all inputs by <= at the edge that samples them,
// 1: all by = in the time step of that edge, before it, 2: on the other edge, 3: some of each.
`timescale 1ns / 1ns
module tb;
    reg clk = 0, rst = 1, push = 0, pop = 0;
    reg [7:0] din = 0;
    wire [7:0] dout;
    wire ready, empty;
    fifo dut(clk, rst, push, pop, din, dout, ready, empty);

    integer seed = 1, cycle = 0;
    reg [31:0] r;

    task blocking(input integer which);
        begin
            r = $random(seed);
            if (which[0]) rst = r[31:27] == 0;
            if (which[1]) push = r[0] | r[1];
            if (which[2]) pop = r[2] & r[3] | cycle % 64 < 8;
            if (which[3]) din = r[11:4];
        end
    endtask

    always begin
        #5;
        if (`STYLE == 1) blocking(15);
        if (`STYLE == 3) blocking(4);
        clk = 1;
        #5;
        if (`STYLE == 2) blocking(15);
        if (`STYLE == 3) blocking(8);
        clk = 0;
        cycle = cycle + 1;
        if (cycle == `CYCLES) #3 $finish(0);
    end

    always @(posedge clk) begin
        r = $random(seed);
        if (`STYLE == 0 || `STYLE == 3) begin
            rst <= r[31:27] == 0;
            push <= r[0] | r[1];
        end
        if (`STYLE == 0) begin
            pop <= r[2] & r[3] | cycle % 64 < 8;
            din <= r[11:4];
        end
    end

    initial begin
        $dumpfile("dump.vcd");
        $dumpvars(0, dut);
    end
endmodule

// A bench for an event simulator, which records what the transmitter does.
`timescale 1ns / 1ns
module tb;
    reg       clk = 0, rst = 1, push = 0;
    reg [7:0] data = 0;
    wire      full, busy, txd;

    uart dut (.clk(clk), .rst(rst), .push(push), .data(data), .full(full), .busy(busy), .txd(txd));

    always #5 clk = ~clk;
    always @(posedge clk) begin
        push <= $random;
        data <= $random;
    end
    initial begin
        $dumpfile("uart.vcd");
        $dumpvars(0, tb);
        #22 rst = 0;
        #20000 $finish;
    end
endmodule

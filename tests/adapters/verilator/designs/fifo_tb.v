// EARLY: push changes by = just before the edge, and the design sees its new value. The other inputs
// change by <= at the edge.
`timescale 1ns / 1ns
module tb;
    reg clk = 0, clear = 0, push = 0, pop = 0;
    reg [7:0] din = 0;
    wire [7:0] dout, taken;
    wire full, empty;
    fifo dut (.clk(clk), .clear(clear), .push(push), .pop(pop), .din(din), .dout(dout),
              .full(full), .empty(empty), .taken(taken));
    initial begin
        $dumpfile("trace.vcd");
        $dumpvars(0, tb);
        repeat (2000) begin
`ifdef EARLY
            #5 push = $random;
            #0 clk = 1;
`else
            #5 clk = 1;
`endif
            #5 clk = 0;
        end
        $finish;
    end
    always @(posedge clk) begin
`ifndef EARLY
        push <= $random;
`endif
        pop <= $random;
        din <= $random;
        clear <= ($random & 31) == 0;
    end
endmodule

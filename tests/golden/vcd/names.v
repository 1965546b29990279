// Names, bounds and kinds of variables that simulators write each in a way of its own.
`timescale 1ns / 1ns

(* keep *)  // for Yosys, as there are no outputs
module part (input wire clk);
    (* keep *) reg [3:0] \esc+reg = 4'd0;
    (* keep *) reg \q[3] = 1'b0;
    (* keep *) reg \back\slash = 1'b0;
    (* keep *) reg [8:1] shifted = 8'h01;
    (* keep *) reg [0:7] turned = 8'h01;
    (* keep *) reg unset;
    (* keep *) reg [7:0] mem [0:1];
`ifndef YOSYS
    real level = 0.5;
    event tick;
`endif
    always @(posedge clk) begin
        \esc+reg <= \esc+reg + 4'd1;
        \q[3] <= ~\q[3] ;
        \back\slash <= \q[3] ;
        shifted <= {shifted[7:1], shifted[8]};
        turned <= {turned[1:7], turned[0]};
        mem[0] <= shifted;
`ifndef YOSYS
        level <= level * -1.5;
        -> tick;
`endif
    end
endmodule

module top (input wire clk);
    part \odd.one (.clk(clk));
endmodule

`ifdef TB
module tb;
    reg clk = 1'b0;
    top top (.clk(clk));
    always #5 clk = ~clk;
    initial begin
        $dumpfile("out.vcd");
        $dumpvars(0, top);
        #22 $dumpoff;
        #10 $dumpon;
        #12 $finish(0);
    end
endmodule
`endif

// System tasks, plus-arguments, a memory image, and the ways in which a design ends a run.
module tasks #(parameter int LIMIT = 5) (
    input clk, input stop, input fail, input die, output reg [7:0] count, output reg [7:0] word
);
    import "DPI-C" function int twice(input int a);
    int step;
    reg [7:0] rom [0:3];
    initial begin
        count = 0;
        word = 0;
        step = 1;
        if ($value$plusargs("step=%d", step)) $display("step %0d", twice(step));
        $readmemh("rom.hex", rom);
    end
    always @(posedge clk) begin
        count <= count + step[7:0];
        word <= rom[count[1:0]];
        if (!$test$plusargs("quiet")) $display("%m: %0d at %0t, %h", count, $time, word);
        if (stop) $stop;
        if (fail) $error("failed at %0d", count);
        if (die) $fatal(1, "died");
        if (count >= LIMIT) $finish;
    end
endmodule

// The lines that $display is measured with: +kind=1 narrow values, 2 wide ones, 3 text; 0 prints
// none, for what all else costs. +lines=N
module display;
    reg [31:0] a, d;
    reg [15:0] b;
    reg [63:0] s;
    reg [127:0] w;
    integer i, lines, kind;
    initial begin
        if (!$value$plusargs("lines=%d", lines)) lines = 10;
        if (!$value$plusargs("kind=%d", kind)) kind = 0;
        a = 32'h12345678;
        b = 16'h5a5a;
        d = 7;
        s = "verified";
        w = 128'h0123456789abcdef_fedcba9876543210;
        for (i = 0; i < lines; i = i + 1) begin
            a = a * 69069 + 1;
            d = d + 12345;
            b = b ^ a[15:0];
            w = {w[126:0], w[127] ^ a[3]};
            case (kind)
                1: $display("addr %h count %d flags %b state %s", a, d, b, s);
                2: $display("wide %h dec %0d bin %b", w, w, w);
                3: $display("a line of plain text with no value in it at all");
                default: ;
            endcase
        end
        $finish;
    end
endmodule

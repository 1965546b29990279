// A queue of four bytes. Full, it takes a byte only while one leaves.
`timescale 1ns / 1ns
module fifo(
    input            clk,
    input            rst,
    input            push,
    input            pop,
    input      [7:0] din,
    output reg [7:0] dout,
    output           ready,
    output           empty
);
    reg [7:0] slots [0:3];
    reg [1:0] head;
    reg [1:0] tail;
    reg [2:0] count;
    reg [7:0] lost;  // bytes that found no place
    integer   i;

    wire give = pop & !empty;
    assign empty = count == 0;
    assign ready = count != 4 | pop;

    initial begin
        dout = 0;
        head = 0;
        tail = 0;
        count = 0;
        lost = 0;
        for (i = 0; i < 4; i = i + 1) slots[i] = 0;
    end

    always @(posedge clk) begin
        if (rst) begin
            head <= 0;
            tail <= 0;
            count <= 0;
        end else begin
            if (push & ready) begin
                slots[tail] <= din;
                tail <= tail + 1;
            end
            if (push & !ready) lost <= lost + 1;
            if (give) begin
                dout <= slots[head];
                head <= head + 1;
            end
            count <= count + (push & ready) - give;
        end
    end
endmodule

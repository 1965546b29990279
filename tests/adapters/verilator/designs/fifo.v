// A FIFO whose outputs follow its inputs in the same step where it is empty or full.
module fifo(input clk, input clear, input push, input pop, input [7:0] din,
            output [7:0] dout, output full, output empty, output reg [7:0] taken);
    reg [7:0] slots [0:3];
    reg [2:0] level;
    reg [1:0] head, tail;
    integer i;
    initial begin
        level = 0;
        head = 0;
        tail = 0;
        taken = 0;
        for (i = 0; i < 4; i = i + 1) slots[i] = 0;
    end
    assign empty = level == 0;
    assign full = level == 4;
    assign dout = empty ? din : slots[head];
    wire put = push & ~full, get = pop & ~empty;
    always @(posedge clk) begin
        if (clear) begin
            level <= 0;
            head <= 0;
            tail <= 0;
        end else begin
            if (put) begin
                slots[tail] <= din;
                tail <= tail + 1;
            end
            if (get) begin
                head <= head + 1;
                taken <= slots[head];
            end
            level <= level + put - get;
        end
    end
endmodule

// A packet engine that uses what SystemVerilog has for state: package, structures, enumeration,
// packed and unpacked arrays, generate blocks, a latch, an asynchronous reset, wide values.
package packet_pkg;
    typedef enum logic [1:0] {IDLE, HEAD, BODY, TAIL} state_t;
    typedef struct packed {
        logic [3:0]  kind;
        logic [11:0] length;
        logic [31:0] crc;
    } header_t;
endpackage

module lane #(parameter int ID = 0) (
    input logic clk, input logic rst_n, input logic enable, input logic [7:0] d,
    output logic [7:0] q
);
    logic [7:0] history [0:3];
    logic [1:0] slot;
    always_ff @(posedge clk or negedge rst_n)
        if (!rst_n) begin
            q <= ID;
            slot <= 0;
        end else if (enable) begin
            q <= q + d;
            history[slot] <= q;
            slot <= slot + 1;
        end
    initial for (int i = 0; i < 4; i++) history[i] = 0;
endmodule

module packet import packet_pkg::*; #(
    parameter int LANES = 3,
    parameter logic [71:0] KEY = 72'h12_3456_789a_bcde_f012
) (
    input logic clk, input logic rst_n, input logic start, input logic [95:0] wide_i,
    input logic [47:0] header_i, output logic [95:0] wide_o, output logic [1:0] state_o,
    output logic [LANES*8-1:0] lanes_o, output logic [7:0] lane_o, output logic busy,
    output logic [8:1] odd_o, output logic [0:7] rom_o
);
    header_t header, last;
    state_t state, next;
    logic [1:0][7:0] pair;
    logic [129:0] acc;
    logic [7:0] grid [0:1][0:3];
    logic [64:0] big [3:0];
    logic [7:0] rom [0:15];
    logic [7:0] held;
    integer n;
    assign header = header_i;
    assign state_o = state;
    initial begin
        for (int i = 0; i < 16; i++) rom[i] = i * 17;
        for (int i = 0; i < 4; i++) begin
            big[i] = 0;
            grid[0][i] = 0;
            grid[1][i] = 0;
        end
    end

    always_comb begin
        next = state;
        case (state)
            IDLE: if (start) next = HEAD;
            HEAD: next = BODY;
            BODY: if (last.length[1:0] == 2'b11) next = TAIL;
            TAIL: next = IDLE;
        endcase
    end
    always_latch if (!clk) held = header.crc[7:0];

    always_ff @(posedge clk or negedge rst_n)
        if (!rst_n) begin
            state <= IDLE;
            last <= 0;
            acc <= 0;
            pair <= 0;
            wide_o <= 0;
            n <= 0;
        end else begin
            state <= next;
            n <= n + 1;
            if (start) last <= header;
            else begin
                last.kind <= last.kind + 1;
                last.length <= last.length + 1;
                last.crc <= {last.crc[30:0], last.crc[31]};
            end
            acc <= {acc[128:0], acc[129]} ^ {34'd0, wide_i} ^ {58'd0, KEY};
            pair[0] <= pair[1] ^ held;
            pair[1] <= last.crc[15:8];
            wide_o <= wide_i ^ acc[95:0];
        end
    always_ff @(posedge clk) if (rst_n) begin
        grid[n[0]][n[2:1]] <= held;
        big[n[1:0]] <= {1'b1, acc[63:0]};
    end
    assign odd_o = pair[0] ^ grid[0][1] ^ big[2][7:0];
    assign busy = state != IDLE;
    assign rom_o = rom[last.kind];

    generate
        for (genvar g = 0; g < LANES; g++) begin : lanes
            wire [7:0] src = header_i[g*8 +: 8];
            lane #(.ID(g)) u (.clk(clk), .rst_n(rst_n), .enable(busy), .d(src),
                              .q(lanes_o[g*8 +: 8]));
        end
    endgenerate
    // Its register is an output of the top by a plain name, not in parts.
    lane #(.ID(9)) alone (.clk(clk), .rst_n(rst_n), .enable(busy), .d(header_i[7:0]), .q(lane_o));
endmodule

// A 32-bit processor in five stages: fetch, decode, execute, memory, write back.
//
// Instructions are a subset of RV32I: LUI, JAL, JALR, the six branches, LW, LBU, SW, and the
// register and immediate forms of ADD SUB SLL SLT SLTU XOR SRL SRA OR AND. Others do nothing.
//
// Results are forwarded to the execute stage from the two stages behind it. A load delays an
// instruction that uses its result by one cycle. A branch is decided in execute, and taken at the
// cost of two cycles. While the bus is not ready the whole pipeline stands still.
`timescale 1ns / 1ns
`default_nettype none

module cpu (
    input  wire        clk,
    input  wire        rst_n,
    // instruction memory, answers in the same cycle
    output wire [31:0] imem_addr,
    input  wire [31:0] imem_data,
    // data bus, answers in the same cycle when ready
    output wire [31:0] bus_addr,
    output wire [31:0] bus_wdata,
    output wire        bus_read,
    output wire        bus_write,
    input  wire [31:0] bus_rdata,
    input  wire        bus_ready
);
    localparam NOP = 32'h0000_0013;
    localparam PASS_B = 4'b1111;

    // ---- Pipeline registers, named after the stage that reads them
    reg  [31:0] pc = 32'd0;

    reg         id_valid = 1'b0;
    reg  [31:0] id_pc    = 32'd0;
    reg  [31:0] id_instr = NOP;

    reg         ex_valid   = 1'b0;
    reg  [31:0] ex_pc      = 32'd0;
    reg  [31:0] ex_rdata1  = 32'd0;
    reg  [31:0] ex_rdata2  = 32'd0;
    reg  [31:0] ex_imm     = 32'd0;
    reg  [4:0]  ex_rs1     = 5'd0;
    reg  [4:0]  ex_rs2     = 5'd0;
    reg  [4:0]  ex_rd      = 5'd0;
    reg  [2:0]  ex_funct3  = 3'd0;
    reg  [3:0]  ex_alu_op  = 4'd0;
    reg         ex_use_imm = 1'b0;
    reg         ex_branch  = 1'b0;
    reg         ex_jal     = 1'b0;
    reg         ex_jalr    = 1'b0;
    reg         ex_load    = 1'b0;
    reg         ex_store   = 1'b0;
    reg         ex_writes  = 1'b0;  // has a destination register other than 0

    reg         mem_valid  = 1'b0;
    reg  [31:0] mem_result = 32'd0;
    reg  [31:0] mem_wdata  = 32'd0;
    reg  [4:0]  mem_rd     = 5'd0;
    reg         mem_byte   = 1'b0;
    reg         mem_load   = 1'b0;
    reg         mem_store  = 1'b0;
    reg         mem_writes = 1'b0;

    reg         wb_write = 1'b0;
    reg  [4:0]  wb_rd    = 5'd0;
    reg  [31:0] wb_value = 32'd0;

    // ---- Memory
    assign bus_addr  = mem_result;
    assign bus_wdata = mem_wdata;
    assign bus_read  = mem_valid & mem_load;
    assign bus_write = mem_valid & mem_store;

    wire        wait_bus  = (bus_read | bus_write) & ~bus_ready;
    wire        advance   = ~wait_bus;
    wire [7:0]  load_byte = bus_rdata >> {mem_result[1:0], 3'b000};
    wire [31:0] load_data = mem_byte ? {24'd0, load_byte} : bus_rdata;

    // ---- Decode
    wire [6:0] opcode = id_instr[6:0];
    wire [2:0] funct3 = id_instr[14:12];
    wire [4:0] id_rd  = id_instr[11:7];
    wire [4:0] id_rs1 = id_instr[19:15];
    wire [4:0] id_rs2 = id_instr[24:20];

    wire is_lui    = opcode == 7'b0110111;
    wire is_jal    = opcode == 7'b1101111;
    wire is_jalr   = opcode == 7'b1100111;
    wire is_branch = opcode == 7'b1100011;
    wire is_load   = opcode == 7'b0000011;
    wire is_store  = opcode == 7'b0100011;
    wire is_alu    = opcode == 7'b0110011;
    wire is_alui   = opcode == 7'b0010011;

    wire        id_sign = id_instr[31];
    wire [31:0] id_imm =
        is_lui    ? {id_instr[31:12], 12'd0} :
        is_jal    ? {{12{id_sign}}, id_instr[19:12], id_instr[20], id_instr[30:21], 1'b0} :
        is_branch ? {{20{id_sign}}, id_instr[7], id_instr[30:25], id_instr[11:8], 1'b0} :
        is_store  ? {{21{id_sign}}, id_instr[30:25], id_instr[11:7]} :
                    {{21{id_sign}}, id_instr[30:20]};

    wire       id_shift_right = funct3 == 3'b101;
    wire [3:0] id_alu_op =
        is_lui  ? PASS_B :
        is_alu  ? {id_instr[30], funct3} :
        is_alui ? {id_instr[30] & id_shift_right, funct3} : 4'b0000;
    wire       id_use_imm = ~(is_alu | is_branch);
    wire       id_writes =
        (is_lui | is_jal | is_jalr | is_load | is_alu | is_alui) & (id_rd != 5'd0);

    wire [31:0] id_rdata1;
    wire [31:0] id_rdata2;
    regfile u_rf (
        .clk   (clk),
        .we    (wb_write),
        .waddr (wb_rd),
        .wdata (wb_value),
        .raddr1(id_rs1),
        .raddr2(id_rs2),
        .rdata1(id_rdata1),
        .rdata2(id_rdata2)
    );

    wire load_use = id_valid & ex_valid & ex_load & ex_writes &
                    ((ex_rd == id_rs1) | (ex_rd == id_rs2));

    // ---- Execute
    wire fwd1_mem = mem_valid & mem_writes & ~mem_load & (mem_rd == ex_rs1);
    wire fwd2_mem = mem_valid & mem_writes & ~mem_load & (mem_rd == ex_rs2);
    wire fwd1_wb  = wb_write & (wb_rd == ex_rs1);
    wire fwd2_wb  = wb_write & (wb_rd == ex_rs2);

    wire [31:0] ex_a   = fwd1_mem ? mem_result : fwd1_wb ? wb_value : ex_rdata1;
    wire [31:0] ex_rs2_value = fwd2_mem ? mem_result : fwd2_wb ? wb_value : ex_rdata2;
    wire [31:0] ex_b   = ex_use_imm ? ex_imm : ex_rs2_value;

    wire [31:0] alu_y;
    wire        alu_eq;
    wire        alu_lt;
    wire        alu_ltu;
    alu u_alu (
        .op (ex_alu_op),
        .a  (ex_a),
        .b  (ex_b),
        .y  (alu_y),
        .eq (alu_eq),
        .lt (alu_lt),
        .ltu(alu_ltu)
    );

    wire        compared  = ex_funct3[2] ? (ex_funct3[1] ? alu_ltu : alu_lt) : alu_eq;
    wire        ex_taken  = ex_valid & (ex_jal | ex_jalr | (ex_branch & (compared ^ ex_funct3[0])));
    wire [31:0] ex_target = ex_jalr ? {alu_y[31:1], 1'b0} : ex_pc + ex_imm;
    wire [31:0] ex_result = (ex_jal | ex_jalr) ? ex_pc + 32'd4 : alu_y;

    // ---- Fetch
    assign imem_addr = pc;
    wire [31:0] pc_next = ex_taken ? ex_target : load_use ? pc : pc + 32'd4;

    // ---- Counters: bus wait states, and instructions that left the memory stage
    reg [47:0] wait_cycles = 48'd0;
    integer    retired = 0;

    // ---- Pipeline
    always @(posedge clk) begin
        if (!rst_n) begin
            pc          <= 32'd0;
            id_valid    <= 1'b0;
            ex_valid    <= 1'b0;
            mem_valid   <= 1'b0;
            wb_write    <= 1'b0;
            wait_cycles <= 48'd0;
            retired     <= 0;
        end else if (!advance) begin
            wait_cycles <= wait_cycles + 48'd1;
        end else begin
            pc <= pc_next;

            if (ex_taken) begin
                id_valid <= 1'b0;
            end else if (!load_use) begin
                id_valid <= 1'b1;
                id_pc    <= pc;
                id_instr <= imem_data;
            end

            ex_valid   <= id_valid & ~load_use & ~ex_taken;
            ex_pc      <= id_pc;
            ex_rdata1  <= id_rdata1;
            ex_rdata2  <= id_rdata2;
            ex_imm     <= id_imm;
            ex_rs1     <= id_rs1;
            ex_rs2     <= id_rs2;
            ex_rd      <= id_rd;
            ex_funct3  <= funct3;
            ex_alu_op  <= id_alu_op;
            ex_use_imm <= id_use_imm;
            ex_branch  <= is_branch;
            ex_jal     <= is_jal;
            ex_jalr    <= is_jalr;
            ex_load    <= is_load;
            ex_store   <= is_store;
            ex_writes  <= id_writes;

            mem_valid  <= ex_valid;
            mem_result <= ex_result;
            mem_wdata  <= ex_rs2_value;
            mem_rd     <= ex_rd;
            mem_byte   <= ex_funct3[2];
            mem_load   <= ex_load;
            mem_store  <= ex_store;
            mem_writes <= ex_writes;

            wb_write <= mem_valid & mem_writes;
            wb_rd    <= mem_rd;
            wb_value <= mem_load ? load_data : mem_result;

            if (mem_valid) retired <= retired + 1;
        end
    end
endmodule

`default_nettype wire

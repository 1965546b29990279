// Logic of the processor, in the names and the order of rtl/cpu.v.
#include "cpu.h"

namespace {

const uint32_t kNop = 0x00000013;
const uint8_t kPassB = 0xf;

/// Bits `high` to `low` of `value`.
uint32_t field(uint32_t value, int high, int low) {
    return value >> low & ((uint32_t{2} << (high - low)) - 1);
}

uint32_t arithmeticShiftRight(uint32_t value, int count) {
    const uint32_t sign = value >> 31 ? ~(0xffffffffu >> count) : 0;
    return value >> count | sign;
}

}  // namespace

cpu::cpu()
    : kelvo_module("cpu"),
      clk(nullptr),
      rst_n(nullptr),
      imem_addr(nullptr),
      imem_data(nullptr),
      bus_addr(nullptr),
      bus_wdata(nullptr),
      bus_read(nullptr),
      bus_write(nullptr),
      bus_rdata(nullptr),
      bus_ready(nullptr) {
    cpu::initials();
}

void cpu::initials() {
    wait_cycles = 0;
    pc = 0;
    id_valid = 0;
    id_pc = 0;
    id_instr = kNop;
    ex_valid = 0;
    ex_pc = ex_rdata1 = ex_rdata2 = ex_imm = 0;
    ex_rs1 = ex_rs2 = ex_rd = ex_funct3 = ex_alu_op = 0;
    ex_use_imm = ex_branch = ex_jal = ex_jalr = ex_load = ex_store = ex_writes = 0;
    mem_valid = 0;
    mem_result = mem_wdata = 0;
    mem_rd = mem_byte = mem_load = mem_store = mem_writes = 0;
    wb_write = wb_rd = 0;
    wb_value = 0;
    retired = 0;
    for (u_rf_clear_i = 0; u_rf_clear_i < 32; ++u_rf_clear_i) u_rf_regs[u_rf_clear_i] = 0;
}

void cpu::clock() {
    if (wb_write) u_rf_regs[wb_rd] = wb_value;

    if (!*rst_n) {
        pc = 0;
        id_valid = ex_valid = mem_valid = wb_write = 0;
        wait_cycles = 0;
        retired = 0;
        return;
    }
    if (wait_bus) {
        wait_cycles = (wait_cycles + 1) & 0xffffffffffff;
        return;
    }

    // From the last stage to the first, so that each receives what the one before it held.
    if (mem_valid) retired = static_cast<int32_t>(static_cast<uint32_t>(retired) + 1);
    wb_write = mem_valid & mem_writes;
    wb_rd = mem_rd;
    wb_value = mem_load ? load_data : mem_result;

    mem_valid = ex_valid;
    mem_result = ex_result;
    mem_wdata = ex_rs2_value;
    mem_rd = ex_rd;
    mem_byte = ex_funct3 >> 2;
    mem_load = ex_load;
    mem_store = ex_store;
    mem_writes = ex_writes;

    ex_valid = id_valid && !load_use && !ex_taken;
    ex_pc = id_pc;
    ex_rdata1 = id_rdata1;
    ex_rdata2 = id_rdata2;
    ex_imm = id_imm;
    ex_rs1 = id_rs1;
    ex_rs2 = id_rs2;
    ex_rd = id_rd();
    ex_funct3 = funct3();
    ex_alu_op = id_alu_op;
    ex_use_imm = id_use_imm;
    ex_branch = is_branch;
    ex_jal = is_jal;
    ex_jalr = is_jalr;
    ex_load = is_load;
    ex_store = is_store;
    ex_writes = id_writes;

    if (ex_taken) {
        id_valid = 0;
    } else if (!load_use) {
        id_valid = 1;
        id_pc = pc;
        id_instr = *imem_data;
    }
    pc = pc_next;
}

void cpu::settle_bus() {
    *bus_addr = mem_result;
    *bus_wdata = mem_wdata;
    *bus_read = mem_valid & mem_load;
    *bus_write = mem_valid & mem_store;
    *imem_addr = pc;
}

void cpu::settle_core() {
    wait_bus = (*bus_read | *bus_write) && !*bus_ready;
    load_byte = static_cast<uint8_t>(*bus_rdata >> 8 * (mem_result & 3));
    load_data = mem_byte ? load_byte : *bus_rdata;
    decode();
    execute();
    pc_next = ex_taken ? ex_target : load_use ? pc : pc + 4;
}

uint32_t cpu::immediate() const {
    const uint32_t sign = id_sign ? 0xffffffffu : 0;
    if (is_lui) return id_instr & 0xfffff000;
    if (is_jal) {
        return sign << 20 | field(id_instr, 19, 12) << 12 | field(id_instr, 20, 20) << 11 |
               field(id_instr, 30, 21) << 1;
    }
    if (is_branch) {
        return sign << 12 | field(id_instr, 7, 7) << 11 | field(id_instr, 30, 25) << 5 |
               field(id_instr, 11, 8) << 1;
    }
    if (is_store) {
        return sign << 11 | field(id_instr, 30, 25) << 5 | field(id_instr, 11, 7);
    }
    return sign << 11 | field(id_instr, 30, 20);
}

void cpu::decode() {
    const uint32_t opcode = id_instr & 0x7f;
    id_rs1 = static_cast<uint8_t>(field(id_instr, 19, 15));
    id_rs2 = static_cast<uint8_t>(field(id_instr, 24, 20));
    is_lui = opcode == 0x37;
    is_jal = opcode == 0x6f;
    is_jalr = opcode == 0x67;
    is_branch = opcode == 0x63;
    is_load = opcode == 0x03;
    is_store = opcode == 0x23;
    is_alu = opcode == 0x33;
    is_alui = opcode == 0x13;
    id_sign = static_cast<uint8_t>(id_instr >> 31);
    id_imm = immediate();
    id_shift_right = funct3() == 5;
    const uint32_t bit30 = field(id_instr, 30, 30);
    id_alu_op = static_cast<uint8_t>(is_lui    ? kPassB
                                     : is_alu  ? bit30 << 3 | funct3()
                                     : is_alui ? (bit30 & id_shift_right) << 3 | funct3()
                                               : 0);
    id_use_imm = !(is_alu | is_branch);
    id_writes = (is_lui | is_jal | is_jalr | is_load | is_alu | is_alui) && id_rd() != 0;

    u_rf_bypass1 = wb_write && wb_rd == id_rs1;
    u_rf_bypass2 = wb_write && wb_rd == id_rs2;
    id_rdata1 = u_rf_bypass1 ? wb_value : u_rf_regs[id_rs1];
    id_rdata2 = u_rf_bypass2 ? wb_value : u_rf_regs[id_rs2];
    load_use = id_valid && ex_valid && ex_load && ex_writes && (ex_rd == id_rs1 || ex_rd == id_rs2);
}

void cpu::execute() {
    fwd1_mem = mem_valid && mem_writes && !mem_load && mem_rd == ex_rs1;
    fwd2_mem = mem_valid && mem_writes && !mem_load && mem_rd == ex_rs2;
    fwd1_wb = wb_write && wb_rd == ex_rs1;
    fwd2_wb = wb_write && wb_rd == ex_rs2;
    ex_a = fwd1_mem ? mem_result : fwd1_wb ? wb_value : ex_rdata1;
    ex_rs2_value = fwd2_mem ? mem_result : fwd2_wb ? wb_value : ex_rdata2;
    ex_b = ex_use_imm ? ex_imm : ex_rs2_value;

    u_alu_diff = (uint64_t{ex_a} - ex_b) & 0x1ffffffff;
    u_alu_shamt = ex_b & 0x1f;
    u_alu_sra = arithmeticShiftRight(ex_a, u_alu_shamt);
    alu_eq = ex_a == ex_b;
    alu_ltu = static_cast<uint8_t>(u_alu_diff >> 32);
    alu_lt = static_cast<uint8_t>(
        ((ex_a ^ ex_b) >> 31 ? ex_a : static_cast<uint32_t>(u_alu_diff)) >> 31);
    alu_y = alu();

    compared = ex_funct3 & 4 ? (ex_funct3 & 2 ? alu_ltu : alu_lt) : alu_eq;
    ex_taken = ex_valid && (ex_jal || ex_jalr || (ex_branch && (compared ^ (ex_funct3 & 1))));
    ex_target = ex_jalr ? alu_y & ~1u : ex_pc + ex_imm;
    ex_result = ex_jal | ex_jalr ? ex_pc + 4 : alu_y;
}

uint32_t cpu::alu() const {
    switch (ex_alu_op) {
        case 0x0: return ex_a + ex_b;
        case 0x8: return static_cast<uint32_t>(u_alu_diff);
        case 0x1: return ex_a << u_alu_shamt;
        case 0x2: return alu_lt;
        case 0x3: return alu_ltu;
        case 0x4: return ex_a ^ ex_b;
        case 0x5: return ex_a >> u_alu_shamt;
        case 0xd: return u_alu_sra;
        case 0x6: return ex_a | ex_b;
        case 0x7: return ex_a & ex_b;
        case kPassB: return ex_b;
        default: return 0;
    }
}

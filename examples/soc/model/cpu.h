// Model of rtl/cpu.v, with its alu and regfile dissolved into it, in the form that the generator
// emits. Names of nets of dissolved instances begin with the instance's name.
#ifndef SOC_CPU_H
#define SOC_CPU_H

#include <qkzeft.h>
#include <stdint.h>

class cpu : public kelvo_module {
public:
    cpu();
    void qk_netlist();
    void initials() override;
    void clock();        ///< rising edge of clk
    void settle_bus();   ///< combinational nets that depend on registers only
    void settle_core();  ///< the others, when memories and bus have answered

    // ports, set by the enclosing module
    const uint8_t* clk;
    const uint8_t* rst_n;
    uint32_t* imem_addr;
    const uint32_t* imem_data;
    uint32_t* bus_addr;
    uint32_t* bus_wdata;
    uint8_t* bus_read;
    uint8_t* bus_write;
    const uint32_t* bus_rdata;
    const uint8_t* bus_ready;

    // registers
    uint64_t wait_cycles;
    uint32_t pc;
    uint32_t id_pc;
    uint32_t id_instr;
    uint32_t ex_pc;
    uint32_t ex_rdata1;
    uint32_t ex_rdata2;
    uint32_t ex_imm;
    uint32_t mem_result;
    uint32_t mem_wdata;
    uint32_t wb_value;
    int32_t retired;
    uint8_t id_valid;
    uint8_t ex_valid;
    uint8_t ex_rs1;
    uint8_t ex_rs2;
    uint8_t ex_rd;
    uint8_t ex_funct3;
    uint8_t ex_alu_op;
    uint8_t ex_use_imm;
    uint8_t ex_branch;
    uint8_t ex_jal;
    uint8_t ex_jalr;
    uint8_t ex_load;
    uint8_t ex_store;
    uint8_t ex_writes;
    uint8_t mem_valid;
    uint8_t mem_rd;
    uint8_t mem_byte;
    uint8_t mem_load;
    uint8_t mem_store;
    uint8_t mem_writes;
    uint8_t wb_write;
    uint8_t wb_rd;

    // combinational nets
    uint32_t load_data;
    uint32_t id_imm;
    uint32_t id_rdata1;
    uint32_t id_rdata2;
    uint32_t ex_a;
    uint32_t ex_rs2_value;
    uint32_t ex_b;
    uint32_t alu_y;
    uint32_t ex_target;
    uint32_t ex_result;
    uint32_t pc_next;
    uint8_t wait_bus;
    uint8_t load_byte;
    uint8_t id_rs1;
    uint8_t id_rs2;
    uint8_t is_lui;
    uint8_t is_jal;
    uint8_t is_jalr;
    uint8_t is_branch;
    uint8_t is_load;
    uint8_t is_store;
    uint8_t is_alu;
    uint8_t is_alui;
    uint8_t id_sign;
    uint8_t id_shift_right;
    uint8_t id_alu_op;
    uint8_t id_use_imm;
    uint8_t id_writes;
    uint8_t load_use;
    uint8_t fwd1_mem;
    uint8_t fwd2_mem;
    uint8_t fwd1_wb;
    uint8_t fwd2_wb;
    uint8_t alu_eq;
    uint8_t alu_lt;
    uint8_t alu_ltu;
    uint8_t compared;
    uint8_t ex_taken;

    // u_alu
    uint64_t u_alu_diff;
    uint32_t u_alu_sra;
    uint8_t u_alu_shamt;

    // u_rf
    uint32_t u_rf_regs[32];  // [31:0], so register 0 first
    int32_t u_rf_clear_i;
    uint8_t u_rf_bypass1;
    uint8_t u_rf_bypass2;

private:
    uint8_t id_rd() const { return id_instr >> 7 & 31; }
    uint8_t funct3() const { return id_instr >> 12 & 7; }
    void decode();
    void execute();
    uint32_t immediate() const;
    uint32_t alu() const;
};

#endif

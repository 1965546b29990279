// Model of rtl/sig.v, in the form that the generator emits.
//
// The 100-bit nets are held in two variables each: bits 63 to 0 and bits 99 to 64. Nets that are
// held in the enclosing module have copies here, for their names; the logic reads the masters.
#ifndef SOC_SIG_H
#define SOC_SIG_H

#include <qkzeft.h>
#include <stdint.h>

class sig : public kelvo_module {
public:
    sig();
    void qk_netlist();
    void initials() override;
    void clock();   ///< rising edge of clk
    void settle();  ///< combinational nets

    // ports, set by the enclosing module
    const uint8_t* clk;
    const uint8_t* master_rst_n;
    const uint8_t* update;
    const uint32_t* master_addr;
    const uint32_t* master_wdata;
    const uint8_t* index;
    uint32_t* rdata;

    uint64_t state_0;
    uint64_t state_1;
    uint64_t inject_0;
    uint64_t inject_1;
    uint64_t next_0;
    uint64_t next_1;
    uint64_t trail_0[8];  // [0:7], so element 7 first
    uint64_t trail_1[8];

    // copies of nets of the enclosing module, which the library updates
    uint8_t rst_n;
    uint32_t addr;
    uint32_t wdata;

    uint64_t trail_list;  // handle of the list of changed elements
    uint8_t carry;
    uint8_t slot;
    int32_t clear_i;
};

#endif

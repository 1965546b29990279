// Model of rtl/sig.v, in the form that the generator emits.
//
// The 100-bit nets are held in two variables each: bits 63 to 0 and bits 99 to 64.
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
    const uint8_t* rst_n;
    const uint8_t* update;
    const uint32_t* addr;
    const uint32_t* wdata;
    const uint8_t* index;
    uint32_t* rdata;

    uint64_t state_0;
    uint64_t state_1;
    uint64_t inject_0;
    uint64_t inject_1;
    uint64_t next_0;
    uint64_t next_1;
    uint8_t carry;
};

#endif

// Model of rtl/sync2.v, in the form that the generator emits.
#ifndef SOC_SYNC2_H
#define SOC_SYNC2_H

#include <qkzeft.h>
#include <stdint.h>

class sync2 : public kelvo_module {
public:
    sync2(const uint8_t* clk_, const uint8_t* d_, uint8_t* q_);
    void qk_netlist();
    void initials() override;
    void clock();   ///< rising edge of clk
    void settle();  ///< combinational nets

    const uint8_t* clk;
    const uint8_t* d;
    uint8_t* q;

    uint8_t stage;
};

#endif

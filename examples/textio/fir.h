// Model of fir.vhd, in the form that the generator emits.
#ifndef FIR_H
#define FIR_H

#include <qkzeft.h>
#include <stdint.h>

class fir : public kelvo_module {
public:
    fir();
    void qk_netlist();
    void initials() override;
    void step() override;

    // ports, set by the enclosing module
    const uint8_t* clk;
    const uint8_t* load;
    const int32_t* sample;
    int32_t* sum;
    int32_t* result;
    uint8_t* clipped;

    static const int kLastTap = 4;
    int32_t taps[kLastTap + 1];  // (0 to 4), so element 4 first
    int32_t history[kLastTap + 1];
    int32_t total;
    int32_t scaled;
    uint8_t clk_before;

private:
    void clock();  ///< rising edge of clk
};

#endif

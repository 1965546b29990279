// The lines that $display is measured with: those of the other programs, so that all print the
// same.
#pragma once

#include <cstdint>
#include <cstring>

#include "qkzeft_systasks.h"

struct DisplayLines {
    uint32_t a = 0x12345678;
    uint32_t d = 7;
    uint16_t b = 0x5a5a;
    uint64_t s = 0x7665726966696564;  // "verified"
    uint64_t low = 0xfedcba9876543210;
    uint64_t high = 0x0123456789abcdef;

    void change() {
        a = a * 69069 + 1;
        d += 12345;
        b = static_cast<uint16_t>(b ^ a);
        const uint64_t in = (high >> 63) ^ (a >> 3 & 1);
        high = high << 1 | low >> 63;
        low = low << 1 | in;
    }
    /// Changes the values and prints a line.
    void step(int kind) {
        change();
        if (kind == 1)
            qkzeft_display(0, "t", nullptr, 5, 0, "addr %h count %d flags %b state %s", 32, a, 32,
                           d, 16, unsigned{b}, 64, s);
        else if (kind == 2)
            qkzeft_display(0, "t", nullptr, 4, 0, "wide %h dec %0d bin %b", 128, low, high, 128,
                           low, high, 128, low, high);
        else
            qkzeft_display(0, "t", nullptr, 1, 0,
                           "a line of plain text with no value in it at all");
    }
};

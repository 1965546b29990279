// How wide shifts by amounts that vary are measured in all programs.
#pragma once

#include "bench/peers/stimulus.h"

inline uint32_t amounts[1024];
inline uint64_t operand[64], shifted[64];

/// @param shift  shifts `operand` by an amount below `bits` into `shifted`
template <class Shift>
void measure(const char* what, unsigned bits, Shift&& shift) {
    Random random;
    for (uint32_t& amount : amounts) amount = static_cast<uint32_t>(random() % bits);
    for (uint64_t& chunk : operand) chunk = random();
    if (bits % 64) operand[bits / 64 % 64] &= (uint64_t{1} << bits % 64) - 1;
    const size_t count = 40000000 / (64 + bits / 8);
    const uint64_t from = nowNs();
    for (size_t i = 0; i < count; ++i) {
        shift(amounts[i % 1024]);
        asm volatile("" ::: "memory");
    }
    const std::string name = std::string(what) + "_" + std::to_string(bits) + "_ns";
    result(name.c_str(), static_cast<double>(nowNs() - from) / static_cast<double>(count));
}

// How draws of random numbers are measured in all programs.
#pragma once

#include "bench/peers/stimulus.h"

inline uint32_t sum = 0;  // of all draws, so that none is optimised away

template <class Draw>
void measure(const char* name, size_t count, Draw&& draw) {
    const uint64_t from = nowNs();
    for (size_t i = 0; i < count; ++i) sum ^= static_cast<uint32_t>(draw());
    result(name, static_cast<double>(count) * 1e3 / static_cast<double>(nowNs() - from));
}

// The net table of a stimulus.
#pragma once

#include <vector>

#include "bench/peers/stimulus.h"
#include "qkzeft.h"

/// Appends the rows of net `i`: one, or for a net of more than 64 bits one for each part, the low
/// one first.
/// @param name  must outlive the registration
inline void appendRows(std::vector<QkGRNet>& rows, Stimulus& stimulus, size_t i, int scope,
                       const char* name) {
    const int width = static_cast<int>(stimulus.nets[i].width);
    const bool inParts = width > 64;
    for (int low = 0; low < width; low += 64) {
        const int high = width - low > 64 ? low + 63 : width - 1;
        rows.push_back({scope, static_cast<int>(rows.size()) + 1, name, stimulus.at(i) + low / 8,
                        high, low, inParts ? 0x201u : 1u, 0, 0, 0, 0, nullptr, nullptr});
    }
}

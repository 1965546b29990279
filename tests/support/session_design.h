// A design with a net of each kind, for programs that hold whole sessions with the library.
#pragma once

#include <cstdint>

#include "qkzeft.h"

struct SessionDesign {
    uint8_t bit = 0;
    uint64_t low = 1;  // wide, 68 bits
    uint8_t high = 2;
    uint16_t memory[5] = {1, 2, 3, 4, 5};  // u.mem [5:1]
    kelvo_module module{"session", "top"};

    SessionDesign() {
        const QkGRScope scopes[] = {{0, 1, "u", 0}};
        const QkGRNet rows[] = {
            {0, 1, "bit", &bit, 0, 0, 1, 0, 0, 0, 0x20, nullptr, nullptr},
            {0, 2, "wide", &low, 0, 63, 0x201, 0, 0, 0, 0x20, nullptr, nullptr},
            {0, 3, "wide", &high, 64, 67, 0x201, 0, 0, 0, 0x20, nullptr, nullptr},
            {1, 4, "mem", memory, 8, 0, 1 | QK_array, 5, 1, 0, 0, nullptr, nullptr},
        };
        QkRegistration::start(&module, 2, 4, true);
        QkRegistration::addScopes(&module, 1, scopes);
        QkRegistration::addNets(&module, 4, rows);
        QkRegistration::end(&module);
    }
    void step() {
        ++qk_cycle;
        bit ^= 1;
        low = low * 3 + qk_cycle;
        high = static_cast<uint8_t>(low >> 60);
        qk_takenote();
    }
};

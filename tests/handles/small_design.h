// A design with a net of each kind that a handle must tell apart.
#pragma once

#include "tests/support/model_test.h"

class SmallDesignTest : public ModelTest {
protected:
    void SetUp() override {
        ModelTest::SetUp();
        QkGRNet array = net(0, 8, "mem", mem, 11, 0, 1 | QK_array);
        array.array_left = -3;
        array.array_right = 12;
        QkGRNet copy = net(0, 9, "b_copy", &bCopy, 40, 33);
        copy.trace_word = &b;
        const std::vector<QkGRNet> rows = {net(0, 1, "hidden", &a, 7, 0, 1, QK_flag_hidden),
                                           copy,
                                           net(0, 2, "a", &a, 7, 0),
                                           net(0, 3, "wide", &wide[0], 63, 0, 0x201),
                                           net(0, 4, "wide", &wide[1], 99, 64, 0x201),
                                           net(0, 5, "flag", &flag, 0, 0, 1 | QK_invert),
                                           net(0, 6, "up", &up, 4, 23),
                                           net(0, 7, "b", &b, 40, 33),
                                           array};
        const QkGRExtract extracts[] = {{0, "slice", 0, 9, 4, 3, 60, 0},
                                        {0, "nflag", 1, 0, 0, -5, 0, 0}};
        const QkGRTerm terms[] = {{0, "term", 0, 0, 19, 6}};
        auto* const module = new kelvo_module("design", "top");
        QkRegistration::start(module, 1, 9, false);
        QkRegistration::addNets(module, 9, rows.data());
        QkRegistration::addExtracts(module, 2, extracts);
        QkRegistration::addTerms(module, 1, terms);
        QkRegistration::end(module);
    }

    static QkVariable* get(const char* pattern) { return QkVariable::GetByName(pattern); }
    /// Moves time on and tells the library, as a model does.
    static void step() {
        ++qk_cycle;
        qk_takenote();
    }
    /// What was said since the last call.
    static std::string takeSaid() { return std::exchange(said, ""); }

    uint8_t a = 0x5a, flag = 1, b = 0x77, bCopy = 0x77;
    uint32_t up = 0x12345;                                 // [4:23]
    uint64_t wide[2] = {0xfedcba9876543210, 0x123456789};  // [99:0]; slice is its bits 65 to 60
    uint16_t mem[16] = {};                                 // [-3:12]: element 12 first
};

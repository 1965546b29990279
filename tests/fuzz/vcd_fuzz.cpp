// Reference traces: any file, through the whole of a comparison. The first two bytes of an input
// select options, the rest is the file.
#include <algorithm>

#include "model/live_model.h"
#include "qkzeft_validate.h"
#include "tests/fuzz/target.h"

namespace {

struct Model {
    uint8_t guardBefore = 0x5a;
    uint8_t clk = 0, bus = 0, back = 0;
    uint64_t low = 0;
    uint8_t high = 0;
    uint16_t memory[5] = {};
    uint8_t guardAfter = 0x5a;
    uint8_t* clkPort = &clk;
    uint8_t* busPort = &bus;
    kelvo_module module{"fuzz", "top"};

    Model() {
        const unsigned inverted = 1 | QK_invert;
        const QkGRNet rows[] = {
            {0, 1, "clk", &clkPort, 0, 0, QK_type_input, 0, 0, 0, QK_flag_clock, nullptr, nullptr},
            {0, 2, "bus", &busPort, 7, 0, QK_type_input, 0, 0, 0, 0, nullptr, nullptr},
            {0, 3, "wide", &low, 63, 0, 0x201, 0, 0, 0, QK_flag_register, nullptr, nullptr},
            {0, 4, "wide", &high, 67, 64, 0x201, 0, 0, 0, QK_flag_register, nullptr, nullptr},
            {0, 5, "back", &back, 0, 0, inverted, 0, 0, 0, QK_flag_register, nullptr, nullptr},
            {0, 6, "mem", memory, 8, 0, 1 | QK_array, 5, 1, 0, 0, nullptr, nullptr},
        };
        registerRows(module, rows);
        qk_cli("trace top.*");
    }
    void step() {
        back ^= clk;
        low = low * 3 + bus;
        high = static_cast<uint8_t>(low >> 60);
        qk_takenote();
    }
};

Model* model;

void setOptions(unsigned bits) {
    static const int kVerbosity[] = {0, 1, 3, 4};
    qk_mtc_step_on_clock(bits & 1);
    qk_mtc_clock_first(bits % 3 == 0);
    qk_mtc_map("top", bits & 2 ? "other" : nullptr);
    qk_mtc_synctime(bits >> 2 & 1, nullptr);
    qk_mtc_stimulus("top.wide", bits & 8 ? "top.wide" : nullptr);
    qkLiveModel->reader.verbosestep = (bits & 16) != 0;
    qkLiveModel->reader.threshold = bits & 32 ? -1 : 1;
    qkLiveModel->reader.verbose = kVerbosity[bits >> 6 & 3];
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    qk_prints = [](const char*) {};
    if (!model) {
        static Model made;
        model = &made;
        qk_step_fn = [] { model->step(); };
    }
    static const MemoryFile file;
    const size_t options = std::min<size_t>(size, 2);
    file.set(data + options, size - options);
    setOptions(options > 0 ? data[0] : 0);
    qk_strict = options > 1 && (data[1] & 1);
    qk_mtc(file.path.c_str());
    require(!qkLiveModel->reader.fileIsOpen() && !qkLiveModel->reader.vcdModel);
    require(waitingToSync == nullptr && nOutOfSync == 0);
    require(model->guardBefore == 0x5a && model->guardAfter == 0x5a && model->clk < 2);
    for (const uint16_t element : model->memory) require(element < 0x200);
    qk_cycle = 0;
    return 0;
}

// Memory images: any file, into arrays of several widths and limits, and what was written read
// back.
#include <algorithm>
#include <iterator>

#include "tests/fuzz/target.h"

namespace {

struct Model {
    uint16_t guardBefore = 0x5a5a;
    uint16_t narrow[5] = {};
    uint16_t guardAfter = 0x5a5a;
    uint64_t low[4] = {};
    uint8_t high[4] = {};
    kelvo_module module{"fuzz", "top"};

    Model() {
        const QkGRNet rows[] = {
            {0, 1, "narrow", narrow, 8, 0, 1 | QK_array, 5, 1, 0, 0, nullptr, nullptr},
            {0, 2, "wide", low, 63, 0, 0x201 | QK_array, -2, 1, 0, 0, nullptr, nullptr},
            {0, 3, "wide", high, 66, 64, 0x201 | QK_array, -2, 1, 0, 0, nullptr, nullptr},
        };
        registerRows(module, rows);
    }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static Model model;
    static const MemoryFile file;
    const char* const path = file.path.c_str();
    qk_prints = [](const char*) {};
    file.set(data, size);
    const int limit = size > 0 ? static_cast<signed char>(data[size / 2]) : 0;
    qk_readmemh("top.narrow", path);
    qk_readmemb_sf("top.narrow", path, 1 + limit % 2, limit, 3);
    qk_readmemh("top.wide", path);
    qk_readmemb("top.wide", path);
    require(model.guardBefore == 0x5a5a && model.guardAfter == 0x5a5a);
    for (const uint16_t element : model.narrow) require(element < 0x200);
    for (const uint8_t element : model.high) require(element < 8);

    uint64_t low[4];
    std::copy(std::begin(model.low), std::end(model.low), low);
    for (const char* const array : {"top.narrow", "top.wide"}) {
        require(qk_writememh(array, path) == 1);
        require(qk_readmemh(array, path) == 1);
    }
    require(std::equal(std::begin(low), std::end(low), model.low));
    return 0;
}

// Power-on values of a model's storage.
#include "base/storage.h"
#include "qkzeft_module.h"

namespace {

uint64_t initialValueSeed = 0;

}  // namespace

void qk_set_initial_value(uint64_t value) { initialValueSeed = value; }

uint64_t qk_get_initial_value(int width, uint64_t index) {
    if (initialValueSeed == 0 || width <= 0) return 0;
    if (initialValueSeed == 1) return bitMask(width);
    const uint64_t mixed =
        initialValueSeed * index * uint64_t{0x27BB2EE687B0B0FD} + uint64_t{0xB504F32D};
    return width >= 64 ? mixed : mixed >> (64 - width);
}

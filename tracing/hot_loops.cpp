#include "tracing/hot_loops.h"

#include "base/qkassert.h"
#include "tracing/hot_loops_units.h"

namespace {

const HotLoops* inUse = nullptr;

}  // namespace

const HotLoops* hotLoopsOf(VectorUnit unit) {
    switch (unit) {
        case kPlainUnit: return &kPlainLoops;
#ifdef __x86_64__
        case kAvx2Unit:
            return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi") ? &kAvx2Loops
                                                                                   : nullptr;
        case kAvx512Unit:
            return __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vl") &&
                           __builtin_cpu_supports("bmi")
                       ? &kAvx512Loops
                       : nullptr;
#endif
        default: return nullptr;
    }
}

const HotLoops& hotLoops() {
    if (!inUse)
        for (int unit = kPlainUnit; unit < kVectorUnitCount; ++unit)
            if (const HotLoops* const loops = hotLoopsOf(static_cast<VectorUnit>(unit)))
                inUse = loops;
    return *inUse;
}

void useVectorUnit(VectorUnit unit) {
    const HotLoops* const loops = hotLoopsOf(unit);
    QK_ASSERT(loops);
    inUse = loops;
}

// The loops of each vector unit that this build has.
#pragma once

#include "tracing/hot_loops.h"

extern const HotLoops kPlainLoops;
#ifdef __x86_64__
extern const HotLoops kAvx2Loops;
extern const HotLoops kAvx512Loops;
#endif

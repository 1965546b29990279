// Names of the units that loops are compiled for, as tests have them.
#pragma once

#include <string>

#include "tracing/hot_loops.h"

inline std::string vectorUnitName(VectorUnit unit) {
    return unit == kPlainUnit ? "plain" : unit == kAvx2Unit ? "avx2" : "avx512";
}

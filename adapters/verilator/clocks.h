// Which inputs are clocks.
#pragma once

#include <vector>

#include "design.h"

namespace qkverilate {

/// A net that triggers a process.
struct ClockUse {
    int net;
};

/// Marks the inputs that clocks come from, and those that the user names. Notes clocks that come
/// from logic. Throws DesignError.
void markClocks(Design& design, const std::vector<ClockUse>& uses, const DesignOptions& options);

}  // namespace qkverilate

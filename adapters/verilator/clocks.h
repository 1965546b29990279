// Which inputs are clocks.
#pragma once

#include <vector>

#include "design.h"

namespace qkverilate {

/// A net that triggers a process.
struct ClockUse {
    int net;
};

/// Marks the inputs that are the origin of clocks, and those that the user names. Adds notes about
/// clocks that logic makes. Throws DesignError.
void markClocks(Design& design, const std::vector<ClockUse>& uses, const DesignOptions& options);

}  // namespace qkverilate

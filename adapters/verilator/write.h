// The two files that are passed to Verilator with the sources.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "design.h"

namespace qkverilate {

/// @return the configuration file, which makes variables of the model public
std::string configurationOf(const Design& design);

/// @param periods  of clocks in a free run, NET and PERIOD
/// @param className  of the model that Verilator makes
/// @return the C++ source with the tables of the design
std::string tablesOf(const Design& design,
                     const std::vector<std::pair<std::string, std::string>>& periods,
                     const std::string& className);

}  // namespace qkverilate

// Where the run time's headers and the libraries are.
#pragma once

#include <string>
#include <vector>

namespace qkverilate {

struct Installation {
    std::string runtime;                 ///< folder of the run time's headers
    std::vector<std::string> compiling;  ///< flags
    std::vector<std::string> linking;    ///< files and flags
};

/// Looks for them below `prefix` if that is given, else below the prefix that this program is
/// installed in, in the build tree that it was built in, and with pkg-config. Throws BuildError.
Installation findInstallation(const std::string& prefix);

}  // namespace qkverilate

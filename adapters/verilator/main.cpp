// qkverilate: from Verilog sources to a simulator with console, waveforms and comparison.
#include <sys/resource.h>

#include <algorithm>
#include <exception>

#include "build.h"

namespace {

/// Trees are walked recursively, and the depth of a long expression is the number of its operands.
void allowDeepTrees() {
    constexpr rlim_t kStack = rlim_t{100} << 20;
    rlimit limit;
    if (getrlimit(RLIMIT_STACK, &limit) != 0 || limit.rlim_cur >= kStack) return;
    limit.rlim_cur = std::min(kStack, limit.rlim_max);
    setrlimit(RLIMIT_STACK, &limit);
}

}  // namespace

int main(int argc, char** argv) {
    using namespace qkverilate;
    allowDeepTrees();
    Options options;
    Status status = kDone;
    try {
        if (readOptions(argc, argv, options, status)) build(options);
        return status;
    } catch (const BuildError& error) {
        complain(error.text);
    } catch (const DesignError& error) {
        complain(error.text);
    } catch (const TreeError& error) {
        complain(error.text);
    } catch (const std::exception& error) {
        complain(error.what());
    }
    return kFailed;
}

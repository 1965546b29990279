#include "base/qkassert.h"

#include <cstdio>
#include <cstdlib>

namespace {

QkAssertHandler assertHandler = nullptr;

}  // namespace

void qkSetAssertHandler(QkAssertHandler handler) { assertHandler = handler; }

void qkAssertFailed(const char* condition, const char* file, int line) {
    if (assertHandler) {
        assertHandler(condition, file, line);
        return;
    }
    std::fflush(stdout);
    std::fprintf(stderr, "%s:%d: Assertion failed: %s\n", file, line, condition);
    std::abort();
}

// Ctrl-C.
//
// The handler only counts; the command loop handles the count. A model that hangs never gets to the
// loop, so the fourth unhandled press restores the previous handler, and the next press has its
// usual effect, which mostly ends the process.
#include <cerrno>
#include <csignal>

#include "console/console.h"
#include "qkzeft_module.h"
#include "run/life.h"

volatile std::sig_atomic_t sigintCount = 0;

namespace {

constexpr int kPressesBeforeGivingUp = 4;

volatile std::sig_atomic_t isInstalled = 0;
struct sigaction displaced;  // valid while isInstalled is set

extern "C" void countSigint(int) {
    const int savedErrno = errno;
    sigintCount = sigintCount + 1;
    if (sigintCount == kPressesBeforeGivingUp) restoreSigintHandler();
    errno = savedErrno;
}

}  // namespace

void restoreSigintHandler() {
    if (!isInstalled) return;
    isInstalled = 0;
    sigaction(SIGINT, &displaced, nullptr);
}

void qk_sigint_install() {
    startRun();
    if (isInstalled) return;
    sigintCount = 0;
    struct sigaction ours = {};
    ours.sa_handler = countSigint;
    ours.sa_flags = SA_RESTART;  // a press at the prompt does not affect the line being typed
    sigemptyset(&ours.sa_mask);
    if (sigaction(SIGINT, &ours, &displaced) == 0) isInstalled = 1;
}

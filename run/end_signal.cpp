#include "run/end_signal.h"

#include <csignal>
#include <ctime>

#include <cerrno>

#include "qkzeft_module.h"

volatile std::sig_atomic_t notedEndSignal = 0;

namespace {

/// As with Ctrl-C at the console, the fourth signal restores the default action, and the next one
/// ends the process.
constexpr int kSignalsBeforeGivingUp = 4;

/// A model that hangs in a loop never calls qk_takenote(), and the sender of SIGTERM, such as
/// timeout(1), may send no other signal.
constexpr time_t kGraceSeconds = 10;

volatile sig_atomic_t received = 0;  // signals since
volatile sig_atomic_t taken = 0;
timer_t graceTimer;
volatile sig_atomic_t hasTimer = 0;

void setTimer(time_t seconds) {
    if (!hasTimer) return;
    itimerspec when{};
    when.it_value.tv_sec = seconds;
    timer_settime(graceTimer, 0, &when, nullptr);
}

extern "C" void noteEndSignal(int number, siginfo_t* info, void*) {
    const int savedErrno = errno;
    if (number == SIGPIPE) signal(SIGPIPE, SIG_IGN);  // later writes fail without a signal
    received = received + 1;
    if (info->si_code == SI_TIMER) {
        if (!taken) {
            signal(notedEndSignal, SIG_DFL);
            raise(notedEndSignal);
        }
    } else if (notedEndSignal == 0) {
        notedEndSignal = number;
        if (number != SIGPIPE) setTimer(kGraceSeconds);
    } else if (received >= kSignalsBeforeGivingUp) {
        signal(number, SIG_DFL);
    }
    errno = savedErrno;
}

/// The timer sends `number` again, which the handler handles.
void makeTimer(int number) {
    if (hasTimer) return;
    sigevent event{};
    event.sigev_notify = SIGEV_SIGNAL;
    event.sigev_signo = number;
    if (timer_create(CLOCK_MONOTONIC, &event, &graceTimer) == 0) hasTimer = 1;
}

}  // namespace

void qk_end_on_signal(int number) {
    struct sigaction action = {};
    // A signal that is ignored, as by nohup(1), or handled by the program stays so.
    if (sigaction(number, nullptr, &action) != 0 || (action.sa_flags & SA_SIGINFO) ||
        action.sa_handler != SIG_DFL)
        return;
    if (number != SIGPIPE) makeTimer(number);
    action = {};
    action.sa_sigaction = noteEndSignal;
    action.sa_flags = SA_SIGINFO;  // so that a wait for typed input ends
    sigemptyset(&action.sa_mask);
    sigaction(number, &action, nullptr);
}

int qk_end_signal() { return notedEndSignal; }

int pendingEndSignal() { return taken ? 0 : notedEndSignal; }

void requestEnd(int signal) {
    if (notedEndSignal == 0) notedEndSignal = signal;
}

int takeEndSignal() {
    const int signal = pendingEndSignal();
    if (signal == 0) return 0;
    taken = 1;
    setTimer(0);
    return signal;
}

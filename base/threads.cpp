#include "base/threads.h"

#include <sched.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace {

bool allowedHere = true;

}  // namespace

bool threadsAllowed() {
    const char* const word = std::getenv("ZEFT_THREADS");
    return allowedHere && !(word && std::strcmp(word, "0") == 0);
}

bool allowThreads(bool allowed) { return std::exchange(allowedHere, allowed); }

int processorCount() {
    cpu_set_t set;
    CPU_ZERO(&set);
    // The call fails on a machine with more processors than the set has room for.
    return sched_getaffinity(0, sizeof set, &set) == 0 ? std::max(CPU_COUNT(&set), 1) : CPU_SETSIZE;
}

bool startThread(pthread_t& thread, void* (*body)(void*), void* argument) {
    sigset_t all, before;
    sigfillset(&all);
    if (pthread_sigmask(SIG_SETMASK, &all, &before) != 0) return false;
    const bool isStarted = pthread_create(&thread, nullptr, body, argument) == 0;
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return isStarted;
}

// The library's own threads, which read a trace ahead or write one.
//
// They run no code of the model or of its user, and receive no signals: those are for the model's
// thread. A forked process has none of them.
#pragma once

#include <pthread.h>

/// @return whether threads may be started: not after allowThreads(false), and not where the
///         environment has ZEFT_THREADS=0
bool threadsAllowed();
/// @return whether they were allowed before
bool allowThreads(bool allowed);

/// @return how many processors this process may run on, at least 1
int processorCount();

/// Starts body(argument). @return whether the thread could be started
bool startThread(pthread_t& thread, void* (*body)(void*), void* argument);

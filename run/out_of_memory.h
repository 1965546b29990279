// What becomes of a run when memory is exhausted.
//
// The library's containers report that through operator new. A new-handler ends the process there,
// with one message and status 1; on the way out the exit routine completes the open trace, for
// which some memory is set aside.
#pragma once

/// Installs the handler, unless the program has one of its own, and sets the memory aside. The
/// calling thread is that of the model: other threads get std::bad_alloc as ever.
void prepareForOutOfMemory();
/// Gives back the memory set aside, for the completion of traces.
void releaseMemoryReserve();

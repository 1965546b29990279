// What happens to a run when memory is exhausted.
//
// The library's containers report that through operator new. A new-handler then ends the process,
// with one message and status 1; the exit routine completes the open trace, for which some memory
// is reserved.
#pragma once

/// Installs the handler, unless the program has its own, and reserves the memory. The calling
/// thread is that of the model: other threads get std::bad_alloc as usual.
void prepareForOutOfMemory();
/// Frees the reserved memory, for the completion of traces.
void releaseMemoryReserve();

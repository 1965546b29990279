// Tagged memory for generated code, and reading nets by address or name.
#ifndef QKZEFT_MEMORY_H
#define QKZEFT_MEMORY_H

#include <stddef.h>
#include <stdint.h>

#include "qkzeft_api.h"

extern "C" {

/// Allocates memory, to be released by qk_free() or free(). When memory is exhausted, prints a
/// message to the standard error stream and ends the process with status 1.
/// @param size  bytes; 0 returns a block too
/// @param tag   names the caller in the message
/// @return the block, never null
QK_API void* qk_malloc(size_t size, const char* tag);
/// Resizes a block as realloc() does, and fails as qk_malloc() does.
/// @param block  null allocates one
/// @param size   bytes; 0 releases the block and returns null
QK_API void* qk_realloc(void* block, size_t size, const char* tag);
/// Releases a block of qk_malloc() or qk_realloc(); null is ignored.
QK_API void qk_free(void* block);

/// Reads a net's storage: 1, 2, 4 or 8 bytes by its width, at any alignment.
/// @param width  bits, of which the low 8 bits count; 1 to 64
/// @return what the storage holds; 0 with a message for a null address or another width
QK_API uint64_t qk_getval(const void* address, int width);
/// Finds the place where the library keeps the address of a net's storage, by the net's full name:
/// `*(void**)qk_graphics_ptr(name)` is `qk_ptr(name, ...)`. A pattern with '*' must match exactly
/// one net.
/// @param name  null finds nothing
/// @return the place, to be read only, valid while the net is registered; null when no net or more
///         than one matches, for slices and virtual variables, and for nets held in several
///         variables
QK_API void* qk_graphics_ptr(const char* name);
/// Finds the storage itself, with the net's polarity.
/// @param name      as for qk_graphics_ptr()
/// @param inverted  if not null, receives whether the storage holds the net inverted; false when
///                  null is returned
/// @return the storage, or null where qk_graphics_ptr() returns null
QK_API void* qk_ptr(const char* name, bool* inverted);

}  // extern "C"

#endif

// Decoding the arguments of a system task.
//
// An argument is a pair: a signed size word, then the value. The magnitude of the word is the width
// in bits. A positive one is followed by the value, in chunks of 64 bits, the least significant
// first; a last chunk of at most 32 bits is an unsigned int. A negative one is followed by pointers
// to the chunks; the last points to 8, 16, 32 or 64 bits, by what is left of the width. 0 is
// followed by a text, or by a null and an array. Values are two-state.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

#include "base/storage.h"

struct FreeBlock {
    void operator()(void* block) const { std::free(block); }
};
using OwnedText = std::unique_ptr<char, FreeBlock>;
using OwnedChunks = std::unique_ptr<uint64_t, FreeBlock>;
using OwnedPlaces = std::unique_ptr<void*, FreeBlock>;

/// A task's call: its first parameters and the remaining pairs.
struct TaskCall {
    const char* task;  ///< name for messages
    int flags;
    const void* instance;  ///< path, or a kelvo_module when `flags` has a bit of kInstanceIsModule
    const char* scope;     ///< local scope below the instance, or null
    int count;             ///< pairs left
    std::va_list list;
};
inline constexpr int kInstanceIsModule = 0x23, kNeedsTimescale = 0x21;

/// @return the size without the mark for signed values
inline int withoutSignedMark(int size) {
    constexpr int kSignedMark = 0x40000000;
    if (size > kSignedMark) return size - kSignedMark;
    return size < -kSignedMark ? size + kSignedMark : size;
}

/// Reads the next chunk of a value, and subtracts its bits from `size`. Bits above the width are
/// cleared.
inline uint64_t qk_read_chunk(TaskCall& call, int& size) {
    const int bits = size > 64 || size < -64 ? 64 : size < 0 ? -size : size;
    uint64_t chunk = 0;
    if (size > 0) {
        chunk = bits > 32 ? va_arg(call.list, uint64_t) : va_arg(call.list, unsigned);
        size -= bits;
    } else {
        const void* const place = va_arg(call.list, const void*);
        if (place) chunk = loadStorage(place, storageBytes(bits));
        size += bits;
    }
    return chunk & bitMask(bits);
}
/// Skips the remaining chunks of a value.
void qk_skip_arg(TaskCall& call, int size);
int qk_arg_chunks(int size);
/// Reads a value as 64-bit chunks, one more than needed.
/// @return null for size 0
OwnedChunks qk_read_this_arg_into_array(TaskCall& call, int size);
/// Reads the pointers of an lvalue, one more than needed; for sizes 32 and 64, the one pointer that
/// is passed by value.
/// @return null for anything else, of which nothing is read
OwnedPlaces qk_read_this_arg_ptrs(TaskCall& call, int size);

/// An array as it is passed after a null text.
struct ArrayArgument {
    uint64_t width, elements, third, fourth;
    void* lowestArea;  ///< of chunk 0; null for an element of no width
};
ArrayArgument readArray(TaskCall& call);
/// Reads an array of 8-bit elements as a text, the highest element first.
/// @return null for other widths
OwnedText qk_read_this_arg_as_array_string(TaskCall& call);

/// A text argument: one that was passed, or one made from a value.
struct TextArgument {
    const char* text;  ///< null when there is none
    OwnedText owned;
};
TextArgument readTextArgument(TaskCall& call, int size);
/// Reads the name of a file, or a mode. NULs before the text of a value are dropped; if qk_strict
/// is set, they become blanks, as in any other text.
TextArgument readNameArgument(TaskCall& call, int size);
/// @return the low 64 bits of a value; 0 for a text or an array
uint64_t readInteger(TaskCall& call, int size);
/// Skips the text of a pair of size 0, or the array after a null.
void skipText(TaskCall& call);

/// Makes the text of a string value (IEEE 1364-2005, 3.6), the highest byte first, NUL as blank.
OwnedText qk_Cstr_of_Vstr(const uint64_t* chunks, int size);
/// Stores a text in a register, its last character in the lowest byte.
/// @param places  one for each chunk, the lowest first
/// @return characters stored
size_t storeText(int size, size_t length, const char* text, void* const* places);

/// Prints an error in a call.
void qk_task_error(const char* task, const char* format, ...) __attribute__((format(printf, 2, 3)));
/// Prints an error in a call, and ends the run with status 1.
void failTask(const TaskCall& call, const char* format, ...) __attribute__((format(printf, 2, 3)));
/// Ends the run: writes the traces, opens a last console for an interactive user, writes the
/// report.
void endRun(int status);

/// Starts to read a call.
#define QK_BEGIN_TASK(call, name)                                  \
    TaskCall call{name, flags, instance, scope, ArgPairCount, {}}; \
    va_start((call).list, ArgPairCount)

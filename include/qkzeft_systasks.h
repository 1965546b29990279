// The Verilog system tasks that generated code calls (IEEE 1364-2005, 17).
//
// All begin with the same four parameters: `flags` of the generator; the instance, as the text of
// its path, or as a kelvo_module when `flags` has a bit of 0x23; the local scope below it, or null;
// and the count of argument pairs that follow. A pair is an int, the size, and the value:
//
//     size          what follows
//     1 to 32       an unsigned
//     33 to 64      a uint64_t
//     above 64      a uint64_t for each 64 bits, low first; the last, partial chunk is an unsigned
//                   if it has 1 to 32 bits
//     below 0       a pointer for each 64 bits of the magnitude, to a uint64_t; the last to 8, 16,
//                   32 or 64 bits by what is left of the width
//     0             a const char*, a text; or null and an array: an int, four uint64_t (element
//                   width, element count, two more), a pointer for each 64 bits of the width
//
// The size of a signed value has 0x40000000 added, or subtracted if the size is negative. A call
// whose arguments make no sense ends the run with status 1 and a message; the trace file is
// complete then.
#ifndef QKZEFT_SYSTASKS_H
#define QKZEFT_SYSTASKS_H

#include "qkzeft_api.h"

extern "C" {

// ---- Display (17.1). A null text in place of a format is an empty argument and prints a blank.
// Formats support %h %x %d %o %b %c %s %t %m %%, and a 0 before the letter; %t is the current time.

QK_API void qkzeft_display(int flags, const void* instance, const char* scope, int ArgPairCount,
                           ...);
QK_API void qkzeft_displayh(int flags, const void* instance, const char* scope, int ArgPairCount,
                            ...);
QK_API void qkzeft_displayo(int flags, const void* instance, const char* scope, int ArgPairCount,
                            ...);
QK_API void qkzeft_displayb(int flags, const void* instance, const char* scope, int ArgPairCount,
                            ...);
QK_API void qkzeft_write(int flags, const void* instance, const char* scope, int ArgPairCount, ...);
QK_API void qkzeft_writeh(int flags, const void* instance, const char* scope, int ArgPairCount,
                          ...);
QK_API void qkzeft_writeo(int flags, const void* instance, const char* scope, int ArgPairCount,
                          ...);
QK_API void qkzeft_writeb(int flags, const void* instance, const char* scope, int ArgPairCount,
                          ...);

/// Sets how %t prints (17.3.2). If a value is out of range, nothing is changed, and a message goes
/// to stderr.
/// @param units     exponent of ten in seconds, -15 to 0
/// @param decimals  0 to 15
/// @param suffix    copied; may be null
/// @param width     columns, at least 0
QK_API void qk_timeformat(int units, int decimals, const char* suffix, int width);

// ---- Files (17.2). A descriptor has the top bit set and denotes one file, of up to 8; a channel
// mask has a bit for each of up to 31 files, bit 0 for the standard output.

/// $fopen(name) returns a channel, $fopen(name, mode) a descriptor. @return 0 when it fails
QK_API int qkzeft_fopen(int flags, const void* instance, const char* scope, int ArgPairCount, ...);
QK_API void qkzeft_fclose(int flags, const void* instance, const char* scope, int ArgPairCount,
                          ...);

/// The first pair is the descriptor or the mask.
QK_API void qkzeft_fdisplay(int flags, const void* instance, const char* scope, int ArgPairCount,
                            ...);
QK_API void qkzeft_fdisplayh(int flags, const void* instance, const char* scope, int ArgPairCount,
                             ...);
QK_API void qkzeft_fdisplayo(int flags, const void* instance, const char* scope, int ArgPairCount,
                             ...);
QK_API void qkzeft_fdisplayb(int flags, const void* instance, const char* scope, int ArgPairCount,
                             ...);
QK_API void qkzeft_fwrite(int flags, const void* instance, const char* scope, int ArgPairCount,
                          ...);
QK_API void qkzeft_fwriteh(int flags, const void* instance, const char* scope, int ArgPairCount,
                           ...);
QK_API void qkzeft_fwriteo(int flags, const void* instance, const char* scope, int ArgPairCount,
                           ...);
QK_API void qkzeft_fwriteb(int flags, const void* instance, const char* scope, int ArgPairCount,
                           ...);

/// The first pair is the register, by pointer: the text goes to its low end.
QK_API void qkzeft_swrite(int flags, const void* instance, const char* scope, int ArgPairCount,
                          ...);
QK_API void qkzeft_swriteh(int flags, const void* instance, const char* scope, int ArgPairCount,
                           ...);
QK_API void qkzeft_swriteo(int flags, const void* instance, const char* scope, int ArgPairCount,
                           ...);
QK_API void qkzeft_swriteb(int flags, const void* instance, const char* scope, int ArgPairCount,
                           ...);

/// @return the character, or -1 at the end
QK_API int qkzeft_fgetc(int flags, const void* instance, const char* scope, int ArgPairCount, ...);
/// $ungetc(character, descriptor) @return the character, or -1
QK_API int qkzeft_fungetc(int flags, const void* instance, const char* scope, int ArgPairCount,
                          ...);
/// $fgets(register, descriptor) @return characters read; 0 at the end of the file, and the register
/// keeps its value
QK_API int qkzeft_fgets(int flags, const void* instance, const char* scope, int ArgPairCount, ...);
/// @return the position, or -1
QK_API int qkzeft_ftell(int flags, const void* instance, const char* scope, int ArgPairCount, ...);
/// $fseek(descriptor, offset, operation) @return 0, or -1
QK_API int qkzeft_fseek(int flags, const void* instance, const char* scope, int ArgPairCount, ...);
/// @return 0
QK_API int qkzeft_rewind(int flags, const void* instance, const char* scope, int ArgPairCount, ...);
/// Flushes a descriptor or the channels of a mask; without a pair, all open files.
QK_API void qkzeft_fflush(int flags, const void* instance, const char* scope, int ArgPairCount,
                          ...);

// ---- The run (17.4)

/// $stop, with an optional level: 1, 2 or none prints where it was called. In a run that is not
/// interactive it asks on the standard input whether to continue; "q" and the end of input end the
/// run.
QK_API void qkzeft_stop(int flags, const void* instance, const char* scope, int ArgPairCount, ...);
/// $finish, with an optional level: ends the run with status 0.
QK_API void qkzeft_finish(int flags, const void* instance, const char* scope, int ArgPairCount,
                          ...);
/// Ends the run: writes the traces, opens the console a last time if the run is interactive, then
/// calls qk_exit().
QK_API void qkzeft_exit(int status);

// ---- Memory images (17.2.9): file, array, and optionally the first and the last address. An error
// ends the run.

QK_API void qkzeft_readmemh(int flags, const void* instance, const char* scope, int ArgPairCount,
                            ...);
QK_API void qkzeft_readmemb(int flags, const void* instance, const char* scope, int ArgPairCount,
                            ...);

}  // extern "C"

#endif

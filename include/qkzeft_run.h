// Simulated time, and the console's text and streams.
//
// Time is an unsigned 64-bit count of ticks; a tick is 10 to the power of the precision exponent,
// in seconds. The timescale starts at 1 ns and can only get finer.
#ifndef QKZEFT_RUN_H
#define QKZEFT_RUN_H

#include <stdint.h>
#include <stdio.h>

#include "qkzeft_api.h"

extern "C" {

/// Simulated time in ticks, advanced by the model; it must not fall.
QK_API extern uint64_t qk_cycle;
/// Delivers console text; the text is valid during the call only. May be replaced, or set to null
/// to drop all text. The default writes to qk_stdout and to the log file, and flushes both.
QK_API extern void (*qk_prints)(const char* text);
/// Ends the process: by default it calls exit(). May be replaced.
QK_API extern void (*qk_exit)(int status);
/// Stream that the console reads; standard input by default. Must not be null when a console opens.
QK_API extern FILE* qk_stdin;
/// Stream to which the default qk_prints writes; standard output by default. Null silences it and
/// the log.
QK_API extern FILE* qk_stdout;

/// @return qk_cycle
QK_API uint64_t qk_get_time(void);
/// Advances the clock to `t` ticks; an earlier time is ignored. @return the time then
QK_API uint64_t qk_set_time(uint64_t t);
/// Advances the clock by one tick, unless it would wrap. @return the time then
QK_API uint64_t qk_step_time(void);
/// @return `seconds` in ticks, rounded to the nearest; 0 for times that are negative or too large
QK_API uint64_t qk_real_to_time_precision(double seconds);
/// @return `ticks` in seconds
QK_API double qk_time_precision_to_real(uint64_t ticks);
/// Does what qk_set_time() does, with `seconds` converted to ticks.
QK_API uint64_t qk_set_time_real(double seconds);
/// @return the current time in seconds
QK_API double qk_get_time_real(void);
/// Advances the clock by `seconds`, rounded to a tick, unless it would wrap. @return the time then
QK_API uint64_t qk_advance_time_real(double seconds);

/// Merges a timescale into that of the run: the finer of the two is used (IEEE 1364-2005, 19.8).
/// When the tick gets finer, the clock is rescaled, and, except in strict mode (qk_strict), so are
/// the times of the history in memory, of the console and of a comparison. A trace file whose
/// header has been written is then closed, with a message.
/// @param who        the caller's name, for debugging; may be null
/// @param unit       exponent of ten of the time unit in seconds, clamped to -15..0
/// @param precision  exponent of ten of a tick in seconds, clamped to -15..unit
QK_API void qk_set_timescale(const char* who, int unit, int precision);
/// @return the exponent of a tick; 0 with a message when no timescale has been set
QK_API int qk_get_timescale_precision(void);
/// @return the exponent of the time unit; 0 with a message when no timescale has been set
QK_API int qk_get_timescale_unit(void);
/// Merges the timescale of the SystemC kernel, if one is registered.
QK_API void qk_sc_set_timescale(void);
/// Sets the factor between our ticks and the kernel's, if a SystemC kernel is registered. Call it
/// when both timescales are final: merging the kernel's timescale again, as the getters above do,
/// clears the factor.
QK_API void qk_sc_set_timescale_conversion(void);
/// Registers how to ask a SystemC kernel for its resolution in seconds and its default time unit in
/// units of that resolution. Null unregisters.
QK_API void qk_sc_register(void (*query)(double* time_resolution_seconds,
                                         double* default_time_unit));
/// @return how many of our ticks make one tick of the SystemC kernel; 0 while that is not set
QK_API uint64_t qk_sc_time_factor(void);

/// @return `ticks` as text with its unit, such as "123.4ns"; a static buffer, valid until the next
///         call with another value
QK_API const char* qk_time_as_string(uint64_t ticks);
/// @return the current time as text; a static buffer of its own
QK_API const char* qk_cycle_as_string(void);
/// Reads a decimal with an optional unit, "2.5ns"; a bare number counts ticks. The units are s, ms,
/// us, ns, ps and fs; all but the first may be written without their s. Leading white space and
/// plus signs are skipped, and white space around the unit. An exact half tick rounds to even if
/// its 5 is the last digit ("500ps" rounds up); what exceeds 64 bits wraps.
/// @param text  not null
/// @param end   if not null, receives the place where reading stopped
/// @return ticks; 0 when no number was read, for instance when the text begins with a minus sign
QK_API uint64_t qk_parse_time(const char* text, const char** end);
/// Reads an unsigned number: decimal, 0x1f, x"1f", or hexadecimal digits after a quote and a
/// letter.
/// @param text  not null
/// @param end   if not null, receives the place where reading stopped
/// @return the value modulo 2^64; 0 when there are no digits
QK_API uint64_t atottmaxu(const char* text, const char** end);

/// Prints to the console: formats as printf does and passes the text to qk_prints, which may itself
/// print. A message of more than 65535 bytes fails an assertion.
/// @param format  not null
QK_API void qk_printf(const char* format, ...) QK_PRINTF_CHECKED(1, 2);

/// Starts to copy console text to a file. An open log is closed first, even if this fails.
/// @param filename  null or empty is refused with a message
/// @param append    non-zero keeps what the file holds
/// @return 1 if a log is open afterwards, else 0
QK_API int qk_logfile_open(const char* filename, int append);
/// Closes the log; harmless when none is open.
QK_API void qk_logfile_close(void);

/// Writes buffered text of the log, and of files that $fopen or TEXTIO opened, to disk.
/// @return the name of the first of these files, open or already closed, that lost text, for
///         instance on a full disk; null when nothing was lost. Valid until the next call
QK_API const char* qk_text_lost(void);

}  // extern "C"

#endif

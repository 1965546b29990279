// Comparing the model with a reference trace, a VCD file (IEEE 1364-2005, 18.2), plain or gzip.
//
// While a comparison runs the trace owns time: it moves the clock, drives the top-level inputs and
// has qk_step_fn called when one of them changed. Options may be set before and during a run. All
// functions need a model (kelvo_start()).
#ifndef QKZEFT_VALIDATE_H
#define QKZEFT_VALIDATE_H

#include <stdint.h>

#include "qkzeft_api.h"

extern "C" {

/// Runs the model along a trace, to its end or to a stop.
/// @param filename  null or empty starts an interactive run, whose console opens the traces
/// @return non-zero when every file could be read and no difference was found; 0 with a message
QK_API int qk_mtc(const char* filename);

/// Leaves nets out of comparisons, for good.
/// @param pattern  of full names, '*' standing for any run of characters
/// @return how many nets match
QK_API int qk_mtc_ignore(const char* pattern);
/// Makes inputs clocks, or no clocks.
/// @param pattern  as above; only nets that a trace drives are considered
/// @param on       0: no clocks
/// @return non-zero when any matches
QK_API int qk_mtc_clock(const char* pattern, int on);
/// Maps a scope of the model to one of the trace; a mapping that it had is replaced. An open trace
/// is opened again, from its start.
/// @param model_scope  dotted path; may be null or empty together with `trace_scope`
/// @param trace_scope  dotted path; null or empty: takes the mapping back, and lists those that are
///                     left
/// @return 1, or 0 with a message when the model has no such scope
QK_API int qk_mtc_map(const char* model_scope, const char* trace_scope);
/// Has the trace drive a net that is no input, from the next opening on.
/// @param model_net  full name; may be null or empty together with `trace_net`
/// @param trace_net  full name in the trace; null or empty: takes the stimulus back, and lists
///                   those that are left
/// @return 1, or 0 with a message
QK_API int qk_mtc_stimulus(const char* model_net, const char* trace_net);
/// Sets how long model and trace may differ before that is reported; 0: to the end of the trace.
/// @param unit  "ns", "us" and so on; null or empty counts ticks
/// @return 1
QK_API int qk_mtc_synctime(uint64_t count, const char* unit);
/// The same in seconds; 0 for times that are negative or too large.
QK_API int qk_mtc_synctime_real(double seconds);
/// Has the model stepped on clock edges, by the order of the lines in a time step, or only at the
/// end of each time step. By default it is on, and off for a trace without clocks; asked for, it is
/// an error for a trace to have none.
/// @return 1
QK_API int qk_mtc_step_on_clock(int on);

}  // extern "C"

#endif

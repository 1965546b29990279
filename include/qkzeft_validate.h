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
/// @return non-zero when every file could be read and no difference was found; 0 with a message.
///         Whether 0 means differences or that it could not be run, and non-zero that anything was
///         compared, qk_mtc_statistics() tells: `differences`, `complete`, `compared`, `damaged`.
///         zeft_main() makes an exit status of that, 0, 1 or 2.
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
/// Makes inputs early ones, or not: with clocks first (qk_mtc_clock_first()) they reach the model
/// before a clock edge of the same time step, as those with QK_flag_early_input do.
/// @return non-zero when any matches
QK_API int qk_mtc_early(const char* pattern, int on);
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
/// Has each time step of a trace applied in up to three groups, whatever the order of its lines:
/// early inputs, then clocks, then the other inputs. The model is evaluated after each group in
/// which a value changed, and compared once, at the end of the time step. Off at first; of this and
/// qk_mtc_step_on_clock(), the one that was switched on last holds.
/// @return the setting before
QK_API int qk_mtc_clock_first(int on);
/// Sets at how many differences a comparison stops; 10 at first.
/// @param differences  0 or less: it does not stop for them
/// @return 1
QK_API int qk_mtc_threshold(int differences);
/// Sets how much is told: 0 at first, 1 adds to each difference the values of both sides.
/// @return 1
QK_API int qk_mtc_verbose(int level);

/// What the latest comparison has come to. It is kept until the next one begins.
struct qk_mtc_stats {
    uint64_t file_bytes;  ///< size of the trace file as it lies there; 0 if that is not known
    uint64_t bytes_read;  ///< of them
    uint64_t time;        ///< of the last value that was read, in ticks
    int signals;          ///< names that the trace declares
    int linked;           ///< of them those that stand for a net of the model
    int comparable;       ///< nets of the model that can be compared with a trace
    int compared;         ///< of them those that the trace has
    int driven;           ///< nets of the model that the trace drives
    int differences;      ///< so far
    int complete;         ///< not 0: the trace has been compared to its end
    int damaged;          ///< not 0: compressed data ends early or is corrupt, or a NUL is in it
    int unchanged;        ///< nets compared so far to a value that the trace does not change, or
                          ///< that is always x there
};

/// @param stats  receives the numbers, zeros before the first comparison; not null
/// @return 1 when a trace has been opened and linked, else 0
QK_API int qk_mtc_statistics(struct qk_mtc_stats* stats);
/// Asks where the latest trace has the ports of a top-level scope of the model, when that scope has
/// inputs and none of them is driven.
/// @param index        0 for the best of what was found, then 1 and so on
/// @param model_scope  receives a dotted path; not null. Both texts are the library's, and valid
///                     until the next comparison begins.
/// @param trace_scope  likewise: qk_mtc_map(*model_scope, *trace_scope) would have it driven
/// @return 1, or 0 when there are no more
QK_API int qk_mtc_proposal(int index, const char** model_scope, const char** trace_scope);
/// Asks for pairs given to qk_mtc_map() or qk_mtc_stimulus() that the latest trace does not have as
/// they were given.
/// @param index  0, then 1 and so on
/// @param model  receives the scope or net of the model; not null. Both texts are the library's;
///               they are valid until the next comparison begins
/// @param trace  receives what it was paired with; not null
/// @return 1 for a pair of scopes, 2 for a pair of nets, 0 when there are no more
QK_API int qk_mtc_unlinked(int index, const char** model, const char** trace);
/// Asks for nets of the model that can be compared, and that the latest trace does not have. Nets
/// that qk_mtc_ignore() leaves out do not count.
/// @param index  0, then 1 and so on
/// @return a full name, valid until the next comparison begins; null when there are no more
QK_API const char* qk_mtc_not_compared(int index);
/// The same for inputs of the top level that the latest trace does not drive.
QK_API const char* qk_mtc_not_driven(int index);
/// @return how long a net of the latest comparison differed from the trace, and then agreed again,
///         at most; in ticks
QK_API uint64_t qk_mtc_longest_sync(void);

/// What a report says of the run around a comparison. All texts are borrowed.
struct qk_mtc_run {
    const char* model;           ///< name of the program; null: as it was called
    const char* trace;           ///< null: as qk_mtc() was given it
    const char* const* command;  ///< the command line, to run it again; may be null
    int command_count;
    int status;                   ///< 0: agrees, 1: differs, else: failed
    const char* reason;           ///< one line; null for none
    const char* const* messages;  ///< lines said beside the comparison; may be null
    int message_count;
};

/// Writes what the latest comparison, which need not have ended, has come to. The file is written
/// beside its place and then put there: what reads it finds it whole.
/// @param path  ends in .json (docs/formats.md has its members) or .xml (JUnit); not null
/// @return 1, or 0 with a message
QK_API int qk_mtc_report(const char* path);
/// The same by a program that has judged the run itself, as zeft_main() does. No model need exist.
/// @param run  not null
/// @return 1, or 0 with a message
QK_API int qk_mtc_report_run(const char* path, const struct qk_mtc_run* run);

/// What a net that the trace drives did in a sample.
struct qk_mtc_input {
    const char* name;     ///< full name; valid until the next comparison begins
    uint64_t changes;     ///< time steps in which it changed
    uint64_t with_clock;  ///< of them those in which a clock changed, too; 0 for a clock
    int clock;            ///< not 0: it is marked as a clock
    int early;            ///< not 0: it is marked as an early input
    int like_clock;       ///< not 0: it has no mark, but registers change with it
};

/// Has the comparisons that begin later end as if their trace did: after so many time steps in
/// which a clock changes (without clocks, any input), or at a time, whichever comes first.
/// @param steps  0: they go to the end of the trace again
/// @param until  ticks; UINT64_MAX for no limit
/// @return 1
QK_API int qk_mtc_sample(int steps, uint64_t until);
/// Asks what inputs did in the latest comparison that ended so.
/// @param index  0, then 1 and so on
/// @param input  receives the answer; not null
/// @return 1, or 0 when there are no more
QK_API int qk_mtc_sampled_input(int index, struct qk_mtc_input* input);

}  // extern "C"

#endif

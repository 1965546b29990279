// Comparing the model with a reference trace, a VCD file (IEEE 1364-2005, 18.2), plain or gzip.
//
// During a comparison the trace controls time: it advances qk_cycle, drives the top-level inputs,
// and qk_step_fn is called when one of them changed. Options may be set before and during a run.
// All functions need a model (kelvo_start()).
#ifndef QKZEFT_VALIDATE_H
#define QKZEFT_VALIDATE_H

#include <stdint.h>

#include "qkzeft_api.h"

extern "C" {

/// Runs the model along a trace, to the end of the trace or until the run is stopped.
/// @param filename  null or empty starts an interactive run, whose console opens the traces
/// @return non-zero when every file could be read and no difference was found; 0 with a message.
///         qk_mtc_statistics() (`differences`, `complete`, `compared`, `damaged`) shows whether 0
///         means differences or a comparison that could not run, and whether non-zero means that
///         anything was compared. zeft_main() makes its exit status, 0, 1 or 2, from these
QK_API int qk_mtc(const char* filename);

/// Excludes nets from comparisons, permanently.
/// @param pattern  of full names, in which '*' matches any run of characters
/// @return how many nets match
QK_API int qk_mtc_ignore(const char* pattern);
/// Marks inputs as clocks, or as not being clocks.
/// @param pattern  as above; only nets that a trace drives are considered
/// @param on       0: they are not clocks
/// @return non-zero when any matches
QK_API int qk_mtc_clock(const char* pattern, int on);
/// Marks inputs as early ones, or not: with qk_mtc_clock_first(), the model receives them before a
/// clock edge of the same time step, as it does inputs with QK_flag_early_input.
/// @return non-zero when any matches
QK_API int qk_mtc_early(const char* pattern, int on);
/// Maps a scope of the model to one of the trace; an earlier mapping of that scope is replaced. An
/// open trace is reopened from its start.
/// @param model_scope  dotted path; may be null or empty together with `trace_scope`
/// @param trace_scope  dotted path; null or empty: removes the mapping, and lists the remaining
///                     ones
/// @return 1, or 0 with a message when the model has no such scope
QK_API int qk_mtc_map(const char* model_scope, const char* trace_scope);
/// Makes the trace drive a net that is not an input, from the next time a trace is opened.
/// @param model_net  full name; may be null or empty together with `trace_net`
/// @param trace_net  full name in the trace; null or empty: removes the stimulus, and lists the
///                   remaining ones
/// @return 1, or 0 with a message
QK_API int qk_mtc_stimulus(const char* model_net, const char* trace_net);
/// Sets how long model and trace may differ before the difference is reported; 0: until the end of
/// the trace.
/// @param unit  "ns", "us" and so on; null or empty counts ticks
/// @return 1
QK_API int qk_mtc_synctime(uint64_t count, const char* unit);
/// The same in seconds; times that are negative or too large count as 0.
QK_API int qk_mtc_synctime_real(double seconds);
/// Makes the model step on clock edges, in the order of the lines in a time step, or (0) only at
/// the end of each time step. Default: on, but off for a trace without clocks; if it was switched
/// on by this call, a trace without clocks is an error.
/// @return 1
QK_API int qk_mtc_step_on_clock(int on);
/// Applies each time step of a trace in up to three groups, whatever the order of its lines: early
/// inputs, then clocks, then the other inputs. The model is evaluated after each group in which a
/// value changed, and compared once, at the end of the time step. Off at first; of this and
/// qk_mtc_step_on_clock(), the one switched on last applies.
/// @return the previous setting
QK_API int qk_mtc_clock_first(int on);
/// Sets after how many differences a comparison stops; 10 at first.
/// @param differences  0 or less: no limit
/// @return 1
QK_API int qk_mtc_threshold(int differences);
/// Sets how much is printed: 0 at first; 1 adds the values of both sides to each difference.
/// @return 1
QK_API int qk_mtc_verbose(int level);

/// Results of the latest comparison, kept until the next one begins.
struct qk_mtc_stats {
    uint64_t file_bytes;  ///< size of the trace file on disk; 0 if that is not known
    uint64_t bytes_read;  ///< of these, bytes read so far
    uint64_t time;        ///< of the last value that was read, in ticks
    int signals;          ///< names that the trace declares
    int linked;           ///< of these, names that belong to a net of the model
    int comparable;       ///< nets of the model that can be compared with a trace
    int compared;         ///< of these, nets that the trace has
    int driven;           ///< nets of the model that the trace drives
    int differences;      ///< so far
    int complete;         ///< not 0: the trace has been compared to its end
    int damaged;          ///< not 0: compressed data ends early or is corrupt, or a NUL is in it
    int unchanged;        ///< compared nets whose value never changes in the trace so far, or is
                          ///< always x there
};

/// @param stats  receives the numbers, zeros before the first comparison; not null
/// @return 1 when a trace has been opened and linked, else 0
QK_API int qk_mtc_statistics(struct qk_mtc_stats* stats);
/// Proposes a mapping for a top-level scope of the model that has inputs, none of which is driven:
/// scopes of the latest trace that have its ports.
/// @param index        0 for the best proposal, then 1 and so on
/// @param model_scope  receives a dotted path; not null. Both texts are owned by the library and
///                     valid until the next comparison begins
/// @param trace_scope  likewise: qk_mtc_map(*model_scope, *trace_scope) would make the trace drive
///                     it
/// @return 1, or 0 when there are no more
QK_API int qk_mtc_proposal(int index, const char** model_scope, const char** trace_scope);
/// Lists the pairs given to qk_mtc_map() or qk_mtc_stimulus() that could not be found in the latest
/// trace.
/// @param index  0, then 1 and so on
/// @param model  receives the scope or net of the model; not null. Both texts are owned by the
///               library and valid until the next comparison begins
/// @param trace  receives what it was paired with; not null
/// @return 1 for a pair of scopes, 2 for a pair of nets, 0 when there are no more
QK_API int qk_mtc_unlinked(int index, const char** model, const char** trace);
/// Lists the comparable nets of the model that the latest trace does not have, except those that
/// qk_mtc_ignore() excludes.
/// @param index  0, then 1 and so on
/// @return a full name, valid until the next comparison begins; null when there are no more
QK_API const char* qk_mtc_not_compared(int index);
/// Lists the top-level inputs that the latest trace does not drive, in the same way.
QK_API const char* qk_mtc_not_driven(int index);
/// @return the longest time, in ticks, that a net of the latest comparison differed from the trace
///         before it agreed again
QK_API uint64_t qk_mtc_longest_sync(void);

/// What a report contains about the run as a whole. All texts are borrowed.
struct qk_mtc_run {
    const char* model;           ///< name of the program; null: the name it was called by
    const char* trace;           ///< null: the name given to qk_mtc()
    const char* const* command;  ///< the command line, to run it again; may be null
    int command_count;
    int status;                   ///< 0: agrees, 1: differs, else: failed
    const char* reason;           ///< one line; null for none
    const char* const* messages;  ///< lines printed besides the comparison's own; may be null
    int message_count;
};

/// Writes the results of the latest comparison, which need not have ended. The file is written
/// under another name and then renamed, so that readers always find it complete.
/// @param path  ends in .json (docs/formats.md lists its members) or .xml (JUnit); not null
/// @return 1, or 0 with a message
QK_API int qk_mtc_report(const char* path);
/// The same for a program that determines the verdict itself, as zeft_main() does. There need not
/// be a model.
/// @param run  not null
/// @return 1, or 0 with a message
QK_API int qk_mtc_report_run(const char* path, const struct qk_mtc_run* run);

/// What an input that the trace drives did in a sample.
struct qk_mtc_input {
    const char* name;     ///< full name; valid until the next comparison begins
    uint64_t changes;     ///< time steps in which it changed
    uint64_t with_clock;  ///< of these, steps in which a clock changed, too; 0 for a clock
    int clock;            ///< not 0: it is marked as a clock
    int early;            ///< not 0: it is marked as an early input
    int like_clock;       ///< not 0: it is not marked, but registers change with it
};

/// Makes later comparisons end early, as if their trace ended there: after a number of time steps
/// in which a clock (without clocks, any input) changes, or at a time, whichever comes first.
/// @param steps  0: later comparisons run to the end of the trace again
/// @param until  ticks; UINT64_MAX for no limit
/// @return 1
QK_API int qk_mtc_sample(int steps, uint64_t until);
/// Returns what the inputs did in the latest comparison that ended in this way.
/// @param index  0, then 1 and so on
/// @param input  receives the answer; not null
/// @return 1, or 0 when there are no more
QK_API int qk_mtc_sampled_input(int index, struct qk_mtc_input* input);

}  // extern "C"

#endif

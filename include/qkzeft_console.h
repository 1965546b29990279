// The interactive console, and value-change tracing to VCD files.
//
// A model calls qk_takenote() whenever time has moved; the console opens there when the stop time
// is reached or Ctrl-C was pressed. Files are VCD as in IEEE 1364-2005, 18.2; a name that ends in
// ".gz" makes a gzip file, one that ends in ".fst" an FST file.
#ifndef QKZEFT_CONSOLE_H
#define QKZEFT_CONSOLE_H

#include <stdint.h>

#include "qkzeft_api.h"

extern "C" {

/// Runs one command line. A model must exist.
/// @param line  null counts as empty; copied
/// @return 0 when the first word is not a command, else the command's result
QK_API int qk_cli(const char* line);

/// Called after a command that failed or was not recognised; null at first. It need not return: it
/// may end the process, for instance by qk_exit().
/// @param file     script that holds the command, by the name it was given; null outside scripts
/// @param line     its number, from 1; 0 outside scripts
/// @param command  its first word
/// @param reason   its message, without a line end. All texts are valid during the call only
QK_API extern void (*qk_command_failed)(const char* file, int line, const char* command,
                                        const char* reason);

struct QkCommand;

/// Adds a command before all others, so that it shadows a built-in of the same name.
/// @param name     command word, copied
/// @param help     line for `help`, copied; one that begins with '#' is not shown
/// @param kind     what the argument is: 0 free text, 1 file, 2 signal pattern, 3 number or time
/// @param handler  receives the argument's text, which is never null and stays valid as long as the
///                 process; its result 0 means "not recognised"
/// @return the command that was first until now; owned by the library
QK_API struct QkCommand* qk_register_cmd(const char* name, const char* help, int kind,
                                         int (*handler)(const char* argument));

/// Runs a script file, one command per line; lines after one that moves the stop time run when the
/// console is entered again.
/// @return 0 for a null or empty name, else 1
QK_API int qk_loadt(const char* file);

/// Call it whenever time has moved: it captures changes, and opens the console when it is due.
QK_API void qk_takenote(void);
/// For a model that can move time to any tick, also between its events: if it calls qk_takenote()
/// at this time, too, the console opens there instead of at its next event.
/// @return the time, in ticks, that `step TIME` or `continue TIME` stops at, which may have passed;
///         all ones when there is none, as after `step` without a time
QK_API uint64_t qk_next_stop(void);

/// Starts a continuous trace to a file, ending the one before. The header is written when the
/// history first overflows or the file is closed; until then nets may be traced.
/// @param filename  null or empty means "logfile.vcd"
/// @return 1, or 0 with a message when the file cannot be opened
QK_API int qk_traceto(const char* filename);
/// Writes the rest of the history and closes the trace file.
/// @return 1, or 0 when none was open
QK_API int qk_traceclose(void);
/// @return 0 when a write to the trace file that was closed last failed, which a message has
///         reported; else 1
QK_API int qk_trace_written(void);
/// Writes the history in memory to a file, and empties it.
/// @param filename  null or empty means "logfile.vcd"
/// @return 1, or 0 with a message
QK_API int qk_save(const char* filename);
/// Allows or forbids the library's threads: one writes a trace file while the model runs, starting
/// with the first full bucket of history; one reads a compressed reference trace ahead. Files are
/// the same either way. When threads are forbidden, a writing thread ends at once, and everything
/// is written when this returns. With one processor, or with ZEFT_THREADS=0 in the environment, no
/// thread writes.
/// @param on  0 forbids them; at start they are allowed
/// @return whether they were allowed before
QK_API int qk_trace_thread(int on);
/// Bounds the history kept in memory; the oldest changes are dropped beyond it. A history that is
/// saved then starts with the values at the time of the last change dropped; in strict mode
/// (qk_strict) it starts with the values at the time when tracing began, and what was dropped is
/// recorded again.
/// @param n  changes to keep at least, rounded up to thousands, at least 10000; 0 lifts the limit,
///           in strict mode it only reports the state
/// @return 1
QK_API int qk_circular(int n);

/// Saves the state of the model: the values of all nets and the time in `PREFIX.vcd`, and an image
/// of each array in `PREFIX.NAME` with its full name. If the model has registered a command
/// `extend_savesim`, it is called last, with the prefix: it saves what no net holds.
/// @param prefix  null or empty means "qk_savesim"
/// @return 1, or 0 with a message; files already written stay
QK_API int qk_savesim(const char* prefix);
/// Restores the nets, the arrays and the time that qk_savesim() saved, in a model of the same
/// design; time only moves forward. Calls `extend_loadsim` last, if there is one.
/// @param prefix  null or empty means "qk_savesim"
/// @return 1, or 0 with a message; what was loaded before the error stays
QK_API int qk_loadsim(const char* prefix);

}  // extern "C"

#endif

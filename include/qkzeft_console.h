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
/// @return 0 when the first word is no command, else the command's result
QK_API int qk_cli(const char* line);

/// Called after a command that failed, or was not recognised; null at first. It may leave the
/// process, by qk_exit() for instance, and need not return.
/// @param file     script that holds the command, as it was named; null outside scripts
/// @param line     its number, from 1; 0 outside scripts
/// @param command  its first word
/// @param reason   what its message says, without a line end. Texts are valid during the call
QK_API extern void (*qk_command_failed)(const char* file, int line, const char* command,
                                        const char* reason);

struct QkCommand;

/// Adds a command in front of all others, so that it also shadows a built-in of its name.
/// @param name     command word, copied
/// @param help     line for `help`, copied; one that begins with '#' is not shown
/// @param kind     what the argument is: 0 free text, 1 file, 2 signal pattern, 3 number or time
/// @param handler  given the argument's text, never null, which stays for the process's life; its
///                 result 0 means "not recognised"
/// @return the command that was first before; owned by the library
QK_API struct QkCommand* qk_register_cmd(const char* name, const char* help, int kind,
                                         int (*handler)(const char* argument));

/// Runs a script file, a command a line; lines after one that moves the stop time run when the
/// console is entered again.
/// @return 0 for a null or empty name, else 1
QK_API int qk_loadt(const char* file);

/// Tells the library that time has moved: captures changes, and opens the console when it is due.
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
/// @return 0 when a write to the trace file that was closed last has failed, which a message has
///         told; else 1
QK_API int qk_trace_written(void);
/// Writes the history in memory to a file, and empties it.
/// @param filename  null or empty means "logfile.vcd"
/// @return 1, or 0 with a message
QK_API int qk_save(const char* filename);
/// Allows or forbids the library's threads: one writes a trace file while the model runs, from its
/// first full bucket of history on, one reads a compressed reference trace ahead. Files are the
/// same either way. A thread that writes ends at once when forbidden, and all is written when this
/// returns. With one processor, or with ZEFT_THREADS=0 in the environment, none writes.
/// @param on  0 forbids them; at start they are allowed
/// @return whether they were allowed before
QK_API int qk_trace_thread(int on);
/// Bounds the history kept in memory; the oldest changes are dropped beyond it. A history that is
/// saved then starts with the values at the time of the last change dropped; in strict mode
/// (qk_strict) with those of when tracing began, and what was dropped is recorded again.
/// @param n  changes to keep at least, rounded up to thousands, at least 10000; 0 lifts the limit,
///           in strict mode it only reports the state
/// @return 1
QK_API int qk_circular(int n);

/// Saves the state of the model: the values of all nets and the time in `PREFIX.vcd`, and an image
/// of each array in `PREFIX.NAME` with its full name. A command `extend_savesim`, if the model has
/// registered one, is called last with the prefix: it saves what is in no net.
/// @param prefix  null or empty means "qk_savesim"
/// @return 1, or 0 with a message; files already written stay
QK_API int qk_savesim(const char* prefix);
/// Gives the nets, the arrays and the time what qk_savesim() has saved, in a model of the same
/// design; the time goes forward only. Calls `extend_loadsim`, if there is one, last.
/// @param prefix  null or empty means "qk_savesim"
/// @return 1, or 0 with a message; what was loaded before the fault stays
QK_API int qk_loadsim(const char* prefix);

}  // extern "C"

#endif

// The interactive console of a running model.
//
// The model controls the time loop; the console only decides when to return control to it. A
// command such as `step` moves stopTime and nothing else: the command loop then returns to its
// caller, and qk_takenote() opens the console again when that time is reached.
#pragma once

#include <csignal>
#include <cstdint>

#include "base/ring.h"
#include "base/stringbuf.h"

struct QkName;

/// A stop time that is never reached.
inline constexpr uint64_t kNoStop = ~uint64_t{0};

/// A command as it was typed.
struct HistoryEntry {
    HistoryEntry *next, *prev;
    StringBuf command;
};
using HistoryRing = Ring<HistoryEntry, &HistoryEntry::next, &HistoryEntry::prev>;

/// What the console keeps for the life of a model.
struct QkConsole {
    bool interactive = false;         ///< the console has been opened
    HistoryEntry* history = nullptr;  ///< typed commands, oldest first
    int showScopeWidth = 0;           ///< columns of the lines of shown changes
    int showNameWidth = 0;
};
/// The console of the live model; null if there is none.
extern QkConsole* qkConsole;

// Told apart by address.
inline constexpr char kPrompt[] = "zeft> ";
inline constexpr char kValidatePrompt[] = "zeft validate> ";

// ---- Run control, process-wide; not saved with the simulation state

/// Ticks at which qk_takenote() opens the console, or kNoStop. Set by the loop on entry, by `step`
/// and `continue`, and by other code that stops the run.
extern uint64_t stopTime;
/// One of the prompts above. Set with the start and the end of a comparison.
extern const char* currentPrompt;
/// Set by `continue` to let the model run; the script runner clears it before each line.
extern bool resumeRequested;
/// Ctrl-C presses that the loop has not handled. Written by the signal handler and the loop.
extern volatile std::sig_atomic_t sigintCount;

/// Opens the console until a command lets the model run. @return false when it cannot open because
/// its input has ended
bool enterConsole();

/// Opens the console for the last time, when the run is over: the end of its input only closes it.
void openLastConsole();

/// @return whether a signal requests the end of the run; Ctrl-C does so after the end of the
///         console's input
bool isEndRequested();
/// Ends the run as such a signal requests: without a last console, and with status 128 + the
/// signal's number. Returns only if qk_exit() does.
void endAsRequested();

/// @return the reason why a command was not recognised, one line of text
const char* notRecognised(const char* line);

/// Lets the clock be set back without a warning, as when a trace begins.
void forgetNotedTime();
/// Counts the console's times in ticks `factor` times finer.
void rescaleConsoleTimes(uint64_t factor);

/// Restores the SIGINT handler that qk_sigint_install() replaced, if it did. May be called from a
/// signal handler.
void restoreSigintHandler();

/// Prints the line of a changed value that the user wants to see: time, name and value.
/// @param index  of an array's element, as declared
void printShownChange(const QkName* name, int64_t index);

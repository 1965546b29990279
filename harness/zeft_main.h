// A command line for a model: describe the model, and zeft_main() does what `main` would.
//
//     int main(int argc, char** argv) {
//         zeft_model model;
//         model.name = "counter";
//         model.build = build;
//         model.step = step;
//         model.run = run;
//         return zeft_main(model, argc, argv);
//     }
//
// The program then runs freely, or is compared with a reference trace (`--validate`); `--help`
// lists what else it understands. Its exit status is 0 when all is well or model and trace agree, 1
// when they differ or the model found a fault, 2 when something that was requested could not be
// done, 128 + N when signal N ended the run.
#ifndef ZEFT_MAIN_H
#define ZEFT_MAIN_H

#include <stdint.h>

/// An option of this model, in addition to those that every model has.
struct zeft_option {
    char letter;           ///< as in `-n`; 0 for none
    const char* name;      ///< as in `--cycles`, without the hyphens; null for none
    const char* argument;  ///< what the help calls its argument; null: it takes none
    const char* help;      ///< one line; not null
    /// Called with the argument, or with null if the option takes none; must be set. @return false
    /// to refuse it
    bool (*take)(const char* argument);
};

/// Describes a model. All texts and tables are borrowed.
struct zeft_model {
    const char* name = nullptr;  ///< of the program, in messages; not null

    /// Makes the modules and registers them, sets the timescale, loads memories. Called once, after
    /// the command line has been read; what it makes must live until the program ends.
    /// @return false when that is not possible, after printing the reason to the standard error
    ///         stream
    bool (*build)() = nullptr;

    /// Evaluates the model once with the current values of its inputs, without advancing time;
    /// becomes qk_step_fn. Null if the model cannot be compared, or sets qk_step_fn itself.
    void (*step)() = nullptr;

    /// Evaluates the model after inputs and registers were written from outside, without a clock
    /// edge; becomes qk_settle_fn. If null, `step` is called after the first values of a trace.
    void (*settle)() = nullptr;

    /// True: a comparison applies the clocks of a time step before its other inputs, unless the
    /// command line has `--clock-first=off`; see qk_mtc_clock_first().
    bool clock_first = false;

    /// Runs the model with its own stimulus: advances time, evaluates, and calls qk_takenote().
    /// @param stop  time, in ticks, beyond which it must not run; UINT64_MAX for no limit
    /// @return 0, or 1 when it found a fault. Null when the model has no stimulus.
    int (*run)(uint64_t stop) = nullptr;

    const zeft_option* options = nullptr;
    int option_count = 0;

    const char* operand = nullptr;       ///< what the help calls arguments that are not options
    const char* operand_help = nullptr;  ///< one line; null for none
    bool (*take_operand)(const char* text) = nullptr;  ///< null: there are none. false refuses
};

/// Reads the command line and does what it requests. Must be called once, before any other function
/// of the library. During the call the library's qk_exit, qk_prints, qk_step_fn and qk_settle_fn
/// are wrapped; it installs handlers for SIGTERM, SIGHUP, SIGPIPE and SIGINT, which stay, unless
/// the program has its own.
/// @return the exit status; a run that ends by qk_exit() or $finish leaves the process with the
///         same status instead
int zeft_main(const zeft_model& model, int argc, char** argv);

#endif

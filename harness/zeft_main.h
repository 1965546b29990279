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
// lists what else it understands. It leaves with status 0 when all is well or model and trace
// agree, 1 when they differ or the model found a fault, 2 when something that was asked for could
// not be done, 128 + N when signal N ended the run.
#ifndef ZEFT_MAIN_H
#define ZEFT_MAIN_H

#include <stdint.h>

/// An option of the model's own, beside those that every model has.
struct zeft_option {
    char letter;           ///< as in `-n`; 0 for none
    const char* name;      ///< as in `--cycles`, without the hyphens; null for none
    const char* argument;  ///< what the help calls its argument; null: it takes none
    const char* help;      ///< one line; not null
    /// Takes the argument, null where there is none; not null. @return false to refuse it
    bool (*take)(const char* argument);
};

/// What a model tells of itself. All texts and tables are borrowed.
struct zeft_model {
    const char* name = nullptr;  ///< of the program, in messages; not null

    /// Makes the modules and registers them, sets the timescale, loads memories. It is called once,
    /// when the command line has been read; what it makes lives until the program ends.
    /// @return false, having said why on the standard error stream, when that is not possible
    bool (*build)() = nullptr;

    /// Evaluates the model once at the present values of its inputs, without moving time; becomes
    /// qk_step_fn. Null when the model cannot be compared, or has set qk_step_fn itself.
    void (*step)() = nullptr;

    /// Takes up inputs and registers that were written from outside, without a clock edge; becomes
    /// qk_settle_fn. Null: after the first values of a trace `step` is called.
    void (*settle)() = nullptr;

    /// A comparison applies the clocks of a time step before its other inputs, unless the command
    /// line says `--clock-first=off`; see qk_mtc_clock_first().
    bool clock_first = false;

    /// Runs the model by its own stimulus: moves time, evaluates, and calls qk_takenote().
    /// @param stop  ticks that it must not go beyond, UINT64_MAX for no limit
    /// @return 0, or 1 when it found a fault. Null when the model has no stimulus.
    int (*run)(uint64_t stop) = nullptr;

    const zeft_option* options = nullptr;
    int option_count = 0;

    const char* operand = nullptr;       ///< what the help calls arguments that are no options
    const char* operand_help = nullptr;  ///< one line; null for none
    bool (*take_operand)(const char* text) = nullptr;  ///< null: there are none. false refuses
};

/// Reads the command line and does what it asks for. Must be called once, before anything else of
/// the library. The library's qk_exit, qk_prints, qk_step_fn and qk_settle_fn are wrapped
/// meanwhile, and SIGTERM, SIGHUP, SIGPIPE and SIGINT have handlers from then on unless they had
/// one.
/// @return the exit status; a run that ends by qk_exit() or $finish leaves the process with the
///         same status instead
int zeft_main(const zeft_model& model, int argc, char** argv);

#endif

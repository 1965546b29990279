// The base class of every generated module, and the start and end of a run.
//
// Order of a run: modules are constructed (the first one starts the library), each instance may be
// named by qk_setup(), each registers its tables through QkRegistration, the model runs and
// advances qk_cycle, and kelvo_finish() or the process's exit ends it.
#ifndef QKZEFT_MODULE_H
#define QKZEFT_MODULE_H

#include <stdint.h>

#include "qkzeft_api.h"

class QkScope;
struct QkLiveModel;

/// One instance of a module of the design. Generated classes derive from it.
class QK_API kelvo_module {
public:
    /// @param module_name    name of the design unit; borrowed for the object's life; may be null
    /// @param instance_name  name or dotted path of the instance, copied; null: qk_setup() sets
    ///                       it
    explicit kelvo_module(const char* module_name = nullptr, const char* instance_name = nullptr);

    /// Copies all fields bit for bit: both objects then share one instance name, so only one of
    /// them may be destroyed.
    kelvo_module(const kelvo_module& other);
    /// Copies all fields likewise; the instance name that this object had is not freed.
    kelvo_module& operator=(const kelvo_module& other);

    /// Sets the model's initial values; empty here, for the generated class to override.
    virtual void initials();
    /// Evaluates the model once; empty here, for the generated class to override.
    virtual void step();
    /// Removes the module's scope, and every net below it, from the model when no enclosing scope
    /// holds names; an open trace file is closed first. Otherwise the nets stay, without the
    /// module's storage, with the values last recorded or 0. When a module of the same name
    /// registers them again with the same bounds, their handles, breakpoints, traced sets and
    /// history continue.
    virtual ~kelvo_module();

    /// Names the instance, before it registers anything. Does nothing, and does not change the
    /// parent, when the instance has a name already.
    /// @param instance_name  copied; null leaves the instance without a name
    /// @param parent         enclosing module, which must outlive this one; null at the top
    void qk_setup(const char* instance_name, kelvo_module* parent);

    /// @return the instance's name (it ends in '.' once the scope exists), or null. Owned by the
    ///         module, valid until it is renamed or destroyed
    const char* qk_get_instance_name() const;
    /// @return the name given to the constructor, which may be null
    const char* qk_get_module_name() const;
    /// @return the dotted path of the module's scope; owned by the library, valid as long as the
    ///         scope
    const char* qk_get_full_instance_name();
    /// Finds or creates the module's scope below that of its parent.
    /// @param case_insensitive  names of a new scope compare without regard to case
    /// @return the scope, never null; owned by the library
    QkScope* qk_get_scope(bool case_insensitive);
    /// Called by generated code at the end of each wave: completes registration if that is due.
    void qk_finalize_wave();
    /// Gives the module's scope, which must exist, counters for its signals, all 0. Does nothing
    /// when it has that many already.
    /// @param second  not read
    void qk_pra_info(int record_count, int second);
    /// Counts one event on a signal, for the activity report. Ignored for a record that does not
    /// exist.
    /// @param name         name of the signal, not null; the pointer is kept as long as the scope
    ///                     exists
    /// @param changed      0: counts as `nochanges`
    /// @param zero_result  not 0: a change counts as `sz`, else as `snz`
    /// @param third,text,second  not read
    /// @param record       number of the signal within the module, from 0
    void qk_pra(const char* name, int changed, int zero_result, int third, const char* text,
                int record, int second);

protected:
    /// Gives a nameless instance the name "toplevel." and ends any other with a '.'.
    void verify_instance_name();

private:
    friend struct QkLiveModel;

    kelvo_module* qk_parent;
    uint32_t qk_name_verified;
    const char* qk_module_name;
    char* qk_instance_name;
    QkScope* qk_scope;
};
static_assert(sizeof(kelvo_module) == 6 * sizeof(void*), "models have compiled this layout in");

extern "C" {

/// Builds the one model of the process if there is none, and arranges for its destruction at exit.
/// Other functions call it when they need a model; further calls do nothing. The first call
/// installs a new-handler, unless the program has one: when the thread of that call runs out of
/// memory, the process ends with a message on the standard error stream and status 1, and its open
/// trace file is complete.
QK_API void kelvo_start(void);

/// Ends a run: makes a last capture, so that what changed since the last qk_takenote() is recorded,
/// shown and tested for breakpoints; in an interactive run prints "Simulation run completed" and
/// opens the console a last time; then closes the open trace file. If signals have been counted
/// (kelvo_module::qk_pra), "dump.xml" is written. Returns to the caller.
QK_API void kelvo_finish(void);

/// Ends the process with status 1 and a message on the standard error stream, unless this library
/// can run the model.
/// @param required_library_version  the library is version 8
/// @param model_version  of the generator, two hexadecimal digits for each part: 0x020300 is 2.3.0
/// @param flags          bit 0: the model needs a 32-bit library
QK_API void qk_vercheck(int required_library_version, int model_version, int flags);

/// Makes Ctrl-C open the console at the next qk_takenote(). The fourth press that the console has
/// not handled restores the handler that this call replaced, which gets the next one.
QK_API void qk_sigint_install(void);

/// Makes a signal, such as SIGTERM, end the run at the next qk_takenote(), at a prompt or between
/// the lines of a reference trace: the trace is completed, and qk_exit() is called with 128 plus
/// the signal's number. If the model does not get there within 10 seconds, or on the fifth signal,
/// the signal itself ends the process. SIGPIPE means that nobody reads the console's text: commands
/// that a pipe still holds run first. Does nothing for a signal that is ignored or has a handler.
QK_API void qk_end_on_signal(int signal);
/// @return the first signal that asked for the end of the run; 0 if none has
QK_API int qk_end_signal(void);

/// Registers one net of a hand-written model. Generated code uses QkRegistration.
/// @param name  dotted path of the net; without a dot the net goes into the scope "toplevel"
/// @param mode  type code and mode bits (qkzeft_registration.h); then follow: void* address,
///              int left, int right (bit bounds), int array_left, int array_right
QK_API void qk_register1(const char* name, int mode, ...);

/// Sets the seed of power-on values: 0 gives zeros, 1 gives ones, any other pseudo-random values.
QK_API void qk_set_initial_value(uint64_t value);
/// @param width  bits wanted, 0 to 64
/// @param index  number of the variable, so that each gets its own value
/// @return the power-on value of that variable for the current seed
QK_API uint64_t qk_get_initial_value(int width, uint64_t index);

/// True at start: the library does exactly what the system defines, even where a user would take
/// that for a fault. False chooses what users expect; docs/deviations.md lists the differences. Set
/// it before the model is made, and do not change it later.
QK_API extern bool qk_strict;

/// One evaluation of the model, without advancing time; null until the model sets it. Only a
/// comparison against a reference trace calls it.
QK_API extern void (*qk_step_fn)(void);
/// Evaluates the model after inputs and registers were written from outside, without advancing time
/// and without clock edges; null at first. It is called instead of qk_step_fn after the first
/// values of a trace, and after loadsim. If it is null, qk_step_fn is called after the first
/// values, and nothing after loadsim.
QK_API extern void (*qk_settle_fn)(void);

/// @return how many values users, programs and files have written into the model's storage so far:
///         set, handles, readmem, loadsim, and the first values of a trace. A model that runs by
///         itself evaluates once more at the same time when this number has changed
QK_API uint64_t qk_write_count(void);

}  // extern "C"

#endif

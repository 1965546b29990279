// The design of a model that Verilator compiled, in tables without addresses: TOP_qk.cpp defines
// them, and the run time finds the storage when the program starts.
#ifndef QKVL_H
#define QKVL_H

#include <cstddef>
#include <cstdint>

class VerilatedContext;
class VerilatedModel;

/// A scope; row 0 is the top, which has no parent (-1).
struct QkvlScope {
    int parent;
    const char* name;
};

/// What a net is.
enum QkvlKind : unsigned char {
    kQkvlNet,        ///< computed from other nets
    kQkvlRegister,   ///< changes at an edge
    kQkvlLatch,      ///< keeps its value while its block does not assign it
    kQkvlMemory,     ///< an array
    kQkvlParameter,  ///< never changes
};

/// Directions of the top's ports.
enum QkvlDirection : unsigned char { kQkvlNone, kQkvlInput, kQkvlInout, kQkvlOutput };

enum QkvlFlag : unsigned char {
    kQkvlRanged = 1,  ///< declared with bounds
    kQkvlPublic = 2,  ///< the model makes its storage accessible
    kQkvlClock = 4,
    kQkvlEarly = 8,    ///< an input that changes before the clock edge of the same time
    kQkvlDriven = 16,  ///< an inout that the design drives
    kQkvlPin = 32      ///< its storage is found by qkvlPin()
};

/// A net, an array or a parameter.
struct QkvlNet {
    int scope;
    const char* name;
    int left, right;  ///< as declared; 0, 0 for a scalar
    unsigned char kind, direction, flags;
    int home;               ///< row of the net that this is another name of: itself for most
    int outer;              ///< row of the net outside that a port shares its storage with, or -1
    int elements;           ///< of an array, else 0
    int high, low;          ///< its element bounds; storage begins at the low one
    const uint32_t* value;  ///< of a parameter without storage, in words, the lowest first
};

/// A clock of free runs.
struct QkvlClockPeriod {
    const char* name;    ///< an input of the top
    const char* period;  ///< as typed by the user
};

/// Rows of an inout that Verilator has split: bits that are set in `enable` are driven by the
/// design, with the value of `out`.
struct QkvlPad {
    int input, out, enable;
};

struct QkvlDesign {
    const char* top;
    const QkvlScope* scopes;
    int scopeCount;
    const QkvlNet* nets;
    int netCount;
    const QkvlClockPeriod* periods;
    int periodCount;
    const QkvlPad* pads;
    int padCount;
};

// Defined by TOP_qk.cpp.
extern const QkvlDesign qkvlDesign;
/// Makes the model, for a main() that has none; it lives until the process ends.
VerilatedModel& qkvlMakeModel(VerilatedContext& context);
/// Evaluates the model at a time in its own ticks. @return whether its design has finished
bool qkvlEval(VerilatedModel& model, uint64_t time);
enum QkvlOutcome : unsigned char { kQkvlGoesOn, kQkvlFinished, kQkvlNotEvaluated };
/// The same, but does nothing if the design has finished already: a bench may have requested that.
QkvlOutcome qkvlEvalUnlessFinished(VerilatedModel& model, uint64_t time);
/// Recomputes all combinational logic, whatever has changed.
void qkvlEvalSettle(VerilatedModel& model, uint64_t time);
void qkvlFinal(VerilatedModel& model);
/// @return the storage of a row with kQkvlPin, a port that is in no table of Verilator's: a part of
///         the model. Null for other rows
void* qkvlPin(VerilatedModel& model, int row);

// What TOP_qk.cpp gets from qkvl_bridge.h.
/// For a main() that has none yet; it lives until the process ends.
VerilatedContext& qkvlMakeContext(int argc, char** argv);
/// Exponents of ten, in seconds.
int qkvlTimeUnitExponent(const VerilatedContext& context);
int qkvlTickExponent(const VerilatedContext& context);
uint64_t qkvlTime(const VerilatedContext& context);
bool qkvlIsFinished(const VerilatedContext& context);
void qkvlFinish(VerilatedContext& context);
void qkvlSetAssertions(VerilatedContext& context, bool on);
/// The storage of a variable.
struct QkvlVariable {
    unsigned char* data = nullptr;
    size_t elementBytes = 0, bytes = 0;
};
/// @param scope  path of the scope, without the model's name
/// @return without data when the model has no such variable, or not for others to see
QkvlVariable qkvlFindVariable(const VerilatedModel& model, const VerilatedContext& context,
                              const char* scope, const char* name);

// For a user's own main() that has made the model. docs/verilator.md shows one.

/// Evaluates the model once with its current inputs, puts its nets into the database, and makes the
/// console and comparisons evaluate it. Call it once; model and context must live until the process
/// ends. Ends the process with status 2 if the model does not belong to the tables.
void qkvl_attach(VerilatedModel& model, VerilatedContext& context);
/// Advances the time of model and database to `time` ticks of the database, and evaluates the
/// model.
void qkvl_step(uint64_t time);
/// Call it in place of qk_takenote(): values set at the console take effect at once.
void qkvl_takenote();

#endif

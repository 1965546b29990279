#include "qkvl_engine.h"

#include <qkzeft.h>

#include <cinttypes>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "qkvl_print.h"
#include "qkvl_storage.h"
#include "verilated.h"

QkvlSettings qkvlSettings;

namespace {

VerilatedModel* model = nullptr;
VerilatedContext* context = nullptr;
kelvo_module* module = nullptr;
QkvlPlaces places;
bool isProbing = false;
uint64_t writesSeen = 0;

/// A $stop during the evaluation, told when it is over.
struct {
    bool isPending = false;
    std::string file;
    int line = 0;
} stopped;

// ---- Time

uint64_t powerOfTen(int exponent) {
    uint64_t power = 1;
    while (exponent-- > 0) power *= 10;
    return power;
}

uint64_t later(uint64_t time, uint64_t ticks) {
    return ticks > UINT64_MAX - time ? UINT64_MAX : time + ticks;
}

/// A trace may have made the library's tick finer than the model's.
uint64_t modelTime() {
    const int digits = context->timeprecision() - qk_get_timescale_precision();
    return digits == 0 ? qk_cycle : qk_cycle / powerOfTen(digits);
}

// ---- Evaluating

void reportStop() {
    if (!stopped.isPending) return;
    stopped.isPending = false;
    qk_printf("%s:%d: $stop\n", stopped.file.c_str(), stopped.line);
    if (!qkvlSettings.isInteractive) {
        qk_exit(1);
    } else {
        qk_cli("cli");
    }
}

/// What was written from outside first reaches all logic; edges that it makes are edges.
void evaluate() {
    context->time(modelTime());
    if (qk_write_count() != writesSeen) qkvlEvalSettle(*model);
    writesSeen = qk_write_count();
    qkvlEval(*model);
    module->qk_finalize_wave();  // arrays that something follows
    reportStop();
}

std::vector<unsigned char> savedState() {
    std::vector<unsigned char> bytes;
    for (const QkvlStorage& storage : places.state)
        bytes.insert(bytes.end(), storage.data, storage.data + storage.bytes());
    return bytes;
}

bool isState(const std::vector<unsigned char>& bytes) {
    const unsigned char* at = bytes.data();
    for (const QkvlStorage& storage : places.state) {
        if (std::memcmp(storage.data, at, storage.bytes()) != 0) return false;
        at += storage.bytes();
    }
    return true;
}

void restore(const std::vector<unsigned char>& bytes) {
    const unsigned char* at = bytes.data();
    for (const QkvlStorage& storage : places.state) {
        std::memcpy(storage.data, at, storage.bytes());
        at += storage.bytes();
    }
}

}  // namespace

void qkvlBeginProbe() {
    isProbing = true;
    context->assertOn(false);
}

void qkvlEndProbe() {
    isProbing = false;
    context->assertOn(true);
}

void qkvlEvaluate() {
    evaluate();
    if (context->gotFinish()) qk_exit(0);
}

/// Putting a register back may be another edge where it is a clock, hence the rounds.
void qkvlSettleState() {
    constexpr int kMostRounds = 20;
    const std::vector<unsigned char> given = savedState();
    context->time(modelTime());
    for (int round = 0; round < kMostRounds; ++round) {
        qkvlEvalSettle(*model);
        evaluate();
        if (isState(given)) return;
        restore(given);
    }
    qk_printf("the state does not settle\n");
}

uint64_t qkvlTimeUnit() { return powerOfTen(context->timeunit() - qk_get_timescale_precision()); }

unsigned char* qkvlInput(const std::string& name) {
    for (int i = 0; i < qkvlDesign.netCount; ++i) {
        const QkvlNet& net = qkvlDesign.nets[i];
        if (net.scope == 0 && net.direction == kQkvlInput && name == net.name &&
            qkvlWidth(net) == 1)
            return places.ofRow[static_cast<size_t>(i)].data;
    }
    return nullptr;
}

uint64_t QkvlToggle::nextAfter(uint64_t time) const {
    if (time < first) return first;
    const uint64_t phase = (time - first) % period;
    const uint64_t left = phase < highTicks() ? highTicks() - phase : period - phase;
    return later(time, left);
}

void QkvlToggle::goTo(uint64_t time) {
    next = nextAfter(time);
    isRise = levelAt(next);
}

void QkvlToggle::toggle() {
    *storage = isRise;
    next = later(next, isRise ? highTicks() : period - highTicks());
    isRise = !isRise;
}

// ---- For programs that have a main() of their own

void qkvl_attach(VerilatedModel& theModel, VerilatedContext& theContext) {
    model = &theModel;
    context = &theContext;
    qkvlEval(theModel);
    places = qkvlFindPlaces(theModel, theContext);
    qk_set_timescale(qkvlDesign.top, context->timeunit(), context->timeprecision());
    module = &qkvlRegister(places);
    qk_step_fn = qkvlEvaluate;
    qk_settle_fn = qkvlSettleState;
    reportStop();
}

void qkvl_step(uint64_t time) {
    qk_set_time(time);
    evaluate();
}

/// The console does not open a second time: what was set there is recorded at the same time.
void qkvl_takenote() {
    qk_takenote();
    if (qk_write_count() == writesSeen) return;
    evaluate();
    qk_takenote();
}

// ---- What Verilator's run time calls

int qkvl_printf(const char* format, ...) {
    if (isProbing) return 0;
    std::va_list arguments, again;
    va_start(arguments, format);
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, arguments);
    va_end(arguments);
    std::vector<char> text(static_cast<size_t>(length > 0 ? length : 0) + 1);
    std::vsnprintf(text.data(), text.size(), format, again);
    va_end(again);
    constexpr size_t kMostAtOnce = 60000;
    for (size_t at = 0; at + 1 < text.size(); at += kMostAtOnce)
        qk_printf("%.*s", static_cast<int>(kMostAtOnce), text.data() + at);
    return length;
}

void vl_finish(const char* file, int line, const char*) {
    if (isProbing || context->gotFinish()) return;
    qk_printf("- %s:%d: Verilog $finish\n", file, line);
    context->gotFinish(true);
}

void vl_stop(const char* file, int line, const char*) {
    if (isProbing || stopped.isPending) return;
    stopped.isPending = true;
    stopped.file = file;
    stopped.line = line;
}

void vl_fatal(const char* filename, int linenum, const char*, const char* msg) {
    if (isProbing) throw QkvlComplaint();
    if (filename && *filename) {
        qk_printf("%s:%d: %s\n", filename, linenum, msg);
    } else {
        qk_printf("%s\n", msg);
    }
    qk_exit(1);
    std::abort();  // there is no way back into the evaluation
}

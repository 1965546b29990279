#include "qkvl_engine.h"

#include <qkzeft.h>

#include <algorithm>
#include <cinttypes>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "qkvl_print.h"
#include "qkvl_storage.h"

QkvlSettings qkvlSettings;

namespace {

VerilatedModel* model = nullptr;
VerilatedContext* context = nullptr;
kelvo_module* module = nullptr;
QkvlPlaces places;
bool isProbing = false;
bool isFinished = false;  // by the design
bool hasArrays = false;
bool hasRareWork = false;  // after an evaluation: pads, or a $stop to report
uint64_t writesSeen = 0;

/// A $stop during the evaluation, reported afterwards.
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

/// Ticks of the library in one of the model's: a trace may have made the library's finer.
uint64_t ticksPerModelTick = 1;

void noteTimescale() {
    ticksPerModelTick = powerOfTen(qkvlTickExponent(*context) - qk_get_timescale_precision());
}

uint64_t modelTime() { return ticksPerModelTick == 1 ? qk_cycle : qk_cycle / ticksPerModelTick; }

// ---- Evaluating

void reportStop() {
    stopped.isPending = false;
    qk_printf("%s:%d: $stop\n", stopped.file.c_str(), stopped.line);
    if (!qkvlSettings.isInteractive) {
        qk_exit(1);
    } else {
        qk_cli("cli");
    }
}

unsigned char* dataOf(int row) { return places.ofRow[static_cast<size_t>(row)].data; }

/// Gives the bits of inouts that the design drives the value that it drives, as a wire would.
/// @return whether any has changed
bool loopBack() {
    bool isChanged = false;
    for (int i = 0; i < qkvlDesign.padCount; ++i) {
        const QkvlPad& pad = qkvlDesign.pads[i];
        const unsigned char* const out = dataOf(pad.out);
        const unsigned char* const enable = dataOf(pad.enable);
        const size_t bytes = places.ofRow[static_cast<size_t>(pad.input)].bytes();
        for (size_t k = 0; k < bytes; ++k) {
            unsigned char& input = dataOf(pad.input)[k];
            const unsigned driven = (input & ~unsigned{enable[k]}) | (out[k] & enable[k]);
            isChanged |= driven != input;
            input = static_cast<unsigned char>(driven);
        }
    }
    return isChanged;
}

void settlePads() {
    constexpr int kMostRounds = 20;  // a pad may oscillate
    for (int round = 0; round < kMostRounds && loopBack(); ++round)
        isFinished = qkvlEval(*model, modelTime());
    if (hasArrays) module->qk_finalize_wave();
}

void doRareWork() {
    hasRareWork = qkvlDesign.padCount > 0;
    if (hasRareWork) settlePads();
    if (stopped.isPending) reportStop();
}

[[gnu::always_inline]] inline void afterEvaluation() {
    if (hasArrays) module->qk_finalize_wave();  // something may follow them
    if (hasRareWork) [[unlikely]]
        doRareWork();
}

/// When nothing was written from outside, and the timescale is known.
void evaluateOnly() {
    isFinished = qkvlEval(*model, modelTime());
    afterEvaluation();
}

/// Values written from outside first reach all logic; edges that they cause count as edges.
void evaluate() {
    noteTimescale();
    if (qk_write_count() != writesSeen) {
        qkvlEvalSettle(*model, modelTime());
        writesSeen = qk_write_count();
    }
    evaluateOnly();
}

/// The console does not open a second time: values set there are recorded at the same time.
/// @return whether it has evaluated the model
[[gnu::always_inline]] inline bool takeNote() {
    qk_takenote();
    if (qk_write_count() == writesSeen) return false;
    evaluate();
    qk_takenote();
    return true;
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
    qkvlSetAssertions(*context, false);
}

void qkvlEndProbe() {
    isProbing = false;
    qkvlSetAssertions(*context, true);
}

void qkvlEvaluate() {
    evaluate();
    if (isFinished) qk_exit(0);
}

/// Restoring a register that is a clock may cause another edge, hence several rounds.
void qkvlSettleState() {
    constexpr int kMostRounds = 20;
    const std::vector<unsigned char> given = savedState();
    noteTimescale();
    for (int round = 0; round < kMostRounds; ++round) {
        qkvlEvalSettle(*model, modelTime());
        evaluate();
        if (isState(given)) return;
        restore(given);
    }
    qk_printf("the state does not settle\n");
}

uint64_t qkvlTimeUnit() {
    return powerOfTen(qkvlTimeUnitExponent(*context) - qk_get_timescale_precision());
}

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

// ---- Free run

namespace {

/// @return when the first of them changes; without any, the end of the present time unit
uint64_t nextChange(const std::vector<QkvlToggle>& toggles, uint64_t now, uint64_t unit) {
    if (toggles.empty()) return later(now - now % unit, unit);
    uint64_t next = UINT64_MAX;
    for (const QkvlToggle& toggle : toggles) next = std::min(next, toggle.next);
    return next;
}

}  // namespace

void qkvlRunFreely(uint64_t stop, std::vector<QkvlToggle> (*findToggles)()) {
    std::vector<QkvlToggle> toggles;
    uint64_t now = UINT64_MAX, unit = 1, next = 0;
    if (isFinished) {  // in an initial block
        takeNote();
        return;
    }
    for (;;) {
        if (takeNote() && isFinished) return;
        // A loaded state has moved the time, or a trace has made ticks finer, which 0 does not
        // show.
        if (qk_cycle != now || now == 0) {
            now = qk_cycle;
            noteTimescale();
            unit = qkvlTimeUnit();
            toggles = findToggles();
            next = nextChange(toggles, now, unit);
        }
        const uint64_t pause = qk_next_stop();
        const uint64_t time = pause > now ? std::min(pause, next) : next;
        if (time > stop || time <= now) return;
        const uint64_t before = now;
        if (time != next) {
            if (qkvlIsFinished(*context)) return;
            qk_cycle = now = time;
            continue;
        }
        qk_cycle = now = time;
        for (QkvlToggle& toggle : toggles)
            if (toggle.next == now) toggle.toggle();
        next = nextChange(toggles, now, unit);
        const QkvlOutcome outcome = qkvlEvalUnlessFinished(*model, modelTime());
        if (outcome == kQkvlNotEvaluated) {
            // Something called by the library has requested it: only now, as looking for that
            // before each change would cost time.
            for (QkvlToggle& toggle : toggles) toggle.takeBack(now);
            qk_cycle = before;
            return;
        }
        afterEvaluation();
        if (outcome == kQkvlGoesOn) continue;
        takeNote();
        return;
    }
}

// ---- For programs with their own main()

void qkvl_attach(VerilatedModel& theModel, VerilatedContext& theContext) {
    model = &theModel;
    context = &theContext;
    isFinished = qkvlEval(theModel, qkvlTime(theContext));
    places = qkvlFindPlaces(theModel, theContext);
    qk_set_timescale(qkvlDesign.top, qkvlTimeUnitExponent(theContext),
                     qkvlTickExponent(theContext));
    module = &qkvlRegister(places);
    qk_step_fn = qkvlEvaluate;
    qk_settle_fn = qkvlSettleState;
    for (const QkvlStorage& storage : places.ofRow) hasArrays |= storage.elements > 1;
    hasRareWork = qkvlDesign.padCount > 0;
    if (stopped.isPending) reportStop();
}

void qkvl_step(uint64_t time) {
    qk_set_time(time);
    evaluate();
}

void qkvl_takenote() { takeNote(); }

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
    if (isProbing || qkvlIsFinished(*context)) return;
    qk_printf("- %s:%d: Verilog $finish\n", file, line);
    qkvlFinish(*context);
}

void vl_stop(const char* file, int line, const char*) {
    if (isProbing || stopped.isPending) return;
    stopped.isPending = hasRareWork = true;
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
    std::abort();  // the evaluation cannot be resumed
}

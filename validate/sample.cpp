#include "validate/sample.h"

#include <algorithm>
#include <iterator>

#include "netdb/database.h"
#include "qkzeft_run.h"
#include "qkzeft_validate.h"
#include "run/life.h"
#include "run/time.h"
#include "validate/file_reader.h"

namespace {

/// @return the name by which a user marks a driven net, that of the port
std::string nameOf(const QkVCDTrace& trace) {
    const QkName* const port = TraceNames::find(trace.liveTrace->names, isStimulus);
    return port ? FullName(port).c_str() : trace.name;
}

using Steps = std::vector<uint32_t>;  // ascending

Steps common(const Steps& a, const Steps& b) {
    Steps both;
    std::set_intersection(a.begin(), a.end(), b.begin(), b.end(), std::back_inserter(both));
    return both;
}

Steps without(const Steps& a, const Steps& b) {
    Steps rest;
    std::set_difference(a.begin(), a.end(), b.begin(), b.end(), std::back_inserter(rest));
    return rest;
}

bool isRegister(const QkVCDTrace* trace) {
    return trace->isComparable() && trace->liveTrace && trace->liveTrace->flags & QK_flag_register;
}

}  // namespace

void InputSample::start(const QkVCDTraces& traces) {
    *this = InputSample(mostSteps, lastTime);
    for (const auto& trace : traces.all) {
        if (!trace->isStimulus || !trace->liveTrace) continue;
        const uint32_t flags = trace->liveTrace->flags;
        indexes[trace.get()] = all.size();
        all.push_back({nameOf(*trace), trace.get(), (flags & QK_flag_clock) != 0,
                       (flags & QK_flag_early_input) != 0});
    }
}

void InputSample::touch(const QkVCDTrace* trace) {
    if (trace->isPending) return;  // it has been touched in this time step
    touched.push_back({trace, trace->vcdBits.text()});
}

bool InputSample::endStep() {
    bool clock = false, registers = false, inputs = false;
    for (const Touched& one : touched) {
        if (!one.trace->liveTrace || one.trace->vcdBits.text() == one.before) continue;
        registers |= isRegister(one.trace);
        const auto found = indexes.find(one.trace);
        if (found == indexes.end()) continue;
        Input& input = all[found->second];
        inputs = true;
        // Nets may have been marked since the trace was opened.
        input.isClock = (one.trace->liveTrace->flags & QK_flag_clock) != 0;
        input.isEarly = (one.trace->liveTrace->flags & QK_flag_early_input) != 0;
        clock |= input.isClock;
        if (input.steps.empty() || input.steps.back() != step) input.steps.push_back(step);
    }
    touched.clear();
    if (clock) clockSteps.push_back(step);
    if (inputs) inputSteps.push_back(step);
    if (registers && !clock) loneSteps.push_back(step);
    ++step;
    return (clockSteps.empty() ? inputSteps : clockSteps).size() >= mostSteps ||
           qk_cycle >= lastTime;
}

void InputSample::finish() {
    // A net that explains most of what no clock does is taken for a clock first, then one that
    // explains most of the rest: data that changes with it explains nothing more.
    constexpr size_t kFewest = 3;
    Steps rest = loneSteps;
    const size_t enough = std::max(kFewest, rest.size() / 20);
    while (rest.size() >= enough) {
        Input* best = nullptr;
        size_t most = enough - 1;
        for (Input& input : all) {
            const bool mayBe =
                !input.isClock && !input.looksLikeClock && input.trace->vcdBits.width() == 1;
            const size_t explained = mayBe ? common(input.steps, rest).size() : 0;
            if (explained > most) {
                most = explained;
                best = &input;
            }
        }
        if (!best) break;
        best->looksLikeClock = true;
        rest = without(rest, best->steps);
    }
    for (Input& input : all)
        if (!input.isClock) input.withClock = common(input.steps, clockSteps).size();
}

// ---- The exported functions

int qk_mtc_sample(int steps, uint64_t until) {
    if (!modelExists()) return 0;
    QkFileReader& reader = *qkReader;
    if (reader.vcdModel) reader.vcdModel->traces.sample = nullptr;
    reader.sample = nullptr;
    if (steps > 0)
        reader.sample = std::make_unique<InputSample>(static_cast<uint32_t>(steps), until);
    return 1;
}

int qk_mtc_sampled_input(int index, struct qk_mtc_input* input) {
    if (!modelExists() || !qkReader->sample || index < 0) return 0;
    const auto& inputs = qkReader->sample->inputs();
    if (static_cast<size_t>(index) >= inputs.size()) return 0;
    const InputSample::Input& found = inputs[static_cast<size_t>(index)];
    *input = {found.name.c_str(), found.steps.size(), found.withClock,
              found.isClock,      found.isEarly,      found.looksLikeClock};
    return 1;
}

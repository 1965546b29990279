// The commands of a comparison, and the exported functions that set the same options.
#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "base/characters.h"
#include "base/qkassert.h"
#include "console/command.h"
#include "console/console.h"
#include "console/words.h"
#include "licence/licence.h"
#include "netdb/database.h"
#include "qkzeft.h"
#include "run/failure.h"
#include "run/life.h"
#include "run/printout.h"
#include "run/time.h"
#include "tracing/trace_writer.h"
#include "validate/commands.h"
#include "validate/file_reader.h"

namespace {

/// Net flags that only generators set whose models a trace can drive.
constexpr uint32_t kCompatibleFlags =
    QK_flag_register | QK_flag_clock | QK_flag_early_input | QK_flag_step_input;
static_assert(kCompatibleFlags == 0x00038023);

QkFileReader& reader() {
    QK_ASSERT_AS(qkDatabase != nullptr, "qkLiveModel != NULL");
    completeRegistration(true);
    return *qkReader;
}

bool isRunning() {
    reader();
    return runningFromVCD;
}

const char* orEmpty(const char* text) { return text ? text : ""; }

const char* onOrOff(bool on) { return on ? "on" : "off"; }

/// Reads a switch; anything but on and off counts as on.
bool readSwitch(const char* text) {
    std::string word(text);
    for (char& c : word) c = lowerCase(c);
    return !(word == "0" || word == "off" || word[0] == 'n');
}

int readInt(const char* text) {
    return static_cast<int>(std::clamp<long>(std::strtol(text, nullptr, 10), INT_MIN, INT_MAX));
}

constexpr const char* kRemovedMapping = "Removed mapping %s = %s\n";

}  // namespace

int qk_mtc(const char* filename) {
    QkFileReader& validate = reader();
    if (!licensed(Gate::kValidate)) return 0;
    if (runningFromVCD) {
        printFailure("ZEFT Validate: already running\n");
        return 0;
    }
    if (!(qkDatabase->allTraceFlags & kCompatibleFlags)) {
        printFailure("ZEFT Validate: model not compatible, rebuild using MS Mode\n");
        return 0;
    }
    validate.start(false);
    currentPrompt = kValidatePrompt;
    const bool isNamed = filename && *filename;
    if (!isNamed) qkConsole->interactive = true;
    if (!qkConsole->interactive) stopTime = kNoStop;  // no user is at a prompt
    int result = qkConsole->interactive;
    if (isNamed) result = validate.openTrace(filename);
    if (!result) validate.closeValidate();
    if (runningFromVCD) result = validate.runValidate();
    return result;
}

// ---- Nets

int qk_mtc_ignore(const char* pattern) {
    QkFileReader& validate = reader();
    int count = 0;
    for (const QkName* name : qkDatabase->matching(orEmpty(pattern))) {
        if (name->netFlags & QK_flag_replaced) continue;
        ++count;
        name->trace->ignored = true;
        if (QkVCDTrace* const trace = validate.traceOf(name)) trace->setState(Parked, qk_cycle);
    }
    return count;
}

namespace {

/// Marks driven nets, also for the open trace. @return how many match
int markInputs(const char* pattern, bool on, uint32_t flag, bool QkVCDId::*mark, const char* what) {
    QkFileReader& validate = reader();
    int count = 0;
    for (const QkName* name : qkDatabase->matching(orEmpty(pattern))) {
        if (!isStimulus(name)) continue;
        ++count;
        uint32_t& flags = name->trace->flags;
        flags = on ? flags | flag : flags & ~flag;
        say("ZEFT Validate: %s is %s%s input\n", FullName(name).c_str(), on ? "" : "not ", what);
        const QkVCDName* const partner =
            validate.vcdModel ? validate.vcdModel->partnerOf(name) : nullptr;
        if (!partner) continue;
        for (QkVCDVar* const var : partner->vcdVars) var->vcdId->*mark = on;
        validate.vcdModel->usesChanged();
    }
    validate.run.regroup();
    return count;
}

}  // namespace

int qk_mtc_clock(const char* pattern, int on) {
    return markInputs(pattern, on != 0, QK_flag_clock, &QkVCDId::isClock, "a clock");
}

int qk_mtc_early(const char* pattern, int on) {
    return markInputs(pattern, on != 0, QK_flag_early_input, &QkVCDId::isEarlyInput, "an early");
}

// ---- Scopes

namespace {

std::string withoutLastDot(const char* text) {
    std::string stripped(orEmpty(text));
    if (!stripped.empty() && stripped.back() == '.') stripped.pop_back();
    return stripped;
}

void listMappings(const QkFileReader& validate) {
    Printout out;
    out.add("Mapped scopes:\n");
    const QkVCDModel* const vcdModel = validate.vcdModel.get();
    const auto isLinked = [&](const QkScope* scope) {
        return vcdModel && vcdModel->partnerOf(scope);
    };
    const auto isCurrent = [&](const MappedScope& map) {
        return isLinked(map.live) && vcdModel->findScope(map.path) == vcdModel->partnerOf(map.live);
    };
    for (const MappedScope& map : validate.mappedScopes)
        out.print("\t%s = %s%s\n", map.live->fullName.str(), map.path.c_str(),
                  isCurrent(map) ? "" : " (not current)");
    if (!validate.mappedScopes.empty()) return;
    bool any = false;
    ScopeRing::each(qkDatabase->top_scopes, [&](const QkScope* scope) {
        if (!isLinked(scope)) return;
        out.print("\t%s\n", scope->fullName.str());
        any = true;
    });
    if (!any) out.add("\t(none)\n");
}

/// Reopens the open trace, so that a mapping takes effect.
void reopen(QkFileReader& validate) {
    const std::string path = validate.tokens.path();
    validate.close();
    validate.start(false);
    if (!path.empty() && !validate.openTrace(path.c_str())) validate.closeValidate();
}

}  // namespace

int qk_mtc_map(const char* model_scope, const char* trace_scope) {
    QkFileReader& validate = reader();
    const std::string model = withoutLastDot(model_scope), path = withoutLastDot(trace_scope);
    std::erase_if(validate.mappedScopes, [&](const MappedScope& map) {
        const bool isOld = map.live->fullName.compare(model.c_str()) == 0;
        if (isOld) say(kRemovedMapping, map.live->fullName.str(), map.path.c_str());
        return isOld;
    });
    if (path.empty()) {
        listMappings(validate);
        return 1;
    }
    QkScope* live = nullptr;
    if (!qkDatabase->findScopePath(live, model.c_str(), false, false, false) || !live) {
        printFailure("map: %s is not a scope in the model\n", model.c_str());
        return 0;
    }
    validate.mappedScopes.push_front(MappedScope{live, path});
    say("Added mapping %s = %s\n", live->fullName.str(), path.c_str());
    if (runningFromVCD && !validate.run.isRunning) reopen(validate);
    return 1;
}

// ---- Stimuli

namespace {

void listStimuli(const QkFileReader& validate) {
    Printout out;
    out.add("ZEFT Validate: additional stimulus nets:\n");
    for (const StimulusMap& map : validate.stimulusMaps)
        out.print("\t%s = %s\n", FullName(map.live).c_str(), map.path.c_str());
    if (validate.stimulusMaps.empty()) out.add("\t(none)\n");
}

QkName* findNet(const char* fullName) {
    QkScope* scope = nullptr;
    const char* const local = qkDatabase->findScopePath(scope, fullName, true, false, false);
    return local && scope ? qkDatabase->findLocal(scope, local) : nullptr;
}

}  // namespace

int qk_mtc_stimulus(const char* model_net, const char* trace_net) {
    QkFileReader& validate = reader();
    if (validate.fileIsOpen()) {
        printFailure(
            "ZEFT Validate: unable to add or remove stimuli while the input trace file is open "
            "(use \"close\", add stimuli and then re-\"open\" the trace file)\n");
        return 0;
    }
    const std::string model = orEmpty(model_net), path = orEmpty(trace_net);
    if (model.find('*') != std::string::npos || path.find('*') != std::string::npos) {
        printFailure("ZEFT Validate: pattern matching not allowed in 'stimulus' command\n");
        return 0;
    }
    std::erase_if(validate.stimulusMaps, [&](const StimulusMap& map) {
        const FullName live(map.live);
        const bool isOld = model == live.c_str();
        if (isOld) say(kRemovedMapping, live.c_str(), map.path.c_str());
        return isOld;
    });
    if (path.empty()) {
        listStimuli(validate);
        return 1;
    }
    QkName* const live = findNet(model.c_str());
    if (!live) {
        printFailure("ZEFT Validate: net '%s' not found in the model\n", model.c_str());
        return 0;
    }
    validate.stimulusMaps.push_front(StimulusMap{live, path});
    say("ZEFT Validate:\n   Additional Stimulus:\n     %s\n   will be driven by trace of:\n"
        "     %s\n   (%zu additional stimuli now configured)\n",
        FullName(live).c_str(), path.c_str(), validate.stimulusMaps.size());
    return 1;
}

// ---- Times and steps

namespace {

void setSynctime(uint64_t ticks) {
    QkFileReader& validate = reader();
    validate.synctime = ticks;
    if (validate.vcdModel) checkSyncTimeouts();
}

}  // namespace

int qk_mtc_synctime(uint64_t count, const char* unit) {
    uint64_t ticks = count;
    if (unit && *unit) {
        const std::string text =
            std::to_string(count) + " " + std::string(skipSpace(unit)).substr(0, 3);
        ticks = qk_parse_time(text.c_str(), nullptr);
    }
    setSynctime(ticks);
    return 1;
}

int qk_mtc_synctime_real(double seconds) {
    setSynctime(qk_real_to_time_precision(seconds));
    return 1;
}

namespace {

/// @return the previous setting. The model need not be complete yet
bool setClockFirst(bool on) {
    QkFileReader& validate = *qkReader;
    const bool before = std::exchange(validate.clockFirst, on);
    if (before != on) validate.run.regroup();
    return before;
}

}  // namespace

int qk_mtc_step_on_clock(int on) {
    QkFileReader& validate = reader();
    validate.steponclockRequested = true;
    validate.steponclock = on != 0;
    if (on) setClockFirst(false);
    return 1;
}

int qk_mtc_clock_first(int on) {
    QK_ASSERT_AS(qkDatabase != nullptr, "qkLiveModel != NULL");
    return setClockFirst(on != 0);
}

int qk_mtc_threshold(int differences) {
    reader().threshold = differences > 0 ? differences : -1;
    return 1;
}

int qk_mtc_verbose(int level) {
    reader().verbose = std::max(level, 0);
    reader().detailsInBinary = false;
    return 1;
}

// ---- Commands

namespace {

int validateCommand(const char* argument) {
    if (isRunning()) return 1;
    if (!*argument) stopTime = 0;
    if (!qk_mtc(argument)) noteFailure("the comparison failed");
    return 1;
}

int openCommand(const char* argument) {
    if (!isRunning()) return 0;
    QkFileReader& validate = reader();
    if (validate.fileIsOpen()) {
        printFailure("ZEFT Validate: VCD file already open\n");
    } else if (!validate.openTrace(argument)) {
        noteFailure("the trace cannot be used");
        validate.closeValidate();
    }
    return 1;
}

int closeCommand(const char*) {
    reader().closeValidate();
    return 1;
}

int markCommand(const char* argument, int (*mark)(const char*, int), const char* what) {
    if (!isRunning()) return 0;
    const FirstWord split = firstWord(argument);
    const std::string pattern(split.word);
    if (pattern.empty())
        printFailure("ZEFT Validate: no %s nets named\n", what);
    else if (!mark(pattern.c_str(), readSwitch(split.rest)))
        printFailure("ZEFT Validate: no stimuli found matching pattern %s\n", pattern.c_str());
    return 1;
}

int clockCommand(const char* argument) { return markCommand(argument, qk_mtc_clock, "clock"); }

int earlyCommand(const char* argument) { return markCommand(argument, qk_mtc_early, "early"); }

int synctimeCommand(const char* argument) {
    if (!isRunning()) return 0;
    if (*argument == '-') return printFailure("synctime: Negative time interval not allowed!\n");
    const uint64_t ticks = parseConsoleTime(argument);
    if (ticks != kNoTime)
        setSynctime(ticks);
    else if (*argument)
        noteFailure(std::string("'") + argument + "' is not a time");
    const uint64_t allowed = reader().synctime;
    qk_printf("synctime: Allowed skew between model and trace is %s\n", qk_time_as_string(allowed));
    if (allowed == 0)
        qk_printf(
            "Allowed skew is zero:   Differences may not be reported until the end of the trace "
            "file\n");
    return 1;
}

int mapCommand(const char* argument) {
    if (!isRunning()) return 0;
    const Assignment sides = splitAssignment(argument);
    qk_mtc_map(sides.left.c_str(), sides.right.c_str());
    return 1;
}

int stimulusCommand(const char* argument) {
    if (!isRunning()) return 0;
    const Assignment sides = splitAssignment(argument);
    qk_mtc_stimulus(sides.left.c_str(), sides.right.c_str());
    return 1;
}

int ignoreCommand(const char* argument) {
    if (!isRunning()) return 0;
    if (!qk_mtc_ignore(argument)) noteFailure(std::string("no net matches ") + argument);
    return 1;
}

int monitorCommand(const char* argument) {
    if (!isRunning()) return 0;
    QkVCDTraces& traces = reader().vcdModel->traces;
    traces.monitorTracedOnly = std::strncmp(argument, "-t", 2) == 0;
    traces.updateMonitoring();
    return 1;
}

int thresholdCommand(const char* argument) {
    if (!isRunning()) return 0;
    int& threshold = reader().threshold;
    if (*argument) threshold = readInt(argument);
    if (threshold == 0) threshold = -1;
    if (threshold == -1)
        qk_printf("ZEFT Validate: Error threshold is: unlimited\n");
    else
        qk_printf("ZEFT Validate: Error threshold is: %d differences\n", threshold);
    return 1;
}

int verboseCommand(const char* argument) {
    if (!isRunning()) return 0;
    int& verbose = reader().verbose;
    if (isDigit(*argument))
        verbose = readInt(argument);
    else if (!*argument || std::strncmp(argument, "on", 2) == 0)
        verbose = 1;
    else if (std::strncmp(argument, "off", 3) == 0)
        verbose = 0;
    reader().detailsInBinary = verbose != 0;
    qk_printf("ZEFT Validate: verbose is: %s\n", onOrOff(verbose != 0));
    return 1;
}

int verbosestepCommand(const char* argument) {
    if (!isRunning()) return 0;
    reader().verbosestep = readSwitch(argument);
    qk_printf("ZEFT Validate: verbosestep is: %s\n", onOrOff(reader().verbosestep));
    return 1;
}

int steponclockCommand(const char* argument) {
    if (!isRunning()) return 0;
    const bool on = readSwitch(argument);
    qk_printf("ZEFT Validate: steponclock is %s\n", onOrOff(on));
    return qk_mtc_step_on_clock(on);
}

int clockfirstCommand(const char* argument) {
    if (!isRunning()) return 0;
    const bool on = readSwitch(argument);
    qk_printf("ZEFT Validate: clockfirst is %s\n", onOrOff(on));
    qk_mtc_clock_first(on);
    return 1;
}

int timeExecutionCommand(const char* argument) {
    reader().timeExecution = readSwitch(argument);
    qk_printf("ZEFT Validate: execution timing is: %s\n", onOrOff(reader().timeExecution));
    qkTraceWriter->reportWaiting();
    return 1;
}

int summariseCommand(const char*) {
    if (!isRunning()) return 0;
    reader().vcdModel->traces.summarise();
    return 1;
}

int restartCommand(const char*) {
    if (!isRunning()) return 0;
    printFailure(
        "ZEFT Validate: the restart command has been removed, restart by re-running the model.\n");
    return 1;
}

// clang-format off
constinit QkCommand commands[] = {
    {330, "mtc", kFileName, kFurther, kAlways, "#mtc         <filename>          run Model/Trace Compare", validateCommand},
    {340, "validate", kFileName, kFurther, kAlways, "validate    [<filename>]        run ZEFT Validate", validateCommand},
    {370, "time_execution", kNumberOrTime, kFurther, kAlways, nullptr, timeExecutionCommand},
    {420, "open", kFileName, kListed, kValidateOnly, "open        <vcd file>       open a trace file for comparision", openCommand},
    {430, "clock", kSignalPattern, kListed, kValidateOnly, "clock       <net> [<ON/off>] name a stimulus as a clock input", clockCommand},
    {440, "synctime", kNumberOrTime, kListed, kValidateOnly, "synctime    <time>           set time allowed between Model and Trace changes", synctimeCommand},
    {450, "map", kSignalPattern, kListed, kValidateOnly, "map         <model>=<trace>  map a scope in the trace to one in the model", mapCommand},
    {460, "close", kFreeText, kListed, kValidateOnly, "close                        close the trace file", closeCommand},
    {470, "restart", kFreeText, kFurther, kValidateOnly, nullptr, restartCommand},
    {480, "monitor", kFreeText, kListed, kValidateOnly, "monitor     [-a|-t]          monitor all (default) or only traced signals", monitorCommand},
    {490, "threshold", kNumberOrTime, kListed, kValidateOnly, "threshold   [<n>]            set or report the error threshold", thresholdCommand},
    {550, "verbose", kNumberOrTime, kListed, kValidateOnly, "verbose     [on|off]         set the verbosity", verboseCommand},
    {560, "summarise", kFreeText, kListed, kValidateOnly, "summarise                    report progress on the comparison", summariseCommand},
    {570, "summarize", kFreeText, kFurther, kValidateOnly, nullptr, summariseCommand},
    {580, "summary", kFreeText, kFurther, kValidateOnly, nullptr, summariseCommand},
    {590, "stimulus", kSignalPattern, kListed, kValidateOnly, "stimulus    <model>=<trace>  use <trace> to drive <model>", stimulusCommand},
    {600, "ignore", kSignalPattern, kListed, kValidateOnly, "ignore      <pattern>        do not compare signals matching pattern", ignoreCommand},
    {620, "steponclock", kNumberOrTime, kFurther, kValidateOnly, nullptr, steponclockCommand},
    {630, "verbosestep", kNumberOrTime, kFurther, kValidateOnly, "verbosestep [on|off]         verbose stepping", verbosestepCommand},
    {640, "clockfirst", kNumberOrTime, kListed, kValidateOnly, "clockfirst  [on|off]         apply clocks before the other inputs of a time step", clockfirstCommand},
    {650, "early", kSignalPattern, kListed, kValidateOnly, "early       <net> [<ON/off>] name an input to be applied before the clocks", earlyCommand},
};
// clang-format on

}  // namespace

void addValidateCommands() { addBuiltIns(commands); }

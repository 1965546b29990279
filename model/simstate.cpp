#include "model/simstate.h"

#include <cstdio>
#include <string>

#include "console/command.h"
#include "licence/licence.h"
#include "memimage/memory_image.h"
#include "netdb/database.h"
#include "qkzeft_console.h"
#include "qkzeft_module.h"
#include "qkzeft_run.h"
#include "run/failure.h"
#include "run/life.h"
#include "run/printout.h"
#include "run/written_files.h"
#include "tracing/trace_writer.h"
#include "validate/file_reader.h"

namespace {

std::string prefixFrom(const char* prefix) { return prefix && *prefix ? prefix : "qk_savesim"; }

bool saveArray(const QkTrace* array, const char* fileName) {
    std::FILE* const file = mayWrite(fileName) ? std::fopen(fileName, "w") : nullptr;
    if (!file) {
        printFailure("Cannot open '%s' for writing\n", fileName);
        return false;
    }
    writeMemoryImage(file, array);
    if (!closeWritten(file, fileName)) return false;
    say("Array written to file: %s\n", fileName);
    return true;
}

bool loadArray(QkTrace* array, const char* fileName) {
    if (!loadMemoryImage(array, MemoryImage{fileName, 16})) return false;
    say("Array read from file: %s\n", fileName);
    return true;
}

/// Calls visit(trace, fileName) for each array until one fails. @return whether none failed
template <class Visit>
bool eachArray(const std::string& prefix, Visit&& visit) {
    const auto fails = [&](QkTrace* trace) {
        if (!trace->isArray() || !trace->names) return false;  // a part, or an inverted form
        return !visit(trace, (prefix + "." + FullName(trace->names).c_str()).c_str());
    };
    return !TraceRing::find(qkDatabase->traces, fails);
}

/// Lets the model add what the files cannot hold, if it has registered a command for that.
void extend(const char* command, const std::string& prefix) {
    std::string ignored;
    runCommandLine((std::string(command) + " " + prefix).c_str(), ignored);
}

}  // namespace

int qk_savesim(const char* given) {
    completeRegistration(true);
    if (!licensed(Gate::kSavesim)) return 0;
    const std::string prefix = prefixFrom(given);
    if (!qkTraceWriter->saveState((prefix + ".vcd").c_str())) return 0;
    if (!eachArray(prefix, saveArray)) return 0;
    extend("extend_savesim", prefix);
    return 1;
}

int qk_loadsim(const char* given) {
    completeRegistration(true);
    if (!licensed(Gate::kSavesim)) return 0;
    if (runningFromVCD) {
        printFailure("Cannot load state while checking against trace file\n");
        return 0;
    }
    const std::string prefix = prefixFrom(given);
    const std::string fileName = prefix + ".vcd";
    if (!qkReader->loadState(fileName.c_str())) {
        noteFailure("'" + fileName + "' cannot be loaded");
        return 0;
    }
    say("Trace data read from file: %s\n", fileName.c_str());
    if (!eachArray(prefix, loadArray)) return 0;
    extend("extend_loadsim", prefix);
    if (qk_settle_fn) {
        const uint64_t time = qk_cycle;
        qk_settle_fn();
        qk_cycle = time;
    }
    return 1;
}

namespace {

int savesimCommand(const char* argument) {
    if (!qk_savesim(argument)) printFailure("savesim: command failed\n");
    return 1;
}

int loadsimCommand(const char* argument) {
    if (runningFromVCD)
        printFailure("loadsim cannot be used when ZEFT Validate is active\n");
    else if (!qk_loadsim(argument))
        printFailure("loadsim: command failed\n");
    return 1;
}

// clang-format off
constinit QkCommand commands[] = {
    {210, "savesim", kFileName, kListed, kAlways, "savesim     <filename-prefix>   save simulation state", savesimCommand},
    {220, "loadsim", kFreeText, kListed, kAlways, "loadsim     <filename-prefix>   load simulation state", loadsimCommand},
};
// clang-format on

}  // namespace

void addStateCommands() { addBuiltIns(commands); }

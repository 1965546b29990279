#include "console/script.h"

#include <csignal>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "console/command.h"
#include "console/console.h"
#include "console/handlers.h"
#include "console/words.h"
#include "qkzeft_console.h"
#include "run/end_signal.h"
#include "run/failure.h"
#include "run/printout.h"
#include "run/time.h"
#include "run/written_files.h"

namespace {

/// Maximum number of open scripts. Each may run inside a line of the one below it.
constexpr size_t kMaxNesting = 100;

struct LoadtFile {
    LoadtFile(const char* fileName, FILE* file) : name(fileName), fp(file) {}
    ~LoadtFile() { std::fclose(fp); }
    LoadtFile(const LoadtFile&) = delete;
    LoadtFile& operator=(const LoadtFile&) = delete;

    /// A directory can be opened like a file; reading it fails.
    bool isAtEnd() const { return std::feof(fp) || std::ferror(fp); }

    std::string name;
    FILE* fp;
    int lines = 0;        ///< read so far
    bool inLine = false;  ///< the next piece belongs to the last line, which is a long one
};

// The last one is the top. A script removed from the stack exists as long as one of its lines runs.
std::vector<std::shared_ptr<LoadtFile>> loadtFileStack;
int activeRunners = 0;

void runLine(LoadtFile& script) {
    char line[256] = "";
    if (!std::fgets(line, sizeof line, script.fp)) return;
    if (!script.inLine) ++script.lines;
    script.inLine = !std::strchr(line, '\n');
    const char first = *skipSpace(line);
    if (first == '\0' || first == '#') return;
    line[std::strcspn(line, "\n")] = '\0';
    say("%s%s\n", currentPrompt, line);
    std::string reason;
    const int lineNumber = script.lines;
    if (!runCommandLine(line, reason))
        say("Script: %s - Command %s\n", script.name.c_str(), notRecognised(line));
    reportFailedCommand(script.name.c_str(), lineNumber, line, reason);
}

/// Checks for signals between two lines. @return whether no more lines must run
bool mustStop() {
    if (sigintCount > 0) abandonScripts();  // the prompt comes next
    if (pendingEndSignal() != 0 && pendingEndSignal() != SIGPIPE) endAsRequested();
    return sigintCount > 0;
}

/// Runs scripts until a line moves the stop time or requests to resume, or only `base` scripts are
/// left.
void runScripts(size_t base) {
    ++activeRunners;
    const uint64_t stopBefore = stopTime;
    const int precision = qk_timescale_precision;
    do {
        resumeRequested = false;
        const std::shared_ptr<LoadtFile> script = loadtFileStack.back();
        runLine(*script);
        if (std::ferror(script->fp)) printFailure(kReadFailed, script->name.c_str());
        if (script->isAtEnd()) std::erase(loadtFileStack, script);
        if (mustStop()) break;
    } while (stopTime == inTicksNow(stopBefore, precision) && !resumeRequested &&
             loadtFileStack.size() > base);
    --activeRunners;
}

void startScript(const char* file) {
    const size_t base = activeRunners > 0 ? loadtFileStack.size() : 0;
    if (loadtFileStack.size() >= kMaxNesting) {
        printFailure("Script: %s - nested more than %zu deep, all scripts abandoned\n", file,
                     kMaxNesting);
        loadtFileStack.clear();
        return;
    }
    if (receivesConsoleText(file)) {
        printFailure("Script: %s - not run, as console text is written to it\n", file);
        return;
    }
    FILE* const fp = std::fopen(file, "r");
    if (!fp) {
        printFailure("Failed to open command file: %s\n", file);
        return;
    }
    loadtFileStack.push_back(std::make_shared<LoadtFile>(file, fp));
    runScripts(base);
}

}  // namespace

void abandonScripts() {
    for (const auto& script : loadtFileStack)
        if (!script->isAtEnd())
            say("Script: %s - left after line %d\n", script->name.c_str(), script->lines);
    loadtFileStack.clear();
}

bool runPendingScripts() {
    if (loadtFileStack.empty()) return false;
    runScripts(0);
    return true;
}

int qk_loadt(const char* file) {
    if (!file || !*file) return 0;
    startScript(file);
    return 1;
}

int loadtCommand(const char* argument) {
    startScript(*argument ? argument : kSavedCommandsFile);
    return 1;
}

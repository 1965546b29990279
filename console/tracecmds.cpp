// Commands that choose what is recorded and what is shown, and those of trace files.
#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "console/comparison.h"
#include "console/console.h"
#include "console/handlers.h"
#include "console/script.h"
#include "console/words.h"
#include "netdb/database.h"
#include "qkzeft_console.h"
#include "qkzeft_run.h"
#include "run/failure.h"
#include "run/life.h"
#include "run/printout.h"
#include "run/written_files.h"
#include "tracing/trace_writer.h"

namespace {

/// Which of the names that match are traced.
struct Selection {
    const char* pattern;
    bool stimuli = false;
    bool matched = false;  ///< compared; without a comparison, no name is

    bool isRestricted() const { return stimuli || matched; }
    bool takes(const QkName* name) const {
        if (!isRestricted() || (stimuli && isStimulus(name))) return true;
        return matched && comparison().isMatched(name);
    }
};

/// An argument with an unknown option is a pattern, unchanged.
Selection readSelection(const char* argument) {
    Selection selection{argument};
    if (*argument != '-') return selection;
    const char* at = argument + 1;
    for (; *at && !isSpace(*at); ++at) {
        if (*at != 'i' && *at != 'm') return Selection{argument};
        (*at == 'i' ? selection.stimuli : selection.matched) = true;
    }
    selection.pattern = skipSpace(at);
    return selection;
}

/// Announces that the set of traced names has changed.
void noteTraced() {
    qkTraceWriter->captureEntry();
    if (runningFromVCD) comparison().noteTraced();
}

void showChanges(QkName* name) {
    qkTraceWriter->setShow(name, true);
    const auto widen = [](int& width, const char* text) {
        width = std::max(width, static_cast<int>(std::strlen(text)));
    };
    widen(qkConsole->showNameWidth, name->name);
    widen(qkConsole->showScopeWidth, name->scope->fullName.str());
}

/// If a comparison is verbose, reports the other names of a name's storage.
void reportSameStorage(const QkName* name) {
    if (!runningFromVCD || comparison().verbosity() < 2) return;
    const FullName asked(name);
    Printout out;
    eachNameOfStorage(name, [&](const QkName* other) {
        out.print("trace: %s is on the storage of %s\n", FullName(other).c_str(), asked.c_str());
        out.endLine();
    });
}

/// Traces the names that the argument selects; with `showRestricted` a selection by options is
/// shown too.
void traceNames(const char* argument, bool showRestricted) {
    QkTraceWriter& writer = *qkTraceWriter;
    if (writer.scopesWritten) {
        printFailure("trace: continuous save in progress, cannot add traces\n");
        return;
    }
    const Selection selection = readSelection(argument);
    if (!*selection.pattern) {
        printFailure("trace: no pattern supplied!\n");
        return;
    }
    if (comparison().verbosity() > 1) say("trace: pattern >%s<\n", selection.pattern);
    bool found = false;
    for (QkName* name : qkDatabase->matching(selection.pattern)) {
        if (name->isHidden() || !selection.takes(name)) continue;
        found = true;
        if (!name->traced) writer.startTracing(name);
        if (!name->traced) continue;
        if (showRestricted && selection.isRestricted()) showChanges(name);
        reportSameStorage(name);
    }
    if (found)
        noteTraced();
    else
        printFailure("trace: no signals match pattern: %s\n", selection.pattern);
}

void showNames(const char* pattern) {
    QkTraceWriter& writer = *qkTraceWriter;
    bool refused = false;
    for (QkName* name : qkDatabase->matching(pattern)) {
        if (name->isHidden()) continue;
        if (!name->traced && writer.scopesWritten) {
            if (!refused) printFailure("show: continuous save in progress, cannot add traces\n");
            refused = true;
            continue;
        }
        if (!name->traced) writer.startTracing(name);
        if (!name->traced) continue;
        showChanges(name);
        reportSameStorage(name);
    }
}

}  // namespace

int traceCommand(const char* argument) {
    traceNames(argument, false);
    return 1;
}

int untraceCommand(const char* argument) {
    bool matched = false, found = false;
    for (QkName* name : qkDatabase->matching(argument)) {
        if (name->isHidden()) continue;
        matched = true;
        if (!name->traced) continue;
        found = true;
        qkTraceWriter->stopTracing(name);
    }
    constexpr const char* kNoneMatches = "untrace: no signals match pattern: %s\n";
    if (found)
        noteTraced();
    else if (matched)
        say(kNoneMatches, argument);  // there was nothing to do
    else
        printFailure(kNoneMatches, argument);
    return 1;
}

int showCommand(const char* argument) {
    lsCommand(argument);
    traceNames(argument, true);
    showNames(argument);
    return 1;
}

int unshowCommand(const char* argument) {
    for (QkName* name : qkDatabase->matching(argument))
        if (!name->isHidden()) qkTraceWriter->setShow(name, false);
    return 1;
}

int savetCommand(const char* argument) {
    const char* const fileName = *argument ? argument : kSavedCommandsFile;
    FILE* const file = mayWrite(fileName) ? std::fopen(fileName, "w") : nullptr;
    if (!file) return printFailure("Failed to open file: %s\n", fileName);
    HistoryRing::each(qkConsole->history, [&](const HistoryEntry* entry) {
        std::fprintf(file, "%s\n", entry->command.str());
    });
    if (closeWritten(file, fileName)) say("Trace history written to: %s\n", fileName);
    return 1;
}

int tracetoCommand(const char* argument) {
    if (!qk_traceto(argument)) noteFailure("no file is opened");
    return 1;
}

int tracecloseCommand(const char*) {
    if (qkTraceWriter->fileIsOpen()) qk_traceclose();
    return 1;
}

int saveCommand(const char* argument) {
    if (!qk_save(argument)) noteFailure("no file is written");
    return 1;
}

int circularCommand(const char* argument) {
    int64_t changes = 1000 * int64_t{qkTraceWriter->maxeventbs};
    if (*argument) changes = std::strtol(argument, nullptr, 10);
    qk_circular(static_cast<int>(std::clamp<int64_t>(changes, INT_MIN, INT_MAX)));
    return 1;
}

// Listing what the model holds: ls, lstofile, wired.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "console/comparison.h"
#include "console/handlers.h"
#include "console/print.h"
#include "console/words.h"
#include "netdb/database.h"
#include "qkzeft_module.h"
#include "qkzeft_run.h"
#include "run/console_text.h"
#include "run/failure.h"
#include "run/life.h"
#include "run/printout.h"
#include "run/written_files.h"

namespace {

/// A set of option letters.
class Letters {
public:
    constexpr Letters() = default;
    constexpr explicit Letters(const char* letters) {
        for (; *letters; ++letters) add(*letters);
    }
    constexpr void add(char letter) { bits |= bitOf(letter); }
    constexpr bool has(char letter) const { return (bits & bitOf(letter)) != 0; }
    constexpr bool hasAnyOf(Letters others) const { return (bits & others.bits) != 0; }

private:
    static constexpr uint32_t bitOf(char letter) {
        return letter >= 'a' && letter <= 'z' ? uint32_t{1} << (letter - 'a') : 0;
    }
    uint32_t bits = 0;
};

constexpr Letters kOptions("cdimnortuv");
constexpr Letters kComparisonOptions("cmno");
constexpr Letters kSelectingOptions("cimnortuv");
constexpr Letters kAllButNotMatched("cdimortuv");
constexpr Letters kCountedOptions("oicmr");

struct Request {
    Letters options;
    std::string pattern;
    int64_t from = kNoIndex, to = kNoIndex;
};

// ---- Reading the command line

/// @return the text after the options, or null when one is wrong
const char* readOptions(const char* text, Letters& options) {
    if (*text == '-') {
        for (++text; *text && !isSpace(*text); ++text) {
            if (!kOptions.has(*text)) {
                printFailure("ls: Unknown option '-%c'\n", *text);
                return nullptr;
            }
            options.add(*text);
        }
        text = skipSpace(text);
    }
    if (!options.hasAnyOf(kSelectingOptions))
        for (const char letter : {'t', 'u', 'v'}) options.add(letter);
    if (options.hasAnyOf(kComparisonOptions) && !runningFromVCD) {
        printFailure("ls: options [cmno] not available, ZEFT Validate not running\n");
        return nullptr;
    }
    if (options.has('n') && options.hasAnyOf(kAllButNotMatched)) {
        printFailure("ls: -n must be given as the only option\n");
        return nullptr;
    }
    return text;
}

/// Splits "pattern[indexes]". The last bracket counts, as scopes may have brackets in their names.
bool readPattern(const char* text, Request& request) {
    request.pattern = *text ? text : "*";
    if (request.pattern.back() != ']') return true;
    const size_t bracket = request.pattern.rfind('[');
    if (bracket == std::string::npos) return true;
    if (parseIndexRange(request.pattern.c_str() + bracket, request.from, request.to) != 0)
        return false;
    size_t end = bracket;
    while (end > 0 && isSpace(request.pattern[end - 1])) --end;
    request.pattern.resize(end);
    return true;
}

// ---- Choosing names

bool isClock(const QkName* name) {
    return isStimulus(name) && (name->trace->flags & QK_flag_clock);
}

bool isRegister(const QkName* name) {
    const QkTrace* last = name->trace;
    for (const QkTrace* const part : name->trace->parts()) last = part;
    return !last->isArray() && (last->flags & QK_flag_register) &&
           !(last->flags & QK_flag_not_compared);
}

bool isWanted(const QkName* name, Letters options) {
    if (name->kind == kVirtualName) return options.has('v');
    if ((options.has('o') && comparison().isOutOfStep(name)) ||
        (options.has('c') && isClock(name)) || (options.has('m') && comparison().isMatched(name)))
        return true;
    return options.has(name->traced ? 't' : 'u') || (options.has('i') && isStimulus(name)) ||
           (options.has('r') && isRegister(name));
}

std::vector<QkName*> chooseNames(const Request& request) {
    std::vector<QkName*> names = qkDatabase->matching(request.pattern.c_str());
    std::erase_if(names, [&](const QkName* name) {
        return name->isHidden() || !isWanted(name, request.options);
    });
    return names;
}

// ---- Printing

void describe(Printout& out, const QkName* name) {
    out.print("%s.%s", name->scope->fullName.str(), name->name);
    const BitRange& range = name->range();
    if (range.isRange) out.print(" [%d:%d]", range.left(), range.right());
    if (name->trace->isArray()) {
        if (!range.isRange) out.add(" [1]");
        out.print(" [%d:%d]", name->trace->arrayLeft(), name->trace->arrayRight());
    }
    out.add('\n');
}

char sourceFlag(const QkName* name) {
    if (isClock(name)) return 'c';
    if (isStimulus(name)) return 'i';
    if (comparison().isMatched(name)) return 'm';
    return name->kind == kVirtualName ? 'v' : ' ';
}

std::string clockNote(const QkName* name) {
    const int changes = isClock(name) ? comparison().changesOf(name) : -1;
    return changes >= 0 ? "(" + std::to_string(changes) + " changes)" : "";
}

void printLines(Printout& out, const std::vector<QkName*>& names, const Request& request) {
    int scopeWidth = 1, nameWidth = 5;
    const auto widen = [](int& width, const char* text) {
        width = std::max(width, static_cast<int>(std::strlen(text)));
    };
    for (const QkName* name : names) {
        widen(scopeWidth, name->scope->fullName.str());
        widen(nameWidth, name->name);
    }
    for (const QkName* name : names) {
        out.print("%*s.%-*s %c%c%c %s: ", scopeWidth, name->scope->fullName.str(), nameWidth,
                  name->name, sourceFlag(name),
                  name->show     ? 's'
                  : name->traced ? 't'
                                 : ' ',
                  isRegister(name) ? 'r' : ' ',
                  request.options.has('c') ? clockNote(name).c_str() : "");
        printName(out, name, request.from, request.to, '\n');
        if (request.options.has('o') && comparison().isOutOfStep(name))
            comparison().printDifference(out, name, scopeWidth + nameWidth + 7);
        out.add('\n');
        out.endLine();
    }
}

/// Prints what was searched. The ready line of the prompt ends the line.
void printNothingFound(Printout& out, Letters options) {
    int names = 0, outOfSync = 0, inputs = 0, clocks = 0, matched = 0, registers = 0;
    NameRing::each(qkDatabase->names, [&](const QkName* name) {
        ++names;
        outOfSync += comparison().isOutOfStep(name);
        inputs += isStimulus(name);
        clocks += isClock(name);
        matched += comparison().isMatched(name);
        registers += isRegister(name);
    });
    out.print("No matching signals (in %d names)\n", names);
    if (!options.hasAnyOf(kCountedOptions)) return;
    out.add("  Searched a total of:");
    const struct {
        char option;
        int count;
        const char* what;
    } searched[] = {{'o', outOfSync, "out-of-sync signals"},
                    {'i', inputs, "inputs"},
                    {'c', clocks, "clocks"},
                    {'m', matched, "matched signals"},
                    {'r', registers, "registers"}};
    const char* comma = "";
    for (const auto& item : searched) {
        if (!options.has(item.option)) continue;
        out.print("%s %d %s", comma, item.count, item.what);
        comma = ",";
    }
}

// ---- wired

void printWired(Printout& out, const QkName* asked) {
    out.print("\nSignals wired to: %s\n", FullName(asked).c_str());
    bool printed = false;
    eachNameOfStorage(asked, [&](const QkName* name) {
        out.print("\t%s%s\n", FullName(name).c_str(),
                  name->trace->invert != asked->trace->invert ? " (inverted)" : "");
        out.endLine();
        printed = true;
    });
    if (!printed) out.add("\n    (none found)\n");
}

/// Sends console text only to a file, for as long as it exists.
class Diversion {
public:
    explicit Diversion(FILE* file) : console(qk_stdout), log(logStream) {
        qk_stdout = file;
        logStream = nullptr;
    }
    ~Diversion() {
        qk_stdout = console;
        logStream = log;
    }
    Diversion(const Diversion&) = delete;
    Diversion& operator=(const Diversion&) = delete;

private:
    FILE* console;
    FILE* log;
};

}  // namespace

int lsCommand(const char* argument) {
    Request request;
    const char* const rest = readOptions(argument, request.options);
    if (rest && request.options.has('n')) {
        comparison().listUnmatched(*rest ? rest : "*");
        return 1;
    }
    if (!rest || !readPattern(rest, request)) return 1;
    const std::vector<QkName*> names = chooseNames(request);
    Printout out;
    if (names.empty()) {
        printNothingFound(out, request.options);
    } else if (request.options.has('d')) {
        for (const QkName* name : names) {
            describe(out, name);
            out.endLine();
        }
    } else {
        printLines(out, names, request);
    }
    return 1;
}

int lstofileCommand(const char* argument) {
    const FirstWord split = firstWord(argument);
    if (split.word.empty()) {
        printFailure("lstofile: No filename specified\n");
        return 1;
    }
    const std::string fileName(split.word);
    FILE* const file = mayWrite(fileName.c_str()) ? std::fopen(fileName.c_str(), "w") : nullptr;
    if (!file) {
        printFailure("lstofile: failed to open file '%s'\n", fileName.c_str());
        return 1;
    }
    {
        const Diversion toFile(file);
        lsCommand(split.rest);
    }
    if (closeWritten(file, fileName.c_str()))
        say("lstofile: written file '%s'\n", fileName.c_str());
    return 1;
}

int wiredCommand(const char* argument) {
    std::vector<QkName*> names = qkDatabase->matching(argument);
    std::erase_if(
        names, [](const QkName* name) { return name->isHidden() || name->kind == kVirtualName; });
    if (names.empty()) {
        printFailure("\nNo matching signals\n");
    } else if (names.size() > 1) {
        printFailure("\nMore than one signal matches\n");
    } else {
        Printout out;
        printWired(out, names.front());
    }
    return 1;
}

#include "console/command.h"

#include <cstring>
#include <string>
#include <utility>

#include "base/dtable.h"
#include "base/qkassert.h"
#include "base/stringbuf.h"
#include "console/comparison.h"
#include "console/console.h"
#include "console/handlers.h"
#include "console/words.h"
#include "netdb/database.h"
#include "qkzeft_console.h"
#include "run/console_text.h"
#include "run/failure.h"
#include "run/printout.h"

namespace {

constexpr const char* kBreakHelp =
    "break       <var name> == <value>  set a break on equal\n"
    "  break       <var name> != <value>  set a break on unequal\n"
    "  break       <var name>             set a break on change\n"
    "  break       <var name> disable     disable a break temporarily\n"
    "  break       <var name> enable      enable a disabled break\n"
    "  break       <var name> delete      delete a break";
constexpr const char* kSetvvHelp =
    "setvv       <myvar name> = element1 [, element2, ...]\n"
    "              create a virtual variable as a catenation of elements\n"
    "  setvv       <myvar name> += element1 [, element2, ...]\n"
    "              catenate more elements to an existing virtual variable\n"
    "  setvv       <myvar name> delete\n"
    "              delete a virtual variable\n"
    "              element is part of register : <var name>[<msb>:<lsb>]\n"
    "                      or idle bits        : <width>(<pattern>)";
constexpr const char* kSetHelp =
    "set         <var name> = <value>         set value to var\n"
    "  set         <var name>[index] = <value>  set value to var[index]";

// clang-format off
constinit QkCommand builtIns[] = {
    {10, "help", kFreeText, kListed, kAlways, "help                            this message", helpCommand},
    {20, "ls", kSignalPattern, kListed, kAlways, "ls          [-u|-t] [<pattern>] list [untraced|traced] signals", lsCommand},
    {30, "ls", kSignalPattern, kFurther, kAlways, "ls -d       [<pattern>]         describe nets, don't show values", lsCommand},
    {40, "ls", kNumberOrTime, kFurther, kValidateOnly, "ls -r       [<pattern>]         list clocked registers", lsCommand},
    {50, "lstofile", kSignalPattern, kListed, kAlways, "lstofile    <file> <ls options> \"ls\", writing output to a file", lstofileCommand},
    {60, "print", kSignalPattern, kListed, kAlways, "print                           an alias for 'ls'", lsCommand},
    {70, "c", kNumberOrTime, kFurther, kAlways, nullptr, continueCommand},
    {80, "cont", kNumberOrTime, kFurther, kAlways, nullptr, continueCommand},
    {90, "continue", kNumberOrTime, kListed, kAlways, "continue    [<t>]               continue [until time t]", continueCommand},
    {100, "step", kNumberOrTime, kListed, kAlways, "step        [<t>]               single step [or step for time t]", stepCommand},
    {110, "s", kNumberOrTime, kFurther, kAlways, nullptr, stepCommand},
    {120, "exit", kFreeText, kListed, kAlways, "exit                            exit program", exitCommand},
    {130, "quit", kFreeText, kListed, kAlways, nullptr, exitCommand},
    {140, "q", kFreeText, kFurther, kAlways, nullptr, exitCommand},
    {150, "trace", kSignalPattern, kListed, kAlways, "trace       <pattern>           set trace on signal(s)", traceCommand},
    {160, "untrace", kSignalPattern, kListed, kAlways, "untrace     <pattern>           unset trace on signal(s)", untraceCommand},
    {170, "traceto", kFileName, kListed, kAlways, "traceto     <filename>          set VCD trace output file", tracetoCommand},
    {180, "traceclose", kFreeText, kListed, kAlways, "traceclose                      close VCD trace output file", tracecloseCommand},
    {190, "save", kFileName, kListed, kAlways, "save        [<filename>]        save VCD file", saveCommand},
    {200, "circular", kNumberOrTime, kListed, kAlways, "circular    [n|0]               enable/disable VCD circular buffering", circularCommand},
    {230, "savet", kFileName, kListed, kAlways, "savet       <filename>          save trace list", savetCommand},
    {240, "loadt", kFileName, kListed, kAlways, "loadt       <filename>          load trace list", loadtCommand},
    {250, "log", kFileName, kListed, kAlways, kLogHelp, logCommand},
    {260, "log", kFileName, kListed, kAlways, "log         [close]             close the console file, or give its name", logCommand},
    {270, "readmemb", kSignalPattern, kListed, kAlways, "readmemb    <array> <file>      read named array content", readmembCommand},
    {280, "readmemh", kFreeText, kListed, kAlways, "readmemh    <array> <file>      read named array content", readmemhCommand},
    {290, "writememh", kSignalPattern, kListed, kAlways, "writememh   <array> <file>      write named array content", writememhCommand},
    {300, "show", kSignalPattern, kListed, kAlways, "show        <pattern>           show when this traced value(s) changes", showCommand},
    {310, "unshow", kSignalPattern, kListed, kAlways, "unshow      <pattern>           turn off show", unshowCommand},
    {320, "clearsim", kNumberOrTime, kListed, kAlways, "#clearsim     [<n>]             set all simulation state to n (default=0)", clearsimCommand},
    {350, "wired", kSignalPattern, kListed, kAlways, "wired       <signal name>       list signals wired to signal name", wiredCommand},
    {360, "signature", kFreeText, kListed, kAlways, nullptr, signatureCommand},
    {375, "coverage", kSignalPattern, kFurther, kAlways, nullptr, coverageCommand},
    {380, "cli", kFreeText, kFurther, kAlways, nullptr, cliCommand},
    {390, "break", kFreeText, kFurther, kAlways, kBreakHelp, breakCommand},
    {400, "setvv", kFreeText, kFurther, kAlways, kSetvvHelp, setvvCommand},
    {410, "set", kFreeText, kFurther, kAlways, kSetHelp, setCommand},
    {500, "ls", kNumberOrTime, kFurther, kValidateOnly, "ls -i       [<pattern>]      list inputs driven by the trace file", lsCommand},
    {510, "ls", kNumberOrTime, kFurther, kValidateOnly, "ls -m       [<pattern>]      list signals that are matched", lsCommand},
    {520, "ls", kNumberOrTime, kFurther, kValidateOnly, "ls -n       [<pattern>]      list signals that are not matched", lsCommand},
    {530, "ls", kNumberOrTime, kFurther, kValidateOnly, "ls -o       [<pattern>]      list signals currently out of step", lsCommand},
    {540, "ls", kNumberOrTime, kFurther, kValidateOnly, "ls -c       [<pattern>]      list signals marked as clocks", lsCommand},
    {610, "cli", kFreeText, kFurther, kValidateOnly, nullptr, cliCommand},
};
// clang-format on

QkCommand* firstCommand = nullptr;
ComparisonAnswers registered{};

/// @return a copy of `argument` that lives as long as the process, as the handlers of registered
///         commands may keep pointers into their argument; equal ones share a copy
const char* keepForGood(const char* argument) {
    static Dtable* kept = nullptr;  // each text is its own key
    const int32_t hash = hashName(argument);
    if (void* const known = Dtable_get(kept, hash, argument, Dtable_compareStrings))
        return static_cast<const char*>(known);
    char* const text = duplicate(argument, "command");
    void *key = text, *value = text;
    Dtable_put(&kept, hash, &key, &value, Dtable_compareStrings);
    return text;
}

}  // namespace

void addBuiltIns(std::span<QkCommand> rows) {
    QkCommand** at = &firstCommand;
    for (QkCommand& row : rows) {
        while (*at && (*at)->place < row.place) at = &(*at)->next;
        row.next = std::exchange(*at, &row);
    }
}

void addConsoleCommands() { addBuiltIns(builtIns); }

const QkCommand* findCommand(std::string_view word) {
    for (const QkCommand* row = firstCommand; row; row = row->next)
        if (row->command == word) return row;
    return nullptr;
}

void registerComparison(const ComparisonAnswers& answers) { registered = answers; }

const ComparisonAnswers& comparison() { return registered; }

void (*qk_command_failed)(const char* file, int line, const char* command, const char* reason);

int runCommandLine(const char* line, std::string& reason) {
    QK_ASSERT_AS(qkDatabase != nullptr, "qkLiveModel != NULL");
    std::string text(line ? line : "");
    const char* const stripped = stripLine(text.data());
    completeRegistration(true);
    const FirstWord split = firstWord(stripped);
    const QkCommand* const command = findCommand(split.word);
    int result = 0;
    {
        FailureWatch watch;
        if (command)
            result = command->handler(command->registered ? keepForGood(split.rest) : split.rest);
        reason = watch.reason;
    }
    if (result == 0 && reason.empty()) reason = std::string("Command ") + notRecognised(stripped);
    return result;
}

void reportFailedCommand(const char* script, int lineNumber, const char* line,
                         const std::string& reason) {
    if (!qk_command_failed || reason.empty()) return;
    const std::string word(firstWord(skipSpace(line)).word);
    qk_command_failed(script, lineNumber, word.c_str(), reason.c_str());
}

int qk_cli(const char* line) {
    std::string reason;
    const int result = runCommandLine(line, reason);
    reportFailedCommand(nullptr, 0, line ? line : "", reason);
    return result;
}

QkCommand* qk_register_cmd(const char* name, const char* help, int kind, CommandHandler handler) {
    QkCommand* const previous = firstCommand;
    if (!QK_CHECK(name && handler)) return previous;
    // The list owns it forever.
    firstCommand = new QkCommand{0,       duplicate(name, "command"),
                                 kind,    kListed,
                                 kAlways, help ? duplicate(help, "command") : nullptr,
                                 handler, true,
                                 previous};
    return previous;
}

int helpCommand(const char*) {
    Printout out;
    const bool isValidating = currentPrompt == kValidatePrompt;
    for (const QkCommand* row = firstCommand; row; row = row->next) {
        if ((row->validateOnly && !isValidating) || !row->helptext || row->helptext[0] == '#')
            continue;
        out.print("  %s\n", row->helptext);
    }
    return 1;
}

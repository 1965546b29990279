#include "console/command.h"

#include <cstring>
#include <iterator>
#include <string>
#include <unordered_set>

#include "base/qkassert.h"
#include "base/stringbuf.h"
#include "console/console.h"
#include "console/handlers.h"
#include "console/words.h"
#include "netdb/database.h"
#include "qkzeft_console.h"
#include "run/console_text.h"
#include "run/failure.h"
#include "run/printout.h"

namespace {

constexpr bool kListed = true, kFurther = false;
constexpr bool kAlways = false, kValidateOnly = true;

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
    {"help", kFreeText, kListed, kAlways, "help                            this message", helpCommand},
    {"ls", kSignalPattern, kListed, kAlways, "ls          [-u|-t] [<pattern>] list [untraced|traced] signals", lsCommand},
    {"ls", kSignalPattern, kFurther, kAlways, "ls -d       [<pattern>]         describe nets, don't show values", lsCommand},
    {"ls", kNumberOrTime, kFurther, kValidateOnly, "ls -r       [<pattern>]         list clocked registers", lsCommand},
    {"lstofile", kSignalPattern, kListed, kAlways, "lstofile    <file> <ls options> \"ls\", writing output to a file", lstofileCommand},
    {"print", kSignalPattern, kListed, kAlways, "print                           an alias for 'ls'", lsCommand},
    {"c", kNumberOrTime, kFurther, kAlways, nullptr, continueCommand},
    {"cont", kNumberOrTime, kFurther, kAlways, nullptr, continueCommand},
    {"continue", kNumberOrTime, kListed, kAlways, "continue    [<t>]               continue [until time t]", continueCommand},
    {"step", kNumberOrTime, kListed, kAlways, "step        [<t>]               single step [or step for time t]", stepCommand},
    {"s", kNumberOrTime, kFurther, kAlways, nullptr, stepCommand},
    {"exit", kFreeText, kListed, kAlways, "exit                            exit program", exitCommand},
    {"quit", kFreeText, kListed, kAlways, nullptr, exitCommand},
    {"q", kFreeText, kFurther, kAlways, nullptr, exitCommand},
    {"trace", kSignalPattern, kListed, kAlways, "trace       <pattern>           set trace on signal(s)", traceCommand},
    {"untrace", kSignalPattern, kListed, kAlways, "untrace     <pattern>           unset trace on signal(s)", untraceCommand},
    {"traceto", kFileName, kListed, kAlways, "traceto     <filename>          set VCD trace output file", tracetoCommand},
    {"traceclose", kFreeText, kListed, kAlways, "traceclose                      close VCD trace output file", tracecloseCommand},
    {"save", kFileName, kListed, kAlways, "save        [<filename>]        save VCD file", saveCommand},
    {"circular", kNumberOrTime, kListed, kAlways, "circular    [n|0]               enable/disable VCD circular buffering", circularCommand},
    {"savesim", kFileName, kListed, kAlways, "savesim     <filename-prefix>   save simulation state", savesimCommand},
    {"loadsim", kFreeText, kListed, kAlways, "loadsim     <filename-prefix>   load simulation state", loadsimCommand},
    {"savet", kFileName, kListed, kAlways, "savet       <filename>          save trace list", savetCommand},
    {"loadt", kFileName, kListed, kAlways, "loadt       <filename>          load trace list", loadtCommand},
    {"log", kFileName, kListed, kAlways, kLogHelp, logCommand},
    {"log", kFileName, kListed, kAlways, "log         [close]             close the console file, or give its name", logCommand},
    {"readmemb", kSignalPattern, kListed, kAlways, "readmemb    <array> <file>      read named array content", readmembCommand},
    {"readmemh", kFreeText, kListed, kAlways, "readmemh    <array> <file>      read named array content", readmemhCommand},
    {"writememh", kSignalPattern, kListed, kAlways, "writememh   <array> <file>      write named array content", writememhCommand},
    {"show", kSignalPattern, kListed, kAlways, "show        <pattern>           show when this traced value(s) changes", showCommand},
    {"unshow", kSignalPattern, kListed, kAlways, "unshow      <pattern>           turn off show", unshowCommand},
    {"clearsim", kNumberOrTime, kListed, kAlways, "#clearsim     [<n>]             set all simulation state to n (default=0)", clearsimCommand},
    {"mtc", kFileName, kFurther, kAlways, "#mtc         <filename>          run Model/Trace Compare", validateCommand},
    {"validate", kFileName, kFurther, kAlways, "validate    [<filename>]        run ZEFT Validate", validateCommand},
    {"wired", kSignalPattern, kListed, kAlways, "wired       <signal name>       list signals wired to signal name", wiredCommand},
    {"signature", kFreeText, kListed, kAlways, nullptr, signatureCommand},
    {"time_execution", kNumberOrTime, kFurther, kAlways, nullptr, timeExecutionCommand},
    {"cli", kFreeText, kFurther, kAlways, nullptr, cliCommand},
    {"break", kFreeText, kFurther, kAlways, kBreakHelp, breakCommand},
    {"setvv", kFreeText, kFurther, kAlways, kSetvvHelp, setvvCommand},
    {"set", kFreeText, kFurther, kAlways, kSetHelp, setCommand},
    {"open", kFileName, kListed, kValidateOnly, "open        <vcd file>       open a trace file for comparision", openCommand},
    {"clock", kSignalPattern, kListed, kValidateOnly, "clock       <net> [<ON/off>] name a stimulus as a clock input", clockCommand},
    {"synctime", kNumberOrTime, kListed, kValidateOnly, "synctime    <time>           set time allowed between Model and Trace changes", synctimeCommand},
    {"map", kSignalPattern, kListed, kValidateOnly, "map         <model>=<trace>  map a scope in the trace to one in the model", mapCommand},
    {"close", kFreeText, kListed, kValidateOnly, "close                        close the trace file", closeCommand},
    {"restart", kFreeText, kFurther, kValidateOnly, nullptr, restartCommand},
    {"monitor", kFreeText, kListed, kValidateOnly, "monitor     [-a|-t]          monitor all (default) or only traced signals", monitorCommand},
    {"threshold", kNumberOrTime, kListed, kValidateOnly, "threshold   [<n>]            set or report the error threshold", thresholdCommand},
    {"ls", kNumberOrTime, kFurther, kValidateOnly, "ls -i       [<pattern>]      list inputs driven by the trace file", lsCommand},
    {"ls", kNumberOrTime, kFurther, kValidateOnly, "ls -m       [<pattern>]      list signals that are matched", lsCommand},
    {"ls", kNumberOrTime, kFurther, kValidateOnly, "ls -n       [<pattern>]      list signals that are not matched", lsCommand},
    {"ls", kNumberOrTime, kFurther, kValidateOnly, "ls -o       [<pattern>]      list signals currently out of step", lsCommand},
    {"ls", kNumberOrTime, kFurther, kValidateOnly, "ls -c       [<pattern>]      list signals marked as clocks", lsCommand},
    {"verbose", kNumberOrTime, kListed, kValidateOnly, "verbose     [on|off]         set the verbosity", verboseCommand},
    {"summarise", kFreeText, kListed, kValidateOnly, "summarise                    report progress on the comparison", summariseCommand},
    {"summarize", kFreeText, kFurther, kValidateOnly, nullptr, summariseCommand},
    {"summary", kFreeText, kFurther, kValidateOnly, nullptr, summariseCommand},
    {"stimulus", kSignalPattern, kListed, kValidateOnly, "stimulus    <model>=<trace>  use <trace> to drive <model>", stimulusCommand},
    {"ignore", kSignalPattern, kListed, kValidateOnly, "ignore      <pattern>        do not compare signals matching pattern", ignoreCommand},
    {"cli", kFreeText, kFurther, kValidateOnly, nullptr, cliCommand},
    {"steponclock", kNumberOrTime, kFurther, kValidateOnly, nullptr, steponclockCommand},
    {"verbosestep", kNumberOrTime, kFurther, kValidateOnly, "verbosestep [on|off]         verbose stepping", verbosestepCommand},
    {"clockfirst", kNumberOrTime, kListed, kValidateOnly, "clockfirst  [on|off]         apply clocks before the other inputs of a time step", clockfirstCommand},
    {"early", kSignalPattern, kListed, kValidateOnly, "early       <net> [<ON/off>] name an input to be applied before the clocks", earlyCommand},
};
// clang-format on

QkCommand* linkBuiltIns() {
    QkCommand* following = nullptr;
    for (auto row = std::rbegin(builtIns); row != std::rend(builtIns); ++row) {
        row->next = following;
        following = &*row;
    }
    return following;
}

/// Linked at the first use, which may be in the construction of a static object of the model.
QkCommand*& commandList() {
    static QkCommand* head = linkBuiltIns();
    return head;
}

/// @return a copy of `argument` that lives as long as the process, as the handlers of registered
///         commands may keep pointers into their argument; equal ones share a copy
const char* keepForGood(const char* argument) {
    static auto* const kept = new std::unordered_set<std::string>;
    return kept->emplace(argument).first->c_str();
}

}  // namespace

const QkCommand* findCommand(std::string_view word) {
    for (const QkCommand* row = commandList(); row; row = row->next)
        if (row->command == word) return row;
    return nullptr;
}

void (*qk_command_failed)(const char* file, int line, const char* command, const char* reason);

int runCommandLine(const char* line, std::string& reason) {
    QK_ASSERT_AS(qkDatabase != nullptr, "qkLiveModel != NULL");
    std::string text(line ? line : "");
    const char* const stripped = stripLine(text.data());
    completeRegistration(true, 0);
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
    QkCommand* const previous = commandList();
    QK_ASSERT(name && handler);
    if (!name || !handler) return previous;
    // The list owns it for good.
    commandList() = new QkCommand{duplicate(name, "command"),
                                  kind,
                                  kListed,
                                  kAlways,
                                  help ? duplicate(help, "command") : nullptr,
                                  handler,
                                  true,
                                  previous};
    return previous;
}

int helpCommand(const char*) {
    Printout out;
    const bool isValidating = currentPrompt == kValidatePrompt;
    for (const QkCommand* row = commandList(); row; row = row->next) {
        if ((row->validateOnly && !isValidating) || !row->helptext || row->helptext[0] == '#')
            continue;
        out.print("  %s\n", row->helptext);
    }
    return 1;
}

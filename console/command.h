// The command table.
//
// One list: the registered commands, newest first, then the built-in rows in the order of help,
// which is that of their numbers, as folders above add rows, too. Look-up takes the first row of a
// name, so a registered command shadows a built-in one, and rows that only have another line of
// help may follow the row that runs.
#pragma once

#include <span>
#include <string>
#include <string_view>

using CommandHandler = int (*)(const char* argument);

/// What a command's argument is.
enum ArgumentKind { kFreeText = 0, kFileName = 1, kSignalPattern = 2, kNumberOrTime = 3 };

inline constexpr bool kListed = true, kFurther = false;       ///< QkCommand::listed
inline constexpr bool kAlways = false, kValidateOnly = true;  ///< QkCommand::validateOnly

struct QkCommand {
    int place;                 ///< position of a built-in row, different for each
    std::string_view command;  ///< static text, or owned by the list for a registered command
    int argumentKind;
    bool listed;           ///< a command of its own, not another form of one
    bool validateOnly;     ///< help shows the row only while a comparison runs
    const char* helptext;  ///< null for none; not shown when it begins with '#'
    CommandHandler handler;
    bool registered = false;
    QkCommand* next = nullptr;
};

/// Adds built-in rows, which must exist for the whole process. Called before the constructors of a
/// model's static objects, which may register commands.
/// @param rows  by ascending place
void addBuiltIns(std::span<QkCommand> rows);
/// Adds those of this folder.
void addConsoleCommands();

/// Runs a command line as qk_cli() does, without calling qk_command_failed.
/// @param reason  receives why the command failed, one line; empty if it did not
int runCommandLine(const char* line, std::string& reason);

/// Calls qk_command_failed, if it is set and there is a reason.
/// @param script  null for a command outside scripts
void reportFailedCommand(const char* script, int lineNumber, const char* line,
                         const std::string& reason);

/// @return the row that runs `word`, compared exactly, or null
const QkCommand* findCommand(std::string_view word);

/// Help line of `log`, which the command shows as its usage too.
inline constexpr const char* kLogHelp =
    "log         [+] <file>          copy console output to a file";

// The log command.
#include <string>

#include "base/qkassert.h"
#include "console/command.h"
#include "console/handlers.h"
#include "qkzeft_run.h"
#include "run/console_text.h"
#include "run/failure.h"
#include "run/printout.h"

namespace {

/// Removes the next word from `text`; blanks and tabs separate words.
std::string takeWord(std::string& text) {
    text.erase(0, text.find_first_not_of(" \t"));
    std::string word = text.substr(0, text.find_first_of(" \t"));
    text.erase(0, word.size());
    return word;
}

}  // namespace

int logCommand(const char* argument) {
    QK_ASSERT_AS(argument != nullptr, "arg != NULL");
    std::string words(argument);
    const std::string first = takeWord(words);
    if (first.empty()) {
        if (logStream && logFileName())
            say("ZEFT: console log file is: \"%s\"\n", logFileName());
        else
            qk_printf("ZEFT: console log file is not open\n");
    } else if (first == "close") {
        qk_logfile_close();
    } else if (first != "+") {
        qk_logfile_open(first.c_str(), 0);
    } else if (const std::string file = takeWord(words); !file.empty()) {
        qk_logfile_open(file.c_str(), 1);
    } else {
        printFailure("ZEFT: log: no filename supplied\n");
        qk_printf("ZEFT: log: Usage: %s\n", kLogHelp);
    }
    return 1;
}

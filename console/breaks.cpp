// break: stops the run when a net changes, or reaches or leaves a value.
#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>

#include "base/literals.h"
#include "console/console.h"
#include "console/handlers.h"
#include "console/user_handle.h"
#include "console/words.h"
#include "handles/handles.h"
#include "netdb/database.h"
#include "qkzeft_run.h"
#include "run/failure.h"
#include "run/printout.h"

namespace {

struct BreakRequest {
    std::string word;  ///< a name, or the number of a breakpoint
    std::string op;
    const char* rest;
    bool isNumber = false;
    unsigned number = 0;
};

BreakRequest readRequest(const char* text) {
    BreakRequest request{};
    request.word = takeWord(text, "=!");
    text = skipSpace(text);
    const bool isComparison = std::strncmp(text, "==", 2) == 0 || std::strncmp(text, "!=", 2) == 0;
    request.op = isComparison ? std::string(text, 2) : takeWord(text);
    if (isComparison) text += 2;
    request.rest = skipSpace(text);
    request.isNumber = isDigit(request.word[0]);
    return request;
}

/// Reads the word as a breakpoint's number. @return whether all of it is one
bool readNumber(BreakRequest& request) {
    if (request.word.find_first_not_of("0123456789") != std::string::npos) return false;
    const unsigned long long value = std::strtoull(request.word.c_str(), nullptr, 10);
    if (value > UINT_MAX) return false;
    request.number = static_cast<unsigned>(value);
    return true;
}

/// Prints why a breakpoint could not be set.
void sayError(int code, const BreakRequest& request, const UserHandle& handle) {
    const char* const operand = request.rest;
    const char* const fullName = handle ? handle->GetFullname() : request.word.c_str();
    switch (code) {
        case kOutOfRange:
            printFailure("Invalid range: %s exceeds bit range of %s\n", operand, fullName);
            return;
        case kBadConstant: printFailure("Invalid constant: %s\n", operand); return;
        case kNoSuchNet:
            printFailure("Invalid net name: %s matches none or more than one nets\n",
                         request.word.c_str());
            return;
        case kBadOperator: printFailure("Invalid operator: %s\n", request.op.c_str()); return;
        case kRedundantOption:
            printFailure("Invalid option: %s is redundant for %s\n", operand, request.op.c_str());
            return;
        case kNoBreak: printFailure("No breakpoint on %s\n", fullName); return;
        case kNoBreakNumber: printFailure("No breakpoint number %u\n", request.number); return;
        case kBadBreakNumber:
            printFailure("Invalid breakpoint number: %s\n", request.word.c_str());
            return;
        case kSaveInProgress:
            printFailure("continuous save in progress, cannot add/delete break\n");
            return;
        case kNameGone: printFailure("cannot find the variable in the model\n"); return;
        default: printFailure("Break operation failed unexpectedly\n");
    }
}

void listBreaks() {
    const auto& brks = qkHandles->brks;
    if (brks.empty()) say("No breakpoints.\n");
    Printout out;
    for (const auto& brk : brks) {
        const char* const name = brk->var_name.c_str();
        out.print("breakpoint %2u: %s, %s", brk->number, brk->enabled ? " enabled" : "disabled",
                  name);
        if (brk->event != QkVariable::BreakOnChange)
            out.print(" %s %s", brk->event == QkVariable::BreakOnEqual ? "==" : "!=",
                      listText(brk->value.get()).c_str());
        if (!brk->variable) out.print(", %s deleted", name);
        out.add('\n');
        out.endLine();
    }
}

/// Makes the run stop at the time of the change.
void stopHere(QkVariable*) { stopTime = qk_cycle; }

int addBreak(const BreakRequest& request, const UserHandle& handle) {
    auto event = QkVariable::BreakOnChange;
    OwnedList value;
    if (!request.op.empty()) {
        event = request.op == "==" ? QkVariable::BreakOnEqual : QkVariable::BreakOnNotEqual;
        QkMaxuList* list = nullptr;
        if (!parseValue(request.rest, list)) return kBadConstant;
        value.reset(list);
    }
    // The number of a breakpoint is not the name of a net, so this refuses it.
    const int code = qkHandles->addBreak(handle.get(), stopHere, event, value.get());
    if (code) return code;
    const unsigned number = qkHandles->brks.back()->number;
    if (event == QkVariable::BreakOnChange)
        say("breakpoint %u: %s\n", number, handle->GetFullname());
    else
        say("breakpoint %u: %s %s %s\n", number, handle->GetFullname(), request.op.c_str(),
            listText(value.get()).c_str());
    return 0;
}

int changeBreaks(const BreakRequest& request, const UserHandle& handle) {
    if (*request.rest) return kRedundantOption;
    QkHandleTable& table = *qkHandles;
    const bool deletes = request.op == "delete", on = request.op == "enable";
    int code;
    if (request.isNumber)
        code = deletes ? table.deleteBreak(request.number) : table.enableBreak(request.number, on);
    else
        code = deletes ? handle->UnregisterBreak()
                       : (on ? handle->EnableBreak() : handle->DisableBreak());
    if (code) return code;
    const char* const done = deletes ? "deleted" : on ? "enabled" : "disabled";
    if (request.isNumber)
        say("breakpoint %u %s\n", request.number, done);
    else
        say("breakpoints on %s %s\n", handle->GetFullname(), done);
    return 0;
}

}  // namespace

int breakCommand(const char* argument) {
    BreakRequest request = readRequest(argument);
    if (request.word.empty()) {
        listBreaks();
        return 1;
    }
    const UserHandle handle(request.isNumber ? nullptr : request.word.c_str());
    const std::string& op = request.op;
    int code;
    if (request.isNumber && !readNumber(request))
        code = kBadBreakNumber;
    else if (!request.isNumber && !handle)
        code = kNoSuchNet;
    else if (op.empty() || op == "==" || op == "!=")
        code = addBreak(request, handle);
    else if (op == "enable" || op == "disable" || op == "delete")
        code = changeBreaks(request, handle);
    else
        code = kBadOperator;
    if (code) sayError(code, request, handle);
    return 1;
}

#include "run/failure.h"

#include <cstdarg>

#include "base/formatted.h"
#include "qkzeft_run.h"

namespace {

FailureWatch* innermost = nullptr;

}  // namespace

FailureWatch::FailureWatch() : outer(innermost) { innermost = this; }

FailureWatch::~FailureWatch() { innermost = outer; }

void noteFailure(std::string_view message) {
    if (!innermost || !innermost->reason.empty()) return;
    while (message.starts_with('\n')) message.remove_prefix(1);
    innermost->reason = message.substr(0, message.find('\n'));
}

int printFailure(const char* format, ...) {
    std::string message;
    va_list arguments;
    va_start(arguments, format);
    appendFormatted(message, format, arguments);
    va_end(arguments);
    noteFailure(message);
    if (qk_prints) qk_prints(message.c_str());
    return 1;
}

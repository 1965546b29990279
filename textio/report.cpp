// The report and assert statements.
#include <algorithm>
#include <iterator>
#include <string_view>

#include "qkzeft_run.h"
#include "qkzeft_textio.h"
#include "systasks/format.h"
#include "textio/arguments.h"

namespace {

constexpr const char* kSeverityNames[] = {"note", "warning", "error", "failure"};
constexpr int kSeverities = std::size(kSeverityNames), kFailure = 3;
constexpr size_t kLongestPiece = 32768;  ///< of text printed at once

uint64_t counts[kSeverities];
int stopSeverity = kFailure;

/// Adds the caller's place, unless that has no name.
void addPlace(Line& line, const TaskCall& call) {
    Line place;
    printLocation(place, call);
    std::string_view name = place.finish("");
    if (!name.empty() && name.back() == '.') name.remove_suffix(1);
    if (name.empty()) return;
    line.add(" in ");
    line.add(name);
}

void print(std::string_view text) {
    for (; !text.empty(); text.remove_prefix(std::min(text.size(), kLongestPiece)))
        qk_printf("%.*s", static_cast<int>(std::min(text.size(), kLongestPiece)), text.data());
}

void say(const TaskCall& call, const char* kind, int severity, const char* message) {
    ++counts[severity];
    {
        Line line;
        for (const char* piece :
             {"ZEFT: ", kind, " ", kSeverityNames[severity], " at ", qk_cycle_as_string()})
            line.add(std::string_view(piece));
        addPlace(line, call);
        line.add(": ");
        line.add(std::string_view(message));
        print(line.finish("\n"));
    }
    if (severity >= stopSeverity) endRun(1);
}

void report(TaskCall& call) {
    Arguments arguments(call, 2, 2);
    const int severity = arguments.code("severity", kFailure, 0);
    const TextArgument message = arguments.text();
    if (!arguments.failed()) say(call, "report", severity, message.text);
}

void assertionFailed(TaskCall& call) {
    Arguments arguments(call, 1, 2);
    const int severity = arguments.code("severity", kFailure, 0);
    const TextArgument message =
        arguments.hasMore() ? arguments.text() : TextArgument{"Assertion violation.", nullptr};
    if (!arguments.failed()) say(call, "assertion", severity, message.text);
}

}  // namespace

QK_DEFINE_TEXTIO(report, "report", report)
QK_DEFINE_TEXTIO(assert, "assert", assertionFailed)

uint64_t qksysvhdl_severity_count(int severity) {
    return severity >= 0 && severity < kSeverities ? counts[severity] : 0;
}

int qksysvhdl_stop_severity(int severity) {
    const int before = stopSeverity;
    if (severity >= 0 && severity <= kSeverities) stopSeverity = severity;
    return before;
}

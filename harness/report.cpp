// A report exists from the start of a run, so that there is one even for a run that was killed.
#include "harness/report.h"

#include <qkzeft.h>

#include <vector>

namespace zeft_harness {

namespace {

struct RunReport {
    std::string path;  ///< empty: none is requested
    std::string trace, model;
    std::vector<std::string> command;
    std::string verdict;
    std::string failure;  ///< the first complaint
    std::vector<std::string> messages;
};
RunReport report;

std::vector<const char*> pointersTo(const std::vector<std::string>& texts) {
    std::vector<const char*> pointers;
    pointers.reserve(texts.size());
    for (const std::string& text : texts) pointers.push_back(text.c_str());
    return pointers;
}

/// @return false with a message
bool write(int status, const std::string& reason) {
    const std::vector<const char*> command = pointersTo(report.command);
    const std::vector<const char*> messages = pointersTo(report.messages);
    qk_mtc_run run;
    run.model = report.model.c_str();
    run.trace = report.trace.c_str();
    run.command = command.data();
    run.command_count = static_cast<int>(command.size());
    run.status = status;
    run.reason = reason.c_str();
    run.messages = messages.data();
    run.message_count = static_cast<int>(messages.size());
    if (qk_mtc_report_run(report.path.c_str(), &run)) return true;
    complain("%s: cannot be written", report.path.c_str());
    return false;
}

}  // namespace

void setVerdict(const std::string& text) { report.verdict = text; }

void noteMessage(const std::string& line, bool isReason) {
    report.messages.push_back(line);
    if (isReason && report.failure.empty()) report.failure = line;
}

bool writeFirstReport(const zeft_model& model, int argc, char** argv, const Options& options) {
    report.path = options.report;
    report.model = model.name;
    report.trace = options.reference;
    report.command.assign(argv, argv + argc);
    return report.path.empty() ||
           write(kCouldNotRun, "the run has not ended: it goes on, crashed or was killed");
}

bool writeReport(int status) {
    if (report.path.empty()) return true;
    if (status == kAgrees || status == kDiffers) return write(status, report.verdict);
    if (report.failure.empty()) report.failure = "ended with status " + std::to_string(status);
    return write(status, report.failure);
}

}  // namespace zeft_harness

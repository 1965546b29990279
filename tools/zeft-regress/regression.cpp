#include "regression.h"

#include <unistd.h>

#include <cstdio>
#include <ctime>

#include "files.h"
#include "runner.h"

namespace regress {

namespace {

/// @return whether the latest run of exactly this command ended with a valid result
bool isDone(const Folder& folder, const std::vector<std::string>& command) {
    const auto result = folder.result();
    if (!result || result->status == kFailed || folder.command() != command) return false;
    try {
        const Report report(folder.file("report.json"));
        return report.status == result->status;
    } catch (const Failure&) {
        return false;
    }
}

}  // namespace

Regression::Regression(const Options& theOptions)
    : options(theOptions), entries(readList(options.list)) {
    for (Entry& entry : entries) {
        const std::string path = options.results + "/" + entry.name;
        entry.command = completeCommand(entry.command, path, options.last);
        if (options.resume && isDone(folder(entry.name), entry.command)) continue;
        folder(entry.name).prepare(entry);
        pending.push_back(entry.name);
    }
}

std::vector<std::string> Regression::unfinished() const {
    std::vector<std::string> names;
    for (const std::string& name : pending)
        if (!folder(name).hasResult()) names.push_back(name);
    return names;
}

void Regression::giveUp(const std::string& name, const std::string& reason) const {
    folder(name).write({kFailed, reason, 0});
}

Progress::Progress(size_t theTotal)
    : total(theTotal), isShown(isatty(STDERR_FILENO) != 0), begin(std::time(nullptr)) {}

Progress::~Progress() {
    if (isShown) std::fputs("\r\033[K", stderr);
}

void Progress::show(size_t done, size_t failed) {
    if (!isShown) return;
    const long long seconds = std::time(nullptr) - begin;
    std::fprintf(stderr, "\r%zu done, %zu failed, %zu left, %02lld:%02lld:%02lld\033[K", done,
                 failed, total - done, seconds / 3600, seconds / 60 % 60, seconds % 60);
}

}  // namespace regress

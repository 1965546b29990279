#include "runner.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <ctime>

#include "files.h"
#include "process.h"

namespace regress {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kSecondsToEnd = 15;  // that a model has after SIGTERM

/// A running model, and how it is ended.
class Model {
public:
    Model(pid_t theChild, int timeout) : child(theChild), secondsLeft(timeout) {}
    /// @return the status from waitpid()
    int wait();
    bool isTimedOut = false;
    int endSignal = 0;  ///< that this program received meanwhile

private:
    void endBy(int signal, int secondsMore);

    const pid_t child;
    int secondsLeft;  ///< until the next signal is sent to it; 0: no limit
    int sent = 0;     ///< the signal sent last
};

void Model::endBy(int signal, int secondsMore) {
    kill(child, signal);
    sent = signal;
    secondsLeft = secondsMore;
}

/// SIGCHLD and the signals that end this program are blocked: each wait accepts one.
int Model::wait() {
    sigset_t awaited;
    sigemptyset(&awaited);
    for (const int number : {SIGCHLD, SIGINT, SIGTERM, SIGHUP}) sigaddset(&awaited, number);
    Clock::time_point begin = Clock::now();
    for (;;) {
        int status = 0;
        const pid_t ended = waitpid(child, &status, WNOHANG);
        if (ended == child) return status;
        const auto spent =
            std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - begin).count();
        if (secondsLeft != 0 && spent >= secondsLeft) {
            isTimedOut |= sent == 0;
            begin = Clock::now();
            endBy(sent == 0 ? SIGTERM : SIGKILL, kSecondsToEnd);
            continue;
        }
        timespec most{};
        most.tv_sec = secondsLeft == 0 ? 3600 : secondsLeft - static_cast<time_t>(spent);
        const int number = sigtimedwait(&awaited, nullptr, &most);
        if (number > 0 && number != SIGCHLD) {
            endSignal = number;
            begin = Clock::now();
            if (sent == 0) endBy(SIGTERM, kSecondsToEnd);
        }
    }
}

/// Blocks the signals that a wait accepts, for as long as this exists.
class BlockedSignals {
public:
    BlockedSignals() {
        sigset_t blocked;
        sigemptyset(&blocked);
        for (const int number : {SIGCHLD, SIGINT, SIGTERM, SIGHUP}) sigaddset(&blocked, number);
        sigprocmask(SIG_BLOCK, &blocked, &before);
    }
    ~BlockedSignals() { sigprocmask(SIG_SETMASK, &before, nullptr); }
    BlockedSignals(const BlockedSignals&) = delete;
    BlockedSignals& operator=(const BlockedSignals&) = delete;

private:
    sigset_t before;
};

/// The result according to exit status and report.
Result resultOf(int status, const Folder& folder, bool isTimedOut, int timeout) {
    Result result;
    const int code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    try {
        const Report report(folder.file("report.json"));
        result.reason = report.reason;
        if ((code == kAgrees || code == kDiffers) && report.status == code)
            result.status = static_cast<Status>(code);
        else if (code != report.status)
            result.reason = statusText(status) + "; " + report.reason;
    } catch (const Failure& failure) {
        result.reason = statusText(status) + "; " + failure.what();
    }
    if (isTimedOut)
        result = {kFailed, "took longer than " + std::to_string(timeout) + " s; " + result.reason};
    return result;
}

int openLog(const std::string& path) {
    const int log = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (log < 0) throw Failure(systemError(path, "cannot be written"));
    return log;
}

Result run(const Folder& folder, int timeout) {
    const auto command = folder.command();
    if (!command) throw Failure(folder.file("command.json") + ": is not what it was");
    const int nothing = open("/dev/null", O_RDONLY | O_CLOEXEC);
    const int log = openLog(folder.file("log"));
    const BlockedSignals blocked;
    Model model(start(*command, {nothing, log, log}, false), timeout);
    close(nothing);
    close(log);
    const int status = model.wait();
    if (model.endSignal != 0) raise(model.endSignal);  // is noted when it is no longer blocked
    return resultOf(status, folder, model.isTimedOut, timeout);
}

bool has(const std::vector<std::string>& command, const std::string& option) {
    return std::any_of(command.begin(), command.end(), [&](const std::string& word) {
        return word == option || word.starts_with(option + "=");
    });
}

}  // namespace

bool runEntry(const Folder& folder, int timeout) {
    const Clock::time_point begin = Clock::now();
    Result result;
    try {
        result = run(folder, timeout);
    } catch (const Failure& failure) {
        result.reason = failure.what();
    }
    result.seconds = std::chrono::duration<double>(Clock::now() - begin).count();
    if (result.status == kAgrees) unlink(folder.file("log").c_str());
    folder.write(result);
    return caughtSignal() == 0;
}

std::vector<std::string> completeCommand(const std::vector<std::string>& command,
                                         const std::string& folder, int last) {
    std::vector<std::string> complete = command;
    for (std::string& word : complete)
        for (size_t at = 0; (at = word.find("{}", at)) != std::string::npos; at += folder.size())
            word.replace(at, 2, folder);
    if (complete != command) return complete;
    complete.insert(complete.end(), {"--report", folder + "/report.json"});
    const bool records = has(command, "--vcd") || has(command, "--last") || has(command, "--trace");
    if (last > 0 && !records)
        complete.insert(complete.end(),
                        {"--last", std::to_string(last), "--vcd", folder + "/last.vcd.gz"});
    return complete;
}

}  // namespace regress

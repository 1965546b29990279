// On this machine xargs keeps the requested number of comparisons running. It starts this program
// once for each, which writes the name to a pipe when its comparison has ended.
#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <thread>

#include "files.h"
#include "process.h"
#include "regression.h"

namespace regress {

namespace {

class LocalRun {
public:
    explicit LocalRun(const Regression& theRegression)
        : regression(theRegression), progress(regression.pending.size()) {}
    void run();

private:
    int runAll(const std::vector<std::string>& names);
    void follow(int pipe, pid_t xargs);
    void note(const std::string& name);

    const Regression& regression;
    Progress progress;
    size_t done = 0, failed = 0;
};

void LocalRun::note(const std::string& name) {
    const auto result = regression.folder(name).result();
    ++done;
    failed += !result || result->status != kAgrees;
    progress.show(done, failed);
}

/// Reads the names of comparisons that have ended, until all writers have closed the pipe.
void LocalRun::follow(int pipe, pid_t xargs) {
    std::string name;
    bool isEnding = false;
    for (;;) {
        if (caughtSignal() != 0 && !isEnding) {
            isEnding = true;
            kill(-xargs, SIGTERM);
        }
        pollfd ready{pipe, POLLIN, 0};
        if (poll(&ready, 1, 1000) <= 0) {  // a signal may have come before the wait
            progress.show(done, failed);
            continue;
        }
        char piece[4096];
        const ssize_t count = read(pipe, piece, sizeof piece);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return;
        for (const char c : std::string_view(piece, static_cast<size_t>(count))) {
            if (c != '\n') {
                name += c;
                continue;
            }
            note(name);
            name.clear();
        }
    }
}

/// @return the status of xargs
int LocalRun::runAll(const std::vector<std::string>& names) {
    const Options& options = regression.options;
    std::string text;
    for (const std::string& name : names) text += name + '\0';
    const std::string todo = options.results + "/todo";
    writeFile(todo, text);
    const int input = open(todo.c_str(), O_RDONLY | O_CLOEXEC);
    int ends[2];
    if (input < 0 || pipe2(ends, O_CLOEXEC) != 0)
        throw Failure(systemError(todo, "cannot be read"));
    const unsigned jobs = options.jobs != 0 ? static_cast<unsigned>(options.jobs)
                                            : std::max(1U, std::thread::hardware_concurrency());
    const pid_t xargs = start({"xargs", "-0", "-n", "1", "-P", std::to_string(jobs), ownPath(),
                               "--run-one", options.results, std::to_string(options.timeout)},
                              {input, ends[1], -1}, true);
    close(input);
    close(ends[1]);
    follow(ends[0], xargs);
    close(ends[0]);
    const int status = waitFor(xargs);
    unlink(todo.c_str());
    return status;
}

void LocalRun::run() {
    progress.show(done, failed);
    for (auto names = regression.pending; !names.empty();) {
        const int status = runAll(names);
        const auto left = regression.unfinished();
        if (left.empty() || caughtSignal() != 0) return;
        // xargs ends when a child is killed: comparisons that it was running then have no result.
        bool goesOn = false;
        std::string why = "xargs ended with " + statusText(status);
        for (const std::string& name : left) {
            if (!regression.folder(name).isBegun()) continue;
            regression.giveUp(name, "its supervisor was killed");
            goesOn = true;
        }
        names = regression.unfinished();
        for (const std::string& name : names)
            if (!goesOn) regression.giveUp(name, why);
        if (!goesOn) return;
    }
}

}  // namespace

int runLocally(const Regression& regression) {
    if (!regression.pending.empty()) LocalRun(regression).run();
    for (const std::string& name : regression.unfinished())
        regression.giveUp(name, "not run: the regression was ended");
    return caughtSignal();
}

}  // namespace regress

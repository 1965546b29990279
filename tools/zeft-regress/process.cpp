#include "process.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>

#include "failure.h"

namespace regress {

namespace {

volatile sig_atomic_t caught = 0;

void noteSignal(int number) {
    if (caught == 0) caught = number;
}

constexpr int kEndSignals[] = {SIGINT, SIGTERM, SIGHUP};

}  // namespace

void catchSignals() {
    for (const int number : kEndSignals) {
        struct sigaction action = {};
        if (sigaction(number, nullptr, &action) == 0 && action.sa_handler == SIG_IGN) continue;
        action.sa_handler = noteSignal;  // interrupts a wait
        sigemptyset(&action.sa_mask);
        action.sa_flags = 0;
        sigaction(number, &action, nullptr);
    }
}

int caughtSignal() { return caught; }

pid_t start(const std::vector<std::string>& command, const Streams& streams, bool ownGroup) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    const int wanted[] = {streams.input, streams.output, streams.error};
    for (int i = 0; i < 3; ++i)
        if (wanted[i] >= 0) posix_spawn_file_actions_adddup2(&actions, wanted[i], i);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t none;
    sigemptyset(&none);
    posix_spawnattr_setsigmask(&attributes, &none);
    sigset_t usual;  // so that the child does not ignore signals that this program ignores
    sigemptyset(&usual);
    sigaddset(&usual, SIGPIPE);
    posix_spawnattr_setsigdefault(&attributes, &usual);
    posix_spawnattr_setpgroup(&attributes, 0);
    posix_spawnattr_setflags(&attributes,
                             static_cast<short>(POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF |
                                                (ownGroup ? POSIX_SPAWN_SETPGROUP : 0)));
    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (const std::string& word : command) arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    pid_t child = 0;
    const int error =
        posix_spawnp(&child, arguments[0], &actions, &attributes, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    errno = error;
    if (error != 0) throw Failure(systemError(command.front(), "cannot be run"));
    return child;
}

int waitFor(pid_t child) {
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return status;
}

std::string statusText(int status) {
    if (WIFEXITED(status)) return "exit status " + std::to_string(WEXITSTATUS(status));
    const int number = WTERMSIG(status);
    return "signal " + std::to_string(number) + " (" + strsignal(number) + ")";
}

std::string outputOf(const std::vector<std::string>& command, int& status,
                     const std::string& input) {
    int in[2], out[2];
    if (pipe2(in, O_CLOEXEC) != 0) throw Failure(systemError("pipe", "cannot be made"));
    if (pipe2(out, O_CLOEXEC) != 0) throw Failure(systemError("pipe", "cannot be made"));
    const pid_t child = start(command, {in[0], out[1], out[1]}, false);
    close(in[0]);
    close(out[1]);
    // Inputs are short enough to fit the pipe.
    if (write(in[1], input.data(), input.size()) < 0) errno = 0;
    close(in[1]);
    std::string text;
    char piece[4096];
    for (ssize_t count; (count = read(out[0], piece, sizeof piece)) > 0 || errno == EINTR;) {
        if (count > 0) text.append(piece, static_cast<size_t>(count));
        errno = 0;
        if (count == 0) break;
    }
    close(out[0]);
    status = waitFor(child);
    return text;
}

}  // namespace regress

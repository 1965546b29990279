#include "run_program.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

namespace qkverilate {

namespace {

bool areShown = false;

void show(const std::vector<std::string>& arguments) {
    std::fputs("qkverilate:", stderr);
    for (const std::string& argument : arguments) std::fprintf(stderr, " %s", argument.c_str());
    std::fputc('\n', stderr);
}

/// The ends of a pipe for a child's text; -1 if the text is shown.
struct Pipe {
    int ends[2] = {-1, -1};
    ~Pipe() {
        closeEnd(0);
        closeEnd(1);
    }
    bool open() { return pipe2(ends, O_CLOEXEC) == 0; }
    void closeEnd(int which) {
        if (ends[which] >= 0) close(ends[which]);
        ends[which] = -1;
    }
};

std::string readAll(int descriptor) {
    std::string text;
    char piece[65536];
    while (true) {
        const ssize_t count = read(descriptor, piece, sizeof piece);
        if (count > 0) {
            text.append(piece, static_cast<size_t>(count));
        } else if (count == 0 || errno != EINTR) {
            return text;
        }
    }
}

int waitFor(pid_t child) {
    int status = 0;
    while (waitpid(child, &status, 0) < 0)
        if (errno != EINTR) return 127;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

}  // namespace

void showCommands() { areShown = true; }

Outcome runProgram(const std::vector<std::string>& arguments, Text text) {
    if (areShown) show(arguments);
    std::fflush(nullptr);
    Outcome outcome;
    Pipe taken;
    if (text == Text::kTaken && !taken.open()) return outcome;
    std::vector<char*> words;
    words.reserve(arguments.size() + 1);
    for (const std::string& argument : arguments)
        words.push_back(const_cast<char*>(argument.c_str()));
    words.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    if (posix_spawn_file_actions_init(&actions) != 0) return outcome;
    if (text == Text::kTaken) {
        posix_spawn_file_actions_adddup2(&actions, taken.ends[1], STDOUT_FILENO);
        posix_spawn_file_actions_adddup2(&actions, taken.ends[1], STDERR_FILENO);
    }
    pid_t child = 0;
    const int error = posix_spawnp(&child, words[0], &actions, nullptr, words.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) return outcome;
    outcome.isFound = true;
    taken.closeEnd(1);
    if (text == Text::kTaken) outcome.output = readAll(taken.ends[0]);
    outcome.status = waitFor(child);
    return outcome;
}

}  // namespace qkverilate

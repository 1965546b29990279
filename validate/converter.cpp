#include "validate/converter.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <utility>

namespace {

constexpr int kPipeBytes = 1 << 20;

constexpr std::array<Conversion, 4> kConversions = {{
    {".fst", "fst2vcd", "-f", "gtkwave"},
    {".xz", "xz", "-dc", "xz-utils"},
    {".zst", "zstd", "-dcq", "zstd"},
    {".bz2", "bzip2", "-dc", "bzip2"},
}};

/// @return the child's process, or 0 with the reason in errno
pid_t spawn(const char* program, const char* options, const char* path, int output) {
    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
    if (posix_spawn_file_actions_init(&actions) != 0) return 0;
    if (posix_spawnattr_init(&attributes) != 0) {
        posix_spawn_file_actions_destroy(&actions);
        return 0;
    }
    posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);  // the descriptor may be 0
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    // Ctrl-C is for the model only, so the child leaves its process group; a broken pipe ends the
    // child.
    sigset_t none, all;
    sigemptyset(&none);
    sigfillset(&all);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &all);
    posix_spawnattr_setpgroup(&attributes, 0);
    posix_spawnattr_setflags(
        &attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP);
    const std::array<const char*, 4> arguments = {program, options, path, nullptr};
    pid_t child = 0;
    const int error = posix_spawnp(&child, program, &actions, &attributes,
                                   const_cast<char* const*>(arguments.data()), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    errno = error;
    return error == 0 ? child : 0;
}

}  // namespace

const Conversion* conversionOf(const std::string& path) {
    for (const Conversion& conversion : kConversions) {
        const size_t length = std::strlen(conversion.suffix);
        if (path.size() > length &&
            path.compare(path.size() - length, length, conversion.suffix) == 0)
            return &conversion;
    }
    return nullptr;
}

std::unique_ptr<Converter> Converter::start(const Conversion& conversion, const std::string& path) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return nullptr;
    fcntl(ends[0], F_SETPIPE_SZ, kPipeBytes);  // fewer switches between the processes; the default
                                               // size also works
    // A name that begins with '-' must not look like an option.
    const std::string file = path.front() == '-' ? "./" + path : path;
    const pid_t child = spawn(conversion.program, conversion.options, file.c_str(), ends[1]);
    const int error = errno;
    close(ends[1]);
    if (child == 0) {
        close(ends[0]);
        errno = error;
        return nullptr;
    }
    return std::unique_ptr<Converter>(new Converter(conversion.program, ends[0], child));
}

Converter::Converter(const char* program, int output, pid_t process)
    : name(program), fd(output), child(process), parent(getpid()) {}

Converter::~Converter() {
    if (fd >= 0) close(fd);
    if (child == 0 || parent != getpid()) return;
    // Only a child that has not been waited for is certain to have this process id.
    if (waitpid(child, nullptr, WNOHANG) != 0) return;
    kill(child, SIGKILL);  // it could only continue to write
    while (waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
    }
}

int Converter::takeOutput() { return std::exchange(fd, -1); }

std::string Converter::finish() {
    const std::string program = name;
    if (parent != getpid()) return program + " is another process's";
    int status = 0;
    pid_t waited;
    while ((waited = waitpid(child, &status, 0)) < 0 && errno == EINTR) {
    }
    child = 0;
    if (waited < 0) return "the exit status of " + program + " is lost: " + std::strerror(errno);
    if (WIFSIGNALED(status))
        return program + " was ended by signal " + std::to_string(WTERMSIG(status));
    if (WEXITSTATUS(status) != 0)
        return program + " failed with status " + std::to_string(WEXITSTATUS(status));
    return {};
}

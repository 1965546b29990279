#include "files.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "failure.h"

namespace regress {

std::string systemError(const std::string& path, const char* what) {
    return path + ": " + what + ": " + std::strerror(errno);
}

std::optional<std::string> readFile(const std::string& path) {
    const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) return {};
    std::string contents;
    char piece[65536];
    ssize_t count;
    while ((count = read(descriptor, piece, sizeof piece)) > 0)
        contents.append(piece, static_cast<size_t>(count));
    const int error = errno;
    close(descriptor);
    errno = error;
    if (count < 0) return {};
    return contents;
}

namespace {

bool writeAll(int descriptor, const std::string& contents) {
    for (size_t at = 0; at < contents.size();) {
        const ssize_t count = write(descriptor, contents.data() + at, contents.size() - at);
        if (count < 0 && errno != EINTR) return false;
        if (count > 0) at += static_cast<size_t>(count);
    }
    return true;
}

}  // namespace

void writeFile(const std::string& path, const std::string& contents) {
    const std::string temporary = path + "." + std::to_string(getpid());
    const int descriptor = open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    bool isGood = descriptor >= 0 && writeAll(descriptor, contents);
    int error = errno;
    if (descriptor >= 0 && close(descriptor) != 0 && isGood) {
        isGood = false;
        error = errno;
    }
    if (isGood && std::rename(temporary.c_str(), path.c_str()) != 0) {
        isGood = false;
        error = errno;
    }
    if (isGood) return;
    unlink(temporary.c_str());
    errno = error;
    throw Failure(systemError(path, "cannot be written"));
}

void makeFolder(const std::string& path) {
    std::error_code error;
    std::filesystem::create_directories(path, error);
    if (error) throw Failure(path + ": cannot be made: " + error.message());
}

std::string ownPath() {
    std::error_code error;
    const auto path = std::filesystem::read_symlink("/proc/self/exe", error);
    return error ? "zeft-regress" : path.string();
}

}  // namespace regress

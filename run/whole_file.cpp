#include "run/whole_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "run/failure.h"

namespace {

/// @return 0, or the error
int writeAll(int descriptor, const std::string& contents) {
    const mode_t mask = umask(0);
    umask(mask);
    if (fchmod(descriptor, 0666 & ~mask) != 0) return errno;
    for (size_t at = 0; at < contents.size();) {
        const ssize_t count = write(descriptor, contents.data() + at, contents.size() - at);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return errno;
        at += static_cast<size_t>(count);
    }
    return 0;
}

int replace(const char* path, const std::string& contents) {
    std::string temporary = std::string(path) + ".XXXXXX";
    const int descriptor = mkstemp(temporary.data());
    if (descriptor < 0) return errno;
    int error = writeAll(descriptor, contents);
    if (close(descriptor) != 0 && error == 0) error = errno;
    if (error == 0 && std::rename(temporary.c_str(), path) != 0) error = errno;
    if (error != 0) unlink(temporary.c_str());
    return error;
}

}  // namespace

bool writeWholeFile(const char* path, const std::string& contents) {
    const int error = replace(path, contents);
    if (error != 0) printFailure("%s: cannot be written: %s\n", path, std::strerror(error));
    return error == 0;
}

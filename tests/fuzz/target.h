// What a fuzz target gives to libFuzzer, and to the driver of fixed runs, and what targets share.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "qkzeft.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

/// Where console text goes.
inline void (*fuzzPrints)(const char* text) = [](const char*) {};

/// Ends the process unless a condition holds: the fuzzer then shows the input.
inline void require(bool condition) {
    if (!condition) std::abort();
}

/// Gives a module its nets.
template <size_t kCount>
void registerRows(kelvo_module& module, const QkGRNet (&rows)[kCount]) {
    QkRegistration::start(&module, 1, kCount, true);
    QkRegistration::addNets(&module, kCount, rows);
    QkRegistration::end(&module);
}

/// A file in memory, and its path.
struct MemoryFile {
    const int descriptor = memfd_create("input", 0);
    const std::string path = "/proc/self/fd/" + std::to_string(descriptor);

    void set(const uint8_t* data, size_t size) const {
        require(ftruncate(descriptor, 0) == 0);
        require(pwrite(descriptor, data, size, 0) == static_cast<ssize_t>(size));
    }
};

/// @return whether a command line neither reads nor writes files of any name nor leaves the process
inline bool isHarmless(const std::string& line) {
    const size_t start = line.find_first_not_of(" \t\v\f\r");
    if (start == std::string::npos) return true;
    for (const char* const word : {"save", "lo", "lstofile", "traceto", "exit", "q", "cli"})
        if (line.compare(start, std::strlen(word), word) == 0) return false;
    return true;
}

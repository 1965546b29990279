// Other programs that convert a file to VCD: waveform databases, and compressions that zlib does
// not support.
#pragma once

#include <sys/types.h>

#include <memory>
#include <string>

/// How a program converts files of one kind to VCD on its standard output.
struct Conversion {
    const char* suffix;   ///< of the file's name
    const char* program;  ///< found in PATH
    const char* options;  ///< one word, which precedes the name
    const char* package;  ///< Debian package
};

/// @return the conversion for a file of this name, or null
const Conversion* conversionOf(const std::string& path);

/// A program that reads a file and writes to a pipe. The destructor ends it; if the process ends
/// first, it ends when it writes to the pipe, which then has no reader.
class Converter {
public:
    /// @return null when the program cannot be run, with the reason in errno
    static std::unique_ptr<Converter> start(const Conversion& conversion, const std::string& path);
    /// Stops the program. Does nothing in a process forked since.
    ~Converter();
    Converter(const Converter&) = delete;
    Converter& operator=(const Converter&) = delete;

    /// @return the reading end of the pipe, which the caller must close
    int takeOutput();
    /// Waits for the end of the program, all of whose output has been read.
    /// @return an error message that names the program; empty: no error
    std::string finish();

private:
    Converter(const char* program, int output, pid_t process);

    const char* name;
    int fd;        // -1: taken
    pid_t child;   // 0: waited for
    pid_t parent;  // the process that started it
};

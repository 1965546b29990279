// Other programs that turn a file into a VCD: waveform databases, and compressions that zlib lacks.
#pragma once

#include <sys/types.h>

#include <memory>
#include <string>

/// How files of one kind are turned into a VCD on the standard output of a program.
struct Conversion {
    const char* suffix;   ///< of the file's name
    const char* program;  ///< found by PATH
    const char* options;  ///< one word, which precedes the name
    const char* package;  ///< of Debian
};

/// @return the one that the name of a file asks for, or null
const Conversion* conversionOf(const std::string& path);

/// A program that reads a file and writes to a pipe. It ends with this at the latest; if the
/// process ends first, it ends when it writes to the pipe, which nobody reads.
class Converter {
public:
    /// @return null when the program cannot be run, with the reason in errno
    static std::unique_ptr<Converter> start(const Conversion& conversion, const std::string& path);
    /// Stops the program. A process forked off since leaves it alone.
    ~Converter();
    Converter(const Converter&) = delete;
    Converter& operator=(const Converter&) = delete;

    /// @return the reading end of the pipe; whoever takes it closes it
    int takeOutput();
    /// Waits for the end of the program, all of whose output has been read.
    /// @return what is wrong with that, naming the program; empty: nothing
    std::string finish();

private:
    Converter(const char* program, int output, pid_t process);

    const char* name;
    int fd;        // -1: taken
    pid_t child;   // 0: waited for
    pid_t parent;  // that has the child
};

// Text on its way to the console.
//
// Every delivery by qk_prints flushes the console's streams, so text is gathered and delivered in
// large pieces; what the user sees is the same. Unlike in qk_printf(), there is no limit on its
// length: names and typed texts may be of any length.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

class Printout {
public:
    Printout() = default;
    Printout(const Printout&) = delete;
    Printout& operator=(const Printout&) = delete;
    /// Delivers the remaining text.
    ~Printout() { deliver(); }

    void print(const char* format, ...) __attribute__((format(printf, 2, 3)));
    void add(std::string_view text) { pending.append(text); }
    void add(char c) { pending.push_back(c); }
    /// Adds ceil(width / 4) digits in lower case, leading zeros kept.
    /// @param width  1 to 64 bits
    void addHex(int width, uint64_t value);
    /// Marks a place where the text may be split: delivers it if it has grown long.
    void endLine() {
        if (pending.size() >= kPieceBytes) deliver();
    }
    void deliver();

private:
    static constexpr size_t kPieceBytes = 32 * 1024;
    std::string pending;
};

/// Prints one message, which may be of any length.
void say(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// Printed with the name of a file that could not be read to its end.
inline constexpr const char* kReadFailed = "Error on read from '%s'\n";

/// Closes a file that has been written. @return whether everything was written; prints a message if
/// not
bool closeWritten(std::FILE* file, const char* fileName);

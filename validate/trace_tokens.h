// The tokens of a reference trace, and where in it the reading is.
//
// The trace is a VCD file (IEEE 1364-2005, 18.2), plain or gzip, or a file that another program
// turns into one. A token is valid until the next is read.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

class VcdInputBuffer;

class TraceTokens {
public:
    TraceTokens();
    ~TraceTokens();
    TraceTokens(const TraceTokens&) = delete;
    TraceTokens& operator=(const TraceTokens&) = delete;

    /// Begins anew without a file. @param strict  tokens are those of the strict dialect
    void start(bool strict);
    /// Opens a file, the first since start(). @return false with a message
    bool open(const char* path);
    /// Reports what was passed over, and closes the file, if one is open.
    void close();
    /// @return the open input, or null
    VcdInputBuffer* input() const { return file.get(); }
    /// @return the path given to open(); empty after close()
    const std::string& path() const { return filename; }
    /// @return the line of the last token
    int line() const { return lineNumber; }
    bool atEnd() const;

    /// @param escapedAllowed  a token that begins with a backslash may hold blanks
    /// @return an empty text at the end of input
    std::string_view readToken(bool escapedAllowed = false);
    /// Makes a token, not empty, the one that is read next.
    void hold(std::string_view token) { heldToken = token; }
    /// @return whether another token follows on the line of the last one
    bool isTokenOnLine();
    /// @return the last token on the line, if there are more
    std::string lastOnLine();
    /// @return whether the next token is whole in the block in hand
    bool isTokenAhead() const;

    /// Passes over tokens up to an `$end`.
    /// @param text  receives them, a blank before each
    /// @return 1, or 0 with a message
    int skipToEnd(bool printTokens, std::string* text = nullptr);
    /// Passes over a comment, whatever words it has. @return 1, or 0 with a message
    int skipComment();
    /// Takes an `$end` off the end of a token, to be found where one is looked for next.
    void takeGluedEnd(std::string_view& token);
    /// @return whether takeGluedEnd() took one off, which is forgotten here
    bool takeEndAhead();

    /// For reading the block in hand without readToken(), when no token is held.
    /// @return the number of the line of the next character, to be moved on by the reader
    int& nextLine();
    bool isHolding() const { return !heldToken.empty(); }

    /// Prints a message about the line of the last token, which needs no line end. @return 0
    int report(const char* format, ...) const __attribute__((format(printf, 2, 3)));
    int reportAt(int line, const char* format, ...) const __attribute__((format(printf, 3, 4)));
    void reportIgnored(std::string_view token) const;
    /// Notes that a value is passed over, to be reported with all others of its kind.
    /// @param kind  a literal
    void passOver(const char* kind);

private:
    std::string_view readLongToken(bool escaped);
    bool skipBlanks();
    bool refill();
    void endToken(char terminator);
    void reportPassedOver();

    struct PassedOver {
        const char* kind;
        int line;  ///< the first
        uint64_t count;
    };

    std::string filename;
    std::unique_ptr<VcdInputBuffer> file;
    int lineNumber = 1;
    bool lineEndPending = false;  ///< the last token's line end is not counted yet
    bool isStrict = true;
    bool endAhead = false;  ///< an `$end` was glued to the last token
    std::string spilled;    ///< a token that runs over a buffer's end
    std::string heldToken;  ///< to be read next, if not empty
    std::vector<PassedOver> passedKinds;
};

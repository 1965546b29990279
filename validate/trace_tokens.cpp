#include "validate/trace_tokens.h"

#include <unistd.h>

#include <cerrno>
#include <cinttypes>
#include <cstdarg>
#include <cstring>
#include <utility>

#include "base/formatted.h"
#include "base/qkassert.h"
#include "run/printout.h"
#include "validate/input_buffer.h"
#include "validate/tokens.h"

TraceTokens::TraceTokens() = default;
TraceTokens::~TraceTokens() = default;

void TraceTokens::start(bool strict) {
    isStrict = strict;
    filename.clear();
    file = nullptr;
    lineNumber = 1;
    lineEndPending = endAhead = false;
    heldToken.clear();
    passedKinds.clear();
}

bool TraceTokens::open(const char* path) {
    QK_ASSERT_AS(filename.empty() && !file, "filename.isempty() && !file");
    filename = path;
    if (isStrict) {
        file = VcdInputBuffer::open(path);
        if (!file) say("Failed to open file '%s'\n", path);
        return file != nullptr;
    }
    const Conversion* const conversion = access(path, R_OK) == 0 ? conversionOf(path) : nullptr;
    if (!conversion) {
        file = VcdInputBuffer::open(path);
        if (!file) say("Failed to open file '%s': %s\n", path, std::strerror(errno));
        return file != nullptr;
    }
    say("zeft: reading %s through %s\n", path, conversion->program);
    file = VcdInputBuffer::open(path, *conversion);
    if (!file)
        say("Failed to open file '%s': %s cannot be run: %s (Debian package %s)\n", path,
            conversion->program, std::strerror(errno), conversion->package);
    return file != nullptr;
}

void TraceTokens::close() {
    if (file) QK_ASSERT_AS(!filename.empty(), "!filename.isempty()");
    reportPassedOver();
    filename.clear();
    file = nullptr;
    heldToken.clear();
}

bool TraceTokens::atEnd() const { return !file || (heldToken.empty() && file->atEnd()); }

// ---- Messages

int TraceTokens::report(const char* format, ...) const {
    std::string text;
    va_list arguments;
    va_start(arguments, format);
    appendFormatted(text, format, arguments);
    va_end(arguments);
    return reportAt(lineNumber, "%s", text.c_str());
}

int TraceTokens::reportAt(int line, const char* format, ...) const {
    std::string text;
    va_list arguments;
    va_start(arguments, format);
    appendFormatted(text, format, arguments);
    va_end(arguments);
    say("%s:%d: %s\n", filename.c_str(), line, text.c_str());
    return 0;
}

void TraceTokens::reportIgnored(std::string_view token) const {
    report("'%.*s' ignored", static_cast<int>(token.size()), token.data());
}

void TraceTokens::passOver(const char* kind) {
    for (PassedOver& known : passedKinds) {
        if (std::string_view(known.kind) != kind) continue;
        ++known.count;
        return;
    }
    passedKinds.push_back({kind, lineNumber, 1});
}

void TraceTokens::reportPassedOver() {
    for (const PassedOver& of : std::exchange(passedKinds, {}))
        reportAt(of.line, "%" PRIu64 " value%s of kind '%s' passed over", of.count,
                 of.count == 1 ? "" : "s", of.kind);
}

// ---- Tokens

/// @return false at the end of input, with a message if that is not the end of the file
bool TraceTokens::refill() {
    const bool hadFailed = file->failure() != nullptr;
    if (file->refill()) return true;
    if (file->failure() && !hadFailed) report("%s", file->failure());
    return false;
}

/// @return false at the end of input
bool TraceTokens::skipBlanks() {
    for (;;) {
        const char* at = file->cur;
        for (; at != file->end && *at <= ' '; ++at) lineNumber += *at == '\n';
        file->cur = at;
        if (at != file->end) return true;
        if (!refill()) return false;
    }
}

void TraceTokens::endToken(char terminator) {
    // A message about the token must have the token's line.
    lineEndPending = terminator == '\n';
}

int& TraceTokens::nextLine() {
    if (lineEndPending) ++lineNumber;
    lineEndPending = false;
    return lineNumber;
}

std::string_view TraceTokens::readToken(bool escapedAllowed) {
    if (!heldToken.empty()) {
        spilled = std::exchange(heldToken, {});
        return spilled;
    }
    nextLine();
    if (!file || !skipBlanks()) {
        reportPassedOver();
        return {};
    }
    const char* const begin = file->cur;
    if (escapedAllowed && *begin == '\\') return readLongToken(true);
    const char* const stop = tokenEnd(begin);
    if (stop >= file->end) return readLongToken(false);
    file->cur = stop + 1;
    endToken(*stop);
    return std::string_view(begin, static_cast<size_t>(stop - begin));
}

/// Reads a token that an end of the buffer may cut. An escaped one ends with the first backslash
/// after its own that no other follows, and with the character after that, which is dropped.
std::string_view TraceTokens::readLongToken(bool escaped) {
    spilled.clear();
    bool backslash = false;
    for (bool closed = false;;) {
        if (file->cur == file->end && !refill()) break;
        const char c = *file->cur;
        if (escaped ? closed : c <= ' ') {
            ++file->cur;
            endToken(c);
            break;
        }
        if (escaped && backslash && c != '\\') {
            closed = true;  // this character is the one after the closing backslash
            continue;
        }
        ++file->cur;
        spilled += c;
        if (spilled.size() > 1) backslash = c == '\\' && !backslash;
    }
    return spilled;
}

bool TraceTokens::isTokenAhead() const {
    const char* at = file->cur;
    while (at != file->end && *at <= ' ') ++at;
    return at != file->end && tokenEnd(at) < file->end;
}

bool TraceTokens::isTokenOnLine() {
    if (lineEndPending) return false;
    for (;;) {
        while (file->cur != file->end && *file->cur == ' ') ++file->cur;
        if (file->cur != file->end) return *file->cur != '\n';
        if (!refill()) return false;
    }
}

std::string TraceTokens::lastOnLine() {
    std::string token;
    while (isTokenOnLine()) token = readToken();
    return token;
}

// ---- Ends of what is passed over

void TraceTokens::takeGluedEnd(std::string_view& token) {
    endAhead = !isStrict && endsWith(token, kEnd);
    if (endAhead) token.remove_suffix(kEnd.size());
}

bool TraceTokens::takeEndAhead() { return std::exchange(endAhead, false); }

int TraceTokens::skipToEnd(bool printTokens, std::string* text) {
    const int from = lineNumber;
    if (takeEndAhead()) return 1;
    for (;;) {
        std::string_view token = readToken();
        if (token.empty()) return reportAt(from, kEndMissing);
        if (token == "$enddefinitions" || token == "$scope")
            return reportAt(from, kEndMissingBy, lineNumber);
        if (token == kEnd) return 1;
        takeGluedEnd(token);
        if (printTokens) say(" %.*s", static_cast<int>(token.size()), token.data());
        if (text) text->append(" ").append(token);
        if (takeEndAhead()) return 1;
    }
}

int TraceTokens::skipComment() {
    const int from = lineNumber;
    if (takeEndAhead()) return 1;
    for (;;) {
        const std::string_view token = readToken();
        if (token == kEnd || endsWith(token, kEnd)) return 1;
        if (token.empty()) return reportAt(from, kEndMissing);
    }
}

#include "base/stringbuf.h"

#include <cstdlib>
#include <cstring>

#include "base/characters.h"
#include "base/memory.h"
#include "base/qkassert.h"

char workbuf[WORKBUFLEN];

char* duplicate(const char* text, const char* tag) {
    const size_t bytes = std::strlen(text) + 1;
    auto* const copy = static_cast<char*>(allocateBlock(bytes, tag));
    std::memcpy(copy, text, bytes);
    return copy;
}

namespace {

constexpr size_t kChunk = 128;

}  // namespace

void StringBuf::resize(size_t length) {
    const size_t need = length + 1;
    auto* const grown = static_cast<char*>(std::realloc(theStr, (need / kChunk + 1) * kChunk));
    if (!grown) failAllocation("realloc", "StringBuf");
    theStr = grown;
}

bool StringBuf::isUsable(const char* s) const {
    if (!QK_CHECK(s)) return false;
    return QK_CHECK_AS(!theStr || (s < theStr) || (s > (theStr + std::strlen(theStr))),
                       "!theStr || (s < theStr) || (s > (theStr + len()))");
}

void StringBuf::replace(const char* text, size_t length) {
    resize(length);
    // NOLINTNEXTLINE(clang-analyzer-unix.Malloc): isUsable() has ruled out our own text
    std::memcpy(theStr, text, length);
    theStr[length] = '\0';
}

StringBuf::StringBuf() : theStr(nullptr) { replace("", 0); }

StringBuf::StringBuf(const char* text) : theStr(nullptr) {
    if (isUsable(text)) {
        replace(text, std::strlen(text));
    } else {
        replace("", 0);
    }
}

StringBuf::StringBuf(const StringBuf& other) : StringBuf(other.str()) {}

// NOLINTNEXTLINE(bugprone-unhandled-self-assignment): a fault, which assign() reports
StringBuf& StringBuf::operator=(const StringBuf& other) {
    assign(other.str());
    return *this;
}

StringBuf::~StringBuf() { std::free(theStr); }

const char* StringBuf::str() const {
    QK_ASSERT(theStr);
    return theStr;
}

int StringBuf::len() const { return static_cast<int>(std::strlen(theStr)); }

void StringBuf::assign(const char* text) {
    if (isUsable(text)) replace(text, std::strlen(text));
}

void StringBuf::assign(const char* text, int count) {
    if (isUsable(text)) replace(text, count > 0 ? static_cast<size_t>(count) : 0);
}

void StringBuf::append(const char* text) {
    if (!isUsable(text)) return;
    const size_t length = std::strlen(theStr), more = std::strlen(text);
    resize(length + more);
    std::memcpy(theStr + length, text, more + 1);
}

void StringBuf::vformat(const char* format, va_list arguments) {
    if (!QK_CHECK(format)) return;
    const int printed_length = std::vsnprintf(workbuf, WORKBUFLEN, format, arguments);
    QK_ASSERT(printed_length < WORKBUFLEN);
    assign(printed_length < 0 ? "" : workbuf);
}

void StringBuf::format(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    vformat(format, arguments);
    va_end(arguments);
}

void StringBuf::readLine(FILE* file) {
    if (!std::fgets(workbuf, WORKBUFLEN, file)) *workbuf = '\0';
    QK_ASSERT_AS(std::strlen(workbuf) < WORKBUFLEN, "strlen(workbuf) < WORKBUFLEN");
    assign(skipSpace(workbuf));
}

int StringBuf::compare(const StringBuf& other) const { return compare(other.str()); }

int StringBuf::compare(const char* text) const {
    const int order = std::strcmp(str(), text);
    return order < 0 ? -1 : order > 0 ? 1 : 0;
}

int StringBuf::compareNoCase(const char* text) const {
    for (const char* own = str();; ++own, ++text) {
        const int difference = upperCase(*own) - upperCase(*text);
        if (difference != 0 || !*own) return difference;
    }
}

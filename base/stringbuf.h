// Text that owns its storage, and the buffer that all formatted text passes through.
//
// A StringBuf holds a NUL-terminated string in a block from realloc. The block's size is not kept:
// it follows from the last assignment, (need / 128 + 1) * 128 bytes with need = length + 1.
// Formatting uses `workbuf` and is not re-entrant: no argument of a format may be text in
// `workbuf`.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdio>

/// @return a copy of `text`, to be released with free(); if memory is exhausted, ends the process
///         with a message that names `tag`
char* duplicate(const char* text, const char* tag);

inline constexpr int WORKBUFLEN = 65536;
extern char workbuf[WORKBUFLEN];

class StringBuf {
public:
    StringBuf();
    /// @param text  not null, not inside this object
    explicit StringBuf(const char* text);
    StringBuf(const StringBuf& other);
    /// Like assign(): assigning an object to itself is a fault.
    StringBuf& operator=(const StringBuf& other);
    ~StringBuf();

    /// @return the text; valid until the next change of this object
    const char* str() const;
    /// @return its length, found by scanning
    int len() const;

    /// Replaces the contents. The source must not lie inside this object.
    void assign(const char* text);
    /// Replaces the contents by the first `count` characters of `text`, which has at least as many.
    void assign(const char* text, int count);
    /// Adds `text` to the end. The source must not lie inside this object.
    void append(const char* text);
    /// Replaces the contents by formatted text of at most WORKBUFLEN - 1 bytes.
    void format(const char* format, ...) __attribute__((format(printf, 2, 3)));
    /// Like format(), with an argument list.
    void vformat(const char* format, va_list arguments) __attribute__((format(printf, 2, 0)));
    /// Reads a line of at most WORKBUFLEN - 1 bytes, drops leading white space and keeps the rest,
    /// the line end included. At the end of input the contents become empty.
    void readLine(FILE* file);

    /// @return -1, 0 or 1 in byte order
    int compare(const StringBuf& other) const;
    int compare(const char* text) const;
    /// Compares with a..z converted to upper case. @return the first difference, 0 when there is
    /// none
    int compareNoCase(const char* text) const;

private:
    /// Asserts that `s` can be copied from; otherwise the contents stay as they are.
    bool isUsable(const char* s) const;
    void replace(const char* text, size_t length);
    void resize(size_t length);

    char* theStr;
};

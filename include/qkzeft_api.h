// Linkage and checking attributes shared by the public headers.
#ifndef QKZEFT_API_H
#define QKZEFT_API_H

/// Marks what the shared library exports; everything else has hidden visibility.
#define QK_API __attribute__((visibility("default")))

/// Makes the compiler check a printf-like function's arguments against its format.
#define QK_PRINTF_CHECKED(text, first) __attribute__((format(printf, text, first)))

#endif

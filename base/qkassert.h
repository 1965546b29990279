// The library's own assertions: never compiled out, whatever NDEBUG says.
#pragma once

/// Called with a failed condition. If it returns, the code continues.
using QkAssertHandler = void (*)(const char* condition, const char* file, int line);

/// Installs a handler for failed assertions; null restores the default, which prints the condition
/// to the standard error stream with file and line and aborts.
void qkSetAssertHandler(QkAssertHandler handler);

/// Reports a failed assertion to the handler.
void qkAssertFailed(const char* condition, const char* file, int line);

/// Ends the run, naming the condition, when it is false. On in every build type.
#define QK_ASSERT(condition) \
    ((condition) ? static_cast<void>(0) : qkAssertFailed(#condition, __FILE__, __LINE__))

/// The same with a fixed text in place of the condition.
#define QK_ASSERT_AS(condition, text) \
    ((condition) ? static_cast<void>(0) : qkAssertFailed(text, __FILE__, __LINE__))

/// Asserts, and returns the condition for code that continues because a handler returned: if
/// (!QK_CHECK(node)) return;
#define QK_CHECK(condition) QK_CHECK_AS(condition, #condition)
#define QK_CHECK_AS(condition, text) \
    ((condition) ? true : (qkAssertFailed(text, __FILE__, __LINE__), false))

// Text of any length by printf's formats.
#pragma once

#include <cstdarg>
#include <string>

/// Appends to `text` what vprintf() would print.
void appendFormatted(std::string& text, const char* format, va_list arguments)
    __attribute__((format(printf, 2, 0)));

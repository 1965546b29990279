#include "run/printout.h"

#include <cstdarg>
#include <cstdint>
#include <cstdio>

#include "base/characters.h"
#include "base/formatted.h"
#include "qkzeft_run.h"
#include "run/failure.h"

void Printout::print(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    appendFormatted(pending, format, arguments);
    va_end(arguments);
}

void Printout::addHex(int width, uint64_t value) {
    for (int digit = (width + 3) / 4 - 1; digit >= 0; --digit)
        pending.push_back(hexDigitOf(value >> (4 * digit) & 0xf));
}

void Printout::deliver() {
    if (qk_prints && !pending.empty()) qk_prints(pending.c_str());
    pending.clear();
}

void say(const char* format, ...) {
    std::string text;
    va_list arguments;
    va_start(arguments, format);
    appendFormatted(text, format, arguments);
    va_end(arguments);
    if (qk_prints) qk_prints(text.c_str());
}

bool closeWritten(std::FILE* file, const char* fileName) {
    const bool hasFailed = std::ferror(file) != 0;
    const bool isWritten = std::fclose(file) == 0 && !hasFailed;
    if (!isWritten) printFailure("Error on write to '%s'\n", fileName);
    return isWritten;
}

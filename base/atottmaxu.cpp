// The reader of numbers of at most 64 bits. It works in place and allocates nothing, as it reads
// every time line of a trace.
#include "base/characters.h"
#include "qkzeft_run.h"

namespace {

constexpr int kMostHexDigits = 16;  // underscores included

uint64_t readHex(const char*& at) {
    uint64_t value = 0;
    for (int taken = 0; taken < kMostHexDigits; ++taken, ++at) {
        if (*at == '_') continue;
        const unsigned digit = digitValue(*at);
        if (digit > 15) break;
        value = value * 16 + digit;
    }
    return value;
}

uint64_t readDecimal(const char*& at) {
    uint64_t value = 0;
    for (; isDigit(*at); ++at) value = value * 10 + static_cast<unsigned>(*at - '0');
    return value;
}

}  // namespace

uint64_t atottmaxu(const char* text, const char** end) {
    const char* at = skipSpace(text);
    if (*at == '+') ++at;
    while (*at == '0') ++at;

    const char before = at == text ? '\0' : at[-1];
    const bool isX = lowerCase(*at) == 'x';
    uint64_t value;
    if (isX && before == '0') {
        value = readHex(++at);
    } else if (isX && at[1] == '"') {
        value = readHex(at += 2);
        if (*at == '"') ++at;
    } else if (*at == '\'' && at[1] != '\0') {
        value = readHex(at += 2);  // whatever the letter of the base says
    } else {
        value = readDecimal(at);
    }
    if (end) *end = at;
    return value;
}

#include "base/formatted.h"

#include <cstdio>

void appendFormatted(std::string& text, const char* format, va_list arguments) {
    char small[256];
    va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(small, sizeof small, format, arguments);
    if (length >= 0 && static_cast<size_t>(length) < sizeof small) {
        text.append(small, static_cast<size_t>(length));
    } else if (length >= 0) {
        const size_t before = text.size();
        text.resize(before + static_cast<size_t>(length) + 1);
        std::vsnprintf(text.data() + before, static_cast<size_t>(length) + 1, format, again);
        text.pop_back();
    }
    va_end(again);
}

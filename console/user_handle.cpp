#include "console/user_handle.h"

#include "console/words.h"

std::string takeNetName(const char*& text, const char* stops) {
    const std::string ends = std::string("[") + stops;
    const char* end = text;
    const std::string first = takeWord(end, ends.c_str());
    const char* const firstEnd = end;
    std::string name = first;
    while (*end == '[' && !UserHandle(name.c_str())) {
        ++end;
        takeWord(end, ends.c_str());
        name.assign(text, end);
    }
    const bool found = name == first || UserHandle(name.c_str());
    text = found ? end : firstEnd;
    return found ? name : first;
}

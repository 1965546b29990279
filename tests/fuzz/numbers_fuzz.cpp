// Readers of numbers, times and patterns.
#include "base/literals.h"
#include "netdb/netdb.h"
#include "run/time.h"
#include "tests/fuzz/target.h"

namespace {

/// Reading stops within the text, or at its end.
void requireWithin(const char* end, const std::string& text) {
    require(end >= text.c_str() && end <= text.c_str() + text.size());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string input(reinterpret_cast<const char*>(data), size);
    const std::string text = input.c_str();  // up to the first NUL
    const char* end = nullptr;
    atottmaxu(text.c_str(), &end);
    requireWithin(end, text);
    qk_parse_time(text.c_str(), &end);
    requireWithin(end, text);
    parseConsoleTime(text.c_str());

    QkMaxuList* list = nullptr;
    if (parseValue(text.c_str(), list)) {
        require(list != nullptr && listWidth(list) >= 0);
        QkMaxuList* const copy = copyList(list);
        require(listWidth(copy) == listWidth(list));
        freeList(copy);
    } else {
        require(list == nullptr);
    }
    freeList(list);

    const size_t half = text.size() / 2;
    matchesPattern(text.substr(0, half).c_str(), text.c_str() + half, size % 2 != 0);
    require(matchesPattern(text.c_str(), "*", false));
    return 0;
}

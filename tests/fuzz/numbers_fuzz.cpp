// Readers of numbers, times and patterns.
#include <cstdlib>
#include <cstring>
#include <string>

#include "base/literals.h"
#include "netdb/netdb.h"
#include "qkzeft.h"
#include "run/time.h"
#include "tests/fuzz/target.h"

const char* const kFuzzSeeds[] = {"12",
                                  "0x1f",
                                  "8'hff",
                                  "x\"12",
                                  "16#ff#",
                                  "2#1_0#",
                                  "'d10",
                                  "017",
                                  "2.5ns",
                                  " +0.",
                                  "9999999999999999999999999",
                                  "us",
                                  "*",
                                  "a.b",
                                  "00000000000000000000",
                                  "'b",
                                  "#",
                                  "_",
                                  "1e9",
                                  " "};
const size_t kFuzzSeedCount = std::size(kFuzzSeeds);

namespace {

void require(bool condition) {
    if (!condition) std::abort();
}

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

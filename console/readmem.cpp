// The commands of memory images.
#include <algorithm>
#include <string>
#include <string_view>

#include "console/handlers.h"
#include "qkzeft_memimage.h"
#include "run/failure.h"

namespace {

/// Calls a function with the two words of an argument, which blanks separate.
int withTwoWords(const char* argument, const char* usage,
                 int (*function)(const char*, const char*)) {
    const std::string_view text(argument);
    const auto wordFrom = [&](size_t from) {
        from = std::min(text.find_first_not_of(' ', from), text.size());
        return text.substr(from, text.find(' ', from) - from);
    };
    const std::string array(wordFrom(0)), file(wordFrom(array.size()));
    if (file.empty())
        printFailure("%s", usage);
    else
        function(array.c_str(), file.c_str());
    return 1;
}

constexpr const char* kReadUsage = "Usage: readmemh <array> <file>\n";

}  // namespace

int readmemhCommand(const char* argument) {
    return withTwoWords(argument, kReadUsage, qk_readmemh);
}

int readmembCommand(const char* argument) {
    return withTwoWords(argument, kReadUsage, qk_readmemb);
}

int writememhCommand(const char* argument) {
    return withTwoWords(argument, "Usage: writememh <array> <file>\n", qk_writememh);
}

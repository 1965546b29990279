#include "console/words.h"

#include <cstring>

namespace {

bool isWordCharacter(char c) {
    return c != '\0' && (std::isalnum(static_cast<unsigned char>(c)) || std::strchr(".-_$", c));
}

}  // namespace

Assignment splitAssignment(const char* argument) {
    Assignment result;
    const char* at = skipSpace(argument ? argument : "");
    for (; isWordCharacter(*at); ++at) result.left += *at;
    if (*at) ++at;  // the character that ends the left word is dropped, whatever it is
    while (isSpace(*at) || *at == '=' || *at == '/') ++at;
    for (; isWordCharacter(*at) || (*at == '/' && !result.right.empty()); ++at)
        result.right += *at == '/' ? '.' : *at;
    return result;
}

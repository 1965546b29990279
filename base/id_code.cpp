#include "base/id_code.h"

namespace {

constexpr uint32_t kFirst = '!', kRadix = '~' - '!' + 1;

}  // namespace

int idCodeText(uint32_t number, char* out) {
    // There is no digit for zero: the first code of n characters follows the last one of n - 1.
    int length = 0;
    for (; number != 0; number /= kRadix) {
        --number;
        out[length++] = static_cast<char>(kFirst + number % kRadix);
    }
    out[length] = '\0';
    return length;
}

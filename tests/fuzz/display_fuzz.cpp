// Display tasks: any format with values of any width, signed and not, texts and nothing; the digits
// that are printed, read back.
#include <algorithm>

#include "base/wide_step.h"
#include "tests/fuzz/target.h"

namespace {

std::string said;

std::string show(const char* format, int size, uint64_t low, uint64_t high) {
    said.clear();
    qkzeft_write(0, "top", nullptr, 2, 0, format, -size, &low, &high);
    return said;
}

/// Prints a value of 65 to 128 bits in each radix and reads it back.
void checkRoundTrip(uint64_t low, uint64_t high, int width) {
    high &= width < 128 ? (uint64_t{1} << (width - 64)) - 1 : ~uint64_t{0};
    const struct {
        const char* format;
        unsigned base;
    } radices[] = {{"%h", 16}, {"%0d", 10}, {"%o", 8}, {"%0b", 2}, {"%0o", 8}};
    for (const auto& radix : radices) {
        uint64_t readHigh = 0, readLow = 0;
        for (const char c : show(radix.format, width, low, high)) {
            const auto digit = static_cast<unsigned>(c <= '9' ? c - '0' : c - 'a' + 10);
            const ChunkProduct product = multiplyAddChunk(readLow, radix.base, digit);
            readHigh = readHigh * radix.base + product.high;
            readLow = product.low;
        }
        require(readHigh == high && readLow == low);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    qk_prints = [](const char* text) { said += text; };
    qk_exit = [](int) {};
    uint64_t words[4] = {};
    std::memcpy(words, data, std::min(size, sizeof words));
    const std::string format(reinterpret_cast<const char*>(data), size);
    const auto widthOf = [&](uint64_t word) { return static_cast<int>(word % 64) + 1; };
    constexpr int kSigned = 0x40000000;
    // A pointer to 64 bits serves all widths up to that.
    qkzeft_display(0, "top", "f", 6, 0, format.c_str(), -widthOf(words[0]), &words[1],
                   -widthOf(words[1]) - kSigned, &words[2], 0, format.c_str(), 64, words[3],
                   -widthOf(words[2]) - 64, &words[0], &words[1]);
    uint32_t target[3] = {0x5a5a5a5a, 0, 0x5a5a5a5a};
    // Alone, the null text is a blank; for a conversion it begins an array.
    const char* const null = nullptr;
    qkzeft_swriteh(0, "top", "f", 4, -widthOf(words[0] % 32), &target[1], 0, format.c_str(), 7, 9u,
                   0, null, 0, uint64_t{8}, uint64_t{4}, uint64_t{3}, uint64_t{0}, &words[3]);
    require(target[0] == 0x5a5a5a5a && target[2] == 0x5a5a5a5a);
    checkRoundTrip(words[0], words[1], 65 + static_cast<int>(words[2] % 64));
    return 0;
}

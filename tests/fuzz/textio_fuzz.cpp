// Typed reads of VHDL: any text, any order of types. A value that is not there changes nothing, and
// one that is there reads the same once it has been written again.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string>

#include "qkzeft.h"
#include "tests/fuzz/target.h"

const char* const kFuzzSeeds[] = {
    "12",          "-2147483648", "2147483648 ", "+0",       "0110",     "1_0_",
    "TRUE ",       "fAlSe",       " \t\xa0",     "1.5 ns",   "2e-3 sec", "1e999",
    "1000 min",    "99.e hr",     "ns",          "0x",       "dead_bee", "7_7_7",
    "-9999999999", ".",           "E+1 fs",      "00000000", "\r",       "9223372036854775807 fs"};
const size_t kFuzzSeedCount = std::size(kFuzzSeeds);

namespace {

void require(bool condition) {
    if (!condition) std::abort();
}

#define VHDL(routine, ...) qksysvhdl_##routine(0, "fuzz", nullptr, __VA_ARGS__)

uint64_t line;

std::string rest() {
    std::string text(static_cast<size_t>(VHDL(line_length, 1, -64, &line)), ' ');
    for (size_t i = 0; i < text.size(); ++i)
        text[i] = static_cast<char>(VHDL(line_char, 2, -64, &line, 32, static_cast<int>(i) + 1));
    return text;
}

enum Type {
    kBit,
    kBoolean,
    kCharacter,
    kInteger,
    kTime,
    kBits,
    kHexadecimal,
    kOctal,
    kString,
    kTypes
};
constexpr int kVectorBits = 67, kStringBits = 72;
constexpr uint64_t kUntouched = 0x5aa5c33c5aa5c33c;

struct Value {
    uint64_t low = kUntouched;
    uint8_t high = 0x5a;
    uint64_t guard = kUntouched;
};

/// @return whether there was a value
bool read(Type type, uint64_t& from, Value& value) {
    uint8_t good = 9;
    uint64_t* const p = &value.low;
    switch (type) {
        case kBit: VHDL(read_bit, 3, -64, &from, -1, p, -1, &good); break;
        case kBoolean: VHDL(read_boolean, 3, -64, &from, -9, p, -1, &good); break;
        case kCharacter: VHDL(read_character, 3, -64, &from, -8, p, -1, &good); break;
        case kInteger: VHDL(read_integer, 3, -64, &from, -32, p, -1, &good); break;
        case kTime: VHDL(read_time, 3, -64, &from, -64, p, -1, &good); break;
        case kBits: VHDL(read_bit_vector, 3, -64, &from, -5, p, -1, &good); break;
        case kHexadecimal:
            VHDL(hread, 3, -64, &from, -kVectorBits, p, &value.high, -1, &good);
            break;
        case kOctal: VHDL(oread, 3, -64, &from, -kVectorBits, p, &value.high, -1, &good); break;
        default: VHDL(read_string, 3, -64, &from, -kStringBits, p, &value.high, -1, &good); break;
    }
    require(good <= 1);
    return good == 1;
}

void write(Type type, uint64_t& to, Value& value) {
    uint64_t* const p = &value.low;
    switch (type) {
        case kBit: VHDL(write_bit, 2, -64, &to, -1, p); break;
        case kBoolean: VHDL(write_boolean, 2, -64, &to, -9, p); break;
        case kCharacter: VHDL(write_character, 2, -64, &to, -8, p); break;
        case kInteger: VHDL(write_integer, 2, -64, &to, -32, p); break;
        // In femtoseconds, for an exact text.
        case kTime: VHDL(write_time, 5, -64, &to, -64, p, 1, 0u, 1, 0u, 1, 0u); break;
        case kBits: VHDL(write_bit_vector, 2, -64, &to, -5, p); break;
        case kHexadecimal: VHDL(hwrite, 2, -64, &to, -kVectorBits, p, &value.high); break;
        case kOctal: VHDL(owrite, 2, -64, &to, -kVectorBits, p, &value.high); break;
        default: VHDL(write_string, 2, -64, &to, -kStringBits, p, &value.high); break;
    }
}

bool same(const Value& a, const Value& b) {
    return a.low == b.low && a.high == b.high && a.guard == b.guard;
}

void step(Type type) {
    const std::string before = rest();
    Value value;
    const bool isGood = read(type, line, value);
    const std::string after = rest();
    require(value.guard == kUntouched);
    if (!isGood) {
        require(after == before && same(value, Value{}));
        return;
    }
    require(after.size() < before.size() &&
            before.compare(before.size() - after.size(), std::string::npos, after) == 0);
    uint64_t copy = 0;
    Value again;
    write(type, copy, value);
    require(read(type, copy, again) && same(value, again));
    require(VHDL(line_length, 1, -64, &copy) == 0);
    VHDL(deallocate, 1, -64, &copy);
}

void readWord() {
    const size_t before = rest().size();
    Value value;
    uint32_t count = 99;
    VHDL(sread, 3, -64, &line, -kStringBits, &value.low, &value.high, -32, &count);
    require(count <= kStringBits / 8 && before - rest().size() >= count);
    require(value.guard == kUntouched);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    qk_set_timescale("fuzz", -15, -15);
    if (size > 1000) return 0;
    std::string reversed(reinterpret_cast<const char*>(data), size);
    std::reverse(reversed.begin(), reversed.end());
    VHDL(new_line, 2, -64, &line, 0, static_cast<const char*>(nullptr), 0, uint64_t{8},
         uint64_t{size}, uint64_t{0}, uint64_t{0}, reversed.data());
    // The text itself says what is read in turn.
    for (size_t i = 0; i < std::min<size_t>(size, 20); ++i) {
        const int choice = data[size - 1 - i] % (kTypes + 1);
        if (choice == kTypes)
            readWord();
        else
            step(static_cast<Type>(choice));
    }
    VHDL(deallocate, 1, -64, &line);
    return 0;
}

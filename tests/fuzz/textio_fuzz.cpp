// Typed reads of VHDL: any text, any order of types. A value that is not there changes nothing, and
// one that is there reads the same once it has been written again.
#include <algorithm>
#include <iterator>

#include "tests/fuzz/target.h"
#include "tests/textio/typed.h"

namespace {

uint64_t line;

constexpr uint64_t kUntouched = 0x5aa5c33c5aa5c33c;

struct Value {
    uint64_t chunks[2] = {kUntouched, 0x5a};
    uint64_t guard = kUntouched;
};

int bitsOf(const Typed& type) {
    const bool isPlain = type.read == qksysvhdl_read_bit_vector;
    return type.bits ? type.bits : isPlain ? 5 : type.read == qksysvhdl_read_string ? 72 : 67;
}

/// @return whether there was a value
bool read(const Typed& type, uint64_t& from, Value& value) {
    uint8_t good = 9;
    readTyped(type.read, from, bitsOf(type), value.chunks, &good);
    require(good <= 1);
    return good == 1;
}

bool same(const Value& a, const Value& b) {
    return std::equal(a.chunks, a.chunks + 2, b.chunks) && a.guard == b.guard;
}

void step(const Typed& type) {
    const std::string before = *textOf(line);
    Value value;
    const bool isGood = read(type, line, value);
    const std::string after = *textOf(line);
    require(value.guard == kUntouched);
    if (!isGood) {
        require(after == before && same(value, Value{}));
        return;
    }
    require(after.size() < before.size() &&
            before.compare(before.size() - after.size(), std::string::npos, after) == 0);
    uint64_t copy = 0;
    Value again;
    // A time in femtoseconds, for an exact text.
    writeTyped(type.write, copy, bitsOf(type), value.chunks, type.bits == 64 ? 5 : 2);
    require(read(type, copy, again) && same(value, again));
    require(VHDL(line_length, 1, CELL(copy)) == 0);
    VHDL(deallocate, 1, CELL(copy));
}

void readWord() {
    const int before = VHDL(line_length, 1, CELL(line));
    Value value;
    int count = 99;
    VHDL(sread, 3, CELL(line), -72, &value.chunks[0], &value.chunks[1], -32, &count);
    require(count <= 9 && before - VHDL(line_length, 1, CELL(line)) >= count);
    require(value.guard == kUntouched);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    qk_set_timescale("fuzz", -15, -15);
    if (size > 1000) return 0;
    line = makeLine(std::string(reinterpret_cast<const char*>(data), size));
    // The text itself says what is read in turn.
    for (size_t i = 0; i < std::min<size_t>(size, 20); ++i) {
        const size_t choice = data[size - 1 - i] % (std::size(kTyped) + 1);
        if (choice == std::size(kTyped))
            readWord();
        else
            step(kTyped[choice]);
    }
    VHDL(deallocate, 1, CELL(line));
    return 0;
}

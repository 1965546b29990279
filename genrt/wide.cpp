// Shifts of wide values.
//
// Generated code passes the chunks of the value and the places of the result's chunks one by one,
// and for values of a few hundred bits that costs more than the shift itself. So a shift reads each
// chunk where the call has put it and stores directly to its place. As amounts vary from call to
// call, short values use the amount as an index, not in a branch.
#include "genrt/wide.h"

#include <algorithm>
#include <cstdarg>
#include <cstddef>
#include <cstring>
#include <vector>

#include "base/qkassert.h"
#include "base/storage.h"
#include "licence/licence.h"
#include "qkzeft_wide.h"

namespace {

constexpr size_t kInRegisters = 4;  ///< variable arguments in registers, after two named ones

/// Volatile, so that no two are read by one load: the call has just stored them separately, and a
/// wider load would have to wait until both stores are done.
using Argument = const volatile uint64_t;

/// The variable arguments of a call, each of 64 bits.
struct Arguments {
    Argument* first;  ///< the first kInRegisters
    Argument* rest;
    uint64_t operator[](size_t i) const { return i < kInRegisters ? first[i] : *restFrom(i); }
    /// @param i  kInRegisters or more
    Argument* restFrom(size_t i) const { return rest + (i - kInRegisters); }
};

#if defined(__x86_64__) && defined(__LP64__)

/// The list in the layout of the System V ABI (AMD64 supplement, 3.5.7): the registers that the
/// function saved, and the rest where the caller put it. With va_arg, which tests for each argument
/// which of the two it is in, a long shift takes 1.5 times as long.
class ArgumentList {
public:
    ArgumentList(std::va_list list, size_t) {
        const auto field = [&](auto& value, size_t offset) {
            std::memcpy(&value, reinterpret_cast<const char*>(list) + offset, sizeof value);
        };
        unsigned savedOffset;
        const char* saved;
        field(savedOffset, 0);
        field(arguments.rest, 8);
        field(saved, 16);
        arguments.first = reinterpret_cast<Argument*>(saved + savedOffset);
    }
    Arguments arguments;
};

#else

class ArgumentList {
public:
    ArgumentList(std::va_list list, size_t count) : copies(std::max(count, kInRegisters)) {
        // Chunks, and the same number of pointers, which may be narrower.
        for (size_t i = 0; i < count / 2; ++i) copies[i] = va_arg(list, uint64_t);
        for (size_t i = count / 2; i < count; ++i)
            copies[i] = reinterpret_cast<uintptr_t>(va_arg(list, uint64_t*));
        arguments = {copies.data(), copies.data() + kInRegisters};
    }
    Arguments arguments;

private:
    std::vector<uint64_t> copies;
};

#endif

uint64_t* placeOf(uint64_t argument) {
    return reinterpret_cast<uint64_t*>(static_cast<uintptr_t>(argument));
}

/// Asserts that the highest chunk of a value of `nbits` bits is zero above them.
void checkHighest(uint64_t v, unsigned nbits) {
    QK_ASSERT(nbits > 0);
    QK_ASSERT(nbits <= QK_MAXUBITS);
    QK_ASSERT_AS((v & ~bitMask(static_cast<int>(nbits))) == 0,
                 "0 == (v & ~QK_RMASK(QK_MAXUBITS - nbits))");
}

/// @return 64 bits, starting with bit `part` of a chunk and continuing in the chunk above it
uint64_t joined(uint64_t low, uint64_t high, unsigned part) {
    return low >> part | high << 1 << (63 - part);
}

/// Which bits to extract from the value, which has zeros on both sides. Two words, so that it is
/// passed in registers.
struct Window {
    int64_t bit;       ///< the lowest one: negative for left shifts
    uint64_t topMask;  ///< what to keep of the result's highest chunk
    ptrdiff_t chunk() const { return static_cast<ptrdiff_t>(bit >> 6); }
    unsigned part() const { return static_cast<unsigned>(bit & 63); }
};

template <size_t N, bool kLeft>
void shiftShort(Arguments arguments, Window window) {
    uint64_t row[2 * N + 1];
    uint64_t* const value = row + (kLeft ? N : 0);
    // In two pieces: for one, g++ would use a string instruction, which is slow to start.
    uint64_t* const zeros = kLeft ? row : row + N;
    std::fill_n(zeros, N / 2, 0);
    std::fill_n(zeros + N / 2, N - N / 2, 0);
    row[2 * N] = 0;
    for (size_t i = 0; i < N; ++i) value[i] = arguments[i];
    const uint64_t* const from = value + window.chunk();
    for (size_t i = 0; i < N; ++i) {
        const uint64_t chunk = joined(from[i], from[i + 1], window.part());
        *placeOf(arguments[N + i]) = i + 1 < N ? chunk : chunk & window.topMask;
    }
}

/// @param chunks  more than kInRegisters
void shiftLong(Arguments arguments, size_t chunks, Window window) {
    const auto n = static_cast<ptrdiff_t>(chunks);
    Argument* place = arguments.restFrom(chunks);
    Argument* const lastPlace = place + (n - 1);
    const auto valueAt = [&](ptrdiff_t at) {
        return at >= 0 && at < n ? arguments[static_cast<size_t>(at)] : 0;
    };
    uint64_t low = valueAt(window.chunk());
    const auto take = [&](uint64_t high) {
        *placeOf(*place++) = joined(low, high, window.part());
        low = high;
    };
    ptrdiff_t at = window.chunk() + 1;  // of the chunk above `low`
    for (; at < 0; ++at) *placeOf(*place++) = 0;
    const ptrdiff_t end = std::min(n, at + (lastPlace - place));
    const ptrdiff_t endInRegisters = std::min<ptrdiff_t>(end, kInRegisters);
    for (; at < endInRegisters; ++at) take(arguments.first[at]);
    for (; at < end; ++at) take(*arguments.restFrom(static_cast<size_t>(at)));
    while (place < lastPlace) take(0);
    *placeOf(*lastPlace) = joined(low, valueAt(at), window.part()) & window.topMask;
}

/// The shift of two chunks, the most frequent one: all arguments are in registers, and no branch
/// depends on the amount. The check comes last, so that no value must be saved across it.
template <bool kLeft>
void shiftTwo(unsigned nbits, unsigned shift, std::va_list list) {
    // The analyzer does not see that the caller has started the list.
    const auto low = va_arg(list, uint64_t);  // NOLINT(clang-analyzer-valist.Uninitialized)
    const auto high = va_arg(list, uint64_t);
    uint64_t* const lowPlace = va_arg(list, uint64_t*);
    uint64_t* const highPlace = va_arg(list, uint64_t*);
    const uint64_t keep = shift < nbits ? ~uint64_t{0} : 0;
    const uint64_t isFar = uint64_t{0} - (shift / 64 & 1);
    const uint64_t far = (kLeft ? low : high) & isFar & keep;
    const uint64_t lower = low & ~isFar & keep, upper = high & ~isFar & keep;
    const unsigned part = shift % 64;
    if (kLeft) {
        *lowPlace = lower << part;
        *highPlace =
            ((upper | far) << part | lower >> 1 >> (63 - part)) & ~uint64_t{0} >> (128 - nbits);
    } else {
        *lowPlace = joined(lower | far, upper, part);
        *highPlace = upper >> part;
    }
    if (nbits < 128) checkHighest(high, nbits - 64);
}

template <bool kLeft>
[[gnu::noinline]] void shiftMore(unsigned nbits, unsigned shift, std::va_list list) {
    const size_t chunks = wideChunks(nbits);
    if (chunks == 0) return;
    const ArgumentList passed(list, 2 * chunks);
    const Arguments arguments = passed.arguments;
    const int64_t bits = shift < nbits ? int64_t{shift} : static_cast<int64_t>(chunks) * 64;
    Window window{kLeft ? -bits : bits, ~uint64_t{0}};
    if (const unsigned topBits = nbits % 64) {
        checkHighest(arguments[chunks - 1], topBits);
        window.topMask = bitMask(static_cast<int>(topBits));
    }
    switch (chunks) {
        case 1: return shiftShort<1, kLeft>(arguments, window);
        case 3: return shiftShort<3, kLeft>(arguments, window);
        case 4: return shiftShort<4, kLeft>(arguments, window);
        case 5: return shiftShort<5, kLeft>(arguments, window);
        case 6: return shiftShort<6, kLeft>(arguments, window);
        case 7: return shiftShort<7, kLeft>(arguments, window);
        case 8: return shiftShort<8, kLeft>(arguments, window);
        case 9: return shiftShort<9, kLeft>(arguments, window);
        case 10: return shiftShort<10, kLeft>(arguments, window);
        case 11: return shiftShort<11, kLeft>(arguments, window);
        case 12: return shiftShort<12, kLeft>(arguments, window);
        case 13: return shiftShort<13, kLeft>(arguments, window);
        case 14: return shiftShort<14, kLeft>(arguments, window);
        case 15: return shiftShort<15, kLeft>(arguments, window);
        case 16: return shiftShort<16, kLeft>(arguments, window);
        default: return shiftLong(arguments, chunks, window);
    }
}

template <bool kLeft>
void shiftBy(unsigned nbits, unsigned shift, std::va_list list) {
    if (!licensed(Gate::kWideShift)) shift = nbits;
    if (nbits > 64 && nbits <= 128)
        shiftTwo<kLeft>(nbits, shift, list);
    else
        shiftMore<kLeft>(nbits, shift, list);
}

}  // namespace

void qk_wide_shift_right64(unsigned nbits, unsigned shift, ...) {
    std::va_list list;
    va_start(list, shift);
    shiftBy<false>(nbits, shift, list);
    va_end(list);
}

void qk_wide_shift_left64(unsigned nbits, unsigned shift, ...) {
    std::va_list list;
    va_start(list, shift);
    shiftBy<true>(nbits, shift, list);
    va_end(list);
}

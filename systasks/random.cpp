// $random and the $dist_ functions: their arguments and warnings.
#include <cstdarg>
#include <cstring>

#include "base/storage.h"
#include "qkzeft_module.h"
#include "qkzeft_random.h"
#include "qkzeft_run.h"
#include "systasks/distributions.h"

namespace {

/// The argument pairs of a call that have not been read.
struct Arguments {
    int pairs;
    va_list list;
};

/// Reads a size word, without the mark of a signed value.
int readSize(va_list& list) {
    constexpr int kSignedMark = 0x40000000;
    const int size = va_arg(list, int);
    if (size > kSignedMark) return size - kSignedMark;
    return size < -kSignedMark ? size + kSignedMark : size;
}

void skipText(va_list& list) {
    if (va_arg(list, const char*)) return;
    // An array: a word, the element's width, three words more, and a pointer for each 64 bits.
    va_arg(list, int);
    const auto width = static_cast<uint32_t>(va_arg(list, uint64_t));
    for (int field = 0; field < 3; ++field) va_arg(list, uint64_t);
    for (uint64_t bits = 0; bits < width; bits += 64) va_arg(list, void*);
}

/// @return the low 32 bits of the next argument; 0 when there is none, or it is a text or an array
int32_t readInteger(Arguments& arguments) {
    if (arguments.pairs <= 0) return 0;
    --arguments.pairs;
    va_list& list = arguments.list;
    const int size = readSize(list);
    if (size == 0) {
        skipText(list);
        return 0;
    }
    uint64_t low = 0;
    const int64_t width = size < 0 ? -int64_t{size} : size;
    for (int64_t at = 0; at < width; at += 64) {
        const int bits = static_cast<int>(width - at < 64 ? width - at : 64);
        uint64_t chunk = 0;
        if (size > 0) {
            chunk = bits > 32 ? va_arg(list, uint64_t) : va_arg(list, unsigned);
        } else {
            const void* const place = va_arg(list, const void*);
            if (place) chunk = loadStorage(place, storageBytes(bits));
        }
        if (at == 0) low = chunk & bitMask(bits);
    }
    return static_cast<int32_t>(low);
}

/// @return the register that is the next argument, or null when that is anything else
void* readSeedPlace(Arguments& arguments) {
    if (arguments.pairs <= 0) return nullptr;
    --arguments.pairs;
    return readSize(arguments.list) == -32 ? va_arg(arguments.list, void*) : nullptr;
}

/// Ends the run because of a call that cannot be carried out.
void endFailedRun() {
    kelvo_finish();
    qk_exit(1);
}

struct Distribution {
    const char* function;
    int32_t (*draw)(uint32_t& seed, int32_t first, int32_t second);
    const char* warning;  ///< when the first parameter is not positive; null: it may be anything
};

int32_t drawFor(const Distribution& distribution, Arguments& arguments) {
    void* const place = readSeedPlace(arguments);
    if (!place) {
        qk_printf("\n%s seed is not a 32 bit inout\n", distribution.function);
        endFailedRun();
        return 0;
    }
    const int32_t first = readInteger(arguments), second = readInteger(arguments);
    if (distribution.warning && first <= 0) {
        qk_printf("%s", distribution.warning);
        return 0;
    }
    auto seed = static_cast<uint32_t>(loadStorage(place, 4));
    const int32_t drawn = distribution.draw(seed, first, second);
    storeStorage(place, 4, seed);
    return drawn;
}

uint32_t ownSeed = 0;  // of $random without a seed

constexpr Distribution kRandom = {
    "qkzeft_random", [](uint32_t& seed, int32_t, int32_t) { return drawRandom(seed); }, nullptr};
constexpr Distribution kUniform = {"qkzeft_uniform", drawUniform, nullptr};
constexpr Distribution kNormal = {"qkzeft_normal", drawNormal, nullptr};
constexpr Distribution kExponential = {
    "qkzeft_exponential",
    [](uint32_t& seed, int32_t mean, int32_t) { return drawExponential(seed, mean); },
    "WARNING: Exponential distribution must have a positive mean\n"};
constexpr Distribution kPoisson = {
    "qkzeft_poisson", [](uint32_t& seed, int32_t mean, int32_t) { return drawPoisson(seed, mean); },
    "WARNING: Poisson distribution must have a positive mean\n"};
constexpr Distribution kChiSquare = {
    "qkzeft_chi_square",
    [](uint32_t& seed, int32_t degrees, int32_t) { return drawChiSquare(seed, degrees); },
    "WARNING: Chi_square distribution must have positive degree of freedom\n"};
constexpr Distribution kT = {
    "qkzeft_t", [](uint32_t& seed, int32_t degrees, int32_t) { return drawT(seed, degrees); },
    "WARNING: t distribution must have positive degree of freedom\n"};
constexpr Distribution kErlang = {"qkzeft_erlang", drawErlang,
                                  "WARNING: k-stage erlangian distribution must have positive k\n"};

}  // namespace

int qkzeft_random(int, const void*, const char*, int ArgPairCount, ...) {
    if (ArgPairCount <= 0) return drawRandom(ownSeed);
    Arguments arguments{ArgPairCount, {}};
    va_start(arguments.list, ArgPairCount);
    const int32_t drawn = drawFor(kRandom, arguments);
    va_end(arguments.list);
    return drawn;
}

int qkzeft_uniform(int, const void*, const char*, int ArgPairCount, ...) {
    Arguments arguments{ArgPairCount, {}};
    va_start(arguments.list, ArgPairCount);
    const int32_t drawn = drawFor(kUniform, arguments);
    va_end(arguments.list);
    return drawn;
}

int qkzeft_normal(int, const void*, const char*, int ArgPairCount, ...) {
    Arguments arguments{ArgPairCount, {}};
    va_start(arguments.list, ArgPairCount);
    const int32_t drawn = drawFor(kNormal, arguments);
    va_end(arguments.list);
    return drawn;
}

int qkzeft_exponential(int, const void*, const char*, int ArgPairCount, ...) {
    Arguments arguments{ArgPairCount, {}};
    va_start(arguments.list, ArgPairCount);
    const int32_t drawn = drawFor(kExponential, arguments);
    va_end(arguments.list);
    return drawn;
}

int qkzeft_poisson(int, const void*, const char*, int ArgPairCount, ...) {
    Arguments arguments{ArgPairCount, {}};
    va_start(arguments.list, ArgPairCount);
    const int32_t drawn = drawFor(kPoisson, arguments);
    va_end(arguments.list);
    return drawn;
}

int qkzeft_chi_square(int, const void*, const char*, int ArgPairCount, ...) {
    Arguments arguments{ArgPairCount, {}};
    va_start(arguments.list, ArgPairCount);
    const int32_t drawn = drawFor(kChiSquare, arguments);
    va_end(arguments.list);
    return drawn;
}

int qkzeft_t(int, const void*, const char*, int ArgPairCount, ...) {
    Arguments arguments{ArgPairCount, {}};
    va_start(arguments.list, ArgPairCount);
    const int32_t drawn = drawFor(kT, arguments);
    va_end(arguments.list);
    return drawn;
}

int qkzeft_erlang(int, const void*, const char*, int ArgPairCount, ...) {
    Arguments arguments{ArgPairCount, {}};
    va_start(arguments.list, ArgPairCount);
    const int32_t drawn = drawFor(kErlang, arguments);
    va_end(arguments.list);
    return drawn;
}

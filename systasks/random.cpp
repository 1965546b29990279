// $random and the $dist_ functions: their arguments and warnings.
#include <cstdarg>

#include "base/storage.h"
#include "qkzeft_random.h"
#include "qkzeft_run.h"
#include "systasks/args.h"
#include "systasks/distributions.h"

namespace {

void skipText(va_list& list) {
    if (va_arg(list, const char*)) return;
    // An array: a word, the element's width, three words more, and a pointer for each 64 bits.
    va_arg(list, int);
    const auto width = static_cast<uint32_t>(va_arg(list, uint64_t));
    for (int field = 0; field < 3; ++field) va_arg(list, uint64_t);
    for (uint64_t bits = 0; bits < width; bits += 64) va_arg(list, void*);
}

/// @return the low 32 bits of the next argument; 0 for a text or an array
int32_t readInteger(va_list& list) {
    const int size = withoutSignedMark(va_arg(list, int));
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

struct Distribution {
    const char* function;
    int32_t (*draw)(uint32_t& seed, int32_t first, int32_t second);
    const char* warning;  ///< when the first parameter is not positive; null: it may be anything
    uint32_t* ownSeed;    ///< for a call without arguments; null: it must have some
};

/// What a call passes: the seed's register, null for anything else, and two parameters, 0 when they
/// are not given.
struct Call {
    void* seed = nullptr;
    int32_t first = 0, second = 0;
};

/// Reads arguments of any form.
Call readCall(va_list& list, int pairs) {
    Call call;
    if (pairs > 0 && withoutSignedMark(va_arg(list, int)) == -32) call.seed = va_arg(list, void*);
    if (!call.seed) return call;
    if (pairs > 1) call.first = readInteger(list);
    if (pairs > 2) call.second = readInteger(list);
    return call;
}

/// Reads arguments of the usual form, all of 32 bits without a mark. No function is given the list,
/// so that the compiler can do without it.
/// @return whether they were of that form
[[gnu::always_inline]] inline bool readUsualCall(va_list& list, int pairs, Call& call) {
    if (pairs < 1) return true;
    if (va_arg(list, int) != -32) return false;
    call.seed = va_arg(list, void*);
    if (pairs > 1) {
        if (va_arg(list, int) != 32) return false;
        call.first = static_cast<int32_t>(va_arg(list, unsigned));
    }
    if (pairs > 2) {
        if (va_arg(list, int) != 32) return false;
        call.second = static_cast<int32_t>(va_arg(list, unsigned));
    }
    return true;
}

int32_t failForSeed(const char* function) {
    qk_printf("\n%s seed is not a 32 bit inout\n", function);
    endRun(1);
    return 0;
}

[[gnu::always_inline]] inline int32_t drawFor(const Distribution& distribution, const Call& call,
                                              int pairs) {
    void* const place = pairs > 0 ? call.seed : distribution.ownSeed;
    if (!place) return failForSeed(distribution.function);
    if (distribution.warning && call.first <= 0) {
        qk_printf("%s", distribution.warning);
        return 0;
    }
    auto seed = static_cast<uint32_t>(loadStorage(place, 4));
    const int32_t drawn = distribution.draw(seed, call.first, call.second);
    storeStorage(place, 4, seed);
    return drawn;
}

uint32_t ownSeed = 0;

constexpr Distribution kRandom = {"qkzeft_random",
                                  [](uint32_t& seed, int32_t, int32_t) { return drawRandom(seed); },
                                  nullptr, &ownSeed};
constexpr Distribution kUniform = {"qkzeft_uniform", drawUniform, nullptr, nullptr};
constexpr Distribution kNormal = {"qkzeft_normal", drawNormal, nullptr, nullptr};
constexpr Distribution kExponential = {
    "qkzeft_exponential",
    [](uint32_t& seed, int32_t mean, int32_t) { return drawExponential(seed, mean); },
    "WARNING: Exponential distribution must have a positive mean\n", nullptr};
constexpr Distribution kPoisson = {
    "qkzeft_poisson", [](uint32_t& seed, int32_t mean, int32_t) { return drawPoisson(seed, mean); },
    "WARNING: Poisson distribution must have a positive mean\n", nullptr};
constexpr Distribution kChiSquare = {
    "qkzeft_chi_square",
    [](uint32_t& seed, int32_t degrees, int32_t) { return drawChiSquare(seed, degrees); },
    "WARNING: Chi_square distribution must have positive degree of freedom\n", nullptr};
constexpr Distribution kT = {
    "qkzeft_t", [](uint32_t& seed, int32_t degrees, int32_t) { return drawT(seed, degrees); },
    "WARNING: t distribution must have positive degree of freedom\n", nullptr};
constexpr Distribution kErlang = {"qkzeft_erlang", drawErlang,
                                  "WARNING: k-stage erlangian distribution must have positive k\n",
                                  nullptr};

}  // namespace

// Defines a function of the interface. Arguments that are not the usual ones are read again, from a
// list of their own.
#define QK_DEFINE_DRAW(name, distribution)                            \
    int name(int, const void*, const char*, int ArgPairCount, ...) {  \
        Call call;                                                    \
        va_list list;                                                 \
        va_start(list, ArgPairCount);                                 \
        const bool isUsual = readUsualCall(list, ArgPairCount, call); \
        va_end(list);                                                 \
        if (!isUsual) {                                               \
            va_list again;                                            \
            va_start(again, ArgPairCount);                            \
            call = readCall(again, ArgPairCount);                     \
            va_end(again);                                            \
        }                                                             \
        return drawFor(distribution, call, ArgPairCount);             \
    }

QK_DEFINE_DRAW(qkzeft_random, kRandom)
QK_DEFINE_DRAW(qkzeft_uniform, kUniform)
QK_DEFINE_DRAW(qkzeft_normal, kNormal)
QK_DEFINE_DRAW(qkzeft_exponential, kExponential)
QK_DEFINE_DRAW(qkzeft_poisson, kPoisson)
QK_DEFINE_DRAW(qkzeft_chi_square, kChiSquare)
QK_DEFINE_DRAW(qkzeft_t, kT)
QK_DEFINE_DRAW(qkzeft_erlang, kErlang)

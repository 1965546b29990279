// $random and the $dist_ functions: their arguments and warnings.
#include <cstdarg>

#include "base/storage.h"
#include "qkzeft_random.h"
#include "qkzeft_run.h"
#include "systasks/args.h"
#include "systasks/distributions.h"

namespace {

struct Distribution {
    const char* function;
    int32_t (*draw)(uint32_t& seed, int32_t first, int32_t second);
    const char* warning;  ///< for a first parameter that is not positive; null: it may have any
                          ///< value
    uint32_t* ownSeed;    ///< for a call without arguments; null: arguments are required
};

/// The arguments of a call: the seed's register, null if there is none, and two parameters, 0 if
/// they are missing.
struct Call {
    void* seed = nullptr;
    int32_t first = 0, second = 0;
};

/// Reads arguments of any form.
Call readCall(TaskCall& task) {
    const auto nextSize = [&] { return withoutSignedMark(va_arg(task.list, int)); };
    Call call;
    if (task.count > 0 && nextSize() == -32) call.seed = va_arg(task.list, void*);
    if (!call.seed) return call;
    if (task.count > 1) call.first = static_cast<int32_t>(readInteger(task, nextSize()));
    if (task.count > 2) call.second = static_cast<int32_t>(readInteger(task, nextSize()));
    return call;
}

/// Reads arguments of the usual form, all of 32 bits without a mark. The list is not passed to a
/// function, so that the compiler can optimise it away.
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
uint32_t firstSeed = 0;  // the value that the own seed was set to

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

// Defines a function of the interface. Arguments of other forms are read again, from a second list.
#define QK_DEFINE_DRAW(name, distribution)                                                \
    int name(int flags, const void* instance, const char* scope, int ArgPairCount, ...) { \
        Call call;                                                                        \
        va_list list;                                                                     \
        va_start(list, ArgPairCount);                                                     \
        const bool isUsual = readUsualCall(list, ArgPairCount, call);                     \
        va_end(list);                                                                     \
        if (!isUsual) {                                                                   \
            QK_BEGIN_TASK(again, #name);                                                  \
            call = readCall(again);                                                       \
            va_end(again.list);                                                           \
        }                                                                                 \
        return drawFor(distribution, call, ArgPairCount);                                 \
    }

QK_DEFINE_DRAW(qkzeft_random, kRandom)
QK_DEFINE_DRAW(qkzeft_uniform, kUniform)
QK_DEFINE_DRAW(qkzeft_normal, kNormal)
QK_DEFINE_DRAW(qkzeft_exponential, kExponential)
QK_DEFINE_DRAW(qkzeft_poisson, kPoisson)
QK_DEFINE_DRAW(qkzeft_chi_square, kChiSquare)
QK_DEFINE_DRAW(qkzeft_t, kT)
QK_DEFINE_DRAW(qkzeft_erlang, kErlang)

void qk_set_seed(uint32_t seed) { ownSeed = firstSeed = seed; }

uint32_t qk_seed() { return firstSeed; }

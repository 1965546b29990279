// Random numbers: $random and the $dist_ functions of Verilog (IEEE 1364-2005, 17.9), which draw
// the same sequences from the same seeds as every simulator that follows the standard.
//
// Arguments are passed as to all system tasks: flags, the instance's path or module, the local
// scope, the count of argument pairs, and the pairs. The seed is the first pair, of size -32: a
// pointer to the 32-bit register that each draw advances. Any other size ends the run with status
// 1. The other arguments are integers, of which the low 32 bits count, signed; one that is missing
// counts as 0. A parameter that a distribution does not allow gives a warning and the result 0, and
// does not change the seed.
#ifndef QKZEFT_RANDOM_H
#define QKZEFT_RANDOM_H

#include <stdint.h>

#include "qkzeft_api.h"

extern "C" {

/// $random: any value. Without a pair, the library's own seed is used, which starts at 0.
QK_API int qkzeft_random(int flags, const void* instance, const char* scope, int ArgPairCount, ...);
/// Sets the seed that `$random` without an argument draws from: the next number is the first one of
/// that seed (IEEE 1364-2005, 17.9.1).
QK_API void qk_set_seed(uint32_t seed);
/// @return the seed last given to qk_set_seed(); 0 if it has not been called
QK_API uint32_t qk_seed(void);
/// $dist_uniform(seed, start, end): from start to end, both included; start if it is not below end,
/// without a draw.
QK_API int qkzeft_uniform(int flags, const void* instance, const char* scope, int ArgPairCount,
                          ...);
/// $dist_normal(seed, mean, standard deviation)
QK_API int qkzeft_normal(int flags, const void* instance, const char* scope, int ArgPairCount, ...);
/// $dist_exponential(seed, mean); the mean must be positive
QK_API int qkzeft_exponential(int flags, const void* instance, const char* scope, int ArgPairCount,
                              ...);
/// $dist_poisson(seed, mean); the mean must be positive
QK_API int qkzeft_poisson(int flags, const void* instance, const char* scope, int ArgPairCount,
                          ...);
/// $dist_chi_square(seed, degrees of freedom); they must be positive
QK_API int qkzeft_chi_square(int flags, const void* instance, const char* scope, int ArgPairCount,
                             ...);
/// $dist_t(seed, degrees of freedom); they must be positive
QK_API int qkzeft_t(int flags, const void* instance, const char* scope, int ArgPairCount, ...);
/// $dist_erlang(seed, k, mean); k must be positive
QK_API int qkzeft_erlang(int flags, const void* instance, const char* scope, int ArgPairCount, ...);

}  // extern "C"

#endif

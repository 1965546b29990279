// Random numbers through the calls of generated code, beside other simulators' code.
//
// usage: ours_random COUNT
#include "bench/peers/draws.h"
#include "qkzeft.h"

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s COUNT\n", argv[0]);
        return 2;
    }
    const size_t count = std::strtoull(argv[1], nullptr, 10);
    uint32_t seed = 1;
    // The loop-heavy draws run fewer times, as in the other programs.
    measure("random_Mdraws_per_s", count, [] { return qkzeft_random(0, "top", nullptr, 0); });
    measure("random_seed_Mdraws_per_s", count,
            [&] { return qkzeft_random(0, "top", nullptr, 1, -32, &seed); });
    measure("uniform_Mdraws_per_s", count,
            [&] { return qkzeft_uniform(0, "top", nullptr, 3, -32, &seed, 32, -1000, 32, 1000); });
    measure("normal_Mdraws_per_s", count,
            [&] { return qkzeft_normal(0, "top", nullptr, 3, -32, &seed, 32, 0, 32, 1000); });
    measure("exponential_Mdraws_per_s", count,
            [&] { return qkzeft_exponential(0, "top", nullptr, 2, -32, &seed, 32, 1000); });
    measure("poisson_Mdraws_per_s", count / 4,
            [&] { return qkzeft_poisson(0, "top", nullptr, 2, -32, &seed, 32, 10); });
    measure("chi_square_Mdraws_per_s", count / 4,
            [&] { return qkzeft_chi_square(0, "top", nullptr, 2, -32, &seed, 32, 10); });
    return sum == 1 ? 3 : 0;  // the sum is used
}

// Verilator's draws, called as its generated code calls them.
//
// usage: verilator_random COUNT
#include <verilated.h>

#include "bench/peers/draws.h"

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s COUNT\n", argv[0]);
        return 2;
    }
    const size_t count = std::strtoull(argv[1], nullptr, 10);
    IData seed = 1;
    measure("random_seed_Mdraws_per_s", count, [&] { return VL_RANDOM_SEEDED_II(seed); });
    measure("uniform_Mdraws_per_s", count,
            [&] { return VL_DIST_UNIFORM(seed, static_cast<IData>(-1000), 1000); });
    measure("normal_Mdraws_per_s", count, [&] { return VL_DIST_NORMAL(seed, 0, 1000); });
    measure("exponential_Mdraws_per_s", count, [&] { return VL_DIST_EXPONENTIAL(seed, 1000); });
    measure("poisson_Mdraws_per_s", count / 4, [&] { return VL_DIST_POISSON(seed, 10); });
    measure("chi_square_Mdraws_per_s", count / 4, [&] { return VL_DIST_CHI_SQUARE(seed, 10); });
    return sum == 1 ? 3 : 0;  // the sum is used
}

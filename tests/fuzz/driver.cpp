// Runs a fuzz target on a fixed number of inputs from a fixed seed: pieces of the seeds that the
// target names, joined, cut and damaged at random.
//
// usage: TARGET [COUNT [SEED]]
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>

#include "tests/fuzz/target.h"

namespace {

std::string makeInput(std::mt19937_64& random) {
    const auto upTo = [&](size_t limit) { return static_cast<size_t>(random() % limit); };
    std::string input;
    for (auto pieces = random() % 6; pieces > 0; --pieces) {
        std::string piece = kFuzzSeeds[random() % kFuzzSeedCount];
        if (random() % 3 == 0) piece.resize(upTo(piece.size() + 1));
        if (random() % 4 == 0) piece.append(upTo(300), static_cast<char>(random()));
        input += piece;
    }
    for (auto damages = random() % 4; damages > 0 && !input.empty(); --damages)
        input[upTo(input.size())] = static_cast<char>(random());
    return input;
}

}  // namespace

int main(int argc, char** argv) {
    const uint64_t count = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 20000;
    const uint64_t seed = argc > 2 ? std::strtoull(argv[2], nullptr, 10) : 1;
    std::printf("%llu inputs from seed %llu\n", static_cast<unsigned long long>(count),
                static_cast<unsigned long long>(seed));
    std::mt19937_64 random(seed);
    for (uint64_t i = 0; i < count; ++i) {
        const std::string input = makeInput(random);
        LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(input.data()), input.size());
    }
}

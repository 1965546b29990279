#include "licence/licence.h"

#include <cstdio>
#include <iterator>

#include "qkzeft_console.h"
#include "qkzeft_licence.h"
#include "qkzeft_run.h"

bool licencePolicySet = false;

namespace {

constexpr const char* kGateNames[] = {"run",    "traceto",    "savesim", "validate",
                                      "malloc", "wide_shift", "display", "array_string"};
static_assert(std::size(kGateNames) == static_cast<size_t>(Gate::kCount), "one name a gate");

int (*policy)(const char* gate) = nullptr;
bool refused[std::size(kGateNames)] = {};
int (*generatorCheck)(unsigned word1, unsigned word2, uint64_t shape) = nullptr;

}  // namespace

bool askLicencePolicy(Gate gate) {
    const auto index = static_cast<size_t>(gate);
    if (refused[index]) return false;
    if (policy(kGateNames[index])) return true;
    refused[index] = true;
    constexpr const char* text = "ZEFT: no licence for %s\n";
    if (gate == Gate::kValidate) {
        std::fprintf(stderr, text, kGateNames[index]);
    } else {
        qk_printf(text, kGateNames[index]);
    }
    return false;
}

void qk_licence_policy(int (*newPolicy)(const char* gate)) {
    policy = newPolicy;
    licencePolicySet = newPolicy != nullptr;
    for (bool& gate : refused) gate = false;
}

void qk_generator_check(int (*check)(unsigned word1, unsigned word2, uint64_t shape)) {
    generatorCheck = check;
}

bool generatorAccepted(const unsigned words[2], uint64_t shape) {
    return words[0] == 0 || !generatorCheck || generatorCheck(words[0], words[1], shape) != 0;
}

// The gates of the library, and the one place that decides whether they are open.
#pragma once

#include <cstdint>

enum class Gate {
    kRun,
    kTraceto,
    kSavesim,
    kValidate,
    kMalloc,
    kWideShift,
    kDisplay,
    kArrayString,
    kCount
};

/// A policy is set: gates must ask it. Written by qk_licence_policy().
extern bool licencePolicySet;

/// Asks the policy; prints once what was refused.
bool askLicencePolicy(Gate gate);

/// @return whether the gate is open. Costs one branch without a policy
inline bool licensed(Gate gate) { return !licencePolicySet || askLicencePolicy(gate); }

/// @return whether a registration section with these generator words is accepted
bool generatorAccepted(const unsigned words[2], uint64_t shape);

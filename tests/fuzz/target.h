// What a fuzz target gives to libFuzzer, and to the driver of fixed runs.
#pragma once

#include <cstddef>
#include <cstdint>

/// Texts that inputs are made of.
extern const char* const kFuzzSeeds[];
extern const size_t kFuzzSeedCount;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

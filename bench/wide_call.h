// Calls of the wide shifts as generated code makes them: with each chunk and each place as an
// argument.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>

using WideShift = void (*)(unsigned bits, unsigned amount, ...);

/// @param value, result  (Bits + 63) / 64 chunks
template <unsigned Bits>
void callWideShift(WideShift shift, unsigned amount, const uint64_t* value, uint64_t* result) {
    [&]<size_t... I>(std::index_sequence<I...>) { shift(Bits, amount, value[I]..., &result[I]...); }
    (std::make_index_sequence<(Bits + 63) / 64>{});
}

// Blocks of LZ4: literals, and copies of what stands at most 64 KiB before.
//
// Made for many short blocks: one costs little beside its bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

class Lz4Packer {
public:
    Lz4Packer();
    /// Packs `size` bytes.
    /// @param out  room for as many bytes
    /// @return the bytes of the block; 0 if it would not be smaller than what it holds
    size_t pack(const unsigned char* in, size_t size, unsigned char* out);

private:
    void forget();

    std::vector<uint32_t> places;  ///< by a hash of four bytes: where they were last, from `origin`
    uint32_t origin;
};

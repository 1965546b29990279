// Blocks of LZ4: literals, and copies of bytes at most 64 KiB before.
//
// Made for many short blocks: the overhead of a block is small.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

class Lz4Packer {
public:
    Lz4Packer();
    /// Packs `size` bytes.
    /// @param out  room for as many bytes
    /// @return the size of the block; 0 if it would not be smaller than its contents
    size_t pack(const unsigned char* in, size_t size, unsigned char* out);

private:
    void forget();

    std::vector<uint32_t> places;  ///< by a hash of four bytes: their last place, counted from
                                   ///< `origin`
    uint32_t origin;
};

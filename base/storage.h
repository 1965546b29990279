// Reading and writing model storage.
//
// A value of up to 64 bits is held in 1, 2, 4 or 8 bytes, depending on its width. Storage may be
// less aligned than that, so every access copies bytes.
#pragma once

#include <cstdint>
#include <cstring>

/// The maximum number of bits of a trace, a chunk or a part.
#define QK_MAXUBITS 64

/// @return the low `width` bits set; `width` is 0 to 64
inline uint64_t bitMask(int width) {
    return width >= 64 ? ~uint64_t{0} : (uint64_t{1} << width) - 1;
}

/// @return bytes of storage for a value of `width` bits, 1 to 64: 1, 2, 4 or 8
inline int storageBytes(int width) {
    return width <= 8 ? 1 : width <= 16 ? 2 : width <= 32 ? 4 : 8;
}

/// @return the value in `bytes` (1, 2, 4 or 8) bytes at `address`
inline uint64_t loadStorage(const void* address, int bytes) {
    switch (bytes) {
        case 1: return *static_cast<const uint8_t*>(address);
        case 2: {
            uint16_t value;
            std::memcpy(&value, address, sizeof value);
            return value;
        }
        case 4: {
            uint32_t value;
            std::memcpy(&value, address, sizeof value);
            return value;
        }
        default: {
            uint64_t value;
            std::memcpy(&value, address, sizeof value);
            return value;
        }
    }
}

/// Stores the low `bytes` (1, 2, 4 or 8) bytes of `value` at `address`.
inline void storeStorage(void* address, int bytes, uint64_t value) {
    switch (bytes) {
        case 1: *static_cast<uint8_t*>(address) = static_cast<uint8_t>(value); return;
        case 2: {
            const auto narrow = static_cast<uint16_t>(value);
            std::memcpy(address, &narrow, sizeof narrow);
            return;
        }
        case 4: {
            const auto narrow = static_cast<uint32_t>(value);
            std::memcpy(address, &narrow, sizeof narrow);
            return;
        }
        default: std::memcpy(address, &value, sizeof value); return;
    }
}

/// ORs a value of `width` bits, 1 to 64, into one kept in chunks of 64 bits.
/// @param offset   of its low bit from that of the whole
/// @param chunkAt  gives a reference to the chunk of a number, chunk 0 being the least significant
template <class ChunkAt>
void placeBits(int offset, int width, uint64_t value, ChunkAt&& chunkAt) {
    const int shift = offset % QK_MAXUBITS;
    chunkAt(offset / QK_MAXUBITS) |= value << shift;
    if (shift + width > QK_MAXUBITS)
        chunkAt(offset / QK_MAXUBITS + 1) |= value >> (QK_MAXUBITS - shift);
}

inline void placeBits(uint64_t* chunks, int offset, int width, uint64_t value) {
    placeBits(offset, width, value, [&](int at) -> uint64_t& { return chunks[at]; });
}

// The inner loops for any machine; on x86-64 with the vector unit that all of them have.
#include <cstring>

#include "tracing/capture_blocks.h"
#include "tracing/hot_loops.h"
#include "tracing/hot_loops_units.h"
#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace {

struct Unit {
#ifdef __SSE2__
    using Vector = __m128i;
    static Vector load(const unsigned char* p) {
        return _mm_loadu_si128(reinterpret_cast<const Vector*>(p));
    }
    static Vector equal(const unsigned char* a, const unsigned char* b) {
        return _mm_cmpeq_epi8(load(a), load(b));
    }
    static uint64_t differ(const unsigned char* a, const unsigned char* b) {
        uint64_t same = 0;
        for (int i = 0; i < 4; ++i) {
            const int bits = _mm_movemask_epi8(equal(a + 16 * i, b + 16 * i));
            same |= uint64_t{static_cast<unsigned>(bits)} << (16 * i);
        }
        return ~same;
    }
    static bool differ(const unsigned char* a, const unsigned char* b, size_t bytes) {
        return __builtin_memcmp(a, b, bytes) != 0;
    }
    static bool differAny(const unsigned char* a, const unsigned char* b) {
        Vector same = equal(a, b);
        for (int i = 1; i < 16; ++i) same = _mm_and_si128(same, equal(a + 16 * i, b + 16 * i));
        return _mm_movemask_epi8(same) != 0xffff;
    }
    static bool anyNew(const unsigned char* a, const unsigned char* b, const unsigned char* old) {
        Vector found = _mm_setzero_si128();
        for (int i = 0; i < 256; i += 16) {
            const Vector changed = _mm_xor_si128(load(a + i), load(b + i));
            found = _mm_or_si128(found, _mm_andnot_si128(load(old + i), changed));
        }
        return _mm_movemask_epi8(_mm_cmpeq_epi8(found, _mm_setzero_si128())) != 0xffff;
    }
    static void copy(const unsigned char* from, unsigned char* to) {
        for (int i = 0; i < 4; ++i)
            _mm_storeu_si128(reinterpret_cast<Vector*>(to + 16 * i), load(from + 16 * i));
    }
#else
    static uint64_t word(const unsigned char* p) {
        uint64_t w;
        std::memcpy(&w, p, sizeof w);
        return w;
    }
    static uint64_t differ(const unsigned char* a, const unsigned char* b) {
        uint64_t bits = 0;
        for (int i = 0; i < 64; i += 8) {
            if (word(a + i) == word(b + i)) continue;
            for (int k = 0; k < 8; ++k) bits |= uint64_t{a[i + k] != b[i + k]} << (i + k);
        }
        return bits;
    }
    static bool differ(const unsigned char* a, const unsigned char* b, size_t bytes) {
        return __builtin_memcmp(a, b, bytes) != 0;
    }
    static bool differAny(const unsigned char* a, const unsigned char* b) {
        uint64_t bits = 0;
        for (int i = 0; i < 256; i += 8) bits |= word(a + i) ^ word(b + i);
        return bits != 0;
    }
    static bool anyNew(const unsigned char* a, const unsigned char* b, const unsigned char* old) {
        uint64_t bits = 0;
        for (int i = 0; i < 256; i += 8) bits |= (word(a + i) ^ word(b + i)) & ~word(old + i);
        return bits != 0;
    }
    static void copy(const unsigned char* from, unsigned char* to) { std::memcpy(to, from, 64); }
#endif

    /// Appends those of the picks lo..hi that contain a byte of `m`; may write one place past the
    /// end.
    static uint32_t* pick(uint32_t* out, uint64_t m, const uint64_t* masks, uint32_t lo,
                          uint32_t hi) {
        for (uint32_t id = lo; id < hi; ++id) {
            *out = id;
            out += (m & masks[id]) != 0;
        }
        return out;
    }

    struct Marks {
        uint64_t words[kMarkGroup];
        void load(const uint64_t* from) { std::memcpy(words, from, sizeof words); }
        void store(uint64_t* to) const { std::memcpy(to, words, sizeof words); }
        void add(uint32_t position) { words[position / 64] |= uint64_t{1} << position % 64; }
    };

    /// Appends first + i for each bit i of `set`.
    static uint32_t* list(uint32_t* out, uint64_t set, uint32_t first) {
        for (; set; set &= set - 1) *out++ = first + static_cast<uint32_t>(__builtin_ctzll(set));
        return out;
    }

    static void expand(char* out, uint64_t v) {
        for (int i = 0; i < 8; ++i) {
            // A byte's bits, one in each of eight bytes, the highest first in memory; the sum
            // carries each into the top of its byte.
            const uint64_t byte = v >> (56 - 8 * i) & 0xff;
            const uint64_t spread = byte * 0x0101010101010101 & 0x0102040810204080;
            const uint64_t digits =
                ((spread + 0x7f7e7c7870604000) >> 7 & 0x0101010101010101) | 0x3030303030303030;
            std::memcpy(out + 8 * i, &digits, sizeof digits);
        }
    }
};

}  // namespace

#include "tracing/hot_loops.inl"

const HotLoops kPlainLoops{findChanges,  listChanges, firstDifferent, copyBlocks,
                           countToggles, writeText,   "plain"};

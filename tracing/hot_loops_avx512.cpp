// The inner loops for machines with AVX-512 (BW, VL). Compiled with it enabled: see hot_loops.inl.
#include <immintrin.h>

#include "tracing/hot_loops.h"
#include "tracing/hot_loops_units.h"

namespace {

struct Unit {
    using Vector = __m512i;
    static Vector load(const unsigned char* p) { return _mm512_loadu_si512(p); }
    static uint64_t differ(const unsigned char* a, const unsigned char* b) {
        return _mm512_cmpneq_epi8_mask(load(a), load(b));
    }
    static bool differ(const unsigned char* a, const unsigned char* b, size_t bytes) {
        const __mmask64 within = (uint64_t{1} << bytes) - 1;
        return _mm512_mask_cmpneq_epi8_mask(within, _mm512_maskz_loadu_epi8(within, a),
                                            _mm512_maskz_loadu_epi8(within, b)) != 0;
    }
    static bool differAny(const unsigned char* a, const unsigned char* b) {
        Vector different = _mm512_xor_si512(load(a), load(b));
        for (int i = 1; i < 4; ++i)  // different | (a ^ b)
            different =
                _mm512_ternarylogic_epi64(different, load(a + 64 * i), load(b + 64 * i), 0xf6);
        return _mm512_test_epi64_mask(different, different) != 0;
    }
    static bool anyNew(const unsigned char* a, const unsigned char* b, const unsigned char* old) {
        Vector found = _mm512_setzero_si512();
        for (int i = 0; i < 256; i += 64)  // (a ^ b) & ~old
            found = _mm512_or_si512(
                found, _mm512_ternarylogic_epi64(load(a + i), load(b + i), load(old + i), 0x14));
        return _mm512_test_epi64_mask(found, found) != 0;
    }
    static void copy(const unsigned char* from, unsigned char* to) {
        _mm512_storeu_si512(to, load(from));
    }

    /// Appends those of the picks lo..hi that contain a byte of `m`; may read and write 7 places
    /// beyond.
    static uint32_t* pick(uint32_t* out, uint64_t m, const uint64_t* masks, uint32_t lo,
                          uint32_t hi) {
        const Vector bytes = _mm512_set1_epi64(static_cast<long long>(m));
        __m256i ids = _mm256_add_epi32(_mm256_set1_epi32(static_cast<int>(lo)),
                                       _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7));
        for (uint32_t id = lo; id < hi;
             id += 8, ids = _mm256_add_epi32(ids, _mm256_set1_epi32(8))) {
            unsigned wanted = _mm512_test_epi64_mask(bytes, _mm512_loadu_si512(masks + id));
            if (hi - id < 8) wanted &= (1u << (hi - id)) - 1;
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(out),
                                _mm256_maskz_compress_epi32(static_cast<__mmask8>(wanted), ids));
            out += __builtin_popcount(wanted);
        }
        return out;
    }

    struct Marks {
        Vector words;
        void load(const uint64_t* from) { words = _mm512_loadu_si512(from); }
        void store(uint64_t* to) const { _mm512_storeu_si512(to, words); }
        void add(uint32_t position) {  // shifts by 64 or more give 0
            const Vector first = _mm512_setr_epi64(0, 64, 128, 192, 256, 320, 384, 448);
            const Vector shifts = _mm512_sub_epi64(_mm512_set1_epi64(position), first);
            words =
                _mm512_or_si512(words, _mm512_maskz_sllv_epi64(0xff, _mm512_set1_epi64(1), shifts));
        }
    };

    /// Appends first + i for each bit i of `set`; may write 15 places beyond.
    static uint32_t* list(uint32_t* out, uint64_t set, uint32_t first) {
        Vector ids = _mm512_add_epi32(
            _mm512_set1_epi32(static_cast<int>(first)),
            _mm512_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15));
        for (int i = 0; i < 4; ++i, set >>= 16) {
            const auto part = static_cast<__mmask16>(set);
            _mm512_storeu_si512(out, _mm512_maskz_compress_epi32(part, ids));
            out += __builtin_popcount(part);
            ids = _mm512_add_epi32(ids, _mm512_set1_epi32(16));
        }
        return out;
    }

    static void expand(char* out, uint64_t v) {
        const Vector spread = _mm512_set_epi64(
            0, 0x0101010101010101, 0x0202020202020202, 0x0303030303030303, 0x0404040404040404,
            0x0505050505050505, 0x0606060606060606, 0x0707070707070707);
        const Vector bytes =
            _mm512_shuffle_epi8(_mm512_set1_epi64(static_cast<long long>(v)), spread);
        const __mmask64 isClear =
            _mm512_testn_epi8_mask(bytes, _mm512_set1_epi64(0x0102040810204080));
        _mm512_storeu_si512(out, _mm512_add_epi8(_mm512_movm_epi8(isClear), _mm512_set1_epi8('1')));
    }
};

}  // namespace

#include "tracing/hot_loops.inl"

const HotLoops kAvx512Loops{findChanges,  listChanges, firstDifferent, copyBlocks,
                            countToggles, writeText,   "avx-512"};

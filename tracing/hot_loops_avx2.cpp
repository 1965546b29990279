// The inner loops for machines with AVX2. Compiled with it enabled: see hot_loops.inl.
#include <immintrin.h>

#include "tracing/hot_loops.h"
#include "tracing/hot_loops_units.h"

namespace {

/// Byte shuffles that move the wanted ones of four 32-bit lanes to the front.
struct Squeeze {
    alignas(16) unsigned char order[16][16];
    constexpr Squeeze() : order() {
        for (int wanted = 0; wanted < 16; ++wanted) {
            int at = 0;
            for (int lane = 0; lane < 4; ++lane) {
                if (!(wanted >> lane & 1)) continue;
                for (int byte = 0; byte < 4; ++byte)
                    order[wanted][4 * at + byte] = static_cast<unsigned char>(4 * lane + byte);
                ++at;
            }
        }
    }
};
constexpr Squeeze kSqueeze;

struct Unit {
    using Vector = __m256i;
    static Vector load(const unsigned char* p) {
        return _mm256_loadu_si256(reinterpret_cast<const Vector*>(p));
    }
    static Vector equal(const unsigned char* a, const unsigned char* b) {
        return _mm256_cmpeq_epi8(load(a), load(b));
    }
    static uint64_t differ(const unsigned char* a, const unsigned char* b) {
        const auto low = static_cast<uint32_t>(_mm256_movemask_epi8(equal(a, b)));
        const auto high = static_cast<uint32_t>(_mm256_movemask_epi8(equal(a + 32, b + 32)));
        return ~(uint64_t{high} << 32 | low);
    }
    static bool differ(const unsigned char* a, const unsigned char* b, size_t bytes) {
        return __builtin_memcmp(a, b, bytes) != 0;
    }
    static bool differAny(const unsigned char* a, const unsigned char* b) {
        Vector same = equal(a, b);
        for (int i = 1; i < 8; ++i) same = _mm256_and_si256(same, equal(a + 32 * i, b + 32 * i));
        return _mm256_movemask_epi8(same) != -1;
    }
    static bool anyNew(const unsigned char* a, const unsigned char* b, const unsigned char* old) {
        Vector found = _mm256_setzero_si256();
        for (int i = 0; i < 256; i += 32) {
            const Vector changed = _mm256_xor_si256(load(a + i), load(b + i));
            found = _mm256_or_si256(found, _mm256_andnot_si256(load(old + i), changed));
        }
        return _mm256_testz_si256(found, found) == 0;
    }
    static void copy(const unsigned char* from, unsigned char* to) {
        const Vector low = load(from), high = load(from + 32);
        _mm256_storeu_si256(reinterpret_cast<Vector*>(to), low);
        _mm256_storeu_si256(reinterpret_cast<Vector*>(to + 32), high);
    }

    /// Appends those of the picks lo..hi that contain a byte of `m`; may read and write 3 places
    /// beyond.
    static uint32_t* pick(uint32_t* out, uint64_t m, const uint64_t* masks, uint32_t lo,
                          uint32_t hi) {
        const Vector bytes = _mm256_set1_epi64x(static_cast<long long>(m));
        const Vector none = _mm256_setzero_si256();
        __m128i ids =
            _mm_add_epi32(_mm_set1_epi32(static_cast<int>(lo)), _mm_setr_epi32(0, 1, 2, 3));
        for (uint32_t id = lo; id < hi; id += 4, ids = _mm_add_epi32(ids, _mm_set1_epi32(4))) {
            const Vector four = _mm256_loadu_si256(reinterpret_cast<const Vector*>(masks + id));
            const Vector missed = _mm256_cmpeq_epi64(_mm256_and_si256(bytes, four), none);
            unsigned wanted =
                ~static_cast<unsigned>(_mm256_movemask_pd(_mm256_castsi256_pd(missed))) & 15;
            if (hi - id < 4) wanted &= (1u << (hi - id)) - 1;
            const __m128i order =
                _mm_load_si128(reinterpret_cast<const __m128i*>(kSqueeze.order[wanted]));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_shuffle_epi8(ids, order));
            out += __builtin_popcount(wanted);
        }
        return out;
    }

    struct Marks {
        Vector low, high;
        void load(const uint64_t* from) {
            low = _mm256_loadu_si256(reinterpret_cast<const Vector*>(from));
            high = _mm256_loadu_si256(reinterpret_cast<const Vector*>(from + 4));
        }
        void store(uint64_t* to) const {
            _mm256_storeu_si256(reinterpret_cast<Vector*>(to), low);
            _mm256_storeu_si256(reinterpret_cast<Vector*>(to + 4), high);
        }
        void add(uint32_t position) {  // shifts by 64 or more give 0
            const Vector all = _mm256_set1_epi64x(position), one = _mm256_set1_epi64x(1);
            const Vector first = _mm256_setr_epi64x(0, 64, 128, 192);
            const Vector second = _mm256_setr_epi64x(256, 320, 384, 448);
            low = _mm256_or_si256(low, _mm256_sllv_epi64(one, _mm256_sub_epi64(all, first)));
            high = _mm256_or_si256(high, _mm256_sllv_epi64(one, _mm256_sub_epi64(all, second)));
        }
    };

    /// Appends first + i for each bit i of `set`.
    static uint32_t* list(uint32_t* out, uint64_t set, uint32_t first) {
        for (; set; set &= set - 1) *out++ = first + static_cast<uint32_t>(__builtin_ctzll(set));
        return out;
    }

    static void expand(char* out, uint64_t v) {
        const Vector bytes = _mm256_set1_epi64x(static_cast<long long>(v));
        expandHalf(out, bytes, 0x0404040404040404);
        expandHalf(out + 32, bytes, 0);
    }
    /// Writes the digits of four bytes, the lowest of which is the number `low`, eight times over.
    static void expandHalf(char* out, Vector bytes, long long low) {
        constexpr long long kNext = 0x0101010101010101;
        const Vector spread =
            _mm256_setr_epi64x(low + 3 * kNext, low + 2 * kNext, low + kNext, low);
        const Vector bit = _mm256_set1_epi64x(0x0102040810204080);
        const Vector isSet =
            _mm256_cmpeq_epi8(_mm256_and_si256(_mm256_shuffle_epi8(bytes, spread), bit), bit);
        _mm256_storeu_si256(reinterpret_cast<Vector*>(out),
                            _mm256_sub_epi8(_mm256_set1_epi8('0'), isSet));
    }
};

}  // namespace

#include "tracing/hot_loops.inl"

const HotLoops kAvx2Loops{findChanges,  listChanges, firstDifferent, copyBlocks,
                          countToggles, writeText,   "avx2"};

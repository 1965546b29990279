// Wide shifts, against exact arithmetic of another language and against bits moved one by one.
#include "genrt/wide.h"

#include <gmock/gmock.h>

#include <array>
#include <fstream>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "qkzeft_wide.h"
#include "tests/base/failed_assertions.h"

namespace {

using Wide = std::vector<uint64_t>;
using Shift = decltype(&qk_wide_shift_left64);

/// A call with as many arguments as a value of N chunks has.
template <size_t N>
Wide call(Shift shift, unsigned bits, unsigned amount, const Wide& value) {
    Wide result(N, 0x5555555555555555);
    [&]<size_t... I>(std::index_sequence<I...>) { shift(bits, amount, value[I]..., &result[I]...); }
    (std::make_index_sequence<N>{});
    return result;
}

Wide shifted(Shift shift, unsigned bits, unsigned amount, const Wide& value) {
    static constexpr auto kCalls = []<size_t... N>(std::index_sequence<N...>) {
        return std::array{&call<N>...};
    }
    (std::make_index_sequence<71>{});
    return kCalls.at(value.size())(shift, bits, amount, value);
}

/// Bits `from`, `from` + 1 and so on of a value, as a value of `bits` bits.
Wide bitsFrom(const Wide& value, int64_t from, unsigned bits) {
    Wide result(wideChunks(bits), 0);
    for (unsigned i = 0; i < bits; ++i, ++from) {
        const bool isInside = from >= 0 && from < static_cast<int64_t>(value.size() * 64);
        if (isInside && (value[static_cast<size_t>(from / 64)] >> (from % 64) & 1))
            result[i / 64] |= uint64_t{1} << (i % 64);
    }
    return result;
}

TEST(WideShiftTest, AgreesWithExactArithmetic) {
    std::ifstream table(ZEFT_GOLDEN_DIR "/shift.tsv");
    std::string line, texts[3];
    std::getline(table, line);  // where it comes from
    std::getline(table, line);  // column names
    unsigned bits, amount;
    int rows = 0;
    for (; table >> bits >> amount >> texts[0] >> texts[1] >> texts[2]; ++rows) {
        SCOPED_TRACE(std::to_string(bits) + " bits by " + std::to_string(amount));
        Wide values[3];
        for (size_t i = 0; i < 3; ++i)
            for (unsigned chunk = 0; chunk < wideChunks(bits); ++chunk) {
                const size_t start = texts[i].size() - std::min<size_t>(16, texts[i].size());
                values[i].push_back(std::stoull("0" + texts[i].substr(start), nullptr, 16));
                texts[i].resize(start);
            }
        EXPECT_EQ(shifted(qk_wide_shift_left64, bits, amount, values[0]), values[1]);
        EXPECT_EQ(shifted(qk_wide_shift_right64, bits, amount, values[0]), values[2]);
    }
    EXPECT_EQ(rows, 150);
}

TEST(WideShiftTest, MovesEachBitAtEveryWidth) {
    std::mt19937_64 random(20240);
    std::vector<unsigned> widths{2047, 2048, 4096, 4479};
    for (unsigned bits = 1; bits <= 1300; bits += 1 + bits % 64 / 3) widths.push_back(bits);
    for (const unsigned bits : widths) {
        Wide value(wideChunks(bits));
        for (uint64_t& chunk : value) chunk = random();
        value = bitsFrom(value, 0, bits);
        const auto any = static_cast<unsigned>(random() % bits);
        for (const unsigned amount : {0u, 1u, 63u, 64u, 65u, 128u, 255u, 257u, any, bits - 1, bits,
                                      bits + 1, bits + 64, 1u << 31, ~0u}) {
            SCOPED_TRACE(std::to_string(bits) + " bits by " + std::to_string(amount));
            const Wide right = bitsFrom(value, amount, bits);
            ASSERT_EQ(shifted(qk_wide_shift_right64, bits, amount, value), right);
            ASSERT_EQ(shifted(qk_wide_shift_left64, bits, amount, value),
                      bitsFrom(value, -int64_t{amount}, bits));
        }
    }
}

TEST(WideShiftTest, BitsAboveTheWidthAreTheCallersFault) {
    FailedAssertions failed;
    const uint64_t value[] = {1, 2};
    uint64_t low = 1, high = 1;
    qk_wide_shift_left64(65, 64, value[0], value[1], &low, &high);
    qk_wide_shift_right64(65, 65, value[0], value[1], &low, &high);
    EXPECT_EQ(low | high, 0u);
    qk_wide_shift_right64(0, 0);
    const char* const text = "0 == (v & ~QK_RMASK(QK_MAXUBITS - nbits))";
    EXPECT_THAT(failed.take(), testing::ElementsAre(text, text));
}

}  // namespace

#include "tracing/hot_loops.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "base/copied_bytes.h"
#include "base/id_code.h"
#include "base/storage.h"
#include "tests/tracing/vector_units.h"
#include "tracing/vcd_file.h"

namespace {

/// The text of history by its definition: one digit at a time.
std::string textByDefinition(const std::vector<OutputChange>& changes,
                             const std::vector<uint64_t>& tails,
                             const std::vector<std::string>& codes, bool signedTimes) {
    std::string text;
    std::string digits;
    uint64_t lastTime = ~uint64_t{0};
    for (const OutputChange& change : changes) {
        if (change.slot == kTimeMarker) {
            if (change.value != lastTime)
                text += "#" +
                        (signedTimes ? std::to_string(static_cast<int64_t>(change.value))
                                     : std::to_string(change.value)) +
                        "\n";
            lastTime = change.value;
            continue;
        }
        if (tails[change.slot] == 0) continue;
        const bool isVector = (tails[change.slot] & 0xff) == ' ';
        const auto bits = static_cast<int>(change.shape ? change.shape & kShapeBits : 64);
        if (!change.shape || (change.shape & kShapeFirst)) digits.clear();
        for (int bit = bits; bit-- > 0;) digits += change.value >> bit & 1 ? '1' : '0';
        if (change.shape && !(change.shape & kShapeLast)) continue;
        const size_t one = digits.find('1');
        text += isVector ? "b" : "";
        text += one == std::string::npos ? "0" : digits.substr(one);
        text += isVector ? " " : "";
        text += codes[change.slot] + "\n";
    }
    return text;
}

class HotLoopsTest : public testing::TestWithParam<VectorUnit> {
protected:
    void SetUp() override {
        if (!hotLoopsOf(GetParam())) GTEST_SKIP() << "not on this machine";
    }
};

TEST_P(HotLoopsTest, TextIsThatOfTheDefinition) {
    const HotLoops& loops = *hotLoopsOf(GetParam());
    std::mt19937_64 random(7);
    std::vector<uint64_t> tails{0};
    std::vector<std::string> codes{""};
    for (uint32_t i = 0; i < 300; ++i) {
        char code[kIdCodeMaxLength + 1];
        idCodeText(i + 1, code);
        tails.push_back(i % 10 != 9 ? vcdTail(i + 1, i % 3 != 0) : 0);
        codes.emplace_back(code);
    }
    std::vector<OutputChange> changes{{kTimeMarker, 0, 0}};
    uint64_t time = 0;
    while (changes.size() < 20000) {
        const auto slot = static_cast<uint32_t>(1 + random() % 300);
        const uint64_t value = random() >> random() % 64 & (random() % 9 ? ~uint64_t{0} : 0);
        if (random() % 7 == 0) {
            time += random() % 3 ? random() % 1000 : 0;
            if (random() % 500 == 0) time += uint64_t{1} << 62;
            changes.push_back({kTimeMarker, 0, time});
        } else if (random() % 3 == 0) {
            const auto parts = 2 + random() % 3;
            for (uint64_t part = 0; part < parts; ++part) {
                const int bits = static_cast<int>(1 + random() % 64);
                changes.push_back({slot, partShape(bits, part == 0, part + 1 == parts),
                                   (random() % 2 ? value : 0) & bitMask(bits)});
            }
        } else {
            changes.push_back({slot, 0, (tails[slot] & 0xff) == ' ' ? value : value & 1});
        }
    }
    std::vector<char> buffer(changes.size() * kMostTextBytes);
    for (const bool signedTimes : {true, false}) {
        VcdTextState state;
        state.signedTimes = signedTimes;
        char* out = buffer.data();
        // In pieces, which may end between the parts of a value.
        for (size_t at = 0; at < changes.size();) {
            const size_t end =
                std::min(changes.size(), at + 1 + static_cast<size_t>(random() % 50));
            out = loops.writeText(&changes[at], changes.data() + end, tails.data(), state, out);
            at = end;
        }
        const std::string text(buffer.data(), out);
        EXPECT_EQ(text, textByDefinition(changes, tails, codes, signedTimes));
    }
}

TEST_P(HotLoopsTest, FirstDifferentArrayIsFoundByEachOfItsBytes) {
    const HotLoops& loops = *hotLoopsOf(GetParam());
    for (size_t bytes = 0; bytes <= 200; ++bytes) {
        std::string live(bytes + 2, 'm'), copy(bytes, 'm');  // within what is not to be compared
        live.front() = live.back() = '!';
        const CopiedBytes arrays[] = {{live.data() + 1, copy.data(), 0},
                                      {live.data() + 1, copy.data(), bytes}};
        EXPECT_EQ(loops.firstDifferent(arrays, 2), 2u) << bytes;
        for (size_t at = 0; at < bytes; ++at) {
            copy[at] ^= 0x40;
            EXPECT_EQ(loops.firstDifferent(arrays, 2), 1u) << at << " of " << bytes;
            copy[at] ^= 0x40;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Units, HotLoopsTest, testing::Values(kPlainUnit, kAvx2Unit, kAvx512Unit),
                         [](const auto& unit) { return vectorUnitName(unit.param); });

}  // namespace

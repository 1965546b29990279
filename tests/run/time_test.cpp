// The clock, the timescale and time as text. A process's timescale can only get finer, so each
// test counts on a process of its own.
#include "run/time.h"

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <limits>
#include <sstream>
#include <string>
#include <utility>

#include "qkzeft_module.h"

namespace {

constexpr uint64_t kMax = std::numeric_limits<uint64_t>::max();

std::string said;

std::string unquoted(const std::string& text) {
    EXPECT_EQ(text.find('\\'), std::string::npos) << "escapes are not read here";
    return text.size() < 2 ? text : text.substr(1, text.size() - 2);
}

TEST(TimeTextTest, AgreesWithExactArithmeticAtEveryPrecision) {
    std::ifstream table(ZEFT_GOLDEN_DIR "/time.tsv");
    std::string line;
    int rows = 0;
    std::getline(table, line);  // where it comes from
    std::getline(table, line);  // column names
    while (std::getline(table, line)) {
        SCOPED_TRACE(line);
        std::istringstream fields(line);
        std::string function, precision, input, expected, rest;
        for (std::string* field : {&function, &precision, &input, &expected, &rest})
            std::getline(fields, *field, '\t');
        qk_set_timescale(nullptr, -9, std::stoi(precision));
        ASSERT_EQ(qk_timescale_precision, std::stoi(precision));
        if (function == "parse") {
            const std::string text = unquoted(input);
            const char* end = nullptr;
            EXPECT_EQ(qk_parse_time(text.c_str(), &end), std::stoull(expected));
            EXPECT_EQ(end, unquoted(rest));
            const bool isTime = !*end && text.find_first_of("0123456789") != std::string::npos;
            EXPECT_EQ(parseConsoleTime(text.c_str()), isTime ? std::stoull(expected) : kNoTime);
        } else {
            EXPECT_EQ(qk_time_as_string(std::stoull(input)), unquoted(expected));
        }
        ++rows;
    }
    EXPECT_EQ(rows, 154);
}

TEST(TimeTextTest, ReadsVeryLongNumbers) {
    const std::string zeros(100'000, '0'), nines(100'000, '9');
    const struct {
        std::string text;
        uint64_t ticks;
    } cases[] = {
        {"18446744073709551616", 0},            // wraps
        {"20000000000s", 1553255926290448384},  // wraps in the multiplication
        {"18446744073709551615.5", 0},          // wraps in the rounding
        {".5" + zeros, 0},
        {"1." + zeros + "1", 1},
        {"1.5" + zeros, 2},
        {"1.5" + zeros + "1", 2},
        {"2.5" + zeros + "1", 3},
        {zeros + "7" + "." + zeros, 7},
        {"0." + nines + "fs", 0},
        {nines, kMax},  // 10^n - 1 wraps to -1
    };
    for (const auto& c : cases)
        EXPECT_EQ(parseConsoleTime(c.text.c_str()), c.ticks) << c.text.substr(0, 40);
}

TEST(TimeTextTest, IsNotKeptInOldUnits) {
    EXPECT_STREQ(qk_cycle_as_string(), "0ns");
    qk_set_timescale(nullptr, -9, -10);
    EXPECT_STREQ(qk_cycle_as_string(), "0.0ns");
    const struct {
        uint64_t kept;  // the text in store when the units change
        int precision;
        const char* now;
    } cases[] = {{30, -11, "0.30ns"}, {301, -12, "300ps"}, {300, -13, "300.0ps"}};
    qk_cycle = 3;
    for (const auto& c : cases) {
        qk_time_as_string(c.kept);
        qk_set_timescale(nullptr, -9, c.precision);
        EXPECT_STREQ(qk_cycle_as_string(), c.now);
        EXPECT_EQ(qk_time_as_string(qk_cycle), std::string(c.now));
    }
    EXPECT_STREQ(qk_time_as_string(300), "30.0ps");
}

TEST(TimescaleTest, IsWrittenAsANumberAndAUnit) {
    qk_cycle = kMax;  // wraps, while an end that is none stays
    const char* const texts[] = {"1ns", "100ps", "10ps", "1ps", "100fs", "10fs", "1fs"};
    for (int i = 0; i < 7; ++i) {
        qk_set_timescale(nullptr, 0, -9 - i);
        EXPECT_EQ(vcdTimescaleNumber() + std::string(vcdTimescaleUnit()), texts[i]);
    }
    EXPECT_STREQ(qk_cycle_as_string(), "18446744073708551616fs");
    EXPECT_EQ(qk_end_time, kNoTime);
}

TEST(TimescaleTest, OnlyGetsFinerAndTakesTheClockAlong) {
    qk_cycle = 5;
    qk_end_time = 7;
    const struct {
        int unit, precision;          // merged
        int unitThen, precisionThen;  // in force
        uint64_t cycleThen, endTimeThen;
        const char* now;
    } calls[] = {
        {3, 7, 0, -9, 5, 7, "5ns"},  // the first call sets the unit; no tick is coarser than 1 ns
        {-3, -6, -3, -9, 5, 7, "5ns"},
        {0, -8, -3, -9, 5, 7, "5ns"},
        {0, -10, -3, -10, 50, 70, "5.0ns"},
        {-9, 0, -9, -10, 50, 70, "5.0ns"},
        {-12, -11, -12, -12, 5000, 7000, "5000ps"},  // the precision is held below the unit
        {-1, -1, -12, -12, 5000, 7000, "5000ps"},
        {-99, -99, -15, -15, 5'000'000, 7'000'000, "5000000fs"},
    };
    for (const auto& c : calls) {
        SCOPED_TRACE(testing::Message() << c.unit << " " << c.precision);
        qk_set_timescale("test", c.unit, c.precision);
        EXPECT_EQ(qk_timescale_unit, c.unitThen);
        EXPECT_EQ(qk_timescale_precision, c.precisionThen);
        EXPECT_EQ(qk_cycle, c.cycleThen);
        EXPECT_EQ(qk_end_time, c.endTimeThen);
        EXPECT_STREQ(qk_cycle_as_string(), c.now);
    }
}

TEST(TimescaleTest, IsUnknownUntilThereAreAModelAndATimescale) {
    qk_prints = [](const char* text) { said += text; };
    const std::string refusals =
        "qk_get_timescale_precision(): Model not initialised.\n"
        "qk_get_timescale_unit(): Model not initialised.\n";
    const auto ask = [] {
        said.clear();
        const int precision = qk_get_timescale_precision();
        return std::pair(precision, qk_get_timescale_unit());
    };
    EXPECT_EQ(ask(), std::pair(0, 0));
    EXPECT_EQ(said, refusals);
    kelvo_start();
    EXPECT_EQ(ask(), std::pair(0, 0));
    EXPECT_EQ(said, refusals);
    qk_set_timescale("test", -9, -12);
    EXPECT_EQ(ask(), std::pair(-12, -9));
    EXPECT_EQ(said, "");
}

TEST(ClockTest, NeitherFallsNorWraps) {
    EXPECT_EQ(qk_set_time(40), 40u);
    EXPECT_EQ(qk_set_time(39), 40u);
    EXPECT_EQ(qk_step_time(), 41u);
    for (const double seconds : {5e-8, 1e-8, -1.0}) EXPECT_EQ(qk_set_time_real(seconds), 50u);
    for (const double more : {2.6e-9, -2.6e-9, 1e30}) EXPECT_EQ(qk_advance_time_real(more), 53u);
    EXPECT_DOUBLE_EQ(qk_get_time_real(), 53e-9);
    EXPECT_EQ(qk_set_time(kMax - 1), kMax - 1);
    EXPECT_EQ(qk_advance_time_real(1.0), kMax - 1);
    EXPECT_EQ(qk_step_time(), kMax);
    EXPECT_EQ(qk_step_time(), kMax);
    EXPECT_EQ(qk_get_time(), kMax);
}

TEST(ClockTest, ConvertsSecondsToTheNearestTick) {
    const double infinity = std::numeric_limits<double>::infinity();
    const double below = 18446744073.709549, above = 18446744073.709552;  // 2^64 ticks
    for (const double none :
         {0.0, 0.49e-9, -0.4e-9, -1.0, above, 1e30, infinity, -infinity, std::nan("")})
        EXPECT_EQ(qk_real_to_time_precision(none), 0u) << none;
    EXPECT_EQ(qk_real_to_time_precision(0.5e-9), 1u);
    EXPECT_EQ(qk_real_to_time_precision(1.5e-9), 2u);
    EXPECT_EQ(qk_real_to_time_precision(below), 18446744073709549568u);
    EXPECT_EQ(qk_time_precision_to_real(kMax), 18446744073709551616.0 / 1e9);

    qk_set_timescale(nullptr, -9, -15);
    EXPECT_EQ(qk_real_to_time_precision(1e-9), 1'000'000u);
    EXPECT_EQ(qk_time_precision_to_real(1'500'000), 1.5e-9);
}

}  // namespace

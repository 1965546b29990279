// The clock, the timescale and time as text. A process's timescale can only get finer, so each
// test counts on a process of its own.
#include "run/time.h"

#include <gtest/gtest.h>

#include <fstream>
#include <limits>
#include <sstream>
#include <string>
#include <utility>

#include "qkzeft_module.h"

namespace {

constexpr uint64_t kMax = std::numeric_limits<uint64_t>::max();

std::string said;

void recordSaid() {
    qk_prints = [](const char* text) { said += text; };
}

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
            EXPECT_EQ(end, text.c_str() + text.size() - unquoted(rest).size());
        } else {
            EXPECT_EQ(qk_time_as_string(std::stoull(input)), unquoted(expected));
        }
        ++rows;
    }
    EXPECT_EQ(rows, 140);
}

TEST(TimeTextTest, ReadsOddTextsToTheirEnds) {
    const std::string zeros(100'000, '0'), nines(100'000, '9');
    const struct {
        std::string text;
        uint64_t ticks;
        std::string rest;
    } cases[] = {
        {".", 0, ""},
        {".ns", 0, ""},
        {"1 n s", 1, "s"},
        {"5N", 5, "N"},
        {"5sns", 5'000'000'000, "ns"},
        {"1min", 1'000'000, "in"},
        {"1'000", 1, "'000"},
        {"0x10", 0, "x10"},
        {"+\t-1", 0, "-1"},
        {"\xff", 0, "\xff"},
        {"18446744073709551616", 0, ""},            // wraps
        {"20000000000s", 1553255926290448384, ""},  // wraps in the multiplication
        {"18446744073709551615.5", 0, ""},          // wraps in the rounding
        {".5" + zeros, 0, ""},
        {"2500ps", 3, ""},  // no tie, as the 5 is not the last digit
        {"1." + zeros + "1", 1, ""},
        {"1.5" + zeros, 2, ""},
        {"1.5" + zeros + "1", 2, ""},
        {"2.5" + zeros + "1", 3, ""},
        {zeros + "7" + "." + zeros, 7, ""},
        {"0." + nines + "fs", 0, ""},
        {nines + "!", kMax, "!"},  // 10^n - 1 wraps to -1
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text.substr(0, 40));
        const char* end = nullptr;
        EXPECT_EQ(qk_parse_time(c.text.c_str(), &end), c.ticks);
        EXPECT_EQ(end, c.rest);
        EXPECT_EQ(qk_parse_time(c.text.c_str(), nullptr), c.ticks);
    }
}

TEST(TimeTextTest, AtTheConsoleTakesNothingButATime) {
    const struct {
        const char* text;
        uint64_t ticks;
    } cases[] = {
        {"10", 10},      {"0", 0},         {" 2us \t", 2000}, {".0", 0},      {"0.2", 0},
        {"", kNoTime},   {"ns", kNoTime},  {"+", kNoTime},    {".", kNoTime}, {"-1", kNoTime},
        {"5x", kNoTime}, {"5 6", kNoTime}, {"5nss", kNoTime},
    };
    for (const auto& c : cases) EXPECT_EQ(parseConsoleTime(c.text), c.ticks) << c.text;
}

TEST(TimeTextTest, KeepsTheCurrentTimesTextApart) {
    qk_cycle = 5;
    const char* const now = qk_cycle_as_string();
    EXPECT_STREQ(qk_time_as_string(77), "77ns");
    EXPECT_STREQ(now, "5ns");
    qk_cycle = 6;
    EXPECT_STREQ(qk_cycle_as_string(), "6ns");
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

TEST(TimescaleTest, GivesEachPrecisionItsUnitAndDecimals) {
    const struct {
        int precision;
        const char *number, *unit, *five;
    } cases[] = {
        {-15, "1", "fs", "5fs"}, {-14, "10", "fs", "0.05ps"}, {-13, "100", "fs", "0.5ps"},
        {-12, "1", "ps", "5ps"}, {-11, "10", "ps", "0.05ns"}, {-10, "100", "ps", "0.5ns"},
        {-9, "1", "ns", "5ns"},  {-8, "10", "ns", "0.05us"},  {-7, "100", "ns", "0.5us"},
        {-6, "1", "us", "5us"},  {-5, "10", "us", "0.05ms"},  {-4, "100", "us", "0.5ms"},
        {-3, "1", "ms", "5ms"},  {-2, "10", "ms", "0.05 s"},  {-1, "100", "ms", "0.5 s"},
        {0, "1", " s", "5 s"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.precision);
        qk_timescale_precision = c.precision;
        EXPECT_STREQ(vcdTimescaleNumber(), c.number);
        EXPECT_STREQ(vcdTimescaleUnit(), c.unit);
        qk_time_as_string(0);  // another value, so that the text is made anew
        EXPECT_STREQ(qk_time_as_string(5), c.five);
    }
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

TEST(TimescaleTest, WrapsAClockTooLargeAndKeepsAnEndThatIsNone) {
    qk_cycle = kMax;
    qk_set_timescale(nullptr, -15, -15);
    EXPECT_EQ(qk_cycle, uint64_t{} - 1'000'000);
    EXPECT_EQ(qk_end_time, kNoTime);
    EXPECT_STREQ(qk_cycle_as_string(), "18446744073708551616fs");
}

TEST(TimescaleTest, IsUnknownUntilThereAreAModelAndATimescale) {
    recordSaid();
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
    EXPECT_EQ(qk_set_time_real(5e-8), 50u);
    EXPECT_EQ(qk_set_time_real(1e-8), 50u);
    EXPECT_EQ(qk_set_time_real(-1.0), 50u);
    EXPECT_DOUBLE_EQ(qk_get_time_real(), 5e-8);
    EXPECT_EQ(qk_advance_time_real(2.6e-9), 53u);
    EXPECT_EQ(qk_advance_time_real(-2.6e-9), 53u);
    EXPECT_EQ(qk_advance_time_real(1e30), 53u);
    EXPECT_EQ(qk_set_time(kMax - 1), kMax - 1);
    EXPECT_EQ(qk_advance_time_real(1.0), kMax - 1);
    EXPECT_EQ(qk_step_time(), kMax);
    EXPECT_EQ(qk_step_time(), kMax);
    EXPECT_EQ(qk_get_time(), kMax);
}

TEST(ClockTest, ConvertsSecondsToTheNearestTick) {
    const double infinity = std::numeric_limits<double>::infinity();
    const struct {
        double seconds;
        uint64_t ticks;
    } cases[] = {
        {0.0, 0},
        {0.49e-9, 0},
        {0.5e-9, 1},
        {1.5e-9, 2},
        {2.5e-9, 3},
        {-0.4e-9, 0},
        {-1.0, 0},
        {18446744073.709549, 18446744073709549568u},  // the largest double below 2^64
        {18446744073.709552, 0},                      // 2^64
        {1e30, 0},
        {infinity, 0},
        {-infinity, 0},
        {std::numeric_limits<double>::quiet_NaN(), 0},
    };
    for (const auto& c : cases)
        EXPECT_EQ(qk_real_to_time_precision(c.seconds), c.ticks) << c.seconds;
    EXPECT_EQ(qk_time_precision_to_real(kMax), 18446744073709551616.0 / 1e9);

    qk_set_timescale(nullptr, -9, -15);
    EXPECT_EQ(qk_real_to_time_precision(1e-9), 1'000'000u);
    EXPECT_EQ(qk_time_precision_to_real(1'500'000), 1.5e-9);
}

}  // namespace

#include "run/time.h"

#include <algorithm>
#include <cinttypes>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <iterator>

#include "base/characters.h"
#include "base/qkassert.h"
#include "qkzeft_module.h"
#include "run/life.h"

uint64_t qk_cycle = 0;
int qk_timescale_unit = -9;
int qk_timescale_precision = -9;
uint64_t qk_end_time = kNoTime;

namespace {

constexpr const char* kTimeUnitNames[] = {"fs", "ps", "ns", "us", "ms", " s"};
constexpr const char* kMultiplierTexts[] = {"1", "10", "100"};
static_assert(std::size(kPowersOfTen) == 1 - kFinestExponent, "one power for each precision");

bool timescaleSet = false;

/// Ticks as text, kept because many messages and trace lines need the same time. Empty if there is
/// none.
struct TimeText {
    uint64_t ticks;
    char text[32];
};
TimeText lastTimeText;
TimeText cycleText;  // separate, so that formatting another time does not change the text of the
                     // current one

double ticksPerSecond() { return static_cast<double>(kPowersOfTen[-qk_timescale_precision]); }

int vcdUnitIndex() { return (qk_timescale_precision - kFinestExponent) / 3; }

int vcdMultiplierIndex() { return (qk_timescale_precision - kFinestExponent) % 3; }

/// Ticks of 10 or 100 units are shown as a fraction of the next larger unit.
int displayDecimals() { return (3 - vcdMultiplierIndex()) % 3; }

int displayUnitIndex() { return vcdUnitIndex() + (displayDecimals() ? 1 : 0); }

}  // namespace

// ---- The clock

uint64_t qk_get_time() { return qk_cycle; }

uint64_t qk_set_time(uint64_t t) {
    qk_cycle = std::max(qk_cycle, t);
    return qk_cycle;
}

uint64_t qk_step_time() { return qk_set_time(qk_cycle + 1); }

uint64_t qk_real_to_time_precision(double seconds) {
    const double ticks = ticksPerSecond() * seconds + 0.5;
    const bool fits = ticks > 0.0 && ticks < 18446744073709551616.0;  // false for a NaN as well
    return fits ? static_cast<uint64_t>(ticks) : 0;
}

double qk_time_precision_to_real(uint64_t ticks) {
    return static_cast<double>(ticks) / ticksPerSecond();
}

uint64_t qk_set_time_real(double seconds) {
    return qk_set_time(qk_real_to_time_precision(seconds));
}

double qk_get_time_real() { return qk_time_precision_to_real(qk_cycle); }

uint64_t qk_advance_time_real(double seconds) {
    return qk_set_time(qk_cycle + qk_real_to_time_precision(seconds));
}

// ---- The timescale

namespace {

/// Makes the tick finer and keeps the clock at the same time; a time too large for that wraps.
void refinePrecision(int precision) {
    const int timescale_change = qk_timescale_precision - precision;
    QK_ASSERT(timescale_change >= 0 && timescale_change < 15);
    const uint64_t factor = kPowersOfTen[timescale_change];
    if (!qk_strict && modelExists()) rescaleModel(factor);
    qk_cycle *= factor;
    if (qk_end_time != kNoTime) qk_end_time *= factor;
    qk_timescale_precision = precision;
}

/// Discards texts in old units, and replaces both by that of the current time.
void renewTimeTexts() {
    lastTimeText.text[0] = cycleText.text[0] = '\0';
    qk_cycle_as_string();
}

/// Prints a message if it is called too early. @return whether a timescale has been set
bool timescaleIsKnown(const char* caller) {
    if (modelExists() && timescaleSet) return true;
    qk_printf("%s(): Model not initialised.\n", caller);
    return false;
}

}  // namespace

void qk_set_timescale(const char* /*who*/, int unit, int precision) {
    unit = std::clamp(unit, kFinestExponent, 0);
    precision = std::min(std::clamp(precision, kFinestExponent, 0), unit);
    const bool unitStands = timescaleSet && unit >= qk_timescale_unit;
    const bool precisionStands = precision >= qk_timescale_precision;
    if (timescaleSet && unitStands && precisionStands) return;
    if (!unitStands) qk_timescale_unit = unit;
    if (!precisionStands) refinePrecision(precision);
    timescaleSet = true;
    renewTimeTexts();
}

uint64_t limitInFinerTicks(uint64_t ticks, uint64_t factor) {
    return ticks > kNoTime / factor ? kNoTime : ticks * factor;
}

uint64_t inTicksNow(uint64_t ticks, int precision) {
    const bool isKept = qk_strict || ticks == kNoTime;
    return isKept ? ticks : ticks * kPowersOfTen[precision - qk_timescale_precision];
}

int qk_get_timescale_precision() {
    if (!timescaleIsKnown("qk_get_timescale_precision")) return 0;
    qk_sc_set_timescale();  // the kernel may have determined its resolution only now
    return qk_timescale_precision;
}

int qk_get_timescale_unit() {
    if (!timescaleIsKnown("qk_get_timescale_unit")) return 0;
    qk_sc_set_timescale();
    return qk_timescale_unit;
}

const char* vcdTimescaleNumber() { return kMultiplierTexts[vcdMultiplierIndex()]; }

const char* vcdTimescaleUnit() { return kTimeUnitNames[vcdUnitIndex()]; }

// ---- Time as text

const char* qk_time_as_string(uint64_t ticks) {
    TimeText& last = lastTimeText;
    if (ticks == last.ticks && last.text[0]) return last.text;
    last.ticks = ticks;
    const int decimals = displayDecimals();
    const char* const unit = kTimeUnitNames[displayUnitIndex()];
    const uint64_t scale = kPowersOfTen[decimals];
    if (decimals) {
        std::snprintf(last.text, sizeof last.text, "%" PRIu64 ".%0*" PRIu64 "%s", ticks / scale,
                      decimals, ticks % scale, unit);
    } else {
        std::snprintf(last.text, sizeof last.text, "%" PRIu64 "%s", ticks, unit);
    }
    return last.text;
}

const char* qk_cycle_as_string() {
    if (qk_cycle != cycleText.ticks || !cycleText.text[0]) {
        cycleText.ticks = qk_cycle;
        std::strcpy(cycleText.text, qk_time_as_string(qk_cycle));
    }
    return cycleText.text;
}

// ---- Time from text

namespace {

/// A decimal number within a text: the digits before the point and those after it.
struct Decimal {
    const char* whole;
    std::ptrdiff_t wholeCount;
    const char* fraction;
    std::ptrdiff_t fractionCount;

    std::ptrdiff_t count() const { return wholeCount + fractionCount; }
    int digit(std::ptrdiff_t i) const {
        return (i < wholeCount ? whole[i] : fraction[i - wholeCount]) - '0';
    }
    /// The first digits as a number, modulo 2^64.
    uint64_t leading(std::ptrdiff_t digits) const {
        uint64_t value = 0;
        for (std::ptrdiff_t i = 0; i < digits; ++i)
            value = value * 10 + static_cast<uint64_t>(digit(i));
        return value;
    }
    /// Whether the number rounds up when it is truncated before the digit at `pos`. Only a 5 as the
    /// last digit is a tie: zeros at the end of a fraction have been dropped, but those before the
    /// point still count.
    bool roundsUp(std::ptrdiff_t pos) const {
        if (digit(pos) != 5 || pos + 1 < count()) return digit(pos) >= 5;
        return pos > 0 && digit(pos - 1) % 2 == 1;
    }
};

struct ReadTime {
    uint64_t ticks;
    bool hasDigits;
    const char* end;
};

void skipDigits(const char*& at) {
    while (isDigit(*at)) ++at;
}

/// @param hasDigits  receives whether there is any digit, a dropped 0 included
Decimal readDecimal(const char*& at, bool& hasDigits) {
    Decimal d{};
    const char* const start = at;
    while (*at == '0') ++at;
    d.whole = at;
    skipDigits(at);
    d.wholeCount = at - d.whole;
    hasDigits = at != start;
    d.fraction = at;
    if (*at != '.') return d;
    d.fraction = ++at;
    skipDigits(at);
    hasDigits |= at != d.fraction;
    d.fractionCount = at - d.fraction;
    while (d.fractionCount > 0 && d.fraction[d.fractionCount - 1] == '0') --d.fractionCount;
    return d;
}

/// @return the exponent of the unit at `at`; that of a tick when there is no unit
int readUnit(const char*& at) {
    constexpr char kLetters[] = "fpnum";
    const char* const letter = *at ? std::strchr(kLetters, *at) : nullptr;
    if (letter) ++at;
    const bool seconds = *at == 's';
    if (seconds) ++at;
    if (letter) return kFinestExponent + 3 * static_cast<int>(letter - kLetters);
    return seconds ? 0 : qk_timescale_precision;
}

uint64_t toTicks(const Decimal& d, int exponent) {
    const std::ptrdiff_t point = d.wholeCount + exponent - qk_timescale_precision;
    if (point < 0) return 0;
    if (point < d.count()) return d.leading(point) + (d.roundsUp(point) ? 1 : 0);
    return d.leading(d.count()) * kPowersOfTen[point - d.count()];
}

ReadTime readTime(const char* text) {
    ReadTime result{};
    const char* at = text;
    while (isSpace(*at) || *at == '+') ++at;
    const Decimal decimal = readDecimal(at, result.hasDigits);
    at = skipSpace(at);
    const int exponent = readUnit(at);
    result.ticks = toTicks(decimal, exponent);
    result.end = skipSpace(at);
    return result;
}

}  // namespace

uint64_t qk_parse_time(const char* text, const char** end) {
    const ReadTime time = readTime(text);
    if (end) *end = time.end;
    return time.ticks;
}

uint64_t parseConsoleTime(const char* text) {
    const ReadTime time = readTime(text);
    return time.hasDigits && !*time.end ? time.ticks : kNoTime;
}

// $timeformat and %t (IEEE 1364-2005, 17.3.2).
#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <string>

#include "base/qkassert.h"
#include "qkzeft_systasks.h"
#include "run/time.h"
#include "systasks/format.h"

namespace {

constexpr int kMostDecimals = 15;

struct TimeFormat {
    int units = 1;  ///< exponent of ten; above 0: the precision's
    int decimals = 0;
    std::string suffix;
    int width = 20;
};

TimeFormat& timeFormat() {
    static TimeFormat* const format = new TimeFormat;  // used until the end of the process
    return *format;
}

/// Rounds to the nearest, an exact half to even.
uint64_t divideRounded(uint64_t value, uint64_t divisor) {
    const uint64_t quotient = value / divisor, rest = value % divisor;
    const uint64_t other = divisor - rest;
    return quotient + (rest > other || (rest == other && (quotient & 1)));
}

void addRightJustified(Line& line, std::string_view text, int64_t field) {
    constexpr int64_t kLongestLine = 65535;
    const auto width = static_cast<size_t>(std::clamp<int64_t>(field, 1, kLongestLine));
    if (text.size() < width) line.fill(width - text.size(), ' ');
    line.add(text);
}

/// Adds a time of `value` times 10^`exponent` seconds.
void addTime(Line& line, uint64_t value, int units, int exponent) {
    const TimeFormat& format = timeFormat();
    const char* const point = format.decimals > 0 ? "." : "";
    const int64_t field = int64_t{format.width} - static_cast<int64_t>(format.suffix.size()) -
                          format.decimals - static_cast<int64_t>(std::strlen(point));
    char text[40];
    char* end = std::to_chars(text, text + sizeof text, value).ptr;
    if (units >= exponent) {
        const int places = units - exponent;  // of the fraction
        const int zeros = exponent - (units - format.decimals);
        std::string digits(text, end);
        if (digits.size() <= static_cast<size_t>(places))
            digits.insert(0, static_cast<size_t>(places) + 1 - digits.size(), '0');
        const std::string_view all(digits);
        const size_t whole = digits.size() - static_cast<size_t>(places);
        addRightJustified(line, all.substr(0, whole), field);
        line.add(std::string_view(point));
        line.add(all.substr(whole));
        line.fill(static_cast<size_t>(std::max(zeros, 0)), '0');
    } else {
        const int lead = value == 0 ? 0 : exponent - units;
        addRightJustified(line, {text, static_cast<size_t>(end - text)}, field - lead);
        line.fill(static_cast<size_t>(lead), '0');
        line.add(std::string_view(point));
        line.fill(static_cast<size_t>(format.decimals), '0');
    }
    line.add(format.suffix);
}

int currentPrecision(int flags) {
    if (flags & kNeedsTimescale) return qk_get_timescale_precision();
    qk_sc_set_timescale();
    return qk_timescale_precision;
}

}  // namespace

void printTime(Line& line, TaskCall& call, int marked) {
    const int size = withoutSignedMark(marked);
    if (size == 0) {
        skipText(call);
        return;
    }
    qk_skip_arg(call, size);
    const int precision = currentPrecision(call.flags);
    const TimeFormat& format = timeFormat();
    const int units = format.units > 0 ? precision : format.units;
    const int rounded = units - format.decimals - precision;
    if (rounded <= 0) {
        addTime(line, qk_cycle, units, precision);
        return;
    }
    QK_ASSERT_AS(rounded <= kMostDecimals, "round_log10 <= 15");
    addTime(line, divideRounded(qk_cycle, kPowersOfTen[std::min(rounded, kMostDecimals)]), units,
            units - format.decimals);
}

void qk_timeformat(int units, int decimals, const char* suffix, int width) {
    if (units < kFinestExponent || units > 0) {
        std::fprintf(stderr,
                     "\nZEFT $timeformat: Invalid units number %d (must be between 0 and -15)\n",
                     units);
    } else if (decimals < 0 || decimals > kMostDecimals) {
        std::fprintf(stderr,
                     "\nZEFT $timeformat: Invalid precision number %d (must be between 0 and 15)\n",
                     decimals);
    } else if (width < 0) {
        std::fprintf(stderr, "\nZEFT $timeformat: Invalid minimum field width %d (must be >= 0)\n",
                     width);
    } else {
        timeFormat() = TimeFormat{units, decimals, suffix ? suffix : "", width};
    }
}

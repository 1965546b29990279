// The timescale shared with a SystemC kernel.
//
// The kernel is represented by one registered function that returns its resolution; without it the
// functions here do nothing. Our ticks are as fine as the kernel's or finer, as its timescale is
// merged into ours; the conversion factor is the number of our ticks in one of the kernel's.
// Merging again clears the factor.

#include "base/qkassert.h"
#include "run/time.h"

namespace {

void (*kernelQuery)(double*, double*) = nullptr;
int kernelPrecision = -12;  // exponent of the kernel's tick, in seconds
uint64_t timeFactor = 0;

/// Rounds to a power of ten, by the logarithm.
/// @param scaled  the value over 10^exponent, times about 10^-0.5
/// @return `exponent` raised until the power of ten covers the value
int powerOfTenExponent(double scaled, int exponent) {
    for (; scaled > 1.0; scaled *= 0.1) ++exponent;
    return exponent;
}

}  // namespace

void qk_sc_register(void (*query)(double*, double*)) { kernelQuery = query; }

uint64_t qk_sc_time_factor() { return timeFactor; }

void qk_sc_set_timescale() {
    if (!kernelQuery) return;
    double resolutionSeconds = 0;
    double defaultTimeUnit = 0;  // counts resolutions
    kernelQuery(&resolutionSeconds, &defaultTimeUnit);

    if (!QK_CHECK_AS((resolutionSeconds > 0.999E-15f) && (resolutionSeconds < 1.E18f),
                     "(sc_timeres_seconds > 0.999E-15f) && (sc_timeres_seconds < 1.E18f)"))
        return;
    kernelPrecision = powerOfTenExponent(resolutionSeconds * 316000004210688.0, kFinestExponent);

    if (!QK_CHECK_AS((defaultTimeUnit > 0.999f) && (defaultTimeUnit < 1.E18f),
                     "(sc_default_time_unit > 0.999f) && (sc_default_time_unit < 1.E18f)"))
        return;
    const int unit = powerOfTenExponent(defaultTimeUnit * 0.3160000145435333, kernelPrecision);

    qk_set_timescale("SystemC", unit, kernelPrecision);
    timeFactor = 0;
}

void qk_sc_set_timescale_conversion() {
    if (!kernelQuery) return;
    qk_sc_set_timescale();
    const int pow10 = kernelPrecision - qk_get_timescale_precision();
    QK_ASSERT_AS(pow10 >= 0, "(pow10 = qk_sc_time_precision - qk_get_timescale_precision() ) >= 0");
    uint64_t factor = 1;
    for (int i = 0; i < pow10; ++i) factor *= 10;
    timeFactor = factor;
}

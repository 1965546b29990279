// A SystemC kernel's say in the timescale, with kernels that only tell their resolution.
#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "base/qkassert.h"
#include "qkzeft_module.h"
#include "run/time.h"

namespace {

double resolutionSeconds, defaultTimeUnit;

void registerKernel(double resolution, double unit) {
    resolutionSeconds = resolution;
    defaultTimeUnit = unit;
    qk_sc_register([](double* resolutionOut, double* unitOut) {
        *resolutionOut = resolutionSeconds;
        *unitOut = defaultTimeUnit;
    });
}

TEST(SystemCTest, MergesTheKernelsTimescale) {
    qk_sc_set_timescale();  // no kernel, no effect
    EXPECT_EQ(qk_timescale_precision, -9);
    const struct {
        double resolution, unit;
        int unitThen, precisionThen;
    } kernels[] = {
        {1e-12, 1000, -9, -12},    {1e-9, 1, -9, -12},  // coarser than what holds
        {3.17e-13, 1000, -9, -12},  // the nearest power of ten, by the logarithm
        {3.15e-13, 3170, -9, -13}, {1e-14, 3150, -11, -14}, {1e-15, 1, -15, -15},
    };
    for (const auto& k : kernels) {
        SCOPED_TRACE(testing::Message() << k.resolution << " " << k.unit);
        registerKernel(k.resolution, k.unit);
        qk_sc_set_timescale();
        EXPECT_EQ(qk_timescale_unit, k.unitThen);
        EXPECT_EQ(qk_timescale_precision, k.precisionThen);
    }
}

TEST(SystemCTest, CountsOurTicksInOneOfTheKernels) {
    kelvo_start();
    qk_set_timescale("design", -9, -15);
    qk_sc_set_timescale_conversion();
    EXPECT_EQ(qk_sc_time_factor(), 0u);  // no kernel yet
    registerKernel(1e-12, 1000);
    qk_sc_set_timescale_conversion();
    EXPECT_EQ(qk_sc_time_factor(), 1000u);
    EXPECT_EQ(qk_get_timescale_precision(), -15);  // merges anew
    EXPECT_EQ(qk_sc_time_factor(), 0u);
    registerKernel(1e-15, 1);
    qk_sc_set_timescale_conversion();
    EXPECT_EQ(qk_sc_time_factor(), 1u);
}

TEST(SystemCTest, SeesAResolutionThatIsFixedLate) {
    kelvo_start();
    qk_set_timescale("design", -9, -9);
    registerKernel(1e-12, 1);
    EXPECT_EQ(qk_get_timescale_precision(), -12);
    registerKernel(1e-14, 10);
    EXPECT_EQ(qk_get_timescale_unit(), -13);
    EXPECT_EQ(qk_get_timescale_precision(), -14);
}

TEST(SystemCTest, RefusesAKernelWithoutASaneTimescale) {
    static std::string failed;
    qkSetAssertHandler([](const char* condition, const char*, int) { failed = condition; });
    const std::string badResolution =
        "(sc_timeres_seconds > 0.999E-15f) && (sc_timeres_seconds < 1.E18f)";
    const std::string badUnit =
        "(sc_default_time_unit > 0.999f) && (sc_default_time_unit < 1.E18f)";
    const double infinity = std::numeric_limits<double>::infinity();
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const struct {
        double resolution, unit;
        const std::string& complaint;
    } kernels[] = {
        {0, 1, badResolution},      {9.9e-16, 1, badResolution}, {infinity, 1, badResolution},
        {nan, 1, badResolution},    {1e-12, 0, badUnit},         {1e-12, 0.99, badUnit},
        {1e-12, infinity, badUnit}, {1e-12, nan, badUnit},
    };
    for (const auto& k : kernels) {
        SCOPED_TRACE(testing::Message() << k.resolution << " " << k.unit);
        failed.clear();
        registerKernel(k.resolution, k.unit);
        qk_sc_set_timescale();
        EXPECT_EQ(failed, k.complaint);
        EXPECT_EQ(qk_timescale_precision, -9);
    }
}

TEST(SystemCTest, NeedsAModelForTheFactor) {
    qk_prints = nullptr;
    registerKernel(1e-12, 1000);
    EXPECT_DEATH(qk_sc_set_timescale_conversion(),
                 "pow10 = qk_sc_time_precision - qk_get_timescale_precision\\(\\) \\) >= 0");
}

}  // namespace

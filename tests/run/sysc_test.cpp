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
    } kernels[] = {{1e-12, 1000, -9, -12},    {1e-9, 1, -9, -12},  // coarser than what holds
                   {3.17e-13, 1000, -9, -12},  // the nearest power of ten, by the logarithm
                   {3.15e-13, 3170, -9, -13}, {1e-14, 3150, -11, -14}, {1e-15, 1, -15, -15}};
    for (const auto& k : kernels) {
        registerKernel(k.resolution, k.unit);
        qk_sc_set_timescale();
        EXPECT_EQ(qk_timescale_unit, k.unitThen) << k.resolution << " " << k.unit;
        EXPECT_EQ(qk_timescale_precision, k.precisionThen) << k.resolution << " " << k.unit;
    }
}

TEST(SystemCTest, CountsOurTicksInOneOfTheKernels) {
    kelvo_start();
    qk_set_timescale("design", -9, -9);
    qk_sc_set_timescale_conversion();
    EXPECT_EQ(qk_sc_time_factor(), 0u);  // no kernel yet
    registerKernel(1e-14, 10);           // seen when it is asked for
    EXPECT_EQ(qk_get_timescale_unit(), -13);
    EXPECT_EQ(qk_get_timescale_precision(), -14);
    registerKernel(1e-12, 1000);
    qk_sc_set_timescale_conversion();
    EXPECT_EQ(qk_sc_time_factor(), 100u);
    EXPECT_EQ(qk_get_timescale_precision(), -14);  // merges anew
    EXPECT_EQ(qk_sc_time_factor(), 0u);
    registerKernel(1e-15, 1);
    EXPECT_EQ(qk_get_timescale_precision(), -15);
    qk_sc_set_timescale_conversion();
    EXPECT_EQ(qk_sc_time_factor(), 1u);
}

TEST(SystemCTest, RefusesAKernelWithoutASaneTimescale) {
    static std::string failed;
    qkSetAssertHandler([](const char* condition, const char*, int) { failed = condition; });
    const double infinity = std::numeric_limits<double>::infinity();
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const auto expectComplaint = [](double resolution, double unit, const char* complaint) {
        registerKernel(resolution, unit);
        qk_sc_set_timescale();
        EXPECT_EQ(failed, complaint) << resolution << " " << unit;
        EXPECT_EQ(qk_timescale_precision, -9);
        failed.clear();
    };
    for (const double resolution : {0.0, 9.9e-16, infinity, nan})
        expectComplaint(resolution, 1,
                        "(sc_timeres_seconds > 0.999E-15f) && (sc_timeres_seconds < 1.E18f)");
    for (const double unit : {0.0, 0.99, infinity, nan})
        expectComplaint(1e-12, unit,
                        "(sc_default_time_unit > 0.999f) && (sc_default_time_unit < 1.E18f)");
    qk_prints = nullptr;
    registerKernel(1e-12, 1000);
    qk_sc_set_timescale_conversion();  // without a model
    EXPECT_EQ(failed, "(pow10 = qk_sc_time_precision - qk_get_timescale_precision() ) >= 0");
}

}  // namespace

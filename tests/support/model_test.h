// A fresh model in a fresh directory, for tests that need no console.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "model/live_model.h"
#include "qkzeft.h"

/// By how much runs of many inputs are shorter where a sanitizer watches them.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int kShorter = 5;
#else
constexpr int kShorter = 1;
#endif

class ModelTest : public testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    /// Moves time on and captures what the model did.
    static void advance(uint64_t ticks = 1);
    /// Starts to trace every name that matches.
    static void trace(const char* pattern);
    static QkName* name(const char* fullName);
    static std::string readFile(const std::string& path);
    /// The text of a VCD file from the end of its date on: what comes before depends on the clock.
    static std::string readVcd(const std::string& path);

    static inline std::string said;  // all console text so far

private:
    std::string directory;
};

/// A value of 1 to 64 bits as a row of a net table.
QkGRNet net(int scope, int id, const char* name, void* address, int left, int right,
            unsigned mode = 1, unsigned flags = 0);

/// Registers nets in the scope of a module named `instance`, which lives as long as the process.
kelvo_module* registerNets(const char* instance, const std::vector<QkGRNet>& rows,
                           const std::vector<QkGRScope>& scopes = {});

/// Has console text go to the standard error stream, where death tests look.
void printToStandardError();

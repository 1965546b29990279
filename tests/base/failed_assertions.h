// Lets a test provoke failed assertions and see which they were.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "base/qkassert.h"

/// Collects the conditions of failed assertions while it lives; the code under test runs on.
class FailedAssertions {
public:
    FailedAssertions() {
        conditions.clear();
        qkSetAssertHandler(
            [](const char* condition, const char*, int) { conditions.emplace_back(condition); });
    }
    FailedAssertions(const FailedAssertions&) = delete;
    FailedAssertions& operator=(const FailedAssertions&) = delete;
    ~FailedAssertions() { qkSetAssertHandler(nullptr); }

    /// @return the conditions that failed since the last call
    std::vector<std::string> take() { return std::exchange(conditions, {}); }

private:
    static inline std::vector<std::string> conditions;
};

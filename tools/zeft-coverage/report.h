// Reports on a coverage file, for human readers.
#pragma once

#include <string>

#include "coverage_file.h"

namespace coverage {

struct ReportOptions {
    std::string scope;   ///< only nets below it; empty: all
    double below = 101;  ///< only scopes and nets below this percentage
};

/// @return a table by scope, and the nets that are not completely covered
std::string textReport(const File& file, const ReportOptions& options);
/// @return the same as one self-contained page of HTML
std::string htmlReport(const File& file, const ReportOptions& options);

}  // namespace coverage

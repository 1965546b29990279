// What a coverage file says, for people.
#pragma once

#include <string>

#include "coverage_file.h"

namespace coverage {

struct ReportOptions {
    std::string scope;   ///< only what is below; empty: all
    double below = 101;  ///< only scopes and nets with less than so many percent
};

/// @return a table by scope, and the nets that are not covered whole
std::string textReport(const File& file, const ReportOptions& options);
/// @return the same as one page of HTML, with nothing beside it
std::string htmlReport(const File& file, const ReportOptions& options);

}  // namespace coverage

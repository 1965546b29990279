// The result of one comparison, and the folder that holds it.
//
// In the folder of all results each comparison has a folder with its name:
//
//     command.json  what was run
//     report.json   written by the model, from its start on
//     result.json   written when the model has ended; without it the comparison did not end
//     log           what the model printed, unless it agrees
//     last.vcd.gz   its last changes, unless it agrees
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "failure.h"
#include "list.h"

namespace regress {

/// A report that a model has written. Throws Failure when it cannot be read, or is of another
/// version.
struct Report {
    explicit Report(const std::string& path);

    std::vector<std::string> command;
    std::string model, trace, time, reason;
    int64_t status = kFailed, differences = 0;
    std::vector<std::string> firstDifferences;  ///< texts, at most ten
};

struct Result {
    Status status = kFailed;
    std::string reason;
    double seconds = 0;  ///< from start to end
};

/// The folder of one comparison.
class Folder {
public:
    Folder(const std::string& results, const std::string& name) : path(results + "/" + name) {}
    std::string file(const char* name) const { return path + "/" + name; }

    /// Removes the files of an earlier run, and writes what is to run. Throws Failure.
    void prepare(const Entry& entry) const;
    /// @return the command that was to run, or nothing
    std::optional<std::vector<std::string>> command() const;
    /// @return the result of the latest run, or nothing
    std::optional<Result> result() const;
    void write(const Result& result) const;
    bool hasResult() const;
    /// @return whether a run has begun
    bool isBegun() const;

private:
    std::string path;
};

}  // namespace regress

// A list of comparisons, those that are to run, and their results.
#pragma once

#include <string>
#include <vector>

#include "list.h"
#include "result.h"

namespace regress {

struct Options {
    std::string list;
    std::string results = "regress.out";
    std::string junit;  ///< empty: in the folder of the results
    std::string rerun;  ///< the comparison to run again; empty: all are run
    int jobs = 0;       ///< 0: one for each processor
    int last = 10000;   ///< changes that a model keeps; 0: none
    int timeout = 0;    ///< seconds that one may take; 0: no limit
    bool resume = false;
    bool verbose = false;
    bool slurm = false;
    std::vector<std::string> slurmOptions;
};

class Regression {
public:
    /// Reads the list, and prepares the folders of the comparisons that are to run. Throws Failure.
    explicit Regression(const Options& theOptions);
    Folder folder(const std::string& name) const { return {options.results, name}; }
    /// @return those of `pending` without a result so far
    std::vector<std::string> unfinished() const;
    /// Writes a result for one that did not end, with the reason.
    void giveUp(const std::string& name, const std::string& reason) const;

    const Options& options;
    std::vector<Entry> entries;
    std::vector<std::string> pending;  ///< names of those that are to run, in order
};

/// Runs the pending comparisons on this machine, by xargs. Those that do not run have no result.
/// @return the signal that ended it, or 0
int runLocally(const Regression& regression);

/// Runs the pending comparisons as one job array. Those that do not run have a result with Slurm's
/// reason.
/// @return the signal that ended it, or 0. Throws Failure when Slurm does not accept the job
int runBySlurm(const Regression& regression);
/// Runs the comparisons that belong to one task of the array.
/// @return exit status
int runSlurmTask(const std::string& results, int timeout);

/// A line that shows the progress on the error stream, if that is a terminal.
class Progress {
public:
    explicit Progress(size_t theTotal);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    void show(size_t done, size_t failed);

private:
    const size_t total;
    const bool isShown;
    const long long begin;  ///< seconds
};

/// Prints the results of all, and writes them as JUnit's XML.
/// @return the exit status for all
Status conclude(const Regression& regression);

}  // namespace regress

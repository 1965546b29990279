// A list of comparisons, what is to run of it, and what came of it.
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
    int last = 10000;   ///< changes of a model that are kept; 0: none
    int timeout = 0;    ///< seconds that one may take; 0: any time
    bool resume = false;
    bool verbose = false;
    bool slurm = false;
    std::vector<std::string> slurmOptions;
};

class Regression {
public:
    /// Reads the list, and prepares the folders of what is to run. Throws Failure.
    explicit Regression(const Options& theOptions);
    Folder folder(const std::string& name) const { return {options.results, name}; }
    /// @return those of `pending` without a result so far
    std::vector<std::string> unfinished() const;
    /// Gives one that did not end a result, with the reason why not.
    void giveUp(const std::string& name, const std::string& reason) const;

    const Options& options;
    std::vector<Entry> entries;
    std::vector<std::string> pending;  ///< names of those that are to run, in order
};

/// Runs what is pending on this machine, by xargs. What does not run has no result.
/// @return the signal that ended it, or 0
int runLocally(const Regression& regression);

/// Runs what is pending as one job array. What does not run has a result with Slurm's reason.
/// @return the signal that ended it, or 0. Throws Failure when Slurm does not take the job.
int runBySlurm(const Regression& regression);
/// Runs those comparisons that are for one task of the array.
/// @return exit status
int runSlurmTask(const std::string& results, int timeout);

/// One line on a terminal, on the error stream, that shows how far it is.
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

/// Prints what came of all, and writes it as JUnit's XML.
/// @return the status of all
Status conclude(const Regression& regression);

}  // namespace regress

// The results of a comparison, for its report. The trace's own records are deleted when it is
// closed.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct QkVCDModel;

struct ComparisonRecord {
    /// The first difference of one net, and how many it has.
    struct Difference {
        std::string net;
        const char* kind;
        uint64_t time;             ///< ticks, as the message gives it
        std::string trace, model;  ///< digits
        uint64_t count;
    };
    /// A net that differed from the trace for some time.
    struct Wait {
        std::string net;
        uint64_t longest;  ///< ticks
    };
    /// A net without a partner on the other side, or a scope with all the nets that it declares.
    struct Unlinked {
        std::string path;
        std::string reason;
        uint64_t nets;  ///< number of nets of a scope; 0: it is a net
    };

    std::string trace;                    ///< as it was given
    std::vector<Difference> differences;  ///< in the order in which they were found
    uint64_t drivenChanges = 0, comparedChanges = 0;
    std::vector<Wait> waits;             ///< by name
    std::vector<std::string> unchanged;  ///< nets compared to a constant; by name
    std::vector<Unlinked> modelOnly;     ///< in the order of listings
    std::vector<Unlinked> traceOnly;     ///< in the order of the trace's declarations

    /// Copies the results of the open comparison so far.
    /// @param path  of the trace
    void gather(const QkVCDModel& vcdModel, const std::string& path);
    /// Counts times in ticks `factor` times finer.
    void rescaleTimes(uint64_t factor);
};

// The run along a trace. The trace owns time: it moves the clock, drives the inputs and says when
// the model is stepped.
#pragma once

#include <cstdint>
#include <ctime>
#include <string_view>

class BodyReader;
class QkFileReader;
class TraceTokens;
struct QkVCDId;
struct QkVCDTraces;

class TraceRun {
public:
    explicit TraceRun(QkFileReader& theComparison);
    TraceRun(const TraceRun&) = delete;
    TraceRun& operator=(const TraceRun&) = delete;

    /// Begins a trace that has been linked.
    void start();
    /// One pass. @param final  the end of the file ends the comparison
    /// @return whether there was neither a difference nor a failure
    int runTrace(bool final);
    /// Commits what waits, and has the model evaluated. @return 1, or 0 when that cannot be
    int stepModel(const char* reason);
    /// Has the model take up inputs and registers that were written from outside. @return likewise
    int settleModel(const char* reason);
    /// Applies the current order of inputs, and the flags of nets, to the open trace.
    void regroup();
    /// @return whether the model has reached the time at which the user wants it to stop
    static bool timeIsUp();
    /// @return whether the last pass ended by a line that cannot be read
    bool hasReadFailed() const { return readFailed; }

    bool isRunning = false;       ///< the model is within a step: the file cannot be exchanged
    bool closeRequested = false;  ///< meanwhile

private:
    bool readLines();
    void readPlainLines();
    bool reportProgress();
    bool readLine(std::string_view token);
    bool readTime(std::string_view token);
    bool readValue(std::string_view token);
    bool applyInClockOrder(QkVCDId& id, std::string_view value);
    bool readKeyword(std::string_view token);
    bool beginPause();
    bool endPause();
    bool canStep() const;
    void evaluate(void (*function)(), const char* reason);
    bool stepClockFirst();
    bool finishTimeStep();
    bool finishTrace();
    void reportEnd();

    QkVCDTraces& vcdTraces() const;

    QkFileReader& comparison;
    TraceTokens& tokens;
    BodyReader& body;
    // State of the current time step of the trace.
    bool stepNeeded = false;    ///< an input changed: the model must be stepped at the end of the
                                ///< time step
    bool earlyInputs = false;   ///< an input changed that must reach the model before the clock
    bool clockPending = false;  ///< a clock's value waits to be committed

    bool sampleEnded = false;
    bool stopped = false;     ///< the pass ended by a request or by its differences
    bool readFailed = false;  ///< the pass ended by a line that cannot be read
    int lastOutOfSync = -1;   ///< count that was last reported in this pass
    std::clock_t passStart = 0;
};

// What the inputs in a part of a trace do: which of them change together with a clock, and which
// look like clocks without being marked as such. Values of the model are not used.
#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

struct QkVCDTrace;
struct QkVCDTraces;

class InputSample {
public:
    struct Input {
        std::string name;  ///< full name of the driven net
        const QkVCDTrace* trace;
        bool isClock, isEarly;
        bool looksLikeClock = false;
        uint64_t withClock = 0;            ///< time steps in which it changes together with a clock
        std::vector<uint32_t> steps = {};  ///< numbers of the time steps in which it changes
    };

    /// @param steps  the sample ends after this number of time steps in which a clock (without
    ///               clocks, any input) changes
    /// @param until  it ends with the time step at this time, or the first one after it
    InputSample(uint32_t steps, uint64_t until) : mostSteps(steps), lastTime(until) {}

    /// Starts with the inputs of a linked trace.
    void start(const QkVCDTraces& traces);
    /// Called before a net gets a new value.
    void touch(const QkVCDTrace* trace);
    /// The values of a time step have been committed. @return whether the sample ends here
    bool endStep();
    /// Computes the results. The traces may be deleted afterwards.
    void finish();

    const std::vector<Input>& inputs() const { return all; }

private:
    struct Touched {
        const QkVCDTrace* trace;
        std::string before;
    };

    uint32_t mostSteps;
    uint64_t lastTime;
    std::vector<Input> all;
    std::unordered_map<const QkVCDTrace*, size_t> indexes;  ///< in `all`
    std::vector<Touched> touched;                           ///< in this time step, each once
    uint32_t step = 0;                                      ///< number of the current time step
    std::vector<uint32_t> clockSteps;                       ///< in which a clock changes
    std::vector<uint32_t> inputSteps;                       ///< in which any input changes
    std::vector<uint32_t> loneSteps;  ///< in which registers change, and no clock does
};

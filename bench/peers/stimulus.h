// What the programs share that are compared with other simulators' run-time code: the clock, the
// result line, the memory in use, and a design of nets of mixed widths that change at random.
//
// The nets, their layout and their changes are those of the other programs, so that all write the
// same waveform.
#pragma once

#include <sys/resource.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

inline uint64_t nowNs() {
    return static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::nanoseconds>(
                                     std::chrono::steady_clock::now().time_since_epoch())
                                     .count());
}

inline void result(const char* name, double value) { std::printf("%s %.6g\n", name, value); }

/// @return the maximum resident memory of the process so far, in bytes
inline double peakBytes() {
    rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_maxrss) * 1024;
}

/// @return the processor time of all threads of the process
inline double processorNs() {
    timespec time;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1e9 + static_cast<double>(time.tv_nsec);
}

class Random {  // xorshift64*
public:
    uint64_t operator()() {
        state ^= state >> 12;
        state ^= state << 25;
        state ^= state >> 27;
        return state * 2685821657736338717u;
    }

private:
    uint64_t state = 0x9E3779B97F4A7C15;
};

struct StimulusNet {
    uint32_t width;
    uint32_t bytes;
    size_t offset;
};

/// Nets of 1, 8, 32, 64 and 128 bits, interleaved and aligned as members of a struct would be.
class Stimulus {
public:
    /// @param share  percentage of the nets that change in a step
    /// @param small  values count up in the low bits instead of being random
    Stimulus(size_t count, double share, bool small) : isSmall(small), percent(share) {
        static const uint32_t mix[20] = {1, 8,  1, 32, 1, 1,  64, 8, 1,  128,
                                         1, 32, 1, 8,  1, 64, 1,  8, 32, 1};
        size_t at = 0;
        for (size_t i = 0; i < count; ++i) {
            const uint32_t width = mix[i % 20], bytes = width <= 8 ? 1 : width / 8;
            const size_t alignment = bytes > 8 ? 8 : bytes;
            at = (at + alignment - 1) / alignment * alignment;
            nets.push_back({width, bytes, at});
            at += bytes;
        }
        arena.resize(at / 8 + 16);
        if (percent <= 0 || percent >= 100) return;
        skips.resize(1 << 16);
        for (uint32_t& skip : skips) {
            skip = 1;
            while (static_cast<double>(random() >> 40) / (1 << 24) * 100 >= percent) ++skip;
        }
    }

    unsigned char* at(size_t i) {
        return reinterpret_cast<unsigned char*>(arena.data()) + nets[i].offset;
    }

    void step() {
        if (percent <= 0) return;
        if (percent >= 100) {
            for (const StimulusNet& net : nets) change(net);
            changes += nets.size();
            return;
        }
        for (size_t i = nextSkip() - 1; i < nets.size(); i += nextSkip()) {
            change(nets[i]);
            ++changes;
        }
    }

    std::vector<StimulusNet> nets;
    uint64_t changes = 0;

private:
    size_t nextSkip() { return skips[skipsTaken++ & 0xffff]; }

    template <class Word>
    static void flip(unsigned char* at, uint64_t by) {
        Word word;
        std::memcpy(&word, at, sizeof word);
        word = static_cast<Word>(word ^ by);
        std::memcpy(at, &word, sizeof word);
    }

    void change(const StimulusNet& net) {  // always to another value
        unsigned char* const place = reinterpret_cast<unsigned char*>(arena.data()) + net.offset;
        if (net.width == 1) {
            *place ^= 1;
            return;
        }
        if (isSmall) {
            uint64_t value = 0;
            const size_t bytes = net.bytes > 8 ? 8 : net.bytes;
            std::memcpy(&value, place, bytes);
            value = (value + 1) & (net.width == 8 ? 0xff : 0xfff);
            std::memcpy(place, &value, bytes);
            return;
        }
        uint64_t bits = random();
        switch (net.width) {
            case 8: *place ^= static_cast<unsigned char>((bits >> 32) | 1); return;
            case 32: flip<uint32_t>(place, (bits >> 32) | 1); return;
            case 128:
                flip<uint64_t>(place, bits | 1);
                bits = random();
                flip<uint64_t>(place + 8, bits);
                return;
            default: flip<uint64_t>(place, bits | 1);
        }
    }

    bool isSmall;
    double percent;
    Random random;
    std::vector<uint32_t> skips;
    size_t skipsTaken = 0;
    std::vector<uint64_t> arena;
};

/// @return the processor time that a run of the stimulus alone takes
inline double processorNsOf(Stimulus stimulus, uint64_t steps) {
    const double before = processorNs();
    for (uint64_t step = 1; step <= steps; ++step) {
        stimulus.step();
        nowNs();
        nowNs();
    }
    return processorNs() - before;
}

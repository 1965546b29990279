// Toggle coverage: which bits of which nets rose and fell between captures.
//
// All storage that covered nets lie in is compared word by word with what was last seen there, and
// the bits that changed are noted; they are assigned to nets only when the result is needed. The
// result does not depend on what is traced, shown or watched. A bit that rises and falls between
// two captures has not changed.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct QkDatabase;
struct QkName;
struct QkTrace;

class ToggleCoverage {
public:
    /// Covers those names that match and are not covered yet. Arrays and slices cannot be covered.
    /// @param pattern  null: registers, outputs and traced nets
    /// @return how many nets were added
    int add(const QkDatabase& model, const char* pattern);
    /// Stops counting; what was counted stays.
    void stop() { running = false; }
    /// Counts again, starting with the current values.
    void resume();
    int netCount() const { return static_cast<int>(covered.size()); }

    /// Changes while this exists do not count: values are set from outside.
    class Pause {
    public:
        explicit Pause(ToggleCoverage& theCoverage)
            : coverage(theCoverage), wasRunning(coverage.running) {
            coverage.stop();
        }
        ~Pause() {
            if (wasRunning) coverage.resume();
        }
        Pause(const Pause&) = delete;
        Pause& operator=(const Pause&) = delete;

    private:
        ToggleCoverage& coverage;
        const bool wasRunning;
    };
    bool isRunning() const { return running; }
    /// Counts what has changed in all covered nets since the last call.
    void look();
    void forgetTrace(const QkTrace* trace);
    void storageMoves() { collect(); }

    /// Bits of one net, the highest digit first.
    struct Net {
        std::string name, range;
        int width;
        std::string rose, fell;  ///< a 1 for each bit that did
    };
    /// @return all covered nets, by name
    std::vector<Net> nets();

private:
    /// A part of a net, at most 64 bits.
    struct Bits {
        uint64_t seen;  ///< as stored, at the last look; any value for bits that rose and fell
        uint64_t rose, fell;
    };
    /// Where a part lies in the words.
    struct Place {
        uintptr_t address;
        size_t offset;  ///< bytes
        uint32_t bits;
        uint8_t width;
        bool invert;
    };
    /// Words that follow each other in memory.
    struct Span {
        uintptr_t address;
        size_t offset;  ///< bytes
        size_t words;
    };
    struct Covered {
        QkTrace* trace;  ///< null once it is gone
        std::string name, range;
        uint32_t firstBits, partCount;
    };
    void cover(QkTrace* trace, const QkName* name);
    void placeParts();
    void layOut();
    void trim();
    /// Moves the counts from the words to the nets. The words are laid out again when needed.
    void collect();

    std::vector<Covered> covered;
    std::vector<Bits> bits;
    std::vector<uint8_t> widths;  ///< of `bits`
    std::vector<bool> isCovered;  ///< by QkTrace::id
    std::vector<Place> places;    ///< by address; with the spans, empty until they are laid out
    std::vector<Span> spans;
    std::vector<uint64_t> seen, once, done;  ///< ToggleWords of all spans, and one word more
    uint64_t looks = 0, nextTrim = 0;        ///< since they were laid out
    bool running = false;
};

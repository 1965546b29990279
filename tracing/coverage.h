// Toggle coverage: which bits of which nets rose and fell, as captures see it.
//
// All storage that covered nets lie in is compared word by word with an image of it, and the bits
// that differ are noted beside it; nets are told apart only when somebody asks. What is traced,
// shown or watched does not change what is counted. A bit that rises and falls between two captures
// has not changed.
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
    /// Counts no more; what was counted stays.
    void stop() { running = false; }
    /// Counts again, from the values of now.
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
    /// Looks at the storage of all covered nets.
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
        uint64_t seen;  ///< as it is stored
        uint64_t rose, fell;
    };
    /// Where a part lies in the images.
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
    void countWords();
    /// Gives what the images hold to the nets. They are laid out anew when they are next needed.
    void collect();

    std::vector<Covered> covered;
    std::vector<Bits> bits;
    std::vector<uint8_t> widths;  ///< of `bits`
    std::vector<bool> isCovered;  ///< by QkTrace::id
    std::vector<Place> places;    ///< by address; with the spans, empty until they are laid out
    std::vector<Span> spans;
    std::vector<uint64_t> image, rose, fell;  ///< words of all spans, and one more
    bool running = false;
};

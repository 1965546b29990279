// History: entries, the buckets that hold them, and the slots that entries refer to.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

struct QkTrace;

inline constexpr int kBucketEntries = 1000;

/// Minimum number of buckets of a bounded history.
inline constexpr int kLeastBuckets = 10;

/// The slot of an entry that is a time.
inline constexpr uint32_t kTimeMarker = 0;

/// One change of a value of at most 64 bits, one part of a wider one, or a time.
///
/// Parts of one value are consecutive, the most significant first.
struct OutputChange {
    uint32_t slot;   ///< what changed: a place in the SlotTable, or kTimeMarker
    uint32_t shape;  ///< 0, or for parts partShape(); for an array element its index
    uint64_t value;  ///< bits above the width are zero; the time of a marker
};

/// The shape of a part: its bits, and whether it is the first or the last of its value.
inline constexpr uint32_t kShapeBits = 0xff, kShapeFirst = 0x100, kShapeLast = 0x200;
inline uint32_t partShape(int bits, bool first, bool last) {
    return static_cast<uint32_t>(bits) | (first ? kShapeFirst : 0) | (last ? kShapeLast : 0);
}

struct ChangeBucket {
    int firstChange = 0;               ///< first entry not yet consumed
    int nChanges = 0;                  ///< entries written
    int firstMarker = kBucketEntries;  ///< first and last time marker written, if any
    int lastMarker = -1;
    /// Entries that do not count as changes of nets: times, parts but the first, array elements.
    int uncounted = 0;
    int uncountedBefore = 0;  ///< those before the first marker
    size_t slotCount = 0;     ///< set when it is full: all its slots are below
    OutputChange changes[kBucketEntries];

    void noteMarker(int index) {
        if (lastMarker < 0) {
            firstMarker = index;
            uncountedBefore = uncounted;
        }
        lastMarker = index;
        ++uncounted;
    }
    bool hasMarker() const { return lastMarker >= 0; }
    /// @return changes of nets before the first marker, which must exist, that are not consumed
    int countBeforeMarker() const { return firstChange == 0 ? firstMarker - uncountedBefore : 0; }
    /// @return changes of nets that are not consumed; consumed is nothing, or all before the marker
    int count() const {
        const int all = nChanges - uncounted;
        return firstChange == 0 ? all : all - (firstMarker - uncountedBefore);
    }
    void clear() {
        firstChange = nChanges = 0;
        firstMarker = kBucketEntries;
        lastMarker = -1;
        uncounted = uncountedBefore = 0;
    }
};

/// A ring of buckets, oldest first.
class BucketRing {
public:
    bool empty() const { return count == 0; }
    int size() const { return static_cast<int>(count); }
    ChangeBucket& oldest() { return *at(0); }
    ChangeBucket& newest() { return *at(count - 1); }
    ChangeBucket& nth(int i) { return *at(static_cast<size_t>(i)); }
    void append(std::unique_ptr<ChangeBucket> bucket);
    std::unique_ptr<ChangeBucket> takeOldest();

private:
    std::unique_ptr<ChangeBucket>& at(size_t i) {
        return places[(first + i) & (places.size() - 1)];
    }

    std::vector<std::unique_ptr<ChangeBucket>> places;  // a power of two
    size_t first = 0;
    size_t count = 0;
};

/// Data about everything that has ever been traced.
struct SlotTable {
    SlotTable() { add(nullptr); }

    uint32_t add(QkTrace* owner) {
        initial.push_back(0);
        owners.push_back(Owner{owner, 0, false});
        return static_cast<uint32_t>(owners.size() - 1);
    }
    /// @return the number of the slot's identifier code, which never changes
    uint32_t codeOf(uint32_t slot) {
        uint32_t& code = owners[slot].code;
        if (code == 0) code = ++lastCode;
        return code;
    }

    struct Owner {
        QkTrace* trace;  ///< null once the trace is gone
        uint32_t code;   ///< number of the identifier code, 0 until one is assigned
        bool forced;     ///< recorded at the next capture whether or not it differs
    };
    /// The slot has no single initial entry, because it belongs to an array.
    static constexpr uint32_t kNoInitial = ~uint32_t{0};

    std::vector<uint32_t> initial;  ///< number of the first initial entry, from 1; 0 without
    std::vector<Owner> owners;

private:
    uint32_t lastCode = 0;
};

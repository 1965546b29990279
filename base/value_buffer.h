// A copy of a net's or an array's storage, used to find out which elements changed, or to keep a
// second variable of the model equal to the first.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "base/copied_bytes.h"

struct QkTrace;

class ValueBuffer {
public:
    /// Makes the buffer of an array.
    /// @param live    model storage of all elements; never owned
    /// @param shadow  storage to keep equal; null: the buffer allocates its own
    /// @param width   bits of an element, 1 to 64
    /// @param listed  elements are compared one by one rather than the array as a whole
    /// @param stride  bytes from one element to the next; 0: they are adjacent. Bytes between
    ///                elements are copied with the whole, but not compared
    /// @return null when memory for the shadow could not be allocated
    static std::unique_ptr<ValueBuffer> make(QkTrace* header, const void* live, void* shadow,
                                             int width, uint32_t count, bool listed,
                                             int stride = 0);
    virtual ~ValueBuffer();
    ValueBuffer(const ValueBuffer&) = delete;
    ValueBuffer& operator=(const ValueBuffer&) = delete;

    /// @return whether element `a`, in storage order, differs from its last copy
    virtual bool differs(int a) const;
    /// Copies the elements of a list from the model's storage; numbers beyond the end are skipped.
    virtual void copyListed(int count, const uint32_t* list);
    /// Copies all elements.
    void copyAll();
    /// @return whether the copy equals the model's storage, also between the elements
    bool isCurrent() const { return std::memcmp(copy, live, static_cast<size_t>(bytes)) == 0; }
    /// @return all that isCurrent() compares; it stays where it is
    CopiedBytes content() const { return {live, copy, static_cast<size_t>(bytes)}; }
    /// @return the first element at or after `from` that differs, or elementCount()
    int firstDifference(int from) const;

    const void* source() const { return live; }
    const char* shadow() const { return copy; }
    int elementCount() const { return elements; }
    bool ownsShadow() const { return owned != nullptr; }

    QkTrace* const header;  ///< of the trace that the buffer belongs to

protected:
    ValueBuffer(QkTrace* traceHeader, const void* liveStorage, void* shadowStorage, int width,
                uint32_t count, int elementStride);

    const char* live;
    char* copy;
    int64_t bytes;
    int elementBytes, stride;
    int elements;

private:
    struct Free {
        void operator()(char* block) const { std::free(block); }
    };
    std::unique_ptr<char[], Free> owned;  // from malloc(), whose failure has its own message
};

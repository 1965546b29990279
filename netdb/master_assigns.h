// Copies of a net in several places of the model, kept equal by the library.
//
// An instance may hold a net in its own variable, in addition to the variable of the net's owner in
// an enclosing module. The generated code writes the owner; after each wave the library copies it
// to the others. Arrays have a list of the elements written since the last wave, in which the
// generated code notes its writes, so that the cost of tracing and copying depends on the number of
// writes.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "base/value_buffer.h"

class QkScope;
struct QkTrace;

/// Traces of one value that the model holds in several places, each a part or a value in one part.
struct CopyGroup {
    std::vector<QkTrace*> members;

    void add(QkTrace* trace);
    void remove(const QkTrace* trace);
};

/// A run of bytes to copy at each wave.
struct MasterAssign {
    char* to;
    const char* from;
    int64_t bytes;
};

/// The change list of an array, and the buffers that follow it.
///
/// Generated code holds the address of the record in a 64-bit cell, and passes it to the array
/// operations as a handle.
struct MasterArrayAssign {
    QkTrace* owner = nullptr;  ///< header of the array's trace
    std::vector<std::unique_ptr<ValueBuffer>> all;
    int32_t count = 0;     ///< entries in use; above `capacity`: the whole array counts as changed
    int32_t capacity = 0;  ///< the list has room for one more
    std::unique_ptr<uint32_t[]>
        list;  ///< element numbers, in storage order; null until something listens

    QkScope* scope = nullptr;  ///< applies the record; null until something listens
    void* cell = nullptr;      ///< generated code's place of the handle; null for a private record
    int users = 0;             ///< traces that hold the cell
    size_t place = 0;          ///< in QkDatabase::followed, with buffers

    /// Notes a write of one element.
    void note(uint32_t element) {
        if (list && count <= capacity) list[static_cast<uint32_t>(count++)] = element;
    }
    /// Marks the whole array as changed.
    void overflow() { count = capacity + 1; }
};

/// The arrays of a scope as a wave first sees them: most often none of them has changed.
struct ArrayWatches {
    std::vector<CopiedBytes> contents;       ///< of arrays without a change list, part by part
    std::vector<MasterArrayAssign*> listed;  ///< those with one
    bool isStale = true;                     ///< an array or a buffer has been added or removed
};

/// Carries out a scope's copies, and reports changes of its traced arrays.
void applyMasterAssigns(QkScope& scope);

// ---- Copies of one value in several places of the model

/// @return the group of the trace's storage, or null when it has no copies
CopyGroup* copiesOf(QkTrace* trace);

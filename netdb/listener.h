// What the database announces to the parts of the run above it.
#pragma once

#include <cstddef>
#include <cstdint>

class QkScope;
struct CopiedBytes;
struct QkName;
struct QkTrace;

/// A part that keeps its own records about names, traces or scopes. QkDatabase::listeners
/// determines the order in which the parts are called. None may change the hierarchy meanwhile.
class DatabaseListener {
public:
    /// A name is about to be removed. It still is in all rings and indexes.
    virtual void nameGoes(QkName* /*name*/) {}
    /// A trace is about to be removed. It still is in all rings and indexes.
    virtual void traceGoes(QkTrace* /*trace*/) {}
    /// A scope without names and children is about to be removed.
    virtual void scopeGoes(QkScope* /*scope*/) {}
    /// The net of a trace is about to lose its storage. Its names stay.
    virtual void netDetaches(QkTrace* /*trace*/) {}
    /// The storage of traces is about to move: the values last seen must be stored in
    /// QkTrace::value.
    virtual void storageMoves() {}
    /// A name that is not a virtual variable is about to leave its trace for another.
    virtual void nameLeaves(QkName* /*name*/) {}
    /// It has arrived there.
    virtual void nameArrives(QkName* /*name*/, QkTrace* /*from*/) {}
    /// Copies of values have been found in further places.
    virtual void copiesFound() {}
    /// An element of an array that something follows has changed. Only QkDatabase::recorder is
    /// called, as arrays may change at each wave. @param index  as declared
    virtual void elementChanged(QkTrace* /*array*/, int64_t /*index*/) {}
    /// Compares the arrays of a wave with their copies. Only QkDatabase::recorder is called.
    /// @return the number of the first that differs, or `count`; 0 also if it does not compare
    virtual size_t firstDifferent(const CopiedBytes* /*arrays*/, size_t /*count*/) const {
        return 0;
    }

protected:
    ~DatabaseListener() = default;
};

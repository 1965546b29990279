// The faults in tables of generated code that qk_check_tables reports in addition to the protocol:
// one line for each, with the net's name.
#pragma once

#include <map>

#include "base/bit_range.h"

class QkScope;
struct QkName;
struct QkTrace;

/// Pieces of storage that do not overlap: overlapping ones have been joined.
class StorageMap {
public:
    /// @return the start of another piece that the new one overlaps, or null
    const char* add(const char* start, const char* end);
    /// Removes the piece that starts here, if there is one.
    void remove(const void* start) {
        if (!ends.empty()) ends.erase(static_cast<const char*>(start));
    }

private:
    std::map<const char*, const char*> ends;  // by start
};

// The functions below are called only if qk_check_tables is on.

void reportNullAddress(const QkName* net);
/// @param id     id of the net that should replace `net`, which does not exist
/// @param count  nets of the section
void reportReplacement(const QkName* net, int id, int count);
/// Reports bits that two rows of a net both have in storage of their own.
void checkOverlap(const QkName* net, const BitRange& one, const BitRange& other);
/// Reports an extract or a term, `localName` in `scope`, that reads bits beyond its net.
/// @param offset  of its lowest bit within `net`
void checkReader(const QkScope* scope, const char* localName, const QkName* net, int offset,
                 int width);
/// Reports a trace whose storage overlaps that of another trace at a different address.
void checkStorage(StorageMap& storage, const QkTrace* trace);

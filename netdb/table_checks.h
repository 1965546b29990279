// What qk_check_tables has looked for in the tables of generated code, beside the protocol: a line
// for each fault, with the net's name.
#pragma once

#include <map>

#include "base/bit_range.h"

class QkScope;
struct QkName;
struct QkTrace;

/// Pieces of storage that do not overlap: those that did have been joined.
class StorageMap {
public:
    /// @return the start of another piece that the new one overlaps, or null
    const char* add(const char* start, const char* end);
    /// Forgets the piece that starts here, if there is one.
    void remove(const void* start) {
        if (!ends.empty()) ends.erase(static_cast<const char*>(start));
    }

private:
    std::map<const char*, const char*> ends;  // by start
};

// The rest is for when qk_check_tables is on.

void reportNullAddress(const QkName* net);
/// @param id     of the net that is to replace `net`: there is none of this id
/// @param count  nets of the section
void reportReplacement(const QkName* net, int id, int count);
/// Reports bits that two rows of a net with storage of their own have both.
void checkOverlap(const QkName* net, const BitRange& one, const BitRange& other);
/// Reports an extract or a term, `localName` in `scope`, that reads bits which its net does not
/// have.
/// @param offset  of its lowest bit within `net`
void checkReader(const QkScope* scope, const char* localName, const QkName* net, int offset,
                 int width);
/// Reports a trace whose storage, new at its address, overlaps that of another without being the
/// same.
void checkStorage(StorageMap& storage, const QkTrace* trace);

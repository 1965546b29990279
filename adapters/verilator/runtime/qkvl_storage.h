// Where the nets of the tables are in memory.
#ifndef QKVL_STORAGE_H
#define QKVL_STORAGE_H

#include <cstdint>
#include <vector>

#include "qkvl.h"

/// The storage of a net: adjacent elements, each of 1, 2, 4, 8 or a multiple of 4 bytes.
struct QkvlStorage {
    unsigned char* data = nullptr;
    int width = 0;  ///< bits of an element
    size_t elementBytes = 0;
    size_t elements = 0;  ///< 1 unless it is an array
    size_t bytes() const { return elements * elementBytes; }
};

/// The storage of each row, and which storage holds state.
struct QkvlPlaces {
    std::vector<QkvlStorage> ofRow;           ///< data is null when the row has none of its own
    std::vector<unsigned char> neverWritten;  ///< by row: whether it cannot be set but holds state
    /// By row of a home: what the net is whose further names share its storage.
    std::vector<unsigned char> kindOfHome;
    std::vector<QkvlStorage> state;  ///< registers, latches and memories, each once
};

/// Finds the storage of all public rows, and which of several holds a register: the model is
/// probed, and restored. Ends the process with status 2 when a row is not in the model.
QkvlPlaces qkvlFindPlaces(VerilatedModel& model, VerilatedContext& context);

inline int qkvlWidth(const QkvlNet& net) {
    return (net.left > net.right ? net.left - net.right : net.right - net.left) + 1;
}
/// @return the full name, TOP.SCOPE.NAME
const char* qkvlFullName(const QkvlNet& net);

#endif

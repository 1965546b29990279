// Virtual variables: names that catenate slices of nets and constants.
//
// A virtual variable belongs to the first top-level scope, like its nets. Only nets with storage
// can be sources, so that no variable ever depends on itself.
#pragma once

#include <cstdint>
#include <string>

#include "netdb/netdb.h"

class QkVariable;

/// The maximum number of bits of a virtual variable.
inline constexpr int kMostVirtualBits = 1 << 24;
/// The maximum number of bits of a constant.
inline constexpr int kMostIdleBits = QK_MAXUBITS;

/// A request for an element, and the result of resolve() for it.
struct ElementRequest {
    bool idle = false;        ///< a constant
    bool whole = false;       ///< the bounds are the net's own; resolve() fills them in
    std::string source = {};  ///< net, found as one object
    int left = 0, right = 0;  ///< of the slice
    int idleWidth = 0;
    uint64_t idleValue = 0;

    QkName* net = nullptr;  ///< once found, even if the rest of the request fails
    VirtualElement element = {};

    /// @param source  null counts as empty, which finds nothing
    static ElementRequest ofNet(const char* source) {
        return {.whole = true, .source = source ? source : ""};
    }
    static ElementRequest ofSlice(const char* source, int left, int right) {
        return {.source = source ? source : "", .left = left, .right = right};
    }
    static ElementRequest ofIdleBits(int width, uint64_t value) {
        return {.idle = true, .idleWidth = width, .idleValue = value};
    }
};

/// Finds the net and the bits of a request for a source or for idle bits.
/// @return 0, 2 to 5 or 7
int resolve(ElementRequest& request);
/// @return 0 when a virtual variable may be given that name, else 25, 26 or 8
int checkNewName(const char* name);
/// @return 0 when elements may be added to the name, which may be null, else 31, 10 or 30
int checkExtensible(const QkName* name);
/// Adds a resolved element. @return 0, or 5 when the variable would become too wide
int extendVirtual(QkName* name, const ElementRequest& request);
/// Finds a virtual variable by its full name or by the name given when it was made.
/// @return it, or null with `code` 8 or 10
QkName* findVirtual(const char* given, int& code);
/// Deletes a virtual variable and its handle. @return 0, 9, 10, 11 or 30
int deleteVirtual(QkVariable*& variable);

// Reading and writing the bits of a virtual variable: a catenation of slices of nets and constants.
#include <algorithm>

#include "netdb/netdb.h"

namespace {

/// The piece of the requested bits that one element holds.
struct Piece {
    const VirtualElement* element;
    int count;
    int below;  ///< bits of the element below the piece
};

/// Calls visit(Piece) for each element that holds some of the requested bits, top bits first, until
/// a result is not 0.
/// @return the first such result; 1 when a bit lies outside
template <class Visit>
int eachPiece(const QkName* name, int64_t bit, int count, Visit&& visit) {
    const BitRange& range = name->extension->range;
    if (count < 0 || count > QK_MAXUBITS || bit < 0 || bit + count > range.width) return 1;
    const std::vector<VirtualElement>& elements = name->extension->elements;
    const int64_t above = range.width - bit - count;  // bits before the wanted ones
    auto element =
        std::upper_bound(elements.begin(), elements.end(), above,
                         [](int64_t wanted, const VirtualElement& e) { return wanted < e.above; });
    for (int64_t done = 0; done < count; ++element) {
        const VirtualElement& from = element[-1];
        const int64_t skipped = above + done - from.above;
        const auto taken = static_cast<int>(std::min(from.width - skipped, count - done));
        const int failed =
            visit(Piece{&from, taken, static_cast<int>(from.width - skipped - taken)});
        if (failed) return failed;
        done += taken;
    }
    return 0;
}

/// @return the trace's number for the piece's lowest bit
int64_t bitOfSource(const Piece& piece) {
    return piece.element->trace->range.bitAt(int64_t{piece.element->offset} + piece.below);
}

}  // namespace

int readVirtualBits(const QkName* name, int64_t bit, int count, uint64_t* out) {
    uint64_t result = 0;
    const int failed = eachPiece(name, bit, count, [&](const Piece& piece) {
        uint64_t bits = 0;
        if (piece.element->trace) {
            if (readBits(piece.element->trace, 0, bitOfSource(piece), piece.count, &bits)) return 1;
        } else if (piece.below < QK_MAXUBITS) {
            bits = piece.element->idle >> piece.below & bitMask(piece.count);
        }
        result = piece.count == QK_MAXUBITS ? bits : result << piece.count | bits;
        return 0;
    });
    *out = failed ? 0 : result;
    return failed;
}

int writeVirtualBits(QkName* name, int64_t bit, int count, uint64_t value) {
    int left = count;
    return eachPiece(name, bit, count, [&](const Piece& piece) {
        left -= piece.count;
        if (!piece.element->trace) return 0;
        return writeBits(piece.element->trace, 0, bitOfSource(piece), piece.count, value >> left);
    });
}

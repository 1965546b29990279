// Reading and writing bits of a value through a trace or a name.
#include <algorithm>
#include <cstdlib>

#include "netdb/netdb.h"
#include "qkzeft_module.h"

uint64_t qkWriteCount = 0;

uint64_t qk_write_count() { return qkWriteCount; }

namespace {

/// A run of bits within a value: `offset` counts from the value's top bit.
struct Field {
    int64_t offset;
    int count;
    uint32_t element;
};

bool locate(const QkTrace* trace, int64_t index, int64_t bit, int count, Field& field) {
    if (trace->isArray()) {
        if (!trace->isWithinArrayRange(index)) return false;
        field.element = trace->elementOf(index);
    } else {
        if (index != 0) return false;
        field.element = 0;
    }
    const BitRange& range = trace->range;
    if (count < 0 || count > range.width || count > QK_MAXUBITS) return false;
    const int64_t left = range.left();
    field.offset = range.reversed ? (bit - count + 1) - left : left - (bit + count - 1);
    field.count = count;
    return field.offset >= 0 && field.offset + count <= range.width;
}

/// The piece of a field that one part holds.
struct Piece {
    int count;
    int shift;  ///< bits of the part below the piece
};

/// Calls visit(part, Piece) for each part that holds some of the field, top bits first.
template <class Trace, class Visit>
bool eachPiece(Trace* trace, const Field& field, Visit&& visit) {
    int64_t top = 0;
    for (Trace* const part : trace->parts()) {
        const int64_t end = top + part->range.width;
        const int64_t from = std::max(top, field.offset);
        const int64_t to = std::min(end, field.offset + field.count);
        if (from < to && part->address)
            visit(part, Piece{static_cast<int>(to - from), static_cast<int>(end - to)});
        top = end;
    }
    return top >= field.offset + field.count;
}

/// @return the bit of the trace that is bit `bit` of the name
int64_t bitOfTrace(const QkName* name, int64_t bit) {
    if (name->kind == kPlainName) return bit;
    const BitRange& own = name->extension->range;
    int64_t distance = std::abs(bit - own.right());
    if (name->kind == kExtractName) distance += name->extension->offset;
    return name->trace->range.bitAt(distance);
}

bool isReadable(const QkName* name) {
    switch (name->kind) {
        case kPlainName: return name->trace != nullptr;
        case kTermName:
        case kExtractName: return name->trace != nullptr && name->extension != nullptr;
        case kVirtualName: return name->extension != nullptr;
        default: QK_ASSERT_AS(false, "0"); return false;
    }
}

}  // namespace

int readBits(const QkTrace* trace, int64_t index, int64_t bit, int count, uint64_t* out) {
    *out = 0;
    Field field;
    if (!locate(trace, index, bit, count, field)) return 1;
    uint64_t result = 0;
    const bool whole = eachPiece(trace, field, [&](const QkTrace* part, Piece piece) {
        const uint64_t bits =
            part->readStorage(field.element) >> piece.shift & bitMask(piece.count);
        result = piece.count == 64 ? bits : result << piece.count | bits;
    });
    *out = result;
    return whole ? 0 : 1;
}

namespace {

/// Stores the bits under `mask` in one place of the model.
void storePiece(QkTrace* part, uint32_t element, uint64_t mask, uint64_t bits) {
    const int bytes = part->elementBytes();
    char* const place =
        static_cast<char*>(part->address) + size_t{element} * static_cast<size_t>(part->stride());
    storeStorage(place, bytes, (loadStorage(place, bytes) & ~mask) | (bits & mask));
    if (part->extras && part->extras->arrayRecord) part->extras->arrayRecord->note(element);
}

/// Stores the bits in all places of the part's value, each in its own polarity.
void storeEverywhere(QkTrace* part, uint32_t element, uint64_t mask, uint64_t bits) {
    const uint64_t raw = part->invert ? ~bits : bits;
    storePiece(part, element, mask, raw);
    const CopyGroup* const group = copiesOf(part);
    if (!group) return;
    const auto isHere = [&](const QkTrace* member) { return member->address == part->address; };
    const auto here = std::find_if(group->members.begin(), group->members.end(), isHere);
    for (QkTrace* grp_trc : group->members) {
        if (isHere(grp_trc)) continue;
        const bool fits = grp_trc->width() == part->width() && grp_trc->nel == part->nel;
        if (!QK_CHECK_AS(fits, "grp_trc->width() == (int)walker_wid")) continue;
        const bool opposite = grp_trc->invert != (*here)->invert;
        storePiece(grp_trc, element, mask, opposite ? ~raw : raw);
    }
}

}  // namespace

int writeBits(QkTrace* trace, int64_t index, int64_t bit, int count, uint64_t value) {
    Field field;
    if (!locate(trace, index, bit, count, field)) return 1;
    int left = count;
    const bool whole = eachPiece(trace, field, [&](QkTrace* part, Piece piece) {
        left -= piece.count;
        storeEverywhere(part, field.element, bitMask(piece.count) << piece.shift,
                        (value >> left) << piece.shift);
    });
    return whole ? 0 : 1;
}

int readBits(const QkName* name, int64_t index, int64_t bit, int count, uint64_t* out) {
    *out = 0;
    if (!isReadable(name)) return 1;
    if (name->kind == kVirtualName) return index == 0 ? readVirtualBits(name, bit, count, out) : 1;
    return readBits(name->trace, index, bitOfTrace(name, bit), count, out);
}

int writeBits(QkName* name, int64_t index, int64_t bit, int count, uint64_t value) {
    if (!isReadable(name)) return 1;
    if (name->kind == kVirtualName)
        return index == 0 ? writeVirtualBits(name, bit, count, value) : 1;
    return writeBits(name->trace, index, bitOfTrace(name, bit), count, value);
}

namespace {

/// The bits of a chunk, in the name's bit numbers.
struct ChunkBits {
    int64_t bit;
    int count;  ///< 0 when the chunk lies beyond the width
};

ChunkBits bitsOfChunk(const QkName* name, int chunk) {
    const BitRange& range = name->range();
    const int64_t below = int64_t{chunk} * QK_MAXUBITS;
    if (chunk < 0 || range.width <= below) return {0, 0};
    return {range.bitAt(below),
            static_cast<int>(std::min<int64_t>(range.width - below, QK_MAXUBITS))};
}

}  // namespace

uint64_t readChunk(const QkName* name, int chunk, int64_t index) {
    const auto [bit, count] = bitsOfChunk(name, chunk);
    uint64_t bits;
    return count != 0 && readBits(name, index, bit, count, &bits) == 0 ? bits : 0;
}

int writeChunk(QkName* name, int chunk, int64_t index, uint64_t value) {
    const auto [bit, count] = bitsOfChunk(name, chunk);
    return count != 0 ? writeBits(name, index, bit, count, value) : 1;
}

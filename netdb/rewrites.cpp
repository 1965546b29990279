// Names that the generator optimised away: nets that others replace, and names that read a
// remaining net, or a part of it.
#include "netdb/registration.h"

#include <cstdlib>

#include "run/console_text.h"

namespace {

/// @return the part of a wide net that holds its bit `bit`, or null
QkTrace* partHolding(QkTrace* header, int bit) {
    for (QkTrace* part = header->bits; part; part = part->bits)
        if ((part->range.isRange || part->range.isBit ? part->range.lsb : -1) == bit) return part;
    return nullptr;
}

}  // namespace

void QkRegistrationData::apply(const NetReplacement& replacement) {
    QkName* const replaced = replacement.pReplaced;
    // Removed, or bound with another row of its name.
    if (!replaced || replaced->trace != &gDummyTrace) return;
    const bool inverted = replacement.replacementId < 0;
    const int64_t id = inverted ? -int64_t{replacement.replacementId} : replacement.replacementId;
    const int64_t index = id - 1;
    // The id after that of the last net is not a net either.
    if (index < 0 || index >= nn || !pnames[index]) {
        qk_printf(
            "warning: Net Registration: Ignoring rewrite rule for net: %s\n"
            "         (this net will not appear in VCD traces) (reason: no replacement)\n",
            FullName(replaced).c_str());
        if (qk_check_tables && (index < 0 || index >= nn))
            reportReplacement(replaced, replacement.replacementId, nn);
        drop(replaced);
        return;
    }
    QkTrace* trace = pnames[index]->trace;
    if (trace->bits) {
        if (replacement.net.range.width != 1) {
            qkDatabase->bindName(replaced, trace->header);
            return;
        }
        trace = partHolding(trace->header, lowIndices[index]);
    }
    QkDatabase::NetStorage net = replacement.net;
    net.address = trace && trace != &gDummyTrace ? trace->address : nullptr;
    net.invert = inverted;
    if (net.address && qkDatabase->addStored(trace, replaced, net)) return;
    qk_printf(
        "warning: Net Registration: Ignoring rterm rule for net: %s\n"
        "         (this net will not appear in VCD traces) (reason: bad replacement)\n",
        FullName(replaced).c_str());
    drop(replaced);
}

// ---- Extracts and terms

namespace {

BitRange readerRange(bool scalar, int left, int right) {
    return scalar ? BitRange::bit() : BitRange(left, right);
}

/// @return the inverted form of `actual`, or null
QkTrace* invertedForm(QkTrace* actual) {
    return SameAddress::find(actual, [&](const QkTrace* trace) {
        return trace->invert != actual->invert && trace->isPart == actual->isPart;
    });
}

}  // namespace

void QkRegistrationData::addExtract(const QkGRExtract& row) {
    addReader({"bit-extract", kExtractName, row.scope, row.name,
               readerRange(row.scalar, row.left, row.right), row.actual, row.offset});
}

void QkRegistrationData::addTerm(const QkGRTerm& row) {
    addReader({"term", kTermName, row.scope, row.name, readerRange(row.scalar, row.left, row.right),
               row.actual, 0});
}

void QkRegistrationData::addReader(const Reader& reader) {
    if (reader.actual == -1) return;
    const bool inverted = reader.actual < 0;
    const int64_t index = (inverted ? -int64_t{reader.actual} : int64_t{reader.actual}) - 1;
    const char* const localName = reader.name ? reader.name : "";
    if (reader.scope < 0 || reader.scope >= ns || index < 0 || index >= nn) {
        qk_printf("Error: While registering \"%s\" %s \"%s\" out-of-range (%d/%d in %d/%d)\n",
                  name(), reader.what, localName, reader.scope, ns, static_cast<int>(index), nn);
        std::exit(1);
    }
    QkName* const actual = pnames[index];
    if (!actual) return;  // removed with a warning
    uint32_t mode = actual->mode;
    if (mode & QK_flag_not_replaced)
        mode &= ~static_cast<uint32_t>(QK_flag_replaced | QK_flag_not_replaced);

    QkTrace* const trace = inverted ? invertedForm(actual->trace) : actual->trace;
    if (!trace) {
        qk_printf(
            "Error: While registering: \"%s\" %s \"%s\" no inverted actual (%d/%d in %d/%d)\n",
            name(), reader.what, localName, reader.scope, ns, static_cast<int>(index), nn);
        std::exit(1);
    }
    if (reader.range.width > kMostNetBits) {
        qk_printf("Error: While registering \"%s\" %s \"%s\" is too wide (%d)\n", name(),
                  reader.what, localName, reader.range.width);
        std::exit(1);
    }
    if (qk_check_tables)
        checkReader(pscopes[reader.scope], localName, actual, reader.offset, reader.range.width);
    QkName* const formal =
        qkDatabase->addName(pscopes[reader.scope], localName, mode, actual->netFlags);
    QK_ASSERT(formal);
    formal->kind = reader.kind;
    formal->extension = new NameExtension;
    formal->extension->range = reader.range;
    formal->extension->offset = reader.offset;
    QK_ASSERT(formal->trace == &gDummyTrace);
    if (reader.kind == kExtractName) {
        qkDatabase->bindExtract(formal, trace);
    } else {
        qkDatabase->bindTerm(formal, trace);
    }
}

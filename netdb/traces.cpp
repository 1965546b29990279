// Traces: which storage a name is bound to.
#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "netdb/database.h"
#include "run/console_text.h"

namespace {

uint8_t storageOfNone = 0;

constexpr QkTrace makeDummyTrace() {
    QkTrace trace{};
    trace.address = &storageOfNone;
    trace.header = &gDummyTrace;
    trace.sameAddr_n = trace.sameAddr_p = &gDummyTrace;
    return trace;
}

}  // namespace

// Static objects may register their nets before the program's own start.
constinit QkTrace gDummyTrace = makeDummyTrace();

bool isBound(const QkName* name) {
    const QkTrace* const trace = name->trace;
    return QK_CHECK_AS(trace && trace != &gDummyTrace, "trace && (trace != &gDummyTrace)");
}

namespace {

bool needsExtras(const QkDatabase::NetStorage& net) {
    return (net.mode & QK_array) || net.traceWord || net.ppamd;
}

uint32_t elementCount(const QkDatabase::NetStorage& net) {
    if (!(net.mode & QK_array)) return 0;
    const int64_t distance = int64_t{net.arrayLeft} - net.arrayRight;
    // Elements are counted in ints: elements beyond INT_MAX cannot be reached.
    return static_cast<uint32_t>(std::min<int64_t>(std::abs(distance) + 1, INT_MAX));
}

bool isPort(uint32_t mode) {
    const uint32_t type = mode & 0xff;
    return type == QK_type_input || type == QK_type_inout || type == QK_type_output;
}

}  // namespace

QkTrace* QkDatabase::tracesAt(const void* address) const {
    const uint32_t id = traces_by_address.find(
        hashAddress(address), [&](uint32_t at) { return traceStore.at(at)->address == address; });
    return id == HashIndex::kNone ? nullptr : traceStore.at(id);
}

QkTrace* QkDatabase::makeTrace(const NetStorage& net) {
    uint32_t id;
    QkTrace* const trace = traceStore.make(id);
    trace->id = id;
    trace->address = net.address;
    trace->range = net.range;
    trace->header = trace;
    trace->flags = net.flags;
    trace->nel = elementCount(net);
    trace->invert = net.invert;
    trace->isPart = (net.mode & QK_parts) != 0;
    trace->isInterleaved = trace->isPart && trace->nel != 0 && (net.mode & QK_interleaved);
    if (needsExtras(net))
        trace->extras =
            new TraceExtras{.arrayLeft = net.arrayLeft,
                            .arrayRight = net.arrayRight,
                            .traceWord = net.traceWord,
                            .arrayRecord = net.ppamd ? arrayRecordAt(net.ppamd) : nullptr};
    copiesUnresolved |= net.traceWord || (net.flags & QK_flag_shadow);
    allTraceFlags |= net.flags;
    return trace;
}

QkTrace* QkDatabase::makeHeader(const QkTrace& part) {
    uint32_t id;
    QkTrace* const header = traceStore.make(id);
    header->id = id;
    header->range = part.range;
    header->header = header;
    header->nel = part.nel;
    header->isPart = true;
    if (part.isArray())
        header->extras =
            new TraceExtras{.arrayLeft = part.arrayLeft(), .arrayRight = part.arrayRight()};
    SameAddress::init(header);
    return header;
}

void QkDatabase::linkAtAddress(QkTrace* trace, QkTrace* ring) {
    if (ring) {
        SameAddress::insertBefore(ring, trace);
    } else {
        SameAddress::init(trace);
        traces_by_address.insert(hashAddress(trace->address), trace->id);
        if (qk_check_tables) checkStorage(checkedStorage, trace);
    }
}

void QkDatabase::addPart(const QkName* name, QkTrace* part, QkTrace* header) {
    QK_ASSERT_AS(part, "newBits");
    QK_ASSERT_AS(header, "existingHdr");
    QK_ASSERT_AS(header != part, "existingHdr != newBits");
    part->header = header;
    const BitRange existing = header->range;
    const bool sameElements = header->nel == part->nel &&
                              (!part->isArray() || (header->arrayLeft() == part->arrayLeft() &&
                                                    header->arrayRight() == part->arrayRight()));
    if (!sameElements || !header->range.join(part->range) || header->range.width > kMostNetBits) {
        const auto describe = [](const char* what, const BitRange& r) {
            qk_printf("    %s upb:%d lwb:%d msb:%d lsb:%d isRange:%d width:%d\n", what, r.left(),
                      r.right(), r.msb, r.lsb, r.isRange, r.width);
        };
        qk_printf(
            "ZEFT RunTime: Fatal Error, unable to register this net:\n    %s\n"
            "If there are multiple instances of a ZEFT model, check that each is given a\n"
            "unique name using the qk_setup() method, before its qk_netlist() methods is\n"
            "called.\n\n"
            "%s"
            "Additional support information:\n",
            FullName(name).c_str(), kSupportContact);
        describe("New:     ", part->range);
        describe("Existing:", existing);
        qk_printf("\n");
        std::exit(1);
    }
    header->flags |= part->flags;
    part->bits = header->bits;
    header->bits = part;
}

namespace {

/// @return bytes of storage of all elements together
uint64_t totalBytes(int width, uint32_t elements) {
    return uint64_t{std::max(elements, 1u)} * static_cast<unsigned>(storageBytes(width));
}

/// Replaces the address of a port's pointer by the address of its storage.
void followPort(QkDatabase::NetStorage& net) {
    if (net.address && isPort(net.mode) && !(net.mode & QK_array))
        std::memcpy(&net.address, net.address, sizeof net.address);
}

/// Adjusts the range to that of the trace. @return whether the row gives storage of one trace
bool settleRange(QkDatabase::NetStorage& net) {
    if ((net.mode & 0xff) == QK_type_integer) net.range = BitRange(31, 0);
    const bool isPart = (net.mode & QK_parts) != 0;
    if (!isPart && net.range.width == 1 && net.range.lsb == 0) net.range = BitRange::bit();
    QK_ASSERT_AS(net.address != nullptr, "address != NULL");
    QK_ASSERT_AS(net.range.width <= QK_MAXUBITS, "br.width() <= QK_MAXUBITS");
    return net.address && net.range.width <= QK_MAXUBITS;
}

QkTrace* sameForm(QkTrace* ring, const QkDatabase::NetStorage& net) {
    return SameAddress::find(ring, [&](const QkTrace* trace) {
        return trace->invert == net.invert && trace->isPart == ((net.mode & QK_parts) != 0);
    });
}

}  // namespace

namespace {

/// Compares the bits of another row of a name with those of earlier rows.
void checkRows(const QkName* name, const QkTrace* added) {
    for (const QkTrace* const part : name->trace->parts())
        checkOverlap(name, added->range, part->range);
}

}  // namespace

QkTrace* QkDatabase::addNet(QkName* name, NetStorage net) {
    followPort(net);
    if (!net.address) {
        if (qk_check_tables) {
            reportNullAddress(name);
            return nullptr;
        }
        qk_printf("Error: While registering net \"%s\": the address is null\n",
                  FullName(name).c_str());
    }
    return addStored(nullptr, name, net);
}

QkTrace* QkDatabase::addStored(QkTrace* existing, QkName* name, NetStorage net) {
    if (!settleRange(net)) return nullptr;
    const bool unbound = name->trace == &gDummyTrace;
    QkTrace* const ring = existing ? existing : tracesAt(net.address);
    if (QkTrace* const match = sameForm(ring, net)) {
        // Another name of a net in parts is a name of the whole net.
        if (unbound) bindName(name, match->header);
        return match->header;
    }
    if (existing && totalBytes(net.range.width, elementCount(net)) >
                        totalBytes(existing->range.width, existing->nel))
        return nullptr;

    QkTrace* const trace = makeTrace(net);
    QkTrace* header = name->trace->header;
    if (unbound) {
        header = trace->isPart ? makeHeader(*trace) : trace;
        bindName(name, header);
        TraceRing::append(traces, header);
    }
    if (qk_check_tables && !unbound) checkRows(name, trace);
    if (trace->isPart && header->isHeader()) {
        addPart(name, trace, header);
    } else if (!unbound) {
        TraceRing::append(traces, trace);
        furtherStorage.emplace(name, net.address);
    }
    linkAtAddress(trace, ring);
    return trace->header;
}

void QkDatabase::addInvertedForm(NetStorage net) {
    net.invert = true;
    followPort(net);
    QkTrace* const ring = tracesAt(net.address);
    if (!settleRange(net) || !ring || sameForm(ring, net)) return;
    QkTrace* const trace = makeTrace(net);
    TraceRing::append(traces, trace);
    linkAtAddress(trace, ring);
}

void QkDatabase::leaveAddress(QkTrace* trace) {
    QkTrace* ring = tracesAt(trace->address);
    QK_ASSERT_AS(ring, "addrDring");
    const uint32_t hash = hashAddress(trace->address);
    const bool isEntry = ring == trace;
    SameAddress::remove(ring, trace);
    if (!ring) {
        traces_by_address.remove(hash, trace->id);
        checkedStorage.remove(trace->address);
        ownersAgain.erase(trace->address);
    } else if (isEntry) {
        traces_by_address.replace(hash, trace->id, ring->id);
    }
}

void QkDatabase::removeTrace(QkTrace* trace) {
    dropReaders(trace);
    announce(&DatabaseListener::traceGoes, trace);
    if (trace->next) TraceRing::remove(traces, trace);
    if (trace->address && !trace->detached) leaveAddress(trace);
    if (trace->extras) forgetCopies(trace);
    delete trace->extras;
    traceStore.release(trace->id);
}

void QkDatabase::dropAtAddress(const void* address) {
    const auto isNamed = [](const QkTrace* trace) { return trace->header->isNamed(); };
    if (SameAddress::find(tracesAt(address), isNamed)) return;
    while (QkTrace* const trace = tracesAt(address)) removeTrace(trace);
}

void QkDatabase::dropUnnamed(QkTrace* trace) {
    if (trace->isNamed()) return;
    if (trace->address) {
        if (trace->detached)
            removeTrace(trace);
        else
            dropAtAddress(trace->address);
        return;
    }
    while (QkTrace* const part = trace->bits) {
        trace->bits = part->bits;
        part->header = part;
        part->bits = nullptr;
        if (part->detached)
            removeTrace(part);
        else
            dropAtAddress(part->address);
    }
    removeTrace(trace);
}

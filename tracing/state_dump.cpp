// The whole state of the model as a VCD file, beside whatever is being traced.
//
// The file has every scalar at its present value in one dump section, then the time, and no
// history. Values are the bits of the model's storage: an inverted net has its stored bits, as does
// the net that it is the inverse of.
#include <algorithm>
#include <memory>
#include <vector>

#include "netdb/live_model.h"
#include "qkzeft_run.h"
#include "tracing/vcd_file.h"

namespace {

bool isDumped(const QkTrace* trace) {
    return !trace->isArray() && !(trace->flags & QK_flag_never_write);
}

bool isDumped(const QkName* name) {
    bool dumped = isBound(name);
    eachSource(name, [&](const QkTrace* trace) { dumped &= isDumped(trace); });
    return dumped;
}

class StateDump {
public:
    StateDump(QkVcdFile& vcdFile, SlotTable& slotTable) : file(vcdFile), slots(slotTable) {}

    /// The time stands at the end: a file without it has been cut short.
    void write() {
        file.writeVersion();
        file.writeDate();
        file.writeTimescale();
        writeScopes(qkLiveModel->top_scopes);
        file.endDefinitions();
        file.dumpvarsBegin();
        TraceRing::each(qkLiveModel->traces, [&](const QkTrace* trace) {
            if (isDumped(trace)) add(trace);
        });
        NameRing::each(qkLiveModel->names, [&](const QkName* name) {
            if (name->isSlice() && isDumped(name)) add(name);
        });
        flush();
        file.dumpvarsEnd();
        file.writeTime(qk_cycle);
    }

private:
    void writeScopes(QkScope* ring) {
        ScopeRing::each(ring, [&](const QkScope* scope) {
            file.scopeBegin(scope->name.str());
            ScopeNames::each(scope->allNames, [&](const QkName* name) {
                if (isDumped(name)) declare(name);
            });
            writeScopes(scope->children);
            file.scopeEnd();
        });
    }

    void declare(const QkName* name) {
        const bool isSlice = name->isSlice();
        uint32_t& slot = isSlice ? name->extension->vcdSlot : name->trace->vcdSlot;
        if (slot == 0) slot = slots.add(isSlice ? nullptr : name->trace);
        slots.declare(slot, (isSlice ? name->range() : name->trace->range).width != 1);
        file.writeVar(name, slots.codeText(slot));
    }

    void add(const QkTrace* trace) {
        if (trace->vcdSlot == 0) return;  // no name of it is declared
        const bool inParts = trace->firstPart() != trace;
        for (const QkTrace* part = trace->firstPart(); part; part = trace->partAfter(part)) {
            const int width = part->width();
            const uint64_t value =
                loadStorage(part->address, part->elementBytes()) & bitMask(width);
            const bool isFirst = part == trace->firstPart(), isLast = !trace->partAfter(part);
            add({trace->vcdSlot, inParts ? partShape(width, isFirst, isLast) : 0, value}, isLast);
        }
    }

    void add(const QkName* name) {
        const int chunks = name->chunkCount();
        for (int chunk = chunks; chunk-- > 0;) {
            const int bits = std::min(name->range().width - chunk * QK_MAXUBITS, QK_MAXUBITS);
            const uint64_t value = readChunk(name, chunk, 0) & bitMask(bits);
            add({name->extension->vcdSlot, partShape(bits, chunk + 1 == chunks, chunk == 0), value},
                chunk == 0);
        }
    }

    /// @param ends  the change ends a value
    void add(const OutputChange& change, bool ends) {
        changes.push_back(change);
        if (ends && changes.size() >= kPieceEntries) flush();
    }

    void flush() {
        for (size_t at = 0; at < changes.size(); at += kBucketEntries) {
            const size_t end = std::min<size_t>(changes.size(), at + kBucketEntries);
            file.writeChanges(changes.data() + at, changes.data() + end, slots);
        }
        changes.clear();
    }

    static constexpr size_t kPieceEntries = 900;

    QkVcdFile& file;
    SlotTable& slots;
    std::vector<OutputChange> changes;
};

}  // namespace

bool QkTraceWriter::saveState(const char* filename) {
    QK_ASSERT(filename);
    const std::unique_ptr<QkVcdFile> dump = openTraceFile(filename);
    if (!dump) return false;
    // A file that is open goes on with the variables that it declares. Codes are kept for good.
    const std::vector<uint64_t> declared = slots.tails;
    slots.undeclareAll();
    StateDump(*dump, slots).write();
    slots.undeclareAll();
    std::copy(declared.begin(), declared.end(), slots.tails.begin());
    return dump->sync();
}

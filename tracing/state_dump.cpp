// The whole state of the model as a VCD file, independent of what is being traced.
//
// The file has the current value of every scalar in one dump section, then the time, and no
// history. Values are the bits of the model's storage: an inverted net and the net that it is the
// inverse of both have the stored bits.
#include <algorithm>
#include <memory>
#include <vector>

#include "netdb/database.h"
#include "qkzeft_run.h"
#include "tracing/trace_file.h"
#include "tracing/trace_writer.h"

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
    StateDump(QkTraceFile& traceFile, SlotTable& slotTable) : file(traceFile), slots(slotTable) {}

    /// The time comes last: a file without it is incomplete.
    void write() {
        file.writeHead();
        writeScopes(qkDatabase->top_scopes);
        file.endDefinitions();
        file.beginInitial();
        TraceRing::each(qkDatabase->traces, [&](const QkTrace* trace) {
            if (isDumped(trace)) add(trace);
        });
        NameRing::each(qkDatabase->names, [&](const QkName* name) {
            if (name->isSlice() && isDumped(name)) add(name);
        });
        flush();
        file.endInitial();
        file.writeTime(qk_cycle);
    }

private:
    void writeScopes(QkScope* ring) {
        ScopeRing::each(ring, [&](const QkScope* scope) {
            file.beginScope(scope->name.str());
            ScopeNames::each(scope->allNames, [&](const QkName* name) {
                if (isDumped(name)) declare(name);
            });
            writeScopes(scope->children);
            file.endScope();
        });
    }

    void declare(const QkName* name) {
        const bool isSlice = name->isSlice();
        uint32_t& slot = isSlice ? name->extension->vcdSlot : name->trace->vcdSlot;
        if (slot == 0) slot = slots.add(isSlice ? nullptr : name->trace);
        file.declare(slot, name, slots.codeOf(slot));
    }

    void add(const QkTrace* trace) {
        if (trace->vcdSlot == 0) return;  // none of its names is declared
        const bool inParts = trace->firstPart() != trace;
        for (const QkTrace* const part : trace->parts()) {
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
            file.write(changes.data() + at, changes.data() + end, slots.owners.size());
        }
        changes.clear();
    }

    static constexpr size_t kPieceEntries = 900;

    QkTraceFile& file;
    SlotTable& slots;
    std::vector<OutputChange> changes;
};

}  // namespace

bool QkTraceWriter::saveState(const char* filename) {
    QK_ASSERT(filename);
    const std::unique_ptr<QkTraceFile> dump = openTraceFile(filename);
    if (!dump) return false;
    StateDump(*dump, slots).write();
    return dump->close();
}

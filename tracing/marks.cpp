// Names that move from one trace to another while they are traced, shown or watched.
#include <utility>

#include "netdb/database.h"
#include "tracing/trace_writer.h"

namespace {

/// What a name adds to the counters of the trace that it reads.
struct Marks {
    explicit Marks(const QkName* name)
        : holds(name->traced + name->isWatched()),
          shows(name->show + name->notifies),
          breaks(name->hasBreaks) {}
    int holds, shows, breaks;
};

}  // namespace

void QkTraceWriter::nameLeaves(QkName* name) {
    const Marks marks(name);
    countOn(name, &QkTrace::nshow, -marks.shows);
    countOn(name, &QkTrace::nbreak, -marks.breaks);
    if (name->traced && !name->isSlice()) --name->trace->nrecord;
    if (marks.holds != 0) countHolds(name, -marks.holds);
}

void QkTraceWriter::moveSlot(QkTrace* from, QkTrace* to) {
    if (from->vcdSlot == 0 || from == to) return;
    if (to->vcdSlot != 0) {
        SlotTable::Owner& unused = slots.owners[to->vcdSlot];
        if (to->nrecord > 0 || unused.code != 0) return;
        unused.trace = nullptr;
    }
    to->vcdSlot = std::exchange(from->vcdSlot, 0);
    slots.owners[to->vcdSlot].trace = to;
    if (from->a_next) slotOf(from);  // slices read it
}

void QkTraceWriter::nameArrives(QkName* name, QkTrace* from) {
    const auto isWhole = [](const QkName* other) { return !other->isSlice(); };
    if (!name->isSlice() && !TraceNames::find(from->names, isWhole)) moveSlot(from, name->trace);
    const Marks marks(name);
    if (marks.holds != 0) countHolds(name, marks.holds);
    countOn(name, &QkTrace::nshow, marks.shows);
    countOn(name, &QkTrace::nbreak, marks.breaks);
    if (name->isSlice()) {
        // The new trace's storage counts as seen, but the slice's value there may be new.
        if (marks.holds != 0 && takeChange(name) && name->traced) recordSlice(name, eventbs);
    } else if (name->traced && name->trace->nrecord++ == 0) {
        recordStart(name->trace);
    }
}

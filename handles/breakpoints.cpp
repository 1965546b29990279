// Breakpoints and change notices: who is called when a capture finds a change.
#include <algorithm>

#include "base/literals.h"
#include "handles/handles.h"
#include "netdb/database.h"
#include "run/console_text.h"
#include "tracing/trace_writer.h"

namespace {

/// @return whether the list has more chunks than a value of `width` bits could
bool isTooLong(const QkMaxuList* list, int width) {
    // This also stops at a list with a cycle.
    for (int64_t bits = 0; list; list = list->next, bits += QK_MAXUBITS)
        if (bits > width) return true;
    return false;
}

/// @return whether the value now equals the list's, in which chunks beyond the end are 0
bool equals(const QkName* name, int64_t index, const QkMaxuList* list) {
    const int chunks = name->chunkCount();
    for (int chunk = 0; chunk < chunks; ++chunk) {
        if (readChunk(name, chunk, index) != (list ? list->value : 0)) return false;
        if (list) list = list->next;
    }
    for (; list; list = list->next)
        if (list->value != 0) return false;
    return true;
}

bool isMet(const QkBreakpoint& brk, const QkName* name, int64_t index) {
    switch (brk.event) {
        case QkVariable::BreakOnEqual: return equals(name, index, brk.value.get());
        case QkVariable::BreakOnNotEqual: return !equals(name, index, brk.value.get());
        default: return true;
    }
}

}  // namespace

// ---- Notification

int QkHandleTable::setNotify(QkVariable* variable, bool on) {
    if (!isValid(variable)) return kInvalidHandle;
    QkName* const name = variable->name;
    if (qkTraceWriter->fileIsOpen() && name->traced) return kSaveInProgress;
    if (on && !isBound(name)) return kNameGone;
    if (on && name->kind != kVirtualName && name->trace->isArray()) return kIsArray;
    if (on) qkTraceWriter->settle(name);
    if (isValid(variable) && variable->name == name) setFlag(variable, kNotifies, on);
    return 0;
}

void QkHandleTable::noteChange(QkName* name, int64_t index) {
    QkVariable* const variable = of(name);
    if (!variable) return;
    if ((variable->flags & kNotifies) && notifier) notifier(variable);
    if (isValid(variable) && (variable->flags & kHasBreaks)) fireBreaks(variable, index);
}

void QkHandleTable::fireBreaks(QkVariable* variable, int64_t index) {
    // A callback may delete any of them, or the variable; numbers are never used again.
    std::vector<unsigned> numbers;
    VariableBreaks::each(variable->brkpts, [&](const QkBreakpoint* brk) {
        if (brk->enabled) numbers.push_back(brk->number);
    });
    for (const unsigned number : numbers) {
        const QkBreakpoint* const brk = find(number);
        if (!brk || brk->variable != variable || !brk->enabled) continue;
        if (!isMet(*brk, variable->name, index)) continue;
        const QkVariable::Callback callback = brk->callback;
        qk_printf("Stopped at breakpoint %u\n", number);
        if (callback) callback(variable);
    }
}

// ---- Making and deleting

QkBreakpoint* QkHandleTable::find(unsigned number) const {
    const auto at =
        std::lower_bound(brks.begin(), brks.end(), number,
                         [](const auto& brk, unsigned wanted) { return brk->number < wanted; });
    return at != brks.end() && (*at)->number == number ? at->get() : nullptr;
}

/// @return the reason why a break of the variable cannot be made or deleted now, or 0
int QkHandleTable::refusal(const QkVariable* variable) {
    if (!isHandle(variable)) return kInvalidHandle;
    if (!variable->name || !isBound(variable->name)) return kNameGone;
    // Changes are only found in traced nets, and the file's list of nets is already written.
    return qkTraceWriter->scopesWritten && !variable->name->traced ? kSaveInProgress : 0;
}

int QkHandleTable::addBreak(QkVariable* variable, QkVariable::Callback callback,
                            QkVariable::BreakEvent event, const QkMaxuList* value) {
    if (!isHandle(variable)) return kInvalidHandle;
    if (!variable->name) return kNameGone;
    const int width = variable->name->range().width;
    if (isTooLong(value, width) || listWidth(value) > width) return kOutOfRange;
    if (event < QkVariable::BreakOnEqual || event > QkVariable::BreakOnChange) return kBadOperator;
    if (const int refused = refusal(variable)) return refused;
    qkTraceWriter->settle(variable->name);
    if (!isValid(variable)) return kNameGone;

    QkName* const name = variable->name;
    auto brk = std::make_unique<QkBreakpoint>();
    brk->number = ++lastNumber;
    brk->var_name = fullName(name);
    brk->variable = variable;
    brk->callback = callback;
    brk->event = event;
    brk->enabled = true;
    if (event != QkVariable::BreakOnChange) brk->value.reset(copyList(value));
    VariableBreaks::append(variable->brkpts, brk.get());
    brks.push_back(std::move(brk));
    if (!name->traced) qkTraceWriter->startTracing(name);
    setFlag(variable, kHasBreaks, true);
    return 0;
}

/// Removes all breakpoints from a variable. They stay in the list.
void QkHandleTable::detachBreaks(QkVariable* variable) {
    while (QkBreakpoint* const brk = variable->brkpts) {
        brk->variable = nullptr;
        VariableBreaks::remove(variable->brkpts, brk);
    }
    setFlag(variable, kHasBreaks, false);
}

void QkHandleTable::dropBreak(QkBreakpoint* brk) {
    if (QkVariable* const variable = brk->variable) {
        VariableBreaks::remove(variable->brkpts, brk);
        if (!variable->brkpts) setFlag(variable, kHasBreaks, false);
    }
    std::erase_if(brks, [&](const auto& other) { return other.get() == brk; });
}

int QkHandleTable::deleteBreaks(QkVariable* variable) {
    if (const int refused = refusal(variable)) return refused;
    if (!variable->brkpts) return kNoBreak;
    variable->brkpts = nullptr;
    std::erase_if(brks, [&](const auto& brk) { return brk->variable == variable; });
    setFlag(variable, kHasBreaks, false);
    return 0;
}

int QkHandleTable::deleteBreak(unsigned number) {
    QkBreakpoint* const brk = find(number);
    if (!brk) return kNoBreakNumber;
    if (brk->variable)
        if (const int refused = refusal(brk->variable)) return refused;
    dropBreak(brk);
    return 0;
}

int QkHandleTable::enableBreaks(QkVariable* variable, bool on) {
    if (!isHandle(variable)) return kInvalidHandle;
    if (!variable->brkpts) return kNoBreak;
    VariableBreaks::each(variable->brkpts, [&](QkBreakpoint* brk) { brk->enabled = on; });
    return 0;
}

int QkHandleTable::enableBreak(unsigned number, bool on) {
    QkBreakpoint* const brk = find(number);
    if (!brk) return kNoBreakNumber;
    brk->enabled = on;
    return 0;
}

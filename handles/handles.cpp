#include "handles/handles.h"

#include "base/literals.h"
#include "netdb/database.h"
#include "tracing/trace_writer.h"

QkHandleTable* qkHandles = nullptr;

void FreeList::operator()(QkMaxuList* list) const { freeList(list); }

QkVariable* QkHandleTable::make(QkName* name) {
    QkVariable* variable;
    if (gone.size() > kQuarantine) {
        variable = gone.front();
        gone.pop_front();
    } else {
        variable = new QkVariable;
        made.push_back(variable);
    }
    variable->magic = kMagic;
    variable->refCount = 0;
    variable->name = name;
    variable->handle = nullptr;
    variable->flags = 0;
    variable->brkpts = nullptr;
    return variable;
}

QkVariable* QkHandleTable::of(const QkName* name) const {
    return name->id < byId.size() ? byId[name->id] : nullptr;
}

QkVariable* QkHandleTable::give(QkName* name) {
    if (name->id >= byId.size()) byId.resize(size_t{name->id} + 1 + byId.size() / 2);
    QkVariable*& variable = byId[name->id];
    if (!variable) variable = make(name);
    ++variable->refCount;
    return variable;
}

const char* QkHandleTable::fullName(const QkName* name) {
    std::string& text = fullNames[name->id];
    if (text.empty()) text = FullName(name).c_str();
    return text.c_str();
}

int QkHandleTable::giveBack(QkVariable* variable) {
    if (!variable) return kNullHandle;
    if (!isHandle(variable)) return kInvalidHandle;
    if (variable->refCount > 0) --variable->refCount;
    if (variable->refCount == 0 && variable->flags == 0 && !variable->name) drop(variable);
    return 0;
}

void QkHandleTable::nameGoes(QkName* name) {
    fullNames.erase(name->id);
    QkVariable* const variable = of(name);
    if (!variable) return;
    setFlag(variable, kNotifies, false);
    detachBreaks(variable);
    byId[name->id] = nullptr;
    variable->name = nullptr;
    if (variable->refCount == 0) drop(variable);
}

void QkHandleTable::drop(QkVariable* variable) {
    if (variable->name) {
        variable->refCount = 0;
        nameGoes(variable->name);
        return;
    }
    variable->magic = 0;
    variable->handle = nullptr;
    gone.push_back(variable);
}

void QkHandleTable::setFlag(QkVariable* variable, unsigned char flag, bool on) {
    if (((variable->flags & flag) != 0) == on) return;
    QkTraceWriter& writer = *qkTraceWriter;
    QkName* const name = variable->name;
    if (variable->flags == 0) writer.hold(name);
    writer.countOn(name, flag == kHasBreaks ? &QkTrace::nbreak : &QkTrace::nshow, on ? 1 : -1);
    variable->flags ^= flag;
    if (flag == kHasBreaks)
        name->hasBreaks = on;
    else
        name->notifies = on;
    if (variable->flags == 0) writer.release(name);
}

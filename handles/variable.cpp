// The exported members of handles. They can be called with a null `this`: this file is compiled
// without the assumption that it is never null.
#include <algorithm>
#include <climits>
#include <cstdarg>
#include <memory>
#include <vector>

#include "handles/handles.h"
#include "handles/virtual_variables.h"
#include "netdb/database.h"

namespace {

using Handles = QkHandleTable;

/// @return the model's handles, once its database is complete
Handles& handles() {
    if (!qkDatabase || !qkDatabase->complete) completeRegistration(true);
    return *qkHandles;
}

/// @return the name of a handle, or null when it is not valid
QkName* nameOf(const QkVariable* variable) {
    handles();
    return Handles::isValid(variable) ? Handles::nameOf(variable) : nullptr;
}

bool isArray(const QkName* name) { return name->kind != kVirtualName && name->trace->isArray(); }

/// @return whether the value is that of one plain piece of storage
bool isPlainScalar(const QkName* name) {
    const QkTrace* const trace = name->trace;
    return name->kind == kPlainName && trace->address && !trace->isArray();
}

/// @return whether a write needs to do no more than change the storage
bool isWrittenAlone(const QkTrace* trace) {
    return !trace->extras && trace->sameAddr_n == trace && !trace->invert;
}

}  // namespace

// ---- Look-up

QkVariable* QkVariable::GetByName(const char* pattern) {
    Handles& table = handles();
    QkName* const found = pattern ? qkDatabase->findOne(pattern) : nullptr;
    return found ? table.give(found) : nullptr;
}

QkVariable* QkVariable::GetFirstByName(const char* pattern, QkVariable*& cookie) {
    cookie = nullptr;
    return GetNextByName(pattern, cookie);
}

QkVariable* QkVariable::GetNextByName(const char* pattern, QkVariable*& cookie) {
    Handles& table = handles();
    QkVariable* const previous = cookie;
    cookie = nullptr;
    const bool goesOn = !previous || Handles::isValid(previous);
    if (pattern && goesOn) {
        const QkName* const after = previous ? Handles::nameOf(previous) : nullptr;
        if (QkName* const found = qkDatabase->findNext(pattern, after)) cookie = table.give(found);
    }
    if (previous) table.giveBack(previous);
    return cookie;
}

int QkVariable::Destroy(QkVariable* variable) { return handles().giveBack(variable); }

int QkVariable::RegisterChangeNotifier(Callback notifier) {
    handles().notifier = notifier;
    return 0;
}

// ---- Virtual variables

namespace {

/// Makes a virtual variable of one element, or returns null.
QkVariable* createWith(const char* name, ElementRequest request, int* code) {
    Handles& table = handles();
    int result = checkNewName(name);
    if (!result) result = resolve(request);
    if (!result && request.element.width > kMostVirtualBits) result = kOutOfRange;
    if (code) *code = result;
    if (result) return nullptr;
    QkName* const made = qkDatabase->addVirtual(name);
    extendVirtual(made, request);
    return table.give(made);
}

int addTo(QkVariable* variable, ElementRequest request) {
    handles();
    if (!variable) return kNullHandle;
    if (!Handles::isHandle(variable)) return kInvalidHandle;
    QkName* const name = Handles::nameOf(variable);
    int result = checkExtensible(name);
    if (!result) result = resolve(request);
    return result ? result : extendVirtual(name, request);
}

}  // namespace

QkVariable* QkVariable::CreateByName(const char* name, int width, uint64_t value, int* code) {
    return createWith(name, ElementRequest::ofIdleBits(width, value), code);
}

QkVariable* QkVariable::CreateByName(const char* name, const char* source, int* code) {
    return createWith(name, ElementRequest::ofNet(source), code);
}

QkVariable* QkVariable::CreateByName(const char* name, const char* source, int left, int right,
                                     int* code) {
    return createWith(name, ElementRequest::ofSlice(source, left, right), code);
}

int QkVariable::AddByName(QkVariable* variable, const char* source) {
    return addTo(variable, ElementRequest::ofNet(source));
}

int QkVariable::AddByName(QkVariable* variable, const char* source, int left, int right) {
    return addTo(variable, ElementRequest::ofSlice(source, left, right));
}

int QkVariable::AddIdleBits(QkVariable* variable, int width, uint64_t value) {
    return addTo(variable, ElementRequest::ofIdleBits(width, value));
}

int QkVariable::DeleteByName(const char* name) {
    Handles& table = handles();
    int code;
    QkName* const found = findVirtual(name, code);
    if (!found) return code;
    QkVariable* variable = table.give(found);
    const int result = deleteVirtual(variable);
    if (result) table.giveBack(variable);
    return result;
}

int QkVariable::DeleteByPointer(QkVariable*& variable) {
    handles();
    return deleteVirtual(variable);
}

// ---- Values

uint64_t QkVariable::GetValue() { return GetWideArrayValue(0, 0); }
int QkVariable::SetValue(uint64_t value) { return SetWideArrayValue(value, 0, 0); }
uint64_t QkVariable::GetWideValue(int chunk) { return GetWideArrayValue(chunk, 0); }
int QkVariable::SetWideValue(uint64_t value, int chunk) {
    return SetWideArrayValue(value, chunk, 0);
}
uint64_t QkVariable::GetArrayValue(int index) { return GetWideArrayValue(0, index); }
int QkVariable::SetArrayValue(uint64_t value, int index) {
    return SetWideArrayValue(value, 0, index);
}

uint64_t QkVariable::GetWideArrayValue(int chunk, int index) {
    const QkName* const net = nameOf(this);
    if (!net) return 0;
    if ((chunk | index) == 0 && isPlainScalar(net))
        return net->trace->readStorage() & bitMask(net->trace->width());
    return readChunk(net, chunk, index);
}

int QkVariable::SetWideArrayValue(uint64_t value, int chunk, int index) {
    QkName* const net = nameOf(this);
    if (!net) return kInvalidHandle;
    QkTrace* const trace = net->trace;
    if ((chunk | index) == 0 && isPlainScalar(net) && isWrittenAlone(trace)) {
        const int bytes = trace->elementBytes();
        const uint64_t mask = bitMask(trace->width());
        const uint64_t unused = loadStorage(trace->address, bytes) & ~mask;
        storeStorage(trace->address, bytes, unused | (value & mask));
        ++qkWriteCount;
        return 0;
    }
    if (chunk < 0 || chunk >= net->chunkCount()) return kBeyondWidth;
    const int failed = writeChunk(net, chunk, index, value);
    if (!failed) ++qkWriteCount;
    return failed;
}

// ---- Properties

int QkVariable::GetWidth() {
    const QkName* const net = nameOf(this);
    return net ? net->range().width : 0;
}

int QkVariable::GetDimension() {
    const QkName* const net = nameOf(this);
    return net && isArray(net);
}

int QkVariable::GetBound(int) {
    const QkName* const net = nameOf(this);
    if (!net || !isArray(net)) return 0;
    return static_cast<int>(std::min<uint32_t>(net->trace->nel, INT_MAX));
}

const char* QkVariable::GetFullname() {
    const QkName* const net = nameOf(this);
    return net ? handles().fullName(net) : nullptr;
}

QkVariable* QkVariable::GetCanonical() {
    QkName* const net = nameOf(this);
    if (!net || net->kind == kVirtualName) return nullptr;
    QK_ASSERT_AS(net->trace, "n->trace");
    QkName* const chosen = TraceNames::find(net->trace->names, [](const QkName* other) {
        return !(other->netFlags & (QK_flag_hidden | QK_flag_replaced)) && !other->readsCopy;
    });
    return handles().give(chosen ? chosen : net);
}

void* QkVariable::GetAddress() {
    const QkName* const net = nameOf(this);
    if (!net || net->kind > kTermName || net->trace->invert || net->detached) return nullptr;
    return net->trace->address;
}

bool QkVariable::IsStateful() {
    const QkName* const net = nameOf(this);
    return net && (net->kind != kVirtualName || !net->extension->elements.empty());
}

bool QkVariable::IsReupdate() { return IsStateful(); }

int QkVariable::SetHandle(void* user) {
    if (nameOf(this)) Handles::userPointer(this) = user;
    return 0;
}

void* QkVariable::GetHandle() { return nameOf(this) ? Handles::userPointer(this) : nullptr; }

// ---- Breakpoints and changes

int QkVariable::RegisterBreak(Callback callback, BreakEvent event, QkMaxuList* value) {
    return handles().addBreak(this, callback, event, value);
}

int QkVariable::RegisterBreak(Callback callback, BreakEvent event, int n, ...) {
    const QkName* const net = nameOf(this);
    if (!net) return handles().addBreak(this, callback, event, nullptr);
    if (n > net->chunkCount() + 1) return kOutOfRange;
    std::vector<QkMaxuList> nodes(static_cast<size_t>(std::max(n, 0)));
    va_list values;
    va_start(values, n);
    for (size_t i = 0; i < nodes.size(); ++i) {
        nodes[i] = QkMaxuList{va_arg(values, uint64_t), i > 0 ? &nodes[i - 1] : nullptr, nullptr};
        if (i > 0) nodes[i - 1].next = &nodes[i];
    }
    va_end(values);
    return handles().addBreak(this, callback, event, nodes.empty() ? nullptr : nodes.data());
}

int QkVariable::UnregisterBreak() { return handles().deleteBreaks(this); }
int QkVariable::EnableBreak() { return handles().enableBreaks(this, true); }
int QkVariable::DisableBreak() { return handles().enableBreaks(this, false); }

int QkVariable::SetChangeNotify(bool on) { return handles().setNotify(this, on); }

bool QkVariable::GetChangeNotify() {
    const QkName* const net = nameOf(this);
    return net && net->notifies;
}

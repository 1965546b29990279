// set: stores a value in a net of the model.
#include <algorithm>
#include <string>

#include "base/literals.h"
#include "console/handlers.h"
#include "console/user_handle.h"
#include "console/words.h"
#include "handles/handles.h"
#include "netdb/database.h"
#include "run/failure.h"
#include "run/printout.h"

namespace {

struct SetRequest {
    std::string name;
    bool hasIndex = false;
    std::string index;
    bool indexIsClosed = false;
    std::string op;
    const char* value = "";
};

SetRequest readRequest(const char* text) {
    SetRequest request;
    request.name = takeNetName(text, "=");
    text = skipSpace(text);
    if (*text == '[') {
        request.hasIndex = true;
        text = skipSpace(text + 1);
        request.index = takeWord(text, "]");
        text = skipSpace(text);
        request.indexIsClosed = *text == ']';
        if (request.indexIsClosed) text = skipSpace(text + 1);
    }
    request.op = *text == '=' ? std::string(text++, 1) : takeWord(text);
    request.value = skipSpace(text);
    return request;
}

/// Reads the index, which counts from the array's lower bound. @return whether it is within it
bool readIndex(const SetRequest& request, const UserHandle& handle, int& offset) {
    QkMaxuList* list = nullptr;
    if (!request.indexIsClosed || !parseValue(request.index.c_str(), list)) return false;
    const OwnedList owned(list);
    if (list->next || list->value >= static_cast<uint64_t>(handle->GetBound(0))) return false;
    offset = static_cast<int>(list->value);
    return true;
}

int lowerBound(const UserHandle& handle) {
    const QkTrace* const array = QkHandleTable::nameOf(handle.get())->trace;
    return std::min(array->arrayLeft(), array->arrayRight());
}

void store(const UserHandle& handle, int index, const QkMaxuList* value) {
    const int chunks = (handle->GetWidth() + QK_MAXUBITS - 1) / QK_MAXUBITS;
    for (int chunk = 0; chunk < chunks; ++chunk) {
        handle->SetWideArrayValue(value ? value->value : 0, chunk, index);
        if (value) value = value->next;
    }
}

/// The model recomputes such a net, or it is constant.
bool isNeverWritten(const UserHandle& handle) {
    const QkTrace* const trace = QkHandleTable::nameOf(handle.get())->trace;
    return trace && trace->flags & QK_flag_never_write;
}

int set(const SetRequest& request, const UserHandle& handle) {
    if (!handle) return kNoSuchNet;
    if (!handle->IsStateful() || isNeverWritten(handle)) return kCombinational;
    const bool isArray = handle->GetDimension() != 0;
    if (request.hasIndex && !isArray) return kNotArray;
    if (!request.hasIndex && isArray) return kIsArray;
    int offset = 0;
    if (isArray && !readIndex(request, handle, offset)) return kBadIndex;
    if (request.op != "=") return kBadOperator;
    QkMaxuList* list = nullptr;
    if (!parseValue(request.value, list)) return kBadConstant;
    const OwnedList value(list);
    if (listWidth(list) > handle->GetWidth()) return kOutOfRange;

    store(handle, isArray ? lowerBound(handle) + offset : 0, list);
    const std::string index = isArray ? "[" + std::to_string(offset) + "]" : "";
    say("%s%s set to %s\n", handle->GetFullname(), index.c_str(), listText(list).c_str());
    return 0;
}

void sayError(int code, const SetRequest& request, const UserHandle& handle) {
    const char* const fullName = handle ? handle->GetFullname() : request.name.c_str();
    switch (code) {
        case kOutOfRange:
            printFailure("%s exceeds bit range of %s\n", request.value, fullName);
            return;
        case kBadConstant: printFailure("%s is an invalid constant\n", request.value); return;
        case kNoSuchNet: printFailure("%s matches non or more than one nets\n", fullName); return;
        case kIsArray: printFailure("%s is an array\n", fullName); return;
        case kNotArray: printFailure("%s is not an array\n", fullName); return;
        case kCombinational: printFailure("%s is combinational, cannot be set\n", fullName); return;
        case kBadOperator:
            printFailure("%s is not a recognizable operator\n", request.op.c_str());
            return;
        case kBadIndex: printFailure("%s is an invalid index\n", request.index.c_str()); return;
        default: printFailure("operation failed unexpectedly\n");
    }
}

}  // namespace

int setCommand(const char* argument) {
    const SetRequest request = readRequest(argument);
    const UserHandle handle(request.name.c_str());
    if (const int code = set(request, handle)) sayError(code, request, handle);
    return 1;
}

#include "handles/virtual_variables.h"

#include <cctype>
#include <cstdlib>
#include <string>

#include "handles/handles.h"
#include "netdb/database.h"
#include "tracing/trace_writer.h"

namespace {

/// A name that could not be written to a trace file, or looks like a pattern, is not usable.
bool isUsableName(const char* name) {
    if (!name || !*name) return false;
    for (; *name; ++name) {
        const auto c = static_cast<unsigned char>(*name);
        if (c == '*' || std::isspace(c) || std::iscntrl(c)) return false;
    }
    return true;
}

std::string fullNameOf(const char* given) {
    return std::string(qkDatabase->top_scopes->fullName.str()) + "." + given;
}

int resolveIdleBits(ElementRequest& request) {
    const int width = request.idleWidth;
    if (width < 1 || width > kMostIdleBits) return kBadIdleWidth;
    if (request.idleValue & ~bitMask(width)) return kOutOfRange;
    request.element = VirtualElement{width, nullptr, 0, request.idleValue};
    return 0;
}

}  // namespace

int resolve(ElementRequest& request) {
    if (request.idle) return resolveIdleBits(request);
    request.net = qkDatabase->findOne(request.source.c_str());
    if (!request.net || !isBound(request.net)) return kNoSource;
    const QkName* const net = request.net;
    if (net->kind == kVirtualName) return kSourceIsVirtual;
    if (net->trace->isArray()) return kSourceIsArray;
    const BitRange& range = net->range();
    if (request.whole) {
        request.left = range.left();
        request.right = range.right();
    } else if (!range.contains(request.left, request.right)) {
        return kOutOfRange;
    }
    const auto distance = [](int a, int b) { return static_cast<int>(std::abs(int64_t{a} - b)); };
    const int offset = distance(request.right, range.right()) +
                       (net->kind == kExtractName ? net->extension->offset : 0);
    request.element =
        VirtualElement{distance(request.left, request.right) + 1, net->trace, offset, 0};
    return 0;
}

int checkNewName(const char* name) {
    if (!isUsableName(name)) return kNoName;
    if (!qkDatabase->top_scopes) return kNoSuchNet;
    return qkDatabase->matching(fullNameOf(name).c_str()).empty() ? 0 : kNameTaken;
}

int checkExtensible(const QkName* name) {
    if (!name) return kNameGone;
    if (name->kind != kVirtualName) return kNotVirtual;
    // The file declares the variable with its old width.
    return name->traced && qkTraceWriter->fileIsOpen() ? kSaveInProgress : 0;
}

int extendVirtual(QkName* name, const ElementRequest& request) {
    const VirtualElement& element = request.element;
    if (element.width > kMostVirtualBits - name->extension->range.width) return kOutOfRange;
    qkDatabase->addElement(name, element);
    if (request.net) name->netFlags |= request.net->netFlags & QK_flag_replaced;
    qkTraceWriter->noteElement(name, element.trace, name->show + name->notifies, name->hasBreaks);
    return 0;
}

QkName* findVirtual(const char* given, int& code) {
    code = kNoSuchNet;
    if (!given || !*given) return nullptr;
    QkName* const byPattern = qkDatabase->findOne(given);
    if (byPattern && byPattern->kind == kVirtualName) return byPattern;
    if (qkDatabase->top_scopes) {
        QkName* const inTop = qkDatabase->findOne(fullNameOf(given).c_str());
        if (inTop && inTop->kind == kVirtualName) return inTop;
        if (inTop) code = kNotVirtual;
    }
    if (byPattern) code = kNotVirtual;
    return nullptr;
}

int deleteVirtual(QkVariable*& variable) {
    using Handles = QkHandleTable;
    if (!variable) return kNullHandle;
    if (!Handles::isValid(variable)) return kInvalidHandle;
    QkName* const name = Handles::nameOf(variable);
    if (name->kind != kVirtualName) return kNotVirtual;
    if (name->traced && qkTraceWriter->fileIsOpen()) return kSaveInProgress;
    qkHandles->drop(variable);
    qkDatabase->removeName(name);
    variable = nullptr;
    return 0;
}

// Names: making, binding, finding and removing them.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "netdb/database.h"

bool QkName::isHidden() const { return (netFlags & QK_flag_hidden) != 0; }

const BitRange& QkName::range() const {
    return kind == kPlainName || !extension ? trace->range : extension->range;
}

bool isStimulus(const QkName* name) {
    if (name->stimulus) return true;
    const int type = name->typeCode();
    return (type == QK_type_input || type == QK_type_inout) && name->scope->isTopLevel();
}

FullName::FullName(const QkName* name) {
    const char* const scope = name->scope->fullName.str();
    const size_t scopeLength = std::strlen(scope), length = std::strlen(name->name);
    const size_t bytes = scopeLength + length + 2;
    text = bytes <= sizeof small ? small : static_cast<char*>(allocateBlock(bytes, "FullName"));
    std::memcpy(text, scope, scopeLength);
    text[scopeLength] = '.';
    std::memcpy(text + scopeLength + 1, name->name, length + 1);
}

FullName::~FullName() {
    if (text != small) std::free(text);
}

QkName* QkDatabase::addName(QkScope* scope, const char* localName, uint32_t mode,
                            uint32_t netFlags) {
    uint32_t id;
    QkName* const name = nameStore.make(id);
    QK_ASSERT_AS(name, "n");
    name->id = id;
    name->name = texts.add(localName);
    name->scope = scope;
    name->mode = mode;
    name->netFlags = netFlags;
    name->hash = foldedHashFrom(scope->hash, localName);
    ++scope->nameCount;
    visibleNames += name->isHidden() ? 0 : 1;
    ScopeNames::prepend(scope->allNames, name);
    NameRing::append(names, name);
    name->trace = &gDummyTrace;
    TraceNames::prepend(gDummyTrace.names, name);
    namesByFullName.insert(name->hash, id);
    return name;
}

QkName* QkDatabase::findInScope(const QkScope* scope, const char* localName) const {
    QkName* newest = nullptr;
    namesByFullName.find(foldedHashFrom(scope->hash, localName), [&](uint32_t id) {
        QkName* const name = nameStore.at(id);
        if (name->scope == scope && !name->detached && std::strcmp(name->name, localName) == 0 &&
            (!newest || newest->id < id))
            newest = name;
        return false;
    });
    return newest;
}

QkName* QkDatabase::findLocal(const QkScope* scope, const char* localName) const {
    QkName* const exact = findInScope(scope, localName);
    if (exact || !scope->caseInsensitive) return exact;
    QkName* newest = nullptr;
    namesByFullName.find(foldedHashFrom(scope->hash, localName), [&](uint32_t id) {
        QkName* const name = nameStore.at(id);
        if (name->scope == scope && StringBuf(name->name).compareNoCase(localName) == 0 &&
            (!newest || newest->id < id))
            newest = name;
        return false;
    });
    return newest;
}

const QkName* anyName(const QkTrace* trace) {
    if (trace->names) return trace->names;
    return trace->extras && !trace->extras->exnames.empty() ? trace->extras->exnames.front()
                                                            : nullptr;
}

void QkDatabase::bindName(QkName* name, QkTrace* trace) {
    TraceNames::remove(name->trace->names, name);
    name->trace = trace;
    name->readsCopy = trace->isCopy();
    TraceNames::append(trace->names, name);
}

void QkDatabase::addSlice(QkTrace* trace, QkName* name) {
    if (!trace->extras) trace->extras = new TraceExtras;
    trace->extras->exnames.push_back(name);
}

void QkDatabase::bindExtract(QkName* name, QkTrace* trace) {
    TraceNames::remove(name->trace->names, name);
    name->trace = trace;
    name->readsCopy = trace->isCopy();
    addSlice(trace, name);
}

void QkDatabase::bindTerm(QkName* name, QkTrace* trace) {
    bindName(name, trace);
    name->partial = name->range().width != trace->range.width;
    if (name->partial) addSlice(trace, name);
}

void QkDatabase::bindAnew(QkName* name, QkTrace* trace) {
    if (name->isSlice()) {
        std::erase(name->trace->extras->exnames, name);
        addSlice(trace, name);
    }
    if (name->kind != kExtractName) {
        bindName(name, trace);
    } else {
        name->trace = trace;
        name->readsCopy = trace->isCopy();
    }
}

void QkDatabase::dropFurtherStorage(const QkName* name) {
    if (furtherStorage.empty()) return;
    const auto [from, to] = furtherStorage.equal_range(name);
    std::for_each(from, to, [&](const auto& storage) { dropAtAddress(storage.second); });
    furtherStorage.erase(from, to);
}

void QkDatabase::removeName(QkName* name) {
    QK_ASSERT_AS(name->scope, "n->scope");
    QK_ASSERT_AS(name->same_scope_next, "n->same_scope_next");
    ++removals;
    announce(&DatabaseListener::nameGoes, name);
    --name->scope->nameCount;
    visibleNames -= name->isHidden() ? 0 : 1;
    ScopeNames::remove(name->scope->allNames, name);
    QkTrace* const trace = name->trace;
    if (name->kind == kVirtualName) leaveSources(name);
    if (name->kind == kExtractName || name->partial) std::erase(trace->extras->exnames, name);
    if (name->kind != kExtractName) TraceNames::remove(trace->names, name);
    NameRing::remove(names, name);
    namesByFullName.remove(name->hash, name->id);
    if (trace != &gDummyTrace) dropUnnamed(trace);
    dropFurtherStorage(name);
    texts.release(name->name);
    delete name->extension;
    nameStore.release(name->id);
}

// ---- Virtual variables

QkName* QkDatabase::addVirtual(const char* localName) {
    QkName* const name = addName(top_scopes, localName, 0, 0);
    ++top_scopes->virtualCount;
    name->kind = kVirtualName;
    name->extension = new NameExtension;
    name->extension->range.width = 0;
    // A separate trace, in no ring: code that reads a name's trace finds a net without storage.
    uint32_t id;
    QkTrace* const trace = traceStore.make(id);
    trace->id = id;
    trace->header = trace;
    bindName(name, trace);
    return name;
}

void QkDatabase::addElement(QkName* name, const VirtualElement& element) {
    NameExtension& extension = *name->extension;
    extension.elements.push_back(element);
    extension.elements.back().above = extension.range.width;
    const int width = extension.range.width + element.width;
    extension.range = width == 1 ? BitRange::bit() : BitRange(width - 1, 0);
    if (!element.trace) return;
    if (!element.trace->extras) element.trace->extras = new TraceExtras;
    std::vector<QkName*>& readers = element.trace->extras->pvnames;
    if (std::find(readers.begin(), readers.end(), name) == readers.end()) readers.push_back(name);
}

void QkDatabase::leaveSources(QkName* name) {
    eachSource(name, [&](QkTrace* trace) { std::erase(trace->extras->pvnames, name); });
    --name->scope->virtualCount;
}

/// Bits that virtual variables read from a removed trace become zero.
void QkDatabase::dropReaders(QkTrace* trace) {
    if (!trace->extras) return;
    for (QkName* variable : trace->extras->pvnames)
        for (VirtualElement& element : variable->extension->elements)
            if (element.trace == trace) element.trace = nullptr;
}

// ---- Order

namespace {

/// A name with the data that determines its place, so that most comparisons stay within the array.
struct SortKey {
    uint64_t start;  // stimulus or not, then the first characters, big-endian
    QkName* name;
    uint32_t id;
};

constexpr int kKeyCharacters = 7;

SortKey sortKey(QkName* name) {
    uint64_t start = isStimulus(name) ? 0 : 1;
    const char* text = name->name;
    for (int i = 0; i < kKeyCharacters; ++i) {
        start = start << 8 | static_cast<unsigned char>(*text);
        if (*text) ++text;
    }
    return SortKey{start, name, name->id};
}

bool before(const SortKey& a, const SortKey& b) {
    if (a.start != b.start) return a.start < b.start;
    if (a.start & 0xff) {  // the text does not end within the first characters
        const int order = std::strcmp(a.name->name + kKeyCharacters, b.name->name + kKeyCharacters);
        if (order != 0) return order < 0;
    }
    return a.id < b.id;
}

}  // namespace

void QkDatabase::sortNames(QkScope* scope, std::vector<QkName*>& sorted) {
    std::vector<SortKey> keys;
    keys.reserve(static_cast<size_t>(scope->nameCount));
    ScopeNames::each(scope->allNames, [&](QkName* name) { keys.push_back(sortKey(name)); });
    // Tables are mostly in a good order already, and the ring is newest first.
    std::reverse(keys.begin(), keys.end());
    if (!std::is_sorted(keys.begin(), keys.end(), before))
        std::sort(keys.begin(), keys.end(), before);
    sorted.clear();
    for (const SortKey& key : keys) sorted.push_back(key.name);
    ScopeNames::relink(scope->allNames, sorted.data(), static_cast<int>(sorted.size()));
}

// The registration protocol: sections, their states, and the rows of scopes and nets.
//
// A fault in the tables is a fault of the generator: message, then exit(1).
#include "netdb/registration.h"

#include <algorithm>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <string>

#include "base/formatted.h"
#include "licence/licence.h"
#include "qkzeft_module.h"
#include "run/console_text.h"
#include "run/life.h"

QkRegistrationData* QkRegistration::data = nullptr;

namespace {

const char* instanceName(const kelvo_module* m) {
    const char* const name = m ? m->qk_get_instance_name() : nullptr;
    return name ? name : "(null)";
}

/// Ends the run with a message.
[[noreturn]] __attribute__((format(printf, 1, 2))) void fail(const char* format, ...) {
    static std::string text;  // never freed: the process ends here
    text.clear();
    std::va_list arguments;
    va_start(arguments, format);
    appendFormatted(text, format, arguments);
    va_end(arguments);
    qk_printf("%s", text.c_str());
    std::exit(1);
}

}  // namespace

QkRegistrationData::QkRegistrationData(kelvo_module* m, int scopeCount, int netCount)
    : module(m), ns(scopeCount), nn(netCount) {
    QK_ASSERT(m->qk_get_module_name() != NULL);
    QK_ASSERT(ns > 0);
    QK_ASSERT(nn >= 0);
    ns = std::max(ns, 1);
    nn = std::max(nn, 0);
    const auto scopes = static_cast<size_t>(ns), nets = static_cast<size_t>(nn);
    // Zero pages cost nothing until a row touches them.
    pscopes = static_cast<QkScope**>(std::calloc(scopes, sizeof *pscopes));
    pnames = static_cast<QkName**>(std::calloc(nets + 1, sizeof *pnames));
    lowIndices = static_cast<int*>(std::calloc(nets + 1, sizeof *lowIndices));
    if (!pscopes || !pnames || !lowIndices)
        fail(
            "Error: During registration of %s:\n       Failed to allocate temporary store for %d "
            "scopes and %d nets\n",
            instanceName(m), ns, nn);
}

QkRegistrationData::~QkRegistrationData() {
    for (int i = 0; i < ns; ++i)
        if (pscopes[i]) pscopes[i]->inSection = false;
    std::free(pscopes);
    std::free(pnames);
    std::free(lowIndices);
}

const char* QkRegistrationData::name() const { return instanceName(module); }

void QkRegistrationData::abandon(const QkScope* scope) {
    QkRegistrationData*& open = QkRegistration::data;
    if (!open ||
        std::find(open->pscopes, open->pscopes + open->ns, scope) == open->pscopes + open->ns)
        return;
    delete open;
    open = nullptr;
    // Otherwise names that wait for their replacement would seem to be those of the next section.
    while (gDummyTrace.names) qkDatabase->removeName(gDummyTrace.names);
}

// ---- States

void QkRegistrationData::moveTo(RegistrationState target) {
    if (target == state) return;
    switch (state) {
        case AddScopes:
            if (target == AddExtracts || target == AddTerms)
                fail(
                    "Error: While registering \"%s\": cannot add terms or bit-extracts, no nets "
                    "registered\n",
                    name());
            closeScopes();
            break;
        case AddNets:
            if (target == AddScopes)
                fail("Error: While registering \"%s\": cannot add scopes after nets\n", name());
            closeNets();
            break;
        case AddExtracts:
        case AddTerms:
            if (target == AddScopes || target == AddNets)
                fail(
                    "Error: While registering \"%s\": cannot add scopes or nets after terms or "
                    "bit-extracts\n",
                    name());
            break;
        case Completed:
            fail("Error: Completed Registration of \"%s\" - cannot add to it\n", name());
    }
    if (target == Completed) finish();
    state = target;
}

void QkRegistrationData::closeScopes() {
    QK_ASSERT(state == AddScopes);
    if (ns != scopesAdded)
        fail("Error: During registration of \"%s\": expected %d scopes, got %d\n", name(), ns,
             scopesAdded);
}

void QkRegistrationData::closeNets() {
    QK_ASSERT(state == AddNets);
    if (nn != netsAdded)
        fail("Error: During registration of \"%s\": expected %d nets, got %d\n", name(), nn,
             netsAdded);
    std::for_each(replacements.rbegin(), replacements.rend(),
                  [&](const NetReplacement& replacement) { apply(replacement); });
    replacements.clear();
    QK_ASSERT(gDummyTrace.names == NULL);
}

void QkRegistrationData::finish() {
    if (!generatorAccepted(words, shape))
        fail("Error: ZEFT Generate id mismatch in module %s\n", name());
    QkScope* const scope = pscopes[0];
    if (scope->detached) qkDatabase->renewNames(pscopes, ns);
    scope->shape = shape;
    std::copy(std::begin(words), std::end(words), scope->generatorWords);
    scope->exportWord = exportWord;
}

// ---- Rows

namespace {

void addToShape(uint64_t& shape, const QkGRNet& row) {
    const auto add = [&](uint32_t high, uint32_t low) {
        shape = (shape ^ (uint64_t{high} << 32 | low)) * 0x9e3779b97f4a7c15;
    };
    const auto word = [](int field) { return static_cast<uint32_t>(field); };
    add(word(row.scope), word(row.net));
    add(word(row.left), word(row.right));
    add(row.mode, row.flags);
    add(word(row.array_left), word(row.array_right));
    add(0, word(row.replacement));
}

}  // namespace

void QkRegistrationData::addScope(const QkGRScope& row) {
    if (!row.name)
        fail("Error: Attempt to register scope with no name while registering \"%s\"\n", name());
    if (row.scope < 1 || row.parent < 0 || row.scope >= ns || row.parent >= ns)
        fail(
            "Error: While registering \"%s\" scope \"%s\" was out-of-range (%d<-%d in %d "
            "scopes)\n",
            name(), row.name, row.parent, row.scope, ns);
    QkScope* const parent = pscopes[row.parent];
    if (!parent)
        fail(
            "Error: While registering \"%s\" found no parent scope for \"%s\" (%d<-%d in %d "
            "scopes)\n",
            name(), row.name, row.parent, row.scope, ns);
    if (const QkScope* const existing = pscopes[row.scope])
        fail(
            "Error: Duplicate scope-id while registering \"%s\", id %d, scopes \"%s\" and "
            "\"%s\"\n",
            name(), row.scope, row.name, existing->name.str());
    QkScope* scope = parent->detached ? qkDatabase->findDetachedChild(parent, row.name) : nullptr;
    if (scope) {
        scope->inSection = true;
        scope->caseInsensitive = row.case_insensitive != 0;
    } else {
        scope = qkDatabase->addScope(parent, row.name, row.case_insensitive != 0);
    }
    pscopes[row.scope] = scope;
    QK_ASSERT_AS(pscopes[row.scope], "pscopes[scopeIdx]");
    ++scopesAdded;
}

void QkRegistrationData::prefetch(const QkGRNet& row) const {
    if (row.scope < 0 || row.scope >= ns || !row.name) return;
    qkDatabase->traces_by_address.prefetch(hashAddress(row.address));
    if (const QkScope* const scope = pscopes[row.scope])
        qkDatabase->namesByFullName.prefetch(foldedHashFrom(scope->hash, row.name));
}

namespace {

/// If a row makes a name of its own, checks for another with the same text in its scope.
void checkNew(const QkGRNet& row, const QkScope* scope, const char* localName) {
    const QkName* const other = qkDatabase->findInScope(scope, localName);
    if (other && other->trace->address != row.address)
        checkOverlap(other, BitRange(row.left, row.right), other->range());
}

}  // namespace

void QkRegistrationData::addNet(const QkGRNet& row) {
    const char* const localName = row.name ? row.name : "";
    const int index = static_cast<int>(static_cast<unsigned>(row.net) - 1);
    if (row.scope < 0 || row.scope >= ns || index < 0 || index >= nn)
        fail("Error: While registering \"%s\" name \"%s\" out-of-range (%d/%d in %d/%d)\n", name(),
             localName, row.scope, index, ns, nn);
    if (pnames[index])
        fail("Error: Duplicate net-id while registering \"%s\", id %d, nets \"%s\" and \"%s\"\n",
             name(), index, localName, pnames[index]->name);

    addToShape(shape, row);
    const unsigned mode = row.mode & ~static_cast<unsigned>(QK_invert);
    QkScope* const scope = pscopes[row.scope];
    QkName* record = nullptr;
    if (row.scope == 0 || (mode & QK_parts)) record = qkDatabase->findInScope(scope, localName);
    if (!record && qk_check_tables) checkNew(row, scope, localName);
    if (!record) record = qkDatabase->addName(scope, localName, mode, row.flags);
    ++netsAdded;
    pnames[index] = record;
    lowIndices[index] = std::min(row.left, row.right);

    const QkDatabase::NetStorage net{row.address,    BitRange(row.left, row.right),
                                     row.array_left, row.array_right,
                                     mode,           row.flags,
                                     row.trace_word, row.array_data,
                                     false};
    if ((row.flags & QK_flag_replaced) && !(row.flags & QK_flag_not_replaced)) {
        replacements.push_back(NetReplacement{record, row.replacement, net});
        return;
    }
    if (!qkDatabase->addNet(record, net)) {
        drop(record);
        return;
    }
    if (row.mode & QK_invert) qkDatabase->addInvertedForm(net);
}

void QkRegistrationData::drop(QkName* record) {
    if (record->trace != &gDummyTrace) return;
    std::replace(pnames, pnames + nn, record, static_cast<QkName*>(nullptr));
    for (NetReplacement& replacement : replacements)
        if (replacement.pReplaced == record) replacement.pReplaced = nullptr;
    qkDatabase->removeName(record);
}

void QkRegistrationData::reportOpenSection() {
    QkRegistrationData* const open = QkRegistration::data;
    if (!open || open->toldOpen) return;
    open->toldOpen = true;
    qk_printf("check: module \"%s\": its section has no end()\n", open->name());
}

// ---- Entry points

namespace {

/// Makes the names of a section be sorted, also in a scope that existed before.
void newsOfSection() { qkDatabase->reopen(); }

}  // namespace

void QkRegistration::start(kelvo_module* m, int ns, int nn, bool case_insensitive) {
    startRun();
    QK_ASSERT(m);
    if (data)
        fail("Error: Registration of module started \"%s\" before completion of module \"%s\"\n",
             instanceName(m), data->name());
    if (!m) return;
    data = new QkRegistrationData(m, ns, nn);
    QK_ASSERT(data);
    data->pscopes[0] = m->qk_get_scope(case_insensitive);
    newsOfSection();
    qkDatabase->reserveNets(static_cast<size_t>(data->nn));
}

namespace {

/// How many rows ahead the places in the indexes are prefetched.
constexpr int kRowsAhead = 12;

/// Every function except start() calls this first.
QkRegistrationData* enter(kelvo_module* m, QkRegistrationData* data, RegistrationState target) {
    QK_ASSERT(m);
    if (!qkDatabase || !data)
        fail("Error: Cannot initialise section \"%s\" (not declared)\n", instanceName(m));
    if (data->module != m)
        fail("Error: Cannot initialise  section \"%s\" (initialisation of \"%s\" not complete)\n",
             instanceName(m), data->name());
    data->moveTo(target);
    return data;
}

QkRegistrationData* needSection(kelvo_module* m, QkRegistrationData* data) {
    QK_ASSERT(m);
    if (!data) fail("Error: Incorrect registration sequence for module \"%s\"\n", instanceName(m));
    return data;
}

/// Asserts that a table with rows is not null. @return whether it is valid
bool hasRows(int count, const void* rows, const char* table) {
    QK_ASSERT_AS(count <= 0 || rows, table);
    return count > 0 && rows;
}

}  // namespace

void QkRegistration::genid(kelvo_module* m, unsigned word1, unsigned word2) {
    QkRegistrationData* const section = needSection(m, data);
    section->words[0] = word1;
    section->words[1] = word2;
}

void QkRegistration::exportk(kelvo_module* m, unsigned word) {
    QkRegistrationData* const section = needSection(m, data);
    section->exportWord = word;
}

void QkRegistration::addScopes(kelvo_module* m, int count, const QkGRScope* rows) {
    QkRegistrationData* const section = enter(m, data, AddScopes);
    if (!hasRows(count, rows, "scopes")) return;
    for (int i = 0; i < count; ++i) section->addScope(rows[i]);
}

void QkRegistration::addNets(kelvo_module* m, int count, const QkGRNet* rows) {
    QkRegistrationData* const section = enter(m, data, AddNets);
    if (!hasRows(count, rows, "nets")) return;
    for (int i = 0; i < count; ++i) {
        if (i + kRowsAhead < count) section->prefetch(rows[i + kRowsAhead]);
        section->addNet(rows[i]);
    }
}

void QkRegistration::addExtracts(kelvo_module* m, int count, const QkGRExtract* rows) {
    QkRegistrationData* const section = enter(m, data, AddExtracts);
    if (!hasRows(count, rows, "extracts")) return;
    for (int i = 0; i < count; ++i) section->addExtract(rows[i]);
}

void QkRegistration::addTerms(kelvo_module* m, int count, const QkGRTerm* rows) {
    QkRegistrationData* const section = enter(m, data, AddTerms);
    if (!hasRows(count, rows, "terms")) return;
    for (int i = 0; i < count; ++i) section->addTerm(rows[i]);
}

void QkRegistration::end(kelvo_module* m) {
    QK_ASSERT(gDummyTrace.names == NULL);
    delete enter(m, data, Completed);
    data = nullptr;
    newsOfSection();
}

// ---- By hand

void qk_register1(const char* name, int mode, ...) {
    startRun();
    va_list arguments;
    va_start(arguments, mode);
    QkDatabase::NetStorage net{};
    net.address = va_arg(arguments, void*);
    const int left = va_arg(arguments, int), right = va_arg(arguments, int);
    net.range = BitRange(left, right);
    net.arrayLeft = va_arg(arguments, int);
    net.arrayRight = va_arg(arguments, int);
    va_end(arguments);
    net.mode = static_cast<unsigned>(mode) & ~static_cast<unsigned>(QK_invert);

    QkScope* scope = nullptr;
    const char* local = qkDatabase->findScopePath(scope, name, true, true, true);
    if (!scope) {
        if (!local) local = name;
        qkDatabase->findScopePath(scope, "toplevel", false, true, true);
    }
    QK_ASSERT(scope);
    if (net.arrayRight != 0 && !(net.mode & QK_array))
        qk_printf(
            "ZEFT: qk_graphics_register1: The interface for manual registration of C models\n"
            "has changed. Arrays are now represented differently in the underlying model, the\n"
            "arguments 'idx' and 'number of elements' must  be replaced by left and right\n"
            "indices respectively. The mode value QK_array must be or'd into the mode field\n");
    QkName* const record = qkDatabase->addName(scope, local, net.mode, 0);
    qkDatabase->reopen();
    if (!qkDatabase->addNet(record, net)) {
        qkDatabase->removeName(record);
    } else if (mode & QK_invert) {
        qkDatabase->addInvertedForm(net);
    }
}

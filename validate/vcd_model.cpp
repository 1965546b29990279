#include "validate/vcd_model.h"

#include <algorithm>
#include <functional>

#include "base/qkassert.h"
#include "console/printout.h"
#include "netdb/live_model.h"

namespace {

/// Codes with lower numbers are found in a table, others by their text.
constexpr size_t kShortCodes = size_t{1} << 20;

/// @return the number of a code, whose characters are all printable
size_t numberOf(std::string_view code) {
    if (code.empty() || code.size() > kLongestShortCode) return kShortCodes;
    size_t number = 0;
    for (size_t i = code.size(); i-- > 0;)
        number = number * kCodeBase + static_cast<unsigned char>(code[i]) - ' ';
    return number;
}

char upper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; }

size_t mixed(size_t hash, const QkVCDScope* scope) {
    const uint64_t place = std::hash<const void*>{}(scope);
    return hash ^ static_cast<size_t>(place * 0x9e3779b97f4a7c15);
}

/// Calls visit(component) for each part of a dotted path, empty ones too, until it returns false.
template <class Visit>
void eachComponent(std::string_view path, Visit&& visit) {
    for (;;) {
        const size_t dot = path.find('.');
        if (!visit(path.substr(0, dot)) || dot == std::string_view::npos) return;
        path.remove_prefix(dot + 1);
    }
}

}  // namespace

uint32_t QkVCDModel::shortHash(const Place& place) {
    const uint64_t hash = PlaceHash{}(place);
    return static_cast<uint32_t>(hash ^ hash >> 32);
}

// ---- Scopes

size_t QkVCDModel::PlaceHash::operator()(const Place& place) const {
    return mixed(std::hash<std::string_view>{}(place.name), place.scope);
}

size_t QkVCDModel::PlaceHashNoCase::operator()(const Place& place) const {
    std::string name(place.name);
    std::transform(name.begin(), name.end(), name.begin(), upper);
    return PlaceHash{}(Place{place.scope, name});
}

bool QkVCDModel::EqualNoCase::operator()(const Place& a, const Place& b) const {
    return a.scope == b.scope &&
           std::equal(a.name.begin(), a.name.end(), b.name.begin(), b.name.end(),
                      [](char x, char y) { return upper(x) == upper(y); });
}

std::string QkVCDScope::fullName() const {
    std::vector<const QkVCDScope*> path;
    for (const QkVCDScope* scope = this; scope; scope = scope->parent) path.push_back(scope);
    std::string text = path.back()->name;
    for (size_t i = path.size() - 1; i-- > 0;) text.append(".").append(path[i]->name);
    return text;
}

QkVCDScope* QkVCDModel::findOrCreateScope(QkVCDScope* scope, std::string_view path,
                                          bool ignoreCase) {
    eachComponent(path, [&](std::string_view component) {
        if (component.empty()) return true;
        const Place place{scope, component};
        if (ignoreCase) {
            const auto found = scopesNoCase.find(place);
            if (found != scopesNoCase.end()) {
                scope = found->second;
                return true;
            }
        }
        const auto found = scopesByPlace.find(place);
        if (found != scopesByPlace.end()) {
            scope = found->second;
            return true;
        }
        QkVCDScope& made = scopeStore.emplace_back();
        made.name = component;
        made.parent = scope;
        (scope ? scope->children : topScopes).push_back(&made);
        scopesByPlace.emplace(Place{scope, made.name}, &made);
        scopesNoCase.emplace(Place{scope, made.name}, &made);
        scope = &made;
        return true;
    });
    return scope;
}

QkVCDScope* QkVCDModel::findScope(std::string_view path) const {
    QkVCDScope* scope = nullptr;
    eachComponent(path, [&](std::string_view component) {
        const auto found = scopesByPlace.find(Place{scope, component});
        scope = found == scopesByPlace.end() ? nullptr : found->second;
        return scope != nullptr;
    });
    return scope;
}

// ---- Codes

QkVCDId* QkVCDModel::findId(std::string_view code) const {
    const size_t number = numberOf(code);
    if (number < shortCodes.size()) return shortCodes[number];
    if (number < kShortCodes) return nullptr;
    const auto found = longCodes.find(code);
    return found == longCodes.end() ? nullptr : found->second;
}

void QkVCDModel::enter(std::string_view code, QkVCDId* id) {
    const size_t number = numberOf(code);
    if (number >= kShortCodes) {
        longCodes.insert_or_assign(std::string(code), id);
        return;
    }
    if (number >= shortCodes.size())
        shortCodes.resize(std::min(kShortCodes, std::max(number + 1, 2 * shortCodes.size())));
    shortCodes[number] = id;
}

QkVCDId* QkVCDModel::findOrCreateId(std::string_view code, int width, bool isReal) {
    QkVCDId* const found = findId(code);
    if (found && !found->isParameter) {
        if (found->width == width) return found;
        say("Redefinition of VCD Id Code: '%s' (width=%d, new width=%d)\n", found->vcdId.c_str(),
            found->width, width);
        return nullptr;
    }
    QkVCDId& id = ids.emplace_back();
    id.width = width;
    id.isReal = isReal;
    id.vcdId = code;
    enter(code, &id);
    return &id;
}

void QkVCDModel::addParameter(std::string_view code) {
    if (findId(code)) return;
    QkVCDId& id = ids.emplace_back();
    id.isParameter = true;
    id.vcdId = code;
    enter(code, &id);
}

// ---- Names and variables

std::string QkVCDName::fullName() const { return scope->fullName() + "." + name; }

QkVCDName* QkVCDModel::findName(std::string_view fullName) {
    const size_t dot = fullName.rfind('.');
    if (dot == std::string_view::npos) return nullptr;
    return findName(findScope(fullName.substr(0, dot)), fullName.substr(dot + 1));
}

QkVCDName* QkVCDModel::findName(const QkVCDScope* scope, std::string_view name) {
    const uint32_t found = findName(Place{scope, name});
    return found == HashIndex::kNone ? nullptr : &names[found];
}

uint32_t QkVCDModel::findName(const Place& place) const {
    return namesByPlace.find(shortHash(place), [&](uint32_t number) {
        const QkVCDName& name = names[number];
        return name.scope == place.scope && name.name == place.name;
    });
}

QkVCDName* QkVCDModel::findOrCreateName(QkVCDScope* scope, std::string_view name,
                                        const BitRange& range) {
    // A dotted name has scopes of its own in front.
    const size_t dot = name.rfind('.');
    if (dot != std::string_view::npos) {
        scope = findOrCreateScope(scope, name.substr(0, dot), true);
        name.remove_prefix(dot + 1);
    }
    if (!scope) scope = findOrCreateScope(nullptr, "toplevel", false);
    const uint32_t found = findName(Place{scope, name});
    if (found != HashIndex::kNone) {
        BitRange& whole = names[found].range;
        const bool joins =
            whole.isRange && range.isRange &&
            (whole.reversed == range.reversed || whole.width == 1 || range.width == 1);
        if (joins) {
            const int msb = std::max(whole.msb, range.msb), lsb = std::min(whole.lsb, range.lsb);
            const bool reversed = whole.width > 1 ? whole.reversed : range.reversed;
            whole = reversed ? BitRange(lsb, msb) : BitRange(msb, lsb);
        }
        return &names[found];
    }
    QkVCDName& made = names.emplace_back(QkVCDName{std::string(name), scope, range});
    ++scope->nameCount;
    namesByPlace.insert(shortHash(Place{scope, name}), static_cast<uint32_t>(names.size() - 1));
    return &made;
}

bool QkVCDModel::addVariable(std::string_view code, int width, QkVCDScope* scope,
                             std::string_view name, const BitRange& range, bool isReal) {
    QkVCDId* const id = findOrCreateId(code, width, isReal);
    if (!id) return false;
    QkVCDName* const qkname = findOrCreateName(scope, name, range);
    QkVCDVar& var = vars.emplace_back(QkVCDVar{range, id, qkname});
    qkname->vcdVars.append(&var);
    id->sameId.append(&var);
    return true;
}

void QkVCDModel::bindVariables() {
    if (variablesBound) return;
    usesChanged();
    variablesBound = true;
    for (QkVCDVar& var : vars) {
        const QkName* const live = var.vcdName->linked;
        var.bound = false;
        if (!live) continue;
        const BitRange& whole = live->range();
        var.offset = var.range.width == whole.width ? 0
                     : whole.reversed               ? whole.msb - var.range.msb
                                                    : var.range.lsb - whole.lsb;
        var.bound = var.offset >= 0 && int64_t{var.offset} + var.range.width <= whole.width;
        var.vcdTrace = traces.find(live->trace);
    }
}

void QkVCDModel::usesChanged() {
    traces.settleAll();
    variablesBound = false;
}

namespace {

struct DirectUse {
    DirectCode code;
    QkVCDTrace* trace;
};

DirectUse directUseOf(const QkVCDId* id) {
    constexpr int most = UINT16_MAX;
    if (!id || id->isParameter || id->isReal || id->width > most) return {};
    DirectCode code;
    code.width = static_cast<uint16_t>(id->width);
    if (!id->linked) return {code, nullptr};
    if (id->isClock) return {};
    QkVCDTrace* trace = nullptr;
    for (const QkVCDVar* const var : id->sameId) {
        if (!var->bound || !var->vcdTrace || var->vcdTrace == trace) continue;
        const bool takesAll = !trace && var->offset == 0 && var->range.width == id->width &&
                              var->vcdTrace->vcdBits.width() == id->width;
        if (!takesAll) return {};
        trace = var->vcdTrace;
    }
    code.isStimulus = id->isStimulus;
    code.isEarlyInput = id->isEarlyInput;
    code.isStepInput = id->isStepInput;
    code.isConcern = trace != nullptr;
    return {code, trace};
}

}  // namespace

void QkVCDModel::findDirectCodes() {
    if (traces.codesValid) return;
    traces.startDirectCodes(shortCodes.size());
    for (uint32_t number = 0; number < shortCodes.size(); ++number) {
        const DirectUse use = directUseOf(shortCodes[number]);
        traces.addDirectCode(number, use.code, use.trace);
    }
}

// ---- Links

QkVCDName* QkVCDModel::partnerOf(const QkName* name) const {
    return name->id < partners.size() ? partners[name->id] : nullptr;
}

QkVCDScope* QkVCDModel::partnerOf(const QkScope* scope) const {
    const auto found = scopePartners.find(scope);
    return found == scopePartners.end() ? nullptr : found->second;
}

void QkVCDModel::link(QkVCDName* name, QkName* live) {
    usesChanged();
    unlink(live);
    if (name->linked) unlink(name->linked);
    if (live->id >= partners.size()) partners.resize(size_t{live->id} + 1);
    partners[live->id] = name;
    name->linked = live;
}

QkVCDName* QkVCDModel::duplicate(const QkVCDName& name) {
    usesChanged();
    QkVCDName& made = duplicates.emplace_back(QkVCDName{name.name, name.scope, name.range});
    for (const QkVCDVar* const of : name.vcdVars) {
        QkVCDVar& var = vars.emplace_back(QkVCDVar{of->range, of->vcdId, &made});
        made.vcdVars.append(&var);
        of->vcdId->sameId.append(&var);
    }
    return &made;
}

void QkVCDModel::link(QkVCDScope* scope, QkScope* live) {
    QK_ASSERT_AS(!scope->linked && !partnerOf(live), "!vcdS->linked && !liveS->linked");
    scopePartners[live] = scope;
    scope->linked = live;
}

void QkVCDModel::unlink(const QkName* live) {
    QkVCDName* const name = partnerOf(live);
    if (!name) return;
    usesChanged();
    name->linked = nullptr;
    partners[live->id] = nullptr;
    for (QkVCDVar* const var : name->vcdVars) var->bound = false;
}

void QkVCDModel::unlink(const QkScope* live) {
    QkVCDScope* const scope = partnerOf(live);
    if (!scope) return;
    scope->linked = nullptr;
    scopePartners.erase(live);
}

// ---- Values

void QkVCDId::setVCDValue(std::string_view value, bool initial) {
    if (isReal) return;
    for (QkVCDVar* const var : sameId) var->setVCDValue(value, initial);
}

void QkVCDVar::setVCDValue(std::string_view value, bool initial) {
    if (qkLiveModel->reader.verbose > 3)
        say("QkVCDVar::setVCDValue: %s (%s%s) <= %.*s\n", vcdName->fullName().c_str(),
            vcdName->linked ? "linked to " : "not linked to live model",
            vcdName->linked ? FullName(vcdName->linked).c_str() : "",
            static_cast<int>(value.size()), value.data());
    if (!vcdName->linked) return;
    QkTrace* const live = vcdName->linked->trace;
    if (qkLiveModel->reader.verbose > 3)
        say("QkVCDVar::setVCDValue: (flags 0x%04X)\n", live->flags);
    if (!bound) return;
    // The code may be declared wider than the variable.
    const auto width = static_cast<size_t>(range.width);
    if (value.size() > width) value.remove_prefix(value.size() - width);
    if (vcdTrace) {
        vcdTrace->setPendingVC(value, offset, range.width, initial);
    } else if (initial && !value.empty()) {
        // Linked, but neither compared nor driven: it takes its first value all the same.
        BitString bits(live->width());
        bits.setDigits(value, offset, range.width);
        writeBitString(live, bits, initial);
    }
}

#include "validate/vcd_model.h"

#include <algorithm>
#include <functional>

#include "base/characters.h"
#include "base/qkassert.h"
#include "netdb/database.h"
#include "run/printout.h"
#include "validate/declared_name.h"
#include "validate/file_reader.h"

namespace {

/// Codes with lower numbers are looked up in a table, others by their text.
constexpr size_t kShortCodes = size_t{1} << 20;

/// @return the number of a code, whose characters are all printable
size_t numberOf(std::string_view code) {
    if (code.empty() || code.size() > kLongestShortCode) return kShortCodes;
    size_t number = 0;
    for (size_t i = code.size(); i-- > 0;)
        number = number * kCodeBase + static_cast<unsigned char>(code[i]) - ' ';
    return number;
}

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
    std::transform(name.begin(), name.end(), name.begin(), upperCase);
    return PlaceHash{}(Place{place.scope, name});
}

bool QkVCDModel::EqualNoCase::operator()(const Place& a, const Place& b) const {
    return a.scope == b.scope &&
           std::equal(a.name.begin(), a.name.end(), b.name.begin(), b.name.end(),
                      [](char x, char y) { return upperCase(x) == upperCase(y); });
}

std::string QkVCDScope::fullName() const {
    std::vector<const QkVCDScope*> path;
    for (const QkVCDScope* scope = this; scope; scope = scope->parent) path.push_back(scope);
    std::string text = path.back()->name;
    for (size_t i = path.size() - 1; i-- > 0;) text.append(".").append(path[i]->name);
    return text;
}

QkVCDScope* QkVCDModel::findOrCreateChild(QkVCDScope* scope, std::string_view name) {
    const auto found = scopesByPlace.find(Place{scope, name});
    if (found != scopesByPlace.end()) return found->second;
    QkVCDScope& made = scopeStore.emplace_back();
    made.name = name;
    made.parent = scope;
    longestScope = std::max(longestScope, name.size() + 3);  // room for any form of escaping
    (scope ? scope->children : topScopes).push_back(&made);
    scopesByPlace.emplace(Place{scope, made.name}, &made);
    scopesNoCase.emplace(Place{scope, made.name}, &made);
    return &made;
}

QkVCDScope* QkVCDModel::findOrCreateScope(QkVCDScope* scope, std::string_view path,
                                          bool ignoreCase) {
    eachComponent(path, [&](std::string_view component) {
        if (component.empty()) return true;
        const auto found =
            ignoreCase ? scopesNoCase.find(Place{scope, component}) : scopesNoCase.end();
        scope = found != scopesNoCase.end() ? found->second : findOrCreateChild(scope, component);
        return true;
    });
    return scope;
}

QkVCDScope* QkVCDModel::findChild(const QkVCDScope* scope, const std::string& name) const {
    QkVCDScope* child = nullptr;
    const auto find = [&](std::string_view spelling) {
        const auto found = scopesByPlace.find(Place{scope, spelling});
        child = found == scopesByPlace.end() ? nullptr : found->second;
        return child != nullptr;
    };
    if (isStrict)
        find(name);
    else
        eachSpelling(name, find);
    return child;
}

QkVCDScope* QkVCDModel::findScope(std::string_view path) const {
    // If names may contain dots, every prefix of the rest of the path may be a name.
    struct Step {
        QkVCDScope* scope;
        std::string_view rest;
    };
    std::vector<Step> steps = {{nullptr, path}};
    while (!steps.empty()) {
        const Step step = steps.back();
        steps.pop_back();
        const size_t first = steps.size();
        for (size_t dot = step.rest.find('.');; dot = step.rest.find('.', dot + 1)) {
            if (QkVCDScope* const child =
                    findChild(step.scope, std::string(step.rest.substr(0, dot)))) {
                if (dot == std::string_view::npos) return child;
                steps.push_back({child, step.rest.substr(dot + 1)});
            }
            if (isStrict || dot >= longestScope) break;
        }
        std::reverse(steps.begin() + static_cast<std::ptrdiff_t>(first), steps.end());
    }
    return nullptr;
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

QkVCDId* QkVCDModel::findOrCreateId(const VarDeclaration& declared) {
    QkVCDId* const found = findId(declared.code);
    if (found && !found->isParameter) {
        if (found->width == declared.width) return found;
        say("Redefinition of VCD Id Code: '%s' (width=%d, new width=%d)\n", found->vcdId.c_str(),
            found->width, declared.width);
        return nullptr;
    }
    QkVCDId& id = ids.emplace_back();
    id.width = declared.width;
    id.isReal = declared.isReal;
    id.kind = declared.kind;
    id.vcdId = declared.code;
    enter(declared.code, &id);
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

bool QkVCDName::hasDigits() const {
    return std::all_of(vcdVars.begin(), vcdVars.end(), [](const QkVCDVar* var) {
        const ValueKind kind = var->vcdId->kind;
        return kind == ValueKind::kDigits || kind == ValueKind::kReal;
    });
}

QkVCDName* QkVCDModel::findName(std::string_view fullName) {
    for (size_t dot = fullName.rfind('.'); dot != std::string_view::npos;
         dot = fullName.rfind('.', dot - 1)) {
        const QkVCDScope* const scope = findScope(fullName.substr(0, dot));
        uint32_t found = HashIndex::kNone;
        const auto find = [&](std::string_view spelling) {
            found = findName(Place{scope, spelling});
            return found != HashIndex::kNone;
        };
        const std::string name(fullName.substr(dot + 1));
        if (isStrict ? find(name) : scope && eachSpelling(name, find)) return &names[found];
        if (isStrict || dot == 0) break;
    }
    return nullptr;
}

const QkVCDName* QkVCDModel::findName(const QkVCDScope* scope, std::string_view name) const {
    const uint32_t found = findName(Place{scope, name});
    return found == HashIndex::kNone ? nullptr : &names[found];
}

uint32_t QkVCDModel::findName(const Place& place) const {
    return namesByPlace.find(shortHash(place), [&](uint32_t number) {
        const QkVCDName& name = names[number];
        return name.scope == place.scope && name.name == place.name;
    });
}

QkVCDName* QkVCDModel::findOrCreateName(const VarDeclaration& declared) {
    QkVCDScope* scope = declared.scope;
    std::string_view name = declared.name;
    const BitRange& range = declared.range;
    // A dotted name begins with scopes of its own.
    const size_t dot = isStrict ? name.rfind('.') : std::string_view::npos;
    if (dot != std::string_view::npos) {
        scope = findOrCreateScope(scope, name.substr(0, dot), true);
        name.remove_prefix(dot + 1);
    }
    if (!scope) scope = findOrCreateChild(nullptr, "toplevel");
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
        if (declared.bitBracket == 0) names[found].bitBracket = 0;
        return &names[found];
    }
    QkVCDName* const made = addName(scope, name, range);
    made->bitBracket = declared.bitBracket;
    return made;
}

QkVCDName* QkVCDModel::addName(QkVCDScope* scope, std::string_view name, const BitRange& range) {
    QkVCDName& made = names.emplace_back(QkVCDName{std::string(name), scope, range});
    ++scope->nameCount;
    namesByPlace.insert(shortHash(Place{scope, name}), static_cast<uint32_t>(names.size() - 1));
    return &made;
}

bool QkVCDModel::addVariable(const VarDeclaration& declared) {
    QkVCDId* const id = findOrCreateId(declared);
    if (!id) return false;
    QkVCDName* const qkname = findOrCreateName(declared);
    qkname->hasDirection |= declared.range.isRange && declared.range.width > 1;
    QkVCDVar& var = vars.emplace_back(QkVCDVar{declared.range, id, qkname});
    qkname->vcdVars.append(&var);
    id->sameId.append(&var);
    return true;
}

void QkVCDModel::splitBits(uint32_t number) {
    QkVCDName* name = &names[number];
    const VarChain<& QkVCDVar::nextOfName> bits = std::exchange(name->vcdVars, {});
    const std::string whole = name->name;
    const char bracket = std::exchange(name->bitBracket, 0);
    BitRange scalar(0, 0);
    scalar.isRange = false;
    bool isFirst = true;  // it uses the record
    for (auto bit = bits.begin(); bit != bits.end(); isFirst = false) {
        QkVCDVar* const var = *bit;
        ++bit;
        const std::string bitName = DeclaredName::ofBit(whole, var->range.lsb, bracket);
        if (isFirst) {
            name->name = bitName;
            name->range = scalar;
            namesByPlace.insert(shortHash(Place{name->scope, bitName}), number);
        } else {
            name = addName(name->scope, bitName, scalar);
        }
        var->range = scalar;
        var->vcdName = name;
        var->nextOfName = nullptr;
        name->vcdVars.append(var);
    }
}

namespace {

/// @return the offset of a variable's low digit, when the bits of its name are paired from the left
int offsetByPosition(const QkVCDVar& var) {
    const QkVCDName& name = *var.vcdName;
    BitRange whole = name.range;
    if (!name.hasDirection) whole.reversed = name.linked->range().reversed;
    return whole.placeOf(var.range);
}

}  // namespace

bool QkVCDName::isLinkedByPosition() const {
    if (!linked) return false;
    const BitRange& live = linked->range();
    if (!live.hasSameBounds(range)) return true;
    return hasDirection && live.width > 1 && live.reversed != range.reversed;
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
        var.offset = var.range.width == whole.width                   ? 0
                     : !isStrict && var.vcdName->isLinkedByPosition() ? offsetByPosition(var)
                                                                      : whole.placeOf(var.range);
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

QkVCDScope* QkVCDModel::partnerOf(const QkScope* scope) const { return scopePartners.find(scope); }

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
    scopePartners.put(live, scope);
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
    scopePartners.put(live, nullptr);
}

// ---- Values

void QkVCDId::setVCDValue(std::string_view value, bool initial) {
    if (isReal) return;
    for (QkVCDVar* const var : sameId) var->setVCDValue(value, initial);
}

void QkVCDVar::setVCDValue(std::string_view value, bool initial) {
    if (qkReader->verbose > 3)
        say("QkVCDVar::setVCDValue: %s (%s%s) <= %.*s\n", vcdName->fullName().c_str(),
            vcdName->linked ? "linked to " : "not linked to live model",
            vcdName->linked ? FullName(vcdName->linked).c_str() : "",
            static_cast<int>(value.size()), value.data());
    if (!vcdName->linked) return;
    QkTrace* const live = vcdName->linked->trace;
    if (qkReader->verbose > 3) say("QkVCDVar::setVCDValue: (flags 0x%04X)\n", live->flags);
    if (!bound) return;
    // The code may be declared wider than the variable.
    const auto width = static_cast<size_t>(range.width);
    if (value.size() > width) value.remove_prefix(value.size() - width);
    if (vcdTrace) {
        vcdTrace->setPendingVC(value, offset, range.width, initial);
    } else if (initial && !value.empty()) {
        // Linked, but neither compared nor driven: it still receives its first value.
        BitString bits(live->width());
        bits.setDigits(value, offset, range.width);
        writeBitString(live, bits, initial);
    }
}

// The tree of scopes.
#include <algorithm>
#include <cstring>

#include "base/characters.h"
#include "netdb/database.h"
#include "netdb/registration.h"

QkScope::QkScope(const char* localName, QkScope* parentScope, bool namesCaseInsensitive)
    : name(localName), parent(parentScope), caseInsensitive(namesCaseInsensitive) {
    if (parent) {
        fullName.assign(parent->fullName.str());
        fullName.append(".");
        fullName.append(localName);
    } else {
        fullName.assign(localName);
    }
    fullNameLength = fullName.len();
    hash = foldedHashFrom(foldedHashFrom(kFoldedHashStart, fullName.str()), ".");
}

bool QkScope::isTopLevel() const {
    for (const QkScope* above = parent; above; above = above->parent)
        if (above->holdsNets()) return false;
    return true;
}

namespace {

bool isNamed(const QkScope* scope, const char* text, size_t length, bool ignoreCase) {
    const char* const name = scope->name.str();
    if (!ignoreCase) return std::strncmp(name, text, length) == 0 && name[length] == '\0';
    for (size_t i = 0; i < length; ++i)
        if (upperCase(name[i]) != upperCase(text[i]))
            return false;  // ends at the name's own end, too
    return name[length] == '\0';
}

}  // namespace

QkScope* QkDatabase::addScope(QkScope* parent, const char* localName, bool caseInsensitive) {
    auto* const scope = new QkScope(localName, parent, caseInsensitive);
    ScopeRing::append(parent ? parent->children : top_scopes, scope);
    scopesByHash.emplace(scope->hash, scope);
    return scope;
}

QkScope* QkDatabase::findChild(QkScope* parent, const char* text, size_t length,
                               bool ignoreCase) const {
    const auto isWanted = [&](const QkScope* scope) {
        return scope->parent == parent &&
               isNamed(scope, text, length, ignoreCase || scope->caseInsensitive);
    };
    const uint32_t path = foldedHashFrom(parent ? parent->hash : kFoldedHashStart, text, length);
    QkScope* found = nullptr;
    const auto [from, to] = scopesByHash.equal_range(foldedHashFrom(path, "."));
    for (auto at = from; at != to; ++at) {
        if (!isWanted(at->second)) continue;
        if (found) return ScopeRing::find(parent ? parent->children : top_scopes, isWanted);
        found = at->second;
    }
    return found;
}

QkScope* QkDatabase::findDetachedChild(const QkScope* parent, const char* localName) const {
    const uint32_t path = foldedHashFrom(parent->hash, localName);
    const auto [from, to] = scopesByHash.equal_range(foldedHashFrom(path, "."));
    const auto found = std::find_if(from, to, [&](const auto& entry) {
        const QkScope* const scope = entry.second;
        return scope->parent == parent && scope->detached && !scope->claimed && !scope->inSection &&
               std::strcmp(scope->name.str(), localName) == 0;
    });
    return found == to ? nullptr : found->second;
}

const char* QkDatabase::findScopePath(QkScope*& scope, const char* path, bool stopAtLast,
                                      bool caseInsensitive, bool create) {
    for (;;) {
        while (*path == '.') ++path;
        if (!*path) return path;
        const char* const dot = std::strchr(path, '.');
        QK_ASSERT_AS(dot != path, "dot != name");
        if (!dot && stopAtLast) return scope ? path : nullptr;
        const size_t length = dot ? static_cast<size_t>(dot - path) : std::strlen(path);

        QkScope* found = findChild(scope, path, length, caseInsensitive);
        if (!found) {
            if (!create) return nullptr;
            StringBuf component;
            component.assign(path, static_cast<int>(length));
            found = addScope(scope, component.str(), caseInsensitive);
            QK_ASSERT_AS(found, "s2");
        }
        scope = found;
        path += length;
    }
}

void QkDatabase::destroyScope(QkScope* scope) {
    QkRegistrationData::abandon(scope);
    while (scope->children) destroyScope(scope->children);
    while (scope->allNames) removeName(scope->allNames);
    rehomeArrays(scope);
    announce(&DatabaseListener::scopeGoes, scope);
    ScopeRing::remove(scope->parent ? scope->parent->children : top_scopes, scope);
    const auto [from, to] = scopesByHash.equal_range(scope->hash);
    const auto found =
        std::find_if(from, to, [&](const auto& entry) { return entry.second == scope; });
    QK_ASSERT(found != to);
    scopesByHash.erase(found);
    delete scope;
    reopen();
}

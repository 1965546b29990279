// Finding names by pattern.
#include <algorithm>
#include <cstring>
#include <string>

#include "netdb/database.h"
#include "qkzeft_module.h"

namespace {

char folded(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; }

bool sameCharacter(char a, char b, bool ignoreCase) {
    return a == b || (ignoreCase && folded(a) == folded(b));
}

/// Makes the full names of a walk; consecutive names are mostly in the same scope.
class FullNameWalk {
public:
    const char* of(const QkName* name) {
        if (name->scope != scope) {
            scope = name->scope;
            text = scope->fullName.str();
            text += '.';
            prefix = text.size();
        }
        text.resize(prefix);
        text += name->name;
        return text.c_str();
    }

private:
    const QkScope* scope = nullptr;
    std::string text;
    size_t prefix = 0;
};

}  // namespace

bool matchesPattern(const char* text, const char* pattern, bool ignoreCase) {
    // On a mismatch only the last '*' must match one more character: earlier ones already match as
    // few as possible.
    const char* afterStar = nullptr;
    const char* resume = nullptr;
    for (;;) {
        if (*pattern == '*') {
            afterStar = ++pattern;
            resume = text;
        } else if (*text && sameCharacter(*text, *pattern, ignoreCase)) {
            ++text;
            ++pattern;
        } else if (!*text && !*pattern) {
            return true;
        } else if (afterStar && *resume) {
            text = ++resume;
            pattern = afterStar;
        } else {
            return false;
        }
    }
}

namespace {

/// @return whether `text`, of `length` characters, is the full name of `name`
bool isFullName(const QkName* name, const char* text, size_t length) {
    const QkScope* const scope = name->scope;
    const bool ignoreCase = scope->caseInsensitive;
    const auto scopeLength = static_cast<size_t>(scope->fullNameLength);
    if (length <= scopeLength || text[scopeLength] != '.') return false;
    const char* const local = text + scopeLength + 1;
    if (!ignoreCase)
        return std::strcmp(local, name->name) == 0 &&
               std::memcmp(text, scope->fullName.str(), scopeLength) == 0;
    const auto same = [](const char* a, const char* b, size_t count) {
        for (size_t i = 0; i < count; ++i)
            if (!sameCharacter(a[i], b[i], true)) return false;
        return true;
    };
    const size_t localLength = length - scopeLength - 1;
    return std::strlen(name->name) == localLength && same(local, name->name, localLength) &&
           same(text, scope->fullName.str(), scopeLength);
}

}  // namespace

template <class Visit>
void QkDatabase::eachOfFullName(const char* text, Visit&& visit) const {
    const size_t length = std::strlen(text);
    namesByFullName.find(foldedHashFrom(kFoldedHashStart, text), [&](uint32_t id) {
        QkName* const name = nameStore.at(id);
        if (isFullName(name, text, length)) visit(name);
        return false;
    });
}

std::vector<QkName*> QkDatabase::matching(const char* pattern) const {
    std::vector<QkName*> found;
    if (!std::strchr(pattern, '*')) {
        eachOfFullName(pattern, [&](QkName* name) { found.push_back(name); });
        if (found.size() <= 1) return found;
        found.clear();  // several: the walk finds them in order
    }
    FullNameWalk fullNames;
    NameRing::each(names, [&](QkName* name) {
        if (matchesPattern(fullNames.of(name), pattern, name->scope->caseInsensitive))
            found.push_back(name);
    });
    return found;
}

namespace {

/// @return whether a look-up for one object may return the name
bool isCandidate(const QkName* name) {
    return !(name->netFlags & (QK_flag_hidden | QK_flag_replaced)) && !name->readsCopy;
}

/// @return whether it may return the name if nothing else matches
bool isSecondChoice(const QkName* name) {
    return !qk_strict && (name->netFlags & QK_flag_replaced) &&
           !(name->netFlags & QK_flag_hidden) && !name->readsCopy;
}

/// Names of which one is to be chosen.
struct Choice {
    QkName* one = nullptr;
    int count = 0;

    void add(QkName* name) {
        one = name;
        ++count;
    }
};

}  // namespace

QkName* QkDatabase::findOne(const char* pattern) const {
    Choice first, second;
    const auto consider = [&](QkName* name) {
        if (isCandidate(name))
            first.add(name);
        else if (isSecondChoice(name))
            second.add(name);
    };
    if (std::strchr(pattern, '*')) {
        for (QkName* name : matching(pattern)) consider(name);
    } else {
        eachOfFullName(pattern, consider);
    }
    const Choice& choice = first.count == 0 ? second : first;
    return choice.count == 1 ? choice.one : nullptr;
}

QkName* QkDatabase::findNext(const char* pattern, const QkName* after) const {
    QkName* const next = findCandidate(pattern, after);
    return next || after || qk_strict ? next : findOne(pattern);
}

QkName* QkDatabase::findCandidate(const char* pattern, const QkName* after) const {
    if (!std::strchr(pattern, '*')) {
        const std::vector<QkName*> found = matching(pattern);
        auto at = found.begin();
        if (after) at = std::find(at, found.end(), after);
        if (after && at != found.end()) ++at;
        at = std::find_if(at, found.end(), isCandidate);
        return at == found.end() ? nullptr : *at;
    }
    FullNameWalk fullNames;
    for (QkName* name = after ? after->next : names; name; name = name->next) {
        if (after && name == names) return nullptr;  // once around the ring
        after = name;
        if (isCandidate(name) &&
            matchesPattern(fullNames.of(name), pattern, name->scope->caseInsensitive))
            return name;
    }
    return nullptr;
}

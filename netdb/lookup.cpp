// Finding names by pattern.
#include <cstring>
#include <string>

#include "netdb/live_model.h"

namespace {

char folded(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; }

bool sameCharacter(char a, char b, bool ignoreCase) {
    return a == b || (ignoreCase && folded(a) == folded(b));
}

/// The full names of a walk, of which consecutive ones mostly share the scope.
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
    // On a mismatch only the last '*' need take one character more: what an earlier one took was
    // already the least that it could.
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

std::vector<QkName*> QkLiveModel::matching(const char* pattern) const {
    std::vector<QkName*> found;
    if (!std::strchr(pattern, '*')) {
        namesByFullName.find(foldedHashFrom(kFoldedHashStart, pattern), [&](uint32_t id) {
            QkName* const name = nameStore.at(id);
            if (matchesPattern(FullName(name).c_str(), pattern, name->scope->caseInsensitive))
                found.push_back(name);
            return false;
        });
        if (found.size() <= 1) return found;
        found.clear();  // several: the walk puts them in order
    }
    FullNameWalk fullNames;
    NameRing::each(names, [&](QkName* name) {
        if (matchesPattern(fullNames.of(name), pattern, name->scope->caseInsensitive))
            found.push_back(name);
    });
    return found;
}

QkName* QkLiveModel::findOne(const char* pattern) const {
    QkName* one = nullptr;
    for (QkName* name : matching(pattern)) {
        if (name->netFlags & (QK_flag_hidden | QK_flag_replaced)) continue;
        const void* const owner = name->trace->extras ? name->trace->extras->traceWord : nullptr;
        if (owner && owner != name->trace->address) continue;
        if (one) return nullptr;
        one = name;
    }
    return one;
}

// What a reference trace declares: scopes, names, identifier codes, and the variables that connect
// them.
//
// A code may serve several variables, and a name may be declared in several pieces. A value line
// has only the code: QkVCDId leads to all nets of the code without a search.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "base/bit_range.h"
#include "base/dtable.h"
#include "netdb/index.h"
#include "validate/vcd_traces.h"

class QkScope;
struct QkName;
struct QkTrace;
struct QkVCDId;
struct QkVCDName;

/// Short codes are numbered without gaps: 1 to 94 for one character, and so on, the first character
/// least significant.
constexpr size_t kCodeBase = 94, kLongestShortCode = 4;

struct QkVCDScope {
    std::string name;  ///< local name
    QkVCDScope* parent = nullptr;
    std::vector<QkVCDScope*> children;  ///< in the order of their declaration
    QkScope* linked = nullptr;          ///< of the model
    int nameCount = 0;

    /// @return the dotted path. It is not stored: scopes can nest arbitrarily deep
    std::string fullName() const;
};

/// One $var: the bits of a name that belong to a code.
struct QkVCDVar {
    BitRange range;
    QkVCDId* vcdId;
    QkVCDName* vcdName;
    int offset = 0;                  ///< of the low digit within the linked net, once bound
    QkVCDTrace* vcdTrace = nullptr;  ///< compares or drives the net; null if nothing does
    bool bound = false;              ///< its place in the linked net is known
    QkVCDVar* nextOfName = nullptr;
    QkVCDVar* nextOfId = nullptr;

    void setVCDValue(std::string_view value, bool initial);
};

/// Variables in the order of their declaration, chained by a member.
template <QkVCDVar* QkVCDVar::*next>
class VarChain {
public:
    struct Iterator {
        QkVCDVar* at;
        QkVCDVar* operator*() const { return at; }
        Iterator& operator++() {
            at = at->*next;
            return *this;
        }
        bool operator==(const Iterator&) const = default;
        using difference_type = std::ptrdiff_t;
        using value_type = QkVCDVar*;
        using pointer = QkVCDVar**;
        using reference = QkVCDVar*;
        using iterator_category = std::input_iterator_tag;
    };
    Iterator begin() const { return {first}; }
    Iterator end() const { return {nullptr}; }
    bool empty() const { return !first; }
    size_t size() const {
        size_t count = 0;
        for (const QkVCDVar* var = first; var; var = var->*next) ++count;
        return count;
    }
    void append(QkVCDVar* var) {
        (last ? last->*next : first) = var;
        last = var;
    }

private:
    QkVCDVar* first = nullptr;
    QkVCDVar* last = nullptr;
};

struct QkVCDName {
    std::string name;
    QkVCDScope* scope;
    BitRange range;
    QkName* linked = nullptr;
    VarChain<& QkVCDVar::nextOfName> vcdVars = {};
    /// '[' or '(' when it was declared bit by bit as `q[3]`, `q[2]` and so on, else 0
    char bitBracket = 0;
    bool hasDirection = false;  ///< a declared range gives it

    std::string fullName() const;
    /// @return whether its values have digits that can be written to a net
    bool hasDigits() const;
    /// @return whether its bits are paired with those of a net from the left, whatever their
    ///         numbers, because the bounds differ
    bool isLinkedByPosition() const;
};

/// The kind of a code's values.
enum class ValueKind : uint8_t { kDigits, kReal, kString, kEvent, kNoWidth };

struct QkVCDId {
    bool linked = false;  ///< a variable of this code reaches a net that is compared or driven
    bool isStimulus = false;
    bool isClock = false;
    bool isEarlyInput = false;
    bool isStepInput = false;
    bool isReal;               ///< in strict mode; its values are not used
    bool isParameter = false;  ///< a constant, which has no values
    ValueKind kind = ValueKind::kDigits;
    int width;
    std::string vcdId;
    VarChain<& QkVCDVar::nextOfId> sameId = {};

    /// Passes a value to the nets of all variables of the code. Reals are not used.
    void setVCDValue(std::string_view value, bool initial);
};

/// A $var. Texts are borrowed.
struct VarDeclaration {
    std::string_view code;
    int width;
    QkVCDScope* scope;
    std::string_view name;
    BitRange range;
    bool isReal = false;  ///< in strict mode
    ValueKind kind = ValueKind::kDigits;
    char bitBracket = 0;  ///< '[' or '(' when it was declared as a bit of its name, `name[3]`
};

struct QkVCDModel {
    /// @param strict  a dot in the name of a scope or variable divides it; else it is part of the
    ///                name
    explicit QkVCDModel(bool strict) : isStrict(strict) {}

    /// @return the scope at a dotted path below `scope` (null: the top), made if needed
    QkVCDScope* findOrCreateScope(QkVCDScope* scope, std::string_view path, bool ignoreCase);
    /// @return the one of this name below `scope` (null: the top), made if needed
    QkVCDScope* findOrCreateChild(QkVCDScope* scope, std::string_view name);
    /// @return false if the code already has another width
    bool addVariable(const VarDeclaration& declared);
    /// Makes each bit of a name a separate name, `name[3]` and so on.
    /// @param number  of the name in `names`
    void splitBits(uint32_t number);
    void addParameter(std::string_view code);
    /// @return the code's record, or null
    QkVCDId* findId(std::string_view code) const;
    /// @return the scope of a dotted path, or null
    QkVCDScope* findScope(std::string_view path) const;
    QkVCDName* findName(std::string_view fullName);
    const QkVCDName* findName(const QkVCDScope* scope, std::string_view name) const;
    /// @return whether names may contain dots and be escaped
    bool hasLooseNames() const { return !isStrict; }
    /// Makes QkVCDTraces::codes by the numbers of short codes, unless they are valid.
    void findDirectCodes();
    /// Call it when variables must be bound again, and direct codes found again.
    void usesChanged();
    /// Finds the place of every variable in the net that it is linked to, if links have changed.
    void bindVariables();

    /// @return what a name or a scope of the model is linked to, or null
    QkVCDName* partnerOf(const QkName* name) const;
    QkVCDScope* partnerOf(const QkScope* scope) const;
    void link(QkVCDName* name, QkName* live);
    /// @return another record with the variables of a name, which may have a different link. It is
    ///         not in `names`
    QkVCDName* duplicate(const QkVCDName& name);
    void link(QkVCDScope* scope, QkScope* live);
    /// Removes links to records of the model that are about to be deleted.
    void unlink(const QkName* live);
    void unlink(const QkScope* live);

    std::vector<QkVCDScope*> topScopes;
    std::deque<QkVCDName> names;
    QkVCDTraces traces;

private:
    struct TextHash {
        using is_transparent = void;
        size_t operator()(std::string_view text) const {
            return std::hash<std::string_view>{}(text);
        }
    };
    template <class T>
    using ByText = std::unordered_map<std::string, T, TextHash, std::equal_to<>>;

    /// A name in a scope of the trace. The text is that of a record.
    struct Place {
        const QkVCDScope* scope;
        std::string_view name;
        bool operator==(const Place&) const = default;
    };
    struct PlaceHash {
        size_t operator()(const Place& place) const;
    };
    struct PlaceHashNoCase {
        size_t operator()(const Place& place) const;
    };
    struct EqualNoCase {
        bool operator()(const Place& a, const Place& b) const;
    };

    static uint32_t shortHash(const Place& place);
    QkVCDId* findOrCreateId(const VarDeclaration& declared);
    void enter(std::string_view code, QkVCDId* id);
    /// @return its number, or HashIndex::kNone
    uint32_t findName(const Place& place) const;
    QkVCDName* findOrCreateName(const VarDeclaration& declared);
    QkVCDName* addName(QkVCDScope* scope, std::string_view name, const BitRange& range);
    QkVCDScope* findChild(const QkVCDScope* scope, const std::string& name) const;

    bool isStrict;
    size_t longestScope = 0;  ///< characters of the longest name of a scope
    std::deque<QkVCDScope> scopeStore;
    std::deque<QkVCDName> duplicates;
    std::deque<QkVCDVar> vars;
    std::deque<QkVCDId> ids;
    std::vector<QkVCDId*> shortCodes;  ///< by number
    bool variablesBound = false;
    ByText<QkVCDId*> longCodes;
    HashIndex namesByPlace;  ///< numbers in `names`
    std::unordered_map<Place, QkVCDScope*, PlaceHash> scopesByPlace;
    /// The first of the scopes that differ only in case.
    std::unordered_map<Place, QkVCDScope*, PlaceHashNoCase, EqualNoCase> scopesNoCase;
    std::vector<QkVCDName*> partners;  ///< by QkName::id
    PointerTable<QkScope, QkVCDScope> scopePartners;
};

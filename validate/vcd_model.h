// What a reference trace declares: scopes, names, identifier codes, and the variables that connect
// them.
//
// A code may serve several variables, and a name may be declared in several pieces. A value line
// knows only the code: QkVCDId leads to all the nets that it concerns without a search.
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
#include "validate/compare.h"

class QkScope;
struct QkName;
struct QkTrace;
struct QkVCDId;
struct QkVCDName;

/// Short codes are numbered without a gap: 1 to 94 for one character, and so on, the first
/// character counting least.
constexpr size_t kCodeBase = 94, kLongestShortCode = 4;

struct QkVCDScope {
    std::string name;  ///< local name
    QkVCDScope* parent = nullptr;
    std::vector<QkVCDScope*> children;  ///< in the order of their declaration
    QkScope* linked = nullptr;          ///< of the model
    int nameCount = 0;

    /// @return the dotted path. It is not kept: scopes may be nested any deep.
    std::string fullName() const;
};

/// One $var: the bits of a name that a code stands for.
struct QkVCDVar {
    BitRange range;
    QkVCDId* vcdId;
    QkVCDName* vcdName;
    int offset = 0;                  ///< of the low digit within the linked net, once bound
    QkVCDTrace* vcdTrace = nullptr;  ///< what compares or drives the net, if anything does
    bool bound = false;              ///< its place in the linked net is known

    void setVCDValue(std::string_view value, bool initial);
};

struct QkVCDName {
    std::string name;
    QkVCDScope* scope;
    BitRange range;
    QkName* linked = nullptr;
    std::vector<QkVCDVar*> vcdVars = {};

    std::string fullName() const;
};

struct QkVCDId {
    bool linked = false;  ///< a variable of this code reaches a net that is compared or driven
    bool isStimulus = false;
    bool isClock = false;
    bool isEarlyInput = false;
    bool isStepInput = false;
    bool isReal;
    bool isParameter = false;  ///< a constant: no variable, no values
    int width;
    std::string vcdId;
    std::vector<QkVCDVar*> sameId = {};

    /// Hands a value to the nets behind all variables of the code. Reals go nowhere.
    void setVCDValue(std::string_view value, bool initial);
};

/// What a value line needs of its code when all its values go to one net whole, or nowhere.
struct DirectCode {
    QkVCDTrace* trace = nullptr;  ///< null: of no concern
    int32_t width = 0;            ///< of the code; 0: more is to be done than a hand-over
    bool isStimulus = false;
    bool isEarlyInput = false;
    bool isStepInput = false;
};

struct QkVCDModel {
    /// @return the scope at a dotted path below `scope` (null: the top), made if need be
    QkVCDScope* findOrCreateScope(QkVCDScope* scope, std::string_view path, bool ignoreCase);
    /// @return whether it could: a code has one width, and a name's place is no scope's
    bool addVariable(std::string_view code, int width, QkVCDScope* scope, std::string_view name,
                     const BitRange& range, bool isReal);
    void addParameter(std::string_view code);
    /// @return the code's record, or null
    QkVCDId* findId(std::string_view code) const;
    /// @return the scope of a dotted path, or null
    QkVCDScope* findScope(std::string_view path) const;
    QkVCDName* findName(std::string_view fullName) const;
    /// @return by the numbers that numberOf() gives to codes; to be asked for anew after any change
    ///         of a link, a bound variable or a use
    const std::vector<DirectCode>& directCodes();
    /// Tells that variables are to be bound anew, and directCodes() made anew.
    void usesChanged() { directValid = variablesBound = false; }
    /// Finds the place of every variable in the net that it is linked to, if links have changed.
    void bindVariables();

    /// @return what a name or a scope of the model is linked to, or null
    QkVCDName* partnerOf(const QkName* name) const;
    QkVCDScope* partnerOf(const QkScope* scope) const;
    void link(QkVCDName* name, QkName* live);
    void link(QkVCDScope* scope, QkScope* live);
    /// Forgets records of the model that are about to be deleted.
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

    QkVCDId* findOrCreateId(std::string_view code, int width, bool isReal);
    void enter(std::string_view code, QkVCDId* id);
    QkVCDName* findOrCreateName(QkVCDScope* scope, std::string_view name, const BitRange& range);

    std::deque<QkVCDScope> scopeStore;
    std::deque<QkVCDVar> vars;
    std::deque<QkVCDId> ids;
    std::vector<QkVCDId*> shortCodes;  ///< by number
    std::vector<DirectCode> direct;
    bool directValid = false;
    bool variablesBound = false;
    ByText<QkVCDId*> longCodes;
    std::unordered_map<Place, QkVCDName*, PlaceHash> namesByPlace;
    std::unordered_map<Place, QkVCDScope*, PlaceHash> scopesByPlace;
    /// The first of those that differ in case alone.
    std::unordered_map<Place, QkVCDScope*, PlaceHashNoCase, EqualNoCase> scopesNoCase;
    std::vector<QkVCDName*> partners;  ///< by QkName::id
    std::unordered_map<const QkScope*, QkVCDScope*> scopePartners;
};

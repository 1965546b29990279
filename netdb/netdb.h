// The database of the design: scopes, names and traces.
//
// A scope is a level of the hierarchy. A name is what a person refers to: a net under its design
// name. A trace is one piece of model storage of at most 64 bits, or the header of a wider value
// whose parts are traces of their own. Several names may share one trace, and several traces may
// share one address.
//
// A million nets are common, so both records are kept small: rare fields are in NameExtension and
// TraceExtras, which are made on demand.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <vector>

#include "base/bit_range.h"
#include "base/ring.h"
#include "base/storage.h"
#include "base/stringbuf.h"
#include "netdb/master_assigns.h"

class QkScope;
class kelvo_module;
struct QkName;
struct ScopeActivity;
struct QkTrace;

/// The maximum number of bits of a net in parts, and of a name that reads one.
inline constexpr int kMostNetBits = 1 << 24;

/// How a name reads its value. Extracts and virtual variables have their own identifier code and
/// range.
enum NameKind : uint8_t { kPlainName = 0, kTermName = 1, kExtractName = 2, kVirtualName = 3 };

/// A run of bits of a virtual variable: a slice of a net, or a constant.
struct VirtualElement {
    int width;
    QkTrace* trace;  ///< null for a constant, and after the net was removed
    int offset;      ///< of the slice's low bit from the low end of the trace's value
    uint64_t idle;   ///< the constant; 0 for a slice
    int above = 0;   ///< bits of the elements before it
};

/// Additional fields of names of kinds 1 to 3.
struct NameExtension {
    BitRange range;                        ///< the name's own bounds, kinds 1 to 3
    int offset = 0;                        ///< kind 2: low bit of the slice within its trace
    uint32_t vcdSlot = 0;                  ///< slices: place in the trace writer, 0 if there is
                                           ///< none yet
    int holds = 0;                         ///< slices: reasons to compare it at captures
    std::vector<uint64_t> recorded;        ///< slices, compared: the chunks as last seen
    std::vector<VirtualElement> elements;  ///< kind 3: the most significant first
};

// The fields that a look-up reads come first.
struct QkName {
    const char* name;  ///< local name, in the model's text store
    QkScope* scope;
    QkTrace* trace;            ///< &gDummyTrace until one is bound
    NameExtension* extension;  ///< owned; null for most plain names
    uint32_t hash;             ///< of the full name, for QkDatabase::namesByFullName
    uint32_t mode;             ///< mode word of the registering row; the low byte is the type code
    uint32_t netFlags;
    uint32_t id;  ///< number in the store
    NameKind kind;
    bool traced : 1;
    bool show : 1;
    bool dirty : 1;                             ///< used inside one capture only
    bool stimulus : 1;                          ///< named as a further stimulus by the user
    bool readsCopy : 1;                         ///< the trace is a copy of an owner elsewhere
    bool notifies : 1;                          ///< its handle asks for changes
    bool hasBreaks : 1;                         ///< its handle has breakpoints
    bool partial : 1;                           ///< kind 1 with another width than its net: a slice
    bool detached : 1;                          ///< waits for its module to be made again
    QkName *next, *prev;                        ///< ring QkModel::names
    QkName *same_scope_next, *same_scope_prev;  ///< ring QkScope::allNames
    QkName *n_next, *n_prev;                    ///< ring QkTrace::names

    int typeCode() const { return static_cast<int>(mode & 0xff); }
    bool isHidden() const;
    /// @return the bounds that the user sees: the trace's for a plain name, else the name's own
    const BitRange& range() const;
    /// @return whether the value is one or more slices of traces. Slices are compared, recorded and
    ///         written separately
    bool isSlice() const { return kind >= kExtractName || partial; }
    int chunkCount() const { return (range().width + QK_MAXUBITS - 1) / QK_MAXUBITS; }
    /// @return whether a handle follows its changes
    bool isWatched() const { return notifies || hasBreaks; }
};

/// Memory of malloc().
using OwnedBlock = std::unique_ptr<char, void (*)(void*)>;

/// Rare fields of a trace.
struct TraceExtras {
    int arrayLeft = 0;  ///< element bounds as declared
    int arrayRight = 0;
    const void* traceWord = nullptr;            ///< storage of the owner that this net is a copy of
    MasterArrayAssign* arrayRecord = nullptr;   ///< the change list in the cell of generated code
    CopyGroup* copies = nullptr;                ///< shared by its members
    size_t copyPlace = 0;                       ///< among them
    const void* formerAddress = nullptr;        ///< of a detached owner of copies
    OwnedBlock ownStorage{nullptr, std::free};  ///< elements of a detached array
    std::vector<QkName*> exnames = {};          ///< slices of kinds 1 and 2 that read this trace
    std::vector<QkName*> pvnames = {};          ///< names of kind 3 that read it, each once
};

/// The parts that hold a trace's value, the most significant first, for range-for.
template <class Trace>
class PartRange {
public:
    class Iterator {
    public:
        Iterator(Trace* whole, Trace* part) : owner(whole), at(part) {}
        Trace* operator*() const { return at; }
        Iterator& operator++() {
            at = owner->partAfter(at);
            return *this;
        }
        bool operator!=(const Iterator& other) const { return at != other.at; }

    private:
        Trace* owner;
        Trace* at;
    };

    explicit PartRange(Trace* whole) : owner(whole) {}
    Iterator begin() const { return {owner, owner->firstPart()}; }
    Iterator end() const { return {owner, nullptr}; }

private:
    Trace* owner;
};

struct QkTrace {
    // Writing a value touches only the first 64 bytes.
    void* address;  ///< the model's storage; null for a header
    BitRange range;
    QkTrace* header;  ///< of this part; a trace of one part is its own
    QkTrace* bits;    ///< header: the first part; part: the next one; null for a trace of one part
    TraceExtras* extras;  ///< owned; null for most
    uint32_t flags;       ///< net flags; a header has those of all its parts
    uint32_t nel;         ///< elements of an array, else 0
    int32_t ntrace;       ///< reasons to compare it: traced and watched names that read this trace
    int32_t nshow;        ///< shown names, and those whose handles ask for changes
    uint64_t value;  ///< remembered value while the trace is active and not in the capture image
    QkTrace *next, *prev;              ///< ring QkModel::traces
    QkTrace *sameAddr_n, *sameAddr_p;  ///< ring of all traces at one storage address
    QkTrace *a_next, *a_prev;          ///< ring QkTraceWriter::active_traces, null outside it
    QkName* names;                     ///< head of the ring of names bound to this trace
    uint32_t changed;                  ///< sticky: a capture saw a change
    int32_t nrecord;        ///< traced names that are not slices: reasons to record its changes
    int32_t nbreak;         ///< names with breakpoints that read this trace
    uint32_t vcdSlot;       ///< place in the trace writer, 0 for none yet
    uint32_t id;            ///< number in the store
    bool invert;            ///< reads the storage inverted
    bool isPart;            ///< registered as a part: the mode had QK_parts
    bool detached : 1;      ///< its names wait for their module; the library owns the storage
    bool copied : 1;        ///< a copy was found that has this as its owner
    bool orphan : 1;        ///< a copy whose owner has been detached
    bool resolved : 1;      ///< its owner has been looked for
    bool ignored : 1;       ///< never compared with a reference trace, as the user requested
    bool forceCompare : 1;  ///< a top-level output: compared whatever its flags
    /// An array's part: the other parts of an element are adjacent to it.
    bool isInterleaved : 1;

    /// @return whether the value is in parts, which have their own traces
    bool isHeader() const { return isPart && !address; }
    bool isArray() const { return nel != 0; }
    /// @return whether this is a copy of a net whose owner is elsewhere
    bool isCopy() const { return extras && extras->traceWord && extras->traceWord != address; }
    /// @return whether any name reads this trace
    bool isNamed() const { return names || (extras && !extras->exnames.empty()); }
    int arrayLeft() const { return extras ? extras->arrayLeft : 0; }
    int arrayRight() const { return extras ? extras->arrayRight : 0; }
    int width() const { return range.width; }
    int nTraced() const {
        QK_ASSERT(ntrace >= 0);
        return ntrace;
    }
    /// @return the first of the parts that hold this trace's value: itself when it has none
    QkTrace* firstPart() { return header == this && bits ? bits : this; }
    const QkTrace* firstPart() const { return header == this && bits ? bits : this; }
    /// @return the part after `part` among those of this trace, or null
    QkTrace* partAfter(const QkTrace* part) const { return part == this ? nullptr : part->bits; }
    /// @return the parts of this trace
    PartRange<QkTrace> parts() { return PartRange<QkTrace>(this); }
    PartRange<const QkTrace> parts() const { return PartRange<const QkTrace>(this); }
    /// @return bytes of one element's storage: 1, 2, 4 or 8
    int elementBytes() const { return storageBytes(range.width); }
    /// @return the place of a part's lowest bit within the value
    int lowBit() const { return header->range.placeOf(range); }
    /// @return bytes from one element to the next
    int stride() const {
        return isInterleaved ? (header->range.width + 31) / 32 * 4 : elementBytes();
    }
    /// @return the value in storage, in this trace's polarity; `element` is in storage order
    uint64_t readStorage(uint32_t element = 0) const {
        const uint64_t raw = loadStorage(
            static_cast<const char*>(address) + uint64_t{element} * static_cast<unsigned>(stride()),
            elementBytes());
        return (invert ? ~raw : raw) & bitMask(range.width);
    }
    /// @return whether `index` is within the element bounds, as declared
    bool isWithinArrayRange(int64_t index) const {
        const int64_t offset = distanceFromRight(index);
        return offset >= 0 && offset < nel;
    }
    /// @return the place in storage of the element at `index`, which must be within the bounds
    uint32_t elementOf(int64_t index) const {
        return static_cast<uint32_t>(distanceFromRight(index));
    }
    /// @return the index of the element at a place in storage
    int64_t indexOf(uint32_t element) const {
        return arrayStep() < 0 ? int64_t{arrayRight()} + element : int64_t{arrayRight()} - element;
    }
    /// @return what leads from one index to the next on the way from the left bound to the right
    int arrayStep() const { return arrayLeft() > arrayRight() ? -1 : 1; }

private:
    int64_t distanceFromRight(int64_t index) const {
        return arrayStep() < 0 ? index - arrayRight() : arrayRight() - index;
    }
};

/// The end of messages about broken or mismatched generated code.
inline constexpr const char* kSupportContact =
    "Please send this text to your support contact for ZEFT.\n";

using NameRing = Ring<QkName, &QkName::next, &QkName::prev>;
using ScopeNames = Ring<QkName, &QkName::same_scope_next, &QkName::same_scope_prev>;
using TraceNames = Ring<QkName, &QkName::n_next, &QkName::n_prev>;
using TraceRing = Ring<QkTrace, &QkTrace::next, &QkTrace::prev>;
using SameAddress = Ring<QkTrace, &QkTrace::sameAddr_n, &QkTrace::sameAddr_p>;
using ActiveTraces = Ring<QkTrace, &QkTrace::a_next, &QkTrace::a_prev>;

/// Holds the names that registration has made but not bound. It is in no ring of traces, and reads
/// as a bit that is 0.
extern QkTrace gDummyTrace;

/// @return a name that reads a trace, the first bound to it if there is one, or null
const QkName* anyName(const QkTrace* trace);

/// Asserts that a name is bound. Within a section, names that wait for the net that replaces them
/// are not. @return whether it is
bool isBound(const QkName* name);

class QkScope {
public:
    QkScope(const char* localName, QkScope* parentScope, bool namesCaseInsensitive);

    StringBuf name;      ///< local name
    StringBuf fullName;  ///< dotted path from the top
    int fullNameLength;
    QkScope* parent;                           ///< null at the top
    QkScope *next = nullptr, *prev = nullptr;  ///< ring of siblings, or QkModel::top_scopes
    QkScope* children = nullptr;
    int number = 0;  ///< assigned at completion, from 1
    bool caseInsensitive;
    QkName* allNames = nullptr;
    int nameCount = 0;
    int virtualCount = 0;  ///< virtual variables among them
    int tracedCount = 0;   ///< traced names in this scope and below
    uint32_t generatorWords[2] = {0, 0};
    uint32_t exportWord = 0;
    uint64_t shape = 0;              ///< of the module's section; see qk_generator_check()
    kelvo_module* module = nullptr;  ///< the module that claimed this scope
    bool claimed = false;            ///< `module` has been set, now or before
    bool detached = false;           ///< names in it may wait for their module to be made again
    bool inSection = false;          ///< of the open section, which makes a module again
    int uniqueTaken = 0;             ///< modules have claimed the children from qk_unique0 to below
                                     ///< this
    uint32_t hash;                   ///< of the full name and a dot; each name's continues it
    std::vector<MasterAssign> masterAssigns;  ///< by ascending `to` once complete
    std::vector<MasterArrayAssign*> masterArrayAssigns;
    ArrayWatches arrayWatches;
    ScopeActivity* activity = nullptr;  ///< counters of the scope's signals; owned

    /// @return whether waves have something to copy or to report
    bool hasCopies() const { return !masterAssigns.empty() || !masterArrayAssigns.empty(); }
    /// @return whether the scope has names other than those that the user made
    bool holdsNets() const { return nameCount > virtualCount; }
    /// @return whether no scope above this one holds nets: empty wrappers do not count as levels
    bool isTopLevel() const;
};

using ScopeRing = Ring<QkScope, &QkScope::next, &QkScope::prev>;

/// @return whether the name is driven from outside: a top-level input or inout, or named as one
bool isStimulus(const QkName* name);

/// The text of a full name: "scope.local".
class FullName {
public:
    explicit FullName(const QkName* name);
    ~FullName();
    FullName(const FullName&) = delete;
    FullName& operator=(const FullName&) = delete;
    const char* c_str() const { return text; }

private:
    char* text;
    char small[128];
};

// ---- Values through traces and names

/// The result of qk_write_count(): code that writes values for a user or from a file counts them
/// here.
extern uint64_t qkWriteCount;

/// Reads `count` bits, 0 to 64, from bit number `bit` (the lowest wanted, in declared numbering).
/// @param index  array index as declared; 0 for a scalar
/// @param out    receives the bits, right-aligned
/// @return 0, or 1 when an index or a bit lies outside
int readBits(const QkTrace* trace, int64_t index, int64_t bit, int count, uint64_t* out);
/// Writes the same bits, to every copy of the value in its own polarity, and notes them in the
/// change lists of arrays.
int writeBits(QkTrace* trace, int64_t index, int64_t bit, int count, uint64_t value);
/// The same through a name, in the name's own bit numbers.
int readBits(const QkName* name, int64_t index, int64_t bit, int count, uint64_t* out);
int writeBits(QkName* name, int64_t index, int64_t bit, int count, uint64_t value);

/// Reads chunk `chunk` (64 bits, 0 least significant) of a name's value.
/// @param index  array index as declared; 0 for a scalar
/// @return the bits; 0 beyond the width and for a failed read
uint64_t readChunk(const QkName* name, int chunk, int64_t index);
/// Writes the chunk; bits of `value` above those of the chunk are dropped.
/// @return 0, or 1 when the chunk or the index lies outside
int writeChunk(QkName* name, int chunk, int64_t index, uint64_t value);

/// The same through the elements of a virtual variable.
int readVirtualBits(const QkName* name, int64_t bit, int count, uint64_t* out);
int writeVirtualBits(QkName* name, int64_t bit, int count, uint64_t value);

/// Calls visit(QkTrace*) for each trace that the name reads: for a virtual variable once for each
/// slice.
template <class Visit>
void eachSource(const QkName* name, Visit&& visit) {
    if (name->kind != kVirtualName) {
        visit(name->trace);
        return;
    }
    for (const VirtualElement& element : name->extension->elements)
        if (element.trace) visit(element.trace);
}

/// Calls visit(const QkName*) for each other name that is bound to the name's storage, in either
/// polarity: those of its own trace first.
template <class Visit>
void eachNameOfStorage(const QkName* name, Visit&& visit) {
    const QkTrace* trace = name->trace;
    do {
        if (trace != &gDummyTrace)
            TraceNames::each(trace->names, [&](const QkName* other) {
                if (other != name) visit(other);
            });
        trace = trace->sameAddr_n;
    } while (trace && trace != name->trace);
}

// ---- Look-up

/// Matches a whole text against a pattern in which '*' matches any run of characters.
bool matchesPattern(const char* text, const char* pattern, bool ignoreCase);

// The database as a whole: its rings, indexes and stores, and all that changes them.
//
// There is none until kelvo_start(). It is registering while sections open and close, complete once
// completeRegistration() has run, and gone after the exit routine, which leaves its memory to the
// process. A change of the hierarchy takes it back from complete to registering.
#pragma once

#include <cstdint>
#include <memory>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "netdb/index.h"
#include "netdb/listener.h"
#include "netdb/netdb.h"
#include "netdb/store.h"
#include "netdb/table_checks.h"
#include "qkzeft_registration.h"
#include "run/idle.h"

struct QkModel {
    QkScope* top_scopes = nullptr;
    QkName* names = nullptr;
    QkTrace* traces = nullptr;
};

struct QkDatabase : QkModel {
    QkDatabase();

    bool elaborated = false;  ///< the walk over traces and scopes has been done
    bool complete = false;

    std::vector<DatabaseListener*> listeners;  ///< called in this order
    DatabaseListener* recorder = nullptr;      ///< the one that hears of elements; never null

    int visibleNames = 0;        ///< names that are not hidden
    uint32_t allTraceFlags = 0;  ///< all net flags of all traces ever made

    /// Change lists by the cell of generated code that holds their address.
    std::unordered_map<const void*, std::unique_ptr<MasterArrayAssign>> arrayRecords;
    std::vector<MasterArrayAssign*> followed;  ///< change lists that have buffers
    std::vector<MasterArrayAssign*> unwaved;   ///< those of them that no module's waves apply
    bool copiesUnresolved = false;             ///< some trace's owner has not been looked for
    bool assignsStale = false;                 ///< a trace that was copied, or copied to, is gone
    /// Storage of owners that were detached, and are there again.
    std::unordered_set<const void*> ownersAgain;

    HashIndex traces_by_address;  ///< storage address to one trace of its ring
    StorageMap checkedStorage;    ///< of the traces made while qk_check_tables was on
    HashIndex namesByFullName;
    std::unordered_multimap<uint32_t, QkScope*> scopesByHash;  ///< by QkScope::hash
    /// Change lists by the storage that a buffer of theirs reads, and by the copy that it keeps up.
    std::unordered_multimap<const void*, MasterArrayAssign*> listsByStorage;
    /// Storage of names beside that of their traces: it has traces that nobody may have named.
    std::unordered_multimap<const QkName*, const void*> furtherStorage;
    Store<QkName> nameStore;
    Store<QkTrace> traceStore;
    TextStore texts;

    bool isComplete() const { return complete; }
    /// Has completeRegistration() finish the database again: the hierarchy has changed.
    void reopen() {
        elaborated = complete = false;
        endIdleness();
    }

    // ---- Scopes and names (netdb/scopes.cpp)

    /// Walks a dotted path down from `scope` (null: the top), leaving `scope` where it ended.
    /// @param stopAtLast  leave the last component, the local name of a net, unconsumed
    /// @param create      make what is missing, with `caseInsensitive`
    /// @return the unconsumed text, or null when a component was not found
    const char* findScopePath(QkScope*& scope, const char* path, bool stopAtLast,
                              bool caseInsensitive, bool create);
    QkScope* addScope(QkScope* parent, const char* localName, bool caseInsensitive);
    /// @param parent      null: the top
    /// @param text        a local name of `length` characters
    /// @param ignoreCase  beside the scopes whose names have no case
    /// @return the first child of this name in the order of the ring, or null
    QkScope* findChild(QkScope* parent, const char* text, size_t length, bool ignoreCase) const;
    /// @return a child that its module has left behind, and that no row has asked for yet, or null
    QkScope* findDetachedChild(const QkScope* parent, const char* localName) const;
    /// Drops a scope's names and traces and those of all scopes below it, then the scopes.
    void destroyScope(QkScope* scope);
    /// Makes a name on the ring of gDummyTrace.
    QkName* addName(QkScope* scope, const char* localName, uint32_t mode, uint32_t netFlags);
    /// @return the newest name of exactly this local name in `scope` that is not detached, or null
    QkName* findInScope(const QkScope* scope, const char* localName) const;
    /// The same without regard to case where the scope's names have none.
    QkName* findLocal(const QkScope* scope, const char* localName) const;
    /// Sorts a scope's names, and gives the sorted names in `sorted`.
    void sortNames(QkScope* scope, std::vector<QkName*>& sorted);
    /// Takes a name out of every ring and index, and deletes it.
    void removeName(QkName* name);
    /// Moves a name to the ring of `trace`.
    void bindName(QkName* name, QkTrace* trace);
    /// Moves a name of kind 2 to those that read `trace`.
    void bindExtract(QkName* name, QkTrace* trace);
    /// Moves a name of kind 1 to the ring of `trace`, and to those that read it if it is a slice.
    void bindTerm(QkName* name, QkTrace* trace);
    /// Moves a name that is no virtual variable from its trace to another, as it is bound.
    void bindAnew(QkName* name, QkTrace* trace);
    /// Makes a virtual variable without elements in the first top-level scope, which there is.
    QkName* addVirtual(const char* localName);
    /// Adds an element at the low end of a virtual variable.
    void addElement(QkName* name, const VirtualElement& element);
    /// Names removed so far: a pointer kept across a call may be stale when this has moved on.
    uint64_t removals = 0;

    /// @return the names whose full names match, in the order of `names`, hidden ones included. A
    ///         pattern without a '*' costs a look-up, any other one pass.
    std::vector<QkName*> matching(const char* pattern) const;
    /// Calls visit(QkName*) for each name that a text without a '*' matches, in no order.
    template <class Visit>
    void eachOfFullName(const char* text, Visit&& visit) const;
    /// @return the one name that matches and that is neither hidden nor replaced nor a copy, else
    ///         null. Where none matches and `qk_strict` is off: the one replaced name that does
    QkName* findOne(const char* pattern) const;
    /// @return the first such name after `after` in the order of `names`, or of all for null; null
    ///         when there is none. All calls of a walk together cost one pass.
    QkName* findNext(const char* pattern, const QkName* after) const;

    // ---- Traces (netdb/traces.cpp)

    struct NetStorage {
        void* address;
        BitRange range;
        int arrayLeft, arrayRight;
        uint32_t mode;
        uint32_t flags;
        const void* traceWord;
        void* ppamd;
        bool invert;
    };
    /// Binds `name` to the trace of that storage, made if need be, unless it has a trace already.
    /// For ports, the address is the place of a pointer to the storage. A null one is reported.
    /// @return the header of the storage's trace, or null when the net tells no storage of a trace
    QkTrace* addNet(QkName* name, NetStorage net);
    /// The same with the address of the storage itself.
    /// @param existing  a trace whose same-address ring is to be searched, and whose storage must
    ///                  be large enough, or null
    QkTrace* addStored(QkTrace* existing, QkName* name, NetStorage net);
    /// Makes the inverted form of a net that there is, a trace of its own without a name, unless
    /// there is one.
    void addInvertedForm(NetStorage net);
    /// Makes room in the indexes for `count` nets more.
    void reserveNets(size_t count);
    /// @return the ring's entry for a storage address, or null
    QkTrace* tracesAt(const void* address) const;
    /// Takes a trace out of every ring and index, and deletes it.
    void removeTrace(QkTrace* trace);

    // ---- Modules that go and come again (netdb/detached.cpp)

    /// Takes the storage of a module that is about to go from its nets, which stay: they keep the
    /// values last seen until rows of their names bring other storage.
    /// @param scope  the module's own, no longer claimed by it
    void detachModule(QkScope* scope);
    /// Gives detached names what new names of the same text in their scopes have, wherever bounds
    /// agree: handles, breakpoints, traced sets and identifier codes stay. Other detached names of
    /// the scopes go.
    /// @param scopes  all `count` of a section; null where there is none
    void renewNames(QkScope* const* scopes, int count);

    // ---- Copies and change lists (netdb/master_assigns.cpp)

    /// Looks for the owners of all traces that are copies of a net elsewhere, if that is to be
    /// done.
    void resolveMasterAssigns();
    /// Sorts a scope's copies by destination, and joins what lies together in both places.
    void prepareMasterAssigns(QkScope* scope) const;
    /// Has changes of a traced array reported at each wave; of an array outside all modules, which
    /// has no waves, at each capture.
    void followArray(const QkName* name);
    void unfollowArray(const QkTrace* header);
    /// Reports changes of the arrays that have no waves.
    void lookAtUnwaved() const;
    /// Reports changes of traced arrays before their next wave. @param header  of one, null for all
    void lookAtArrays(const QkTrace* header) const;
    /// Gives the change lists that a scope applies to the scopes of their owners.
    void rehomeArrays(QkScope* scope);

private:
    template <class... Parameters, class... Arguments>
    void announce(void (DatabaseListener::*what)(Parameters...), Arguments... arguments) const {
        for (DatabaseListener* listener : listeners) (listener->*what)(arguments...);
    }
    QkName* findCandidate(const char* pattern, const QkName* after) const;
    MasterArrayAssign* arrayRecordAt(void* cell);
    void releaseArrayRecord(MasterArrayAssign* record);
    /// Takes a trace that is about to be deleted out of all that copies or follows it.
    void forgetCopies(QkTrace* trace);
    void resolveMasterAssign(QkTrace* part, const QkName* name);
    void copyOwner(QkTrace* part, QkTrace* owner, const QkName* name);
    /// Adds the buffer of one part of an array.
    /// @param to  storage of a copy, or null to follow the array's changes
    void addMasterArrayAssign(QkScope* scope, const QkTrace* part, void* to);
    MasterArrayAssign* recordFor(QkScope* scope, const QkTrace* part) const;
    template <class IsOut>
    void eraseBuffers(const void* address, IsOut&& isOut);
    void forgetBuffer(MasterArrayAssign* record, const ValueBuffer& buffer);
    QkTrace* makeTrace(const NetStorage& net);
    QkTrace* makeHeader(const QkTrace& part);
    void linkAtAddress(QkTrace* trace, QkTrace* ring);
    void leaveAddress(QkTrace* trace);
    void detachScope(QkScope* scope, std::vector<QkName*>& gone);
    void detachTrace(QkTrace* trace);
    void detachStorage(QkTrace* part, bool isActive);
    QkTrace* makeStandIn(const QkTrace* trace);
    void moveName(QkName* name, QkTrace* to);
    void adopt(QkTrace* trace, QkTrace* fresh);
    void adoptStorage(QkTrace* part, QkTrace* fresh);
    void renew(QkName* name, QkName* fresh);
    void dropDetached(QkScope* scope);
    void addPart(const QkName* name, QkTrace* part, QkTrace* header);
    void leaveSources(QkName* name);
    static void addSlice(QkTrace* trace, QkName* name);
    void dropFurtherStorage(const QkName* name);
    void dropReaders(QkTrace* trace);
    /// Removes a trace that the last name has left, with its parts and their inverted forms.
    void dropUnnamed(QkTrace* trace);
    void dropAtAddress(const void* address);
};

/// That of the live model. Null before kelvo_start() and after the exit routine.
extern QkDatabase* qkDatabase;

/// The part of completeRegistration() that has something to do.
bool finishRegistration(bool fatal);

/// Finishes the database if that has not been done since the last change of the hierarchy: sorts
/// and numbers scopes, sorts names. Starts the library if need be.
/// @param fatal   end the process with status 1 if the licence check refuses
/// @return whether the model is complete
inline bool completeRegistration(bool fatal) {
    return (qkDatabase && qkDatabase->complete) || finishRegistration(fatal);
}

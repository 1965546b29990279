// The database as a whole: its rings, indexes and stores, and all functions that change them.
//
// There is none until kelvo_start(). It is registering while sections open and close, complete once
// completeRegistration() has run, and gone after the exit routine, which does not free its memory.
// A change of the hierarchy returns it from complete to registering.
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
    DatabaseListener* recorder = nullptr;      ///< the one notified of elements; never null

    int visibleNames = 0;        ///< names that are not hidden
    uint32_t allTraceFlags = 0;  ///< all net flags of all traces ever made

    /// Change lists, by the cell of generated code that holds their address.
    std::unordered_map<const void*, std::unique_ptr<MasterArrayAssign>> arrayRecords;
    std::vector<MasterArrayAssign*> followed;  ///< change lists that have buffers
    std::vector<MasterArrayAssign*> unwaved;   ///< those of them that are not applied at any
                                               ///< module's waves
    bool copiesUnresolved = false;             ///< some trace's owner has not been looked for
    bool assignsStale = false;                 ///< a trace that was copied, or copied to, is gone
    /// Storage of owners that were detached and exist again.
    std::unordered_set<const void*> ownersAgain;

    HashIndex traces_by_address;  ///< storage address to one trace of its ring
    StorageMap checkedStorage;    ///< of the traces made while qk_check_tables was on
    HashIndex namesByFullName;
    std::unordered_multimap<uint32_t, QkScope*> scopesByHash;  ///< by QkScope::hash
    /// Change lists, by the storage that one of their buffers reads, and by the copy that it
    /// updates.
    std::unordered_multimap<const void*, MasterArrayAssign*> listsByStorage;
    /// Further storage of names, besides that of their traces: its traces may have no name.
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
    /// @param stopAtLast  stop before the last component, the local name of a net
    /// @param create      make missing scopes, with `caseInsensitive`
    /// @return the remaining text, or null when a component was not found
    const char* findScopePath(QkScope*& scope, const char* path, bool stopAtLast,
                              bool caseInsensitive, bool create);
    QkScope* addScope(QkScope* parent, const char* localName, bool caseInsensitive);
    /// @param parent      null: the top
    /// @param text        a local name of `length` characters
    /// @param ignoreCase  also for scopes whose names are case-sensitive
    /// @return the first child of this name in the order of the ring, or null
    QkScope* findChild(QkScope* parent, const char* text, size_t length, bool ignoreCase) const;
    /// @return a child that was detached with its module and that no row has requested yet, or null
    QkScope* findDetachedChild(const QkScope* parent, const char* localName) const;
    /// Removes a scope's names and traces and those of all scopes below it, then the scopes.
    void destroyScope(QkScope* scope);
    /// Makes a name on the ring of gDummyTrace.
    QkName* addName(QkScope* scope, const char* localName, uint32_t mode, uint32_t netFlags);
    /// @return the newest name of exactly this local name in `scope` that is not detached, or null
    QkName* findInScope(const QkScope* scope, const char* localName) const;
    /// The same, without regard to case if the scope's names are case-insensitive.
    QkName* findLocal(const QkScope* scope, const char* localName) const;
    /// Sorts a scope's names, and returns the sorted names in `sorted`.
    void sortNames(QkScope* scope, std::vector<QkName*>& sorted);
    /// Removes a name from every ring and index, and deletes it.
    void removeName(QkName* name);
    /// Moves a name to the ring of `trace`.
    void bindName(QkName* name, QkTrace* trace);
    /// Adds a name of kind 2 to those that read `trace`.
    void bindExtract(QkName* name, QkTrace* trace);
    /// Moves a name of kind 1 to the ring of `trace`, and to those that read it if it is a slice.
    void bindTerm(QkName* name, QkTrace* trace);
    /// Moves a name that is not a virtual variable from its trace to another, bound in the same
    /// way.
    void bindAnew(QkName* name, QkTrace* trace);
    /// Makes a virtual variable without elements in the first top-level scope, which must exist.
    QkName* addVirtual(const char* localName);
    /// Adds an element at the low end of a virtual variable.
    void addElement(QkName* name, const VirtualElement& element);
    /// Number of names removed so far: a pointer kept across a call may be stale when this has
    /// changed.
    uint64_t removals = 0;

    /// @return the names whose full names match, in the order of `names`, hidden ones included. A
    ///         pattern without a '*' costs one look-up, any other costs a pass over all names.
    std::vector<QkName*> matching(const char* pattern) const;
    /// Calls visit(QkName*) for each name that a text without a '*' matches, in no particular
    /// order.
    template <class Visit>
    void eachOfFullName(const char* text, Visit&& visit) const;
    /// @return the one name that matches and that is neither hidden nor replaced nor a copy, else
    ///         null. If none matches and `qk_strict` is off: the one replaced name that does
    QkName* findOne(const char* pattern) const;
    /// @return the first such name after `after` in the order of `names`, for null the first of
    ///         all; null when there is none. All calls of a walk together cost one pass
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
    /// Binds `name` to the trace of that storage, which is made if needed, unless the name already
    /// has a trace. For ports, the address is the place of a pointer to the storage. A null address
    /// is reported.
    /// @return the header of the storage's trace, or null when the net's row gives no storage that
    ///         a trace could have
    QkTrace* addNet(QkName* name, NetStorage net);
    /// The same with the address of the storage itself.
    /// @param existing  a trace whose same-address ring is to be searched, and whose storage must
    ///                  be large enough, or null
    QkTrace* addStored(QkTrace* existing, QkName* name, NetStorage net);
    /// Makes the inverted form of an existing net, a separate trace without a name, unless there is
    /// one.
    void addInvertedForm(NetStorage net);
    /// Makes room in the indexes for `count` more nets.
    void reserveNets(size_t count);
    /// @return the ring's entry for a storage address, or null
    QkTrace* tracesAt(const void* address) const;
    /// Removes a trace from every ring and index, and deletes it.
    void removeTrace(QkTrace* trace);

    // ---- Modules that are destroyed and made again (netdb/detached.cpp)

    /// Detaches the nets of a module that is about to be destroyed from its storage: they stay,
    /// with the values last seen, until rows of their names bring other storage.
    /// @param scope  the module's own scope, no longer claimed by it
    void detachModule(QkScope* scope);
    /// Binds detached names to the storage of new names with the same text in their scopes, if the
    /// bounds agree: handles, breakpoints, traced sets and identifier codes stay. Other detached
    /// names of the scopes are removed.
    /// @param scopes  all `count` scopes of a section; null where there is none
    void renewNames(QkScope* const* scopes, int count);

    // ---- Copies and change lists (netdb/master_assigns.cpp)

    /// Looks for the owners of all traces that are copies of a net elsewhere, if that has not been
    /// done.
    void resolveMasterAssigns();
    /// Sorts a scope's copies by destination, and joins those that are adjacent in both places.
    void prepareMasterAssigns(QkScope* scope) const;
    /// Starts to report changes of a traced array at each wave; for an array outside all modules,
    /// which has no waves, at each capture.
    void followArray(const QkName* name);
    void unfollowArray(const QkTrace* header);
    /// Reports changes of the arrays that have no waves.
    void lookAtUnwaved() const;
    /// Reports changes of traced arrays before their next wave. @param header of one array, null
    /// for all
    void lookAtArrays(const QkTrace* header) const;
    /// Moves the change lists that a scope applies to the scopes of their owners.
    void rehomeArrays(QkScope* scope);

private:
    template <class... Parameters, class... Arguments>
    void announce(void (DatabaseListener::*what)(Parameters...), Arguments... arguments) const {
        for (DatabaseListener* listener : listeners) (listener->*what)(arguments...);
    }
    QkName* findCandidate(const char* pattern, const QkName* after) const;
    MasterArrayAssign* arrayRecordAt(void* cell);
    void releaseArrayRecord(MasterArrayAssign* record);
    /// Removes a trace that is about to be deleted from everything that copies or follows it.
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
    /// Removes a trace that has lost its last name, with its parts and their inverted forms.
    void dropUnnamed(QkTrace* trace);
    void dropAtAddress(const void* address);
};

/// The database of the live model. Null before kelvo_start() and after the exit routine.
extern QkDatabase* qkDatabase;

/// The part of completeRegistration() that has something to do.
bool finishRegistration(bool fatal);

/// Finishes the database if that has not been done since the last change of the hierarchy: sorts
/// and numbers scopes, sorts names. Starts the library if needed.
/// @param fatal   end the process with status 1 if the licence policy refuses
/// @return whether the model is complete
inline bool completeRegistration(bool fatal) {
    return (qkDatabase && qkDatabase->complete) || finishRegistration(fatal);
}

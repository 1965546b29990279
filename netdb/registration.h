// The section of registration that is open.
#pragma once

#include <vector>

#include "netdb/database.h"
#include "qkzeft_registration.h"

/// A net that another one replaces, until all nets of the section have been added.
struct NetReplacement {
    QkName* pReplaced;  ///< still on gDummyTrace; null after the name was removed
    int replacementId;  ///< id of the replacing net, negative if inverted
    QkDatabase::NetStorage net;
};

enum RegistrationState { AddScopes, AddNets, AddExtracts, AddTerms, Completed };

struct QkRegistrationData {
    QkRegistrationData(kelvo_module* m, int scopeCount, int netCount);
    ~QkRegistrationData();
    QkRegistrationData(const QkRegistrationData&) = delete;
    QkRegistrationData& operator=(const QkRegistrationData&) = delete;

    RegistrationState state = AddScopes;
    unsigned words[2] = {0, 0};
    unsigned exportWord = 0;
    kelvo_module* module;
    int ns;
    int nn;
    QkScope** pscopes;                         ///< scope id to scope; entry 0 is the module's own
    QkName** pnames;                           ///< net index to name
    int* lowIndices;                           ///< net index to the lower of the net's two bounds
    std::vector<NetReplacement> replacements;  ///< applied newest first
    uint64_t shape = 0;                        ///< the sum that qk_generator_check() documents
    int scopesAdded = 1;
    int netsAdded = 0;
    bool toldOpen = false;

    /// Moves to another state, closing what that ends; ends the process when it is not allowed.
    void moveTo(RegistrationState target);
    void addScope(const QkGRScope& row);
    void addNet(const QkGRNet& row);
    /// Prefetches the memory that addNet() will need for the row.
    void prefetch(const QkGRNet& row) const;
    void addExtract(const QkGRExtract& row);
    void addTerm(const QkGRTerm& row);
    /// The module's name for messages.
    const char* name() const;
    /// Abandons the open section, if `scope`, which is about to be removed, is one of its scopes.
    static void abandon(const QkScope* scope);
    /// Reports an open section, once.
    static void reportOpenSection();

private:
    void closeScopes();
    void closeNets();
    void finish();
    /// The common fields of extract and term rows.
    struct Reader {
        const char* what;  ///< for messages
        NameKind kind;
        int scope;
        const char* name;
        BitRange range;
        int actual;
        int offset;
    };
    void addReader(const Reader& reader);
    /// Removes a name of the section that could not be bound; nothing when it has a trace.
    void drop(QkName* record);
    /// Binds a replaced net to the net that replaces it, or removes its name with a warning.
    void apply(const NetReplacement& replacement);
};

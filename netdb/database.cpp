#include "netdb/database.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "licence/licence.h"
#include "netdb/registration.h"
#include "qkzeft_module.h"
#include "run/life.h"

QkDatabase* qkDatabase = nullptr;

QkDatabase::QkDatabase() {
    const char* const check = std::getenv("ZEFT_CHECK_TABLES");
    if (check && std::strcmp(check, "0") != 0) qk_check_tables = true;
}

void QkDatabase::reserveNets(size_t count) {
    namesByFullName.reserve(count);
    traces_by_address.reserve(count);
}

namespace {

void sortScopes(QkScope*& ring) {
    std::vector<QkScope*> scopes;
    ScopeRing::each(ring, [&](QkScope* scope) { scopes.push_back(scope); });
    std::stable_sort(scopes.begin(), scopes.end(), [](const QkScope* a, const QkScope* b) {
        return std::strcmp(a->name.str(), b->name.str()) < 0;
    });
    ScopeRing::relink(ring, scopes.data(), static_cast<int>(scopes.size()));
}

/// Numbers the scopes of a ring and all below, sorts them and their names, and collects the names:
/// scope by scope, each scope's before those of its children.
class ScopeWalk {
public:
    explicit ScopeWalk(QkDatabase* database) : model(database) {}

    void walk(QkScope*& ring) {
        sortScopes(ring);
        ScopeRing::each(ring, [&](QkScope* scope) {
            scope->number = nextNumber++;
            model->sortNames(scope, sorted);
            for (QkName* name : sorted) append(name);
            if (!scope->masterAssigns.empty()) model->prepareMasterAssigns(scope);
            walk(scope->children);
        });
    }

    /// Relinks the model's ring of names in the order of the walk.
    void finish() {
        model->names = first;
        if (!first) return;
        last->next = first;
        first->prev = last;
    }

private:
    void append(QkName* name) {
        if (last) {
            last->next = name;
            name->prev = last;
        } else {
            first = name;
        }
        last = name;
    }

    QkDatabase* model;
    int nextNumber = 1;
    std::vector<QkName*> sorted;
    QkName* first = nullptr;
    QkName* last = nullptr;
};

}  // namespace

bool finishRegistration(bool fatal) {
    startRun();
    QkDatabase* const model = qkDatabase;
    if (!model->elaborated) {
        if (qk_check_tables) QkRegistrationData::reportOpenSection();
        model->resolveMasterAssigns();
        ScopeWalk walk(model);
        walk.walk(model->top_scopes);
        walk.finish();
        model->elaborated = true;
    }
    if (!licensed(Gate::kRun)) {
        if (fatal) std::exit(1);
        return false;
    }
    model->complete = true;
    return true;
}

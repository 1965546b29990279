// The scopes of modules, and the names by which modules claim them.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/memory.h"
#include "base/stringbuf.h"
#include "netdb/database.h"
#include "qkzeft_module.h"

const char* kelvo_module::qk_get_instance_name() const { return qk_instance_name; }

const char* kelvo_module::qk_get_module_name() const { return qk_module_name; }

const char* kelvo_module::qk_get_full_instance_name() {
    return qk_get_scope(false)->fullName.str();
}

void kelvo_module::qk_finalize_wave() {
    completeRegistration(true);
    if (qk_scope && qk_scope->hasCopies()) applyMasterAssigns(*qk_scope);
}

void kelvo_module::verify_instance_name() {
    if (qk_name_verified) return;
    qk_name_verified = 1;
    // A name of dots only is not a scope.
    if (!qk_instance_name || !qk_instance_name[std::strspn(qk_instance_name, ".")]) {
        qk_parent = nullptr;
        std::free(qk_instance_name);
        qk_instance_name = duplicate("toplevel.", "instance name");
    }
    QK_ASSERT(qk_instance_name != NULL);
    const size_t length = std::strlen(qk_instance_name);
    if (qk_instance_name[length - 1] == '.') return;
    auto* const tmpname = static_cast<char*>(std::realloc(qk_instance_name, length + 2));
    if (!tmpname) failAllocation("realloc", "instance name");
    qk_instance_name = tmpname;
    qk_instance_name[length] = '.';
    qk_instance_name[length + 1] = '\0';
}

QkScope* kelvo_module::qk_get_scope(bool case_insensitive) {
    if (qk_scope) return qk_scope;
    // A module without a name is at the top, whatever its parent.
    const auto parentScope = [&] {
        return qk_parent ? qk_parent->qk_get_scope(case_insensitive) : nullptr;
    };
    QkScope* scope = parentScope();
    verify_instance_name();
    if (!qk_parent) scope = nullptr;
    QK_ASSERT_AS(qkDatabase, "qkLiveModel");
    qkDatabase->reopen();
    qkDatabase->findScopePath(scope, qk_instance_name, false, case_insensitive, true);
    QK_ASSERT(scope);

    // Another instance has claimed this name already: use the first free name below it.
    QkScope* const named = scope;
    for (int k = named->uniqueTaken; scope->module; named->uniqueTaken = ++k) {
        const size_t room = std::strlen(qk_instance_name) + 40;
        auto* const unique = static_cast<char*>(allocateBlock(room, "instance name"));
        std::snprintf(unique, room, "%sqk_unique%d.", qk_instance_name, k);
        scope = parentScope();
        qkDatabase->findScopePath(scope, unique, false, case_insensitive, true);
        if (scope->module) {
            std::free(unique);
        } else {
            std::free(qk_instance_name);
            qk_instance_name = unique;
        }
    }
    qk_scope = scope;
    scope->module = this;
    scope->claimed = true;
    return scope;
}

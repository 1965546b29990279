// The live model's life, and the base class of generated modules.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/memory.h"
#include "base/stringbuf.h"
#include "console/console.h"
#include "genrt/report.h"
#include "netdb/live_model.h"
#include "netdb/registration.h"
#include "qkzeft.h"
#include "run/out_of_memory.h"
#include "run/time.h"

QkLiveModel* qkLiveModel = nullptr;
bool qk_strict = true;
void (*qk_step_fn)() = nullptr;
void (*qk_settle_fn)() = nullptr;

namespace {

bool modelGone = false;  // the exit routine has run: destructors must not touch the model

/// What the exit routine leaves behind: it goes with the process, and a leak checker finds it here.
[[gnu::used]] QkLiveModel* volatile abandonedModel = nullptr;

void exitRoutine() {
    modelGone = true;
    releaseMemoryReserve();
    if (qkLiveModel) {
        qkLiveModel->writer.closeFile();
        abandonedModel = qkLiveModel;
        qkLiveModel = nullptr;
    }
    restoreSigintHandler();
}

char* copyName(const char* text) { return duplicate(text, "instance name"); }

}  // namespace

bool modelExists() { return qkLiveModel != nullptr; }

void rescaleModel(uint64_t factor) {
    qkLiveModel->writer.rescaleTimes(factor);
    qkLiveModel->reader.rescaleTimes(factor);
    rescaleConsoleTimes(factor);
}

void kelvo_start() {
    static bool exitRoutineRegistered = false;
    if (!exitRoutineRegistered) prepareForOutOfMemory();
    if (!qkLiveModel) qkLiveModel = new QkLiveModel;
    if (!exitRoutineRegistered) {
        exitRoutineRegistered = true;
        std::atexit(exitRoutine);
    }
}

void kelvo_finish() {
    if (qkLiveModel) qkLiveModel->writer.captureLast();
    if (qkLiveModel && qkLiveModel->interactive) {
        qk_printf("Simulation run completed\n");
        openLastConsole();
    }
    if (qkLiveModel) qkLiveModel->writer.closeFile();
    writeActivityReport();
}

kelvo_module::kelvo_module(const char* module_name, const char* instance_name)
    : qk_parent(nullptr),
      qk_name_verified(0),
      qk_module_name(module_name),
      qk_instance_name(instance_name ? copyName(instance_name) : nullptr),
      qk_scope(nullptr) {
    kelvo_start();
}

kelvo_module::kelvo_module(const kelvo_module& other) = default;

kelvo_module& kelvo_module::operator=(const kelvo_module& other) = default;

void kelvo_module::initials() {}

void kelvo_module::step() {}

void kelvo_module::qk_setup(const char* instance_name, kelvo_module* parent) {
    if (qk_instance_name) return;
    qk_parent = parent;
    if (instance_name) qk_instance_name = copyName(instance_name);
}

const char* kelvo_module::qk_get_instance_name() const { return qk_instance_name; }

const char* kelvo_module::qk_get_module_name() const { return qk_module_name; }

const char* kelvo_module::qk_get_full_instance_name() {
    return qk_get_scope(false)->fullName.str();
}

void kelvo_module::qk_finalize_wave() {
    completeRegistration(true, 0);
    if (qk_scope) applyMasterAssigns(*qk_scope);
}

void kelvo_module::verify_instance_name() {
    if (qk_name_verified) return;
    qk_name_verified = 1;
    // Dots alone name no scope.
    if (!qk_instance_name || !qk_instance_name[std::strspn(qk_instance_name, ".")]) {
        qk_parent = nullptr;
        std::free(qk_instance_name);
        qk_instance_name = copyName("toplevel.");
    }
    QK_ASSERT(qk_instance_name != NULL);
    const size_t length = std::strlen(qk_instance_name);
    if (qk_instance_name[length - 1] == '.') return;
    auto* const tmpname = static_cast<char*>(std::realloc(qk_instance_name, length + 2));
    if (!tmpname) {
        std::fprintf(stderr, "realloc failed for %s\n", "instance name");
        std::exit(1);
    }
    qk_instance_name = tmpname;
    qk_instance_name[length] = '.';
    qk_instance_name[length + 1] = '\0';
}

QkScope* kelvo_module::qk_get_scope(bool case_insensitive) {
    if (qk_scope) return qk_scope;
    // A nameless module is at the top, whatever parent it was given.
    const auto parentScope = [&] {
        return qk_parent ? qk_parent->qk_get_scope(case_insensitive) : nullptr;
    };
    QkScope* scope = parentScope();
    verify_instance_name();
    if (!qk_parent) scope = nullptr;
    QK_ASSERT(qkLiveModel);
    qkLiveModel->elaborated = qkLiveModel->complete = false;
    qkLiveModel->findScopePath(scope, qk_instance_name, false, case_insensitive, true);
    QK_ASSERT(scope);

    // Another instance of this name got there first: take the first free name below it.
    QkScope* const named = scope;
    for (int k = named->uniqueTaken; scope->module; named->uniqueTaken = ++k) {
        const size_t room = std::strlen(qk_instance_name) + 40;
        auto* const unique = static_cast<char*>(allocateBlock(room, "instance name"));
        std::snprintf(unique, room, "%sqk_unique%d.", qk_instance_name, k);
        scope = parentScope();
        qkLiveModel->findScopePath(scope, unique, false, case_insensitive, true);
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

namespace {

/// A scope goes with its module only when nothing above it holds nets.
bool mayDestroy(const QkScope* scope) {
    const QkScope* const parent = scope->parent;
    if (!parent) return true;
    if (parent->holdsNets()) return false;
    for (const QkScope* above = parent->parent; above; above = above->parent)
        if (above->holdsNets()) return false;
    return parent->children != nullptr;
}

}  // namespace

kelvo_module::~kelvo_module() {
    if (qk_scope && !modelGone) {
        QK_ASSERT(qkLiveModel);
        if (qkLiveModel->writer.fileIsOpen()) qkLiveModel->writer.closeFile();
        QkRegistrationData::abandon(qk_scope);
        qk_scope->module = nullptr;
        if (qk_scope->parent) qk_scope->parent->uniqueTaken = 0;
        if (mayDestroy(qk_scope))
            qkLiveModel->destroyScope(qk_scope);
        else
            qkLiveModel->detachModule(qk_scope);
    }
    std::free(qk_instance_name);
    qk_parent = nullptr;
}

// ---- Power-on values

namespace {

uint64_t initialValueSeed = 0;

}  // namespace

void qk_set_initial_value(uint64_t value) { initialValueSeed = value; }

uint64_t qk_get_initial_value(int width, uint64_t index) {
    if (initialValueSeed == 0 || width <= 0) return 0;
    if (initialValueSeed == 1) return bitMask(width);
    const uint64_t mixed =
        initialValueSeed * index * uint64_t{0x27BB2EE687B0B0FD} + uint64_t{0xB504F32D};
    return width >= 64 ? mixed : mixed >> (64 - width);
}

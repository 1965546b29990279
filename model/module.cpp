// The life of generated modules.
#include <cstdlib>

#include "base/stringbuf.h"
#include "model/live_model.h"
#include "netdb/registration.h"
#include "qkzeft_module.h"

namespace {

char* copyName(const char* text) { return duplicate(text, "instance name"); }

}  // namespace

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

namespace {

/// A scope is destroyed with its module only when no scope above it holds nets.
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

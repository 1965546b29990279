#include "qkzeft_memory.h"

#include <cstdlib>

#include "base/memory.h"
#include "base/qkassert.h"
#include "base/storage.h"
#include "licence/licence.h"
#include "netdb/database.h"
#include "qkzeft_module.h"
#include "qkzeft_run.h"
#include "run/life.h"

namespace {

bool qk_malloc_licensed = true;

/// @return the trace that a name of a plain value reads, or null
QkTrace* findTrace(const char* name) {
    startRun();
    const QkName* const found = name ? qkDatabase->findOne(name) : nullptr;
    const bool isPlain =
        found && (found->kind == kPlainName || found->kind == kTermName) && !found->detached;
    return isPlain ? found->trace : nullptr;
}

}  // namespace

void* qk_malloc(size_t size, const char* tag) {
    qk_malloc_licensed = licensed(Gate::kMalloc);
    void* const block = std::malloc(size ? size : 1);
    if (!block) failAllocation("malloc", tag);
    return block;
}

void* qk_realloc(void* block, size_t size, const char* tag) {
    void* const resized = std::realloc(block, size);
    if (!resized && size != 0) failAllocation("realloc", tag);
    return resized;
}

void qk_free(void* block) {
    QK_ASSERT(qk_malloc_licensed);
    std::free(block);
}

uint64_t qk_getval(const void* address, int width) {
    startRun();
    if (!address) {
        qk_printf("qk_getval: invalid pointer\n");
        return 0;
    }
    const auto bits = static_cast<uint8_t>(width);
    if (bits == 0 || bits > QK_MAXUBITS) {
        qk_printf("qk_getval: invalid width %d (valid range is 1 to %d)\n", bits, QK_MAXUBITS);
        return 0;
    }
    return loadStorage(address, storageBytes(bits));
}

void* qk_graphics_ptr(const char* name) {
    QkTrace* const trace = findTrace(name);
    return trace && trace->address ? &trace->address : nullptr;
}

void* qk_ptr(const char* name, bool* inverted) {
    const QkTrace* const trace = findTrace(name);
    void* const address = trace ? trace->address : nullptr;
    if (inverted) *inverted = address && trace->invert;
    return address;
}

#include "run/life.h"

#include "qkzeft_module.h"
#include "run/idle.h"

bool qk_strict = true;
void (*qk_step_fn)() = nullptr;
void (*qk_settle_fn)() = nullptr;
bool runningFromVCD = false;
bool runIsIdle = false;

namespace {

constinit RunLife life{};
bool isModelThere = false;

}  // namespace

void registerLife(const RunLife& registered) { life = registered; }

void startRun() {
    if (!isModelThere) life.start();
}

void finishRun() { life.finish(); }

bool modelExists() { return isModelThere; }

void setModelExists(bool exists) {
    isModelThere = exists;
    endIdleness();
}

void rescaleModel(uint64_t factor) { life.refineTicks(factor); }

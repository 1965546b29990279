#include "model/live_model.h"

#include <cstdlib>

#include "console/command.h"
#include "model/simstate.h"
#include "qkzeft_module.h"
#include "qkzeft_run.h"
#include "run/out_of_memory.h"
#include "validate/commands.h"

QkLiveModel* qkLiveModel = nullptr;
bool modelGone = false;

namespace {

/// The model that the exit routine does not free: it ends with the process, and a leak checker
/// finds it here.
[[gnu::used]] QkLiveModel* volatile abandonedModel = nullptr;

void noteWatched(QkName* name, int64_t index) { qkLiveModel->handles.noteChange(name, index); }

void rescale(uint64_t factor) {
    qkLiveModel->writer.rescaleTimes(factor);
    qkLiveModel->reader.rescaleTimes(factor);
    rescaleConsoleTimes(factor);
}

void exitRoutine() {
    modelGone = true;
    releaseMemoryReserve();
    if (qkLiveModel) {
        qkLiveModel->writer.closeFile();
        abandonedModel = qkLiveModel;
        QkLiveModel::install(nullptr);
    }
    restoreSigintHandler();
}

/// Runs before the constructors of a model's static objects, which may register nets and commands.
__attribute__((constructor(101))) void connectFolders() {
    registerLife({kelvo_start, kelvo_finish, rescale});
    addConsoleCommands();
    addValidateCommands();
    addStateCommands();
    registerAnswers();
}

}  // namespace

QkLiveModel::QkLiveModel() : writer(this, {printShownChange, noteWatched}) {
    // A handle must stop watching a name before tracing of the name stops.
    listeners = {&handles, &writer, &reader, &activity, this};
    recorder = &writer;
}

void QkLiveModel::install(QkLiveModel* model) {
    qkLiveModel = model;
    qkDatabase = model;
    qkTraceWriter = model ? &model->writer : nullptr;
    qkHandles = model ? &model->handles : nullptr;
    qkConsole = model ? &model->console : nullptr;
    qkReader = model ? &model->reader : nullptr;
    setModelExists(model != nullptr);
}

void QkLiveModel::scopeGoes(QkScope* scope) {
    if (scope->module) scope->module->qk_scope = nullptr;
}

void kelvo_start() {
    static bool exitRoutineRegistered = false;
    if (!exitRoutineRegistered) prepareForOutOfMemory();
    if (!qkLiveModel) QkLiveModel::install(new QkLiveModel);
    if (!exitRoutineRegistered) {
        exitRoutineRegistered = true;
        std::atexit(exitRoutine);
    }
}

void kelvo_finish() {
    if (qkLiveModel) qkLiveModel->writer.captureLast();
    if (qkLiveModel && qkLiveModel->console.interactive) {
        qk_printf("Simulation run completed\n");
        openLastConsole();
    }
    if (qkLiveModel) qkLiveModel->writer.closeFile();
    writeActivityReport();
}
